// Running host commands from a plug-in, with their arguments.
#pragma once

#include "AdAChar.h"
#include "adscodes.h"
#include "adsdef.h"

// Runs a command with arguments given as pairs of type and value (RTSTR texts, RTSHORT,
// RTREAL), ended by RTNONE; RTNORM when the command ran to its end, RTERROR for an unknown
// command, RTCAN for a cancelled one.
int acedCommandS(int rtype, ...);
