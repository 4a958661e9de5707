// The host's conversions of typed distances and angles to reals.
#pragma once

#include "adsdef.h"

// A distance in linear units mode `unit` (1 scientific, 2 decimal, 3 engineering,
// 4 architectural, 5 fractional; -1 the drawing's LUNITS) into *v.
// RTNORM on success; RTERROR for a text that is no distance in that mode or a bad mode,
// and then *v is left as it was.
int acdbDisToF(const ACHAR* str, int unit, ads_real* v);

// An angle in angular units mode `unit` (0 degrees, 1 deg/min/sec, 2 grads, 3 radians,
// 4 surveyor's; -1 the drawing's AUNITS) into *v, in radians within [0, 2*pi).
// RTNORM on success; RTERROR otherwise, leaving *v as it was.
int acdbAngToF(const ACHAR* str, int unit, ads_real* v);
