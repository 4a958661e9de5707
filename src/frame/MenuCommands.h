// The menu of the plug-in and the four information commands.
#pragma once

#include "afx.h"

// Who the host is, set once at start-up and read by the About box and the support mail.
struct HostIdentification {
    int releaseYear = 2025;
    CString platformDisplayName; // "AutoCAD" or "AutoCAD LT"
    CString platformShortName;   // "ACAD" or "ACADLT"
};
extern HostIdentification g_hostId;

void setHostIdentification();
// At start-up: have the menu loaded, or placed once in the menu bar.
void startupMenuPlacement();
// Puts the plug-in's menu in front of the last two menus of the bar.
void placeMenu();
// The operating system as the support mail names it.
CString systemText();

void loadMenuCommand();
void helpCommand();
void websiteCommand();
void supportCommand();
void aboutCommand();
