// The host's editor services for menus and queued expressions.
#pragma once

#include "AdAChar.h"
#include "adscodes.h"

// Hands the host an expression to evaluate once it is ready for commands again.
int ads_queueexpr(const ACHAR* expression);
#define acedQueueExpr ads_queueexpr

// Whether a menu group of that name (without regard to case) is loaded.
bool acedIsMenuGroupLoaded(const ACHAR* groupName);

// Menu commands on the menu bar: "Pn.i=?" asks about item i of the n-th menu (-5005 while
// the menu exists, RTERROR past the last); "Pn=+GROUP.POPk" inserts the k-th menu of a
// loaded group at place n; "Pn=-" removes the n-th menu. RTNORM when done, RTERROR else.
int acedMenuCmd(const ACHAR* command);
