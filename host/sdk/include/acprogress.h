// The host's status bar progress meter.
#pragma once

#include "AdAChar.h"

// Shows the meter with a label and a range; returns 0.
int acedSetStatusBarProgressMeter(const ACHAR* label, int minPos, int maxPos);
// Moves the meter; a position beyond the range is clamped. Returns 0.
int acedSetStatusBarProgressMeterPos(int pos);
// Takes the meter down and shows the ordinary status bar again.
void acedRestoreStatusBar();
