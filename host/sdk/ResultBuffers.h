// Result-buffer helpers the host's own parts share.
#pragma once

#include "adsdef.h"

namespace lmhost {

enum class ResbufKind { None, Text, Binary, Point, Real, Short, Long, Name, Int64 };
ResbufKind resbufKind(int type);

// Heap text freed with free(), as the host's result buffers own theirs.
wchar_t* duplicateText(const wchar_t* text);
resbuf* copyResbuf(const resbuf* rb);
// Copies the chain from chain up to (not including) end.
resbuf* copyChain(const resbuf* chain, const resbuf* end = nullptr);

} // namespace lmhost
