// The host's editor functions: system variables.
#pragma once

#include "adsdef.h"

// Reads a system variable into result; text results are owned by the caller (acutRelRb of a
// copy, or free of rstring with acutDelString).
int acedGetVar(const ACHAR* name, struct resbuf* result);
// Sets a system variable; RTERROR for an unknown name, a read-only variable, a value of the
// wrong type or out of the variable's range.
int acedSetVar(const ACHAR* name, const struct resbuf* value);
