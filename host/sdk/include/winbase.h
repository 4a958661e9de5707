// Windows base services the plug-in uses: system message texts, local memory, and the
// C runtime's path splitter.
#pragma once

#include <cstdarg>

#include "windows.h"

#define FORMAT_MESSAGE_ALLOCATE_BUFFER 0x00000100
#define FORMAT_MESSAGE_IGNORE_INSERTS 0x00000200
#define FORMAT_MESSAGE_FROM_STRING 0x00000400
#define FORMAT_MESSAGE_FROM_HMODULE 0x00000800
#define FORMAT_MESSAGE_FROM_SYSTEM 0x00001000

#define LANG_NEUTRAL 0x00
#define LANG_ENGLISH 0x09
#define SUBLANG_NEUTRAL 0x00
#define SUBLANG_DEFAULT 0x01
#define SUBLANG_SYS_DEFAULT 0x02
#define MAKELANGID(p, s) ((((WORD)(s)) << 10) | (WORD)(p))
#define MAKELCID(lgid, srtid) ((DWORD)((((DWORD)((WORD)(srtid))) << 16) | ((DWORD)((WORD)(lgid)))))
#define SORT_DEFAULT 0x0
#define LANG_USER_DEFAULT (MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT))
#define LANG_SYSTEM_DEFAULT (MAKELANGID(LANG_NEUTRAL, SUBLANG_SYS_DEFAULT))
#define LOCALE_USER_DEFAULT (MAKELCID(LANG_USER_DEFAULT, SORT_DEFAULT))
#define LOCALE_SYSTEM_DEFAULT (MAKELCID(LANG_SYSTEM_DEFAULT, SORT_DEFAULT))

// The host's system texts, in English, for the codes that occur here; 0 when there is no
// text (the buffer is left alone). With FORMAT_MESSAGE_ALLOCATE_BUFFER, buffer is a
// LPWSTR* that receives memory to be freed with LocalFree. Texts end in "\r\n".
DWORD FormatMessageW(DWORD flags, const void* source, DWORD messageId, DWORD languageId,
                     LPWSTR buffer, DWORD size, va_list* arguments);
HLOCAL LocalAlloc(UINT flags, size_t bytes);
HLOCAL LocalFree(HLOCAL memory);
DWORD GetUserDefaultLCID();

#define _MAX_DRIVE 3
#define _MAX_DIR 256
#define _MAX_FNAME 256
#define _MAX_EXT 256
// Splits "C:\dir\name.ext" (either slash) into its parts; any part may be null.
void _wsplitpath(const wchar_t* path, wchar_t* drive, wchar_t* dir, wchar_t* fname, wchar_t* ext);
