// The host's utility functions: the command line and result buffers.
#pragma once

#include "adsdef.h"

// Prints to the host's command line; %s takes a wide string.
int acutPrintf(const ACHAR* format, ...);

// A result buffer of the given type. Its text (for text types) starts as null.
struct resbuf* acutNewRb(int type);
// Frees a whole chain, with the texts it owns.
int acutRelRb(struct resbuf* rb);
// Builds a chain from pairs of type and value, ended by 0 (RTNONE is also accepted as end).
struct resbuf* acutBuildList(int type, ...);
// A copy of a text, owned by the caller and freed with acutDelString.
int acutNewString(const ACHAR* text, ACHAR*& copy);
int acutDelString(ACHAR*& text);
