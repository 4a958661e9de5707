// The host's character type: text is wide throughout.
#pragma once

#include <cwchar>

typedef wchar_t ACHAR;
#define ACRX_T(x) L##x
#ifndef _T
#define _T(x) L##x
#endif
