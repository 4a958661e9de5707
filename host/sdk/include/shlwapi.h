// The shell's path helpers. On this platform both '/' and '\' separate path parts; a
// separator the helpers add is '\' only when the path already uses '\' and no '/'.
#pragma once

#include "windows.h"

// TRUE if a file or directory exists at the path; a path of MAX_PATH characters or more
// is found nowhere, as on the host platform.
BOOL PathFileExistsW(LPCWSTR pszPath);
// TRUE unless the path starts at a root: "/", "\", "X:" or "\\server".
BOOL PathIsRelativeW(LPCWSTR pszPath);
// Cuts the last part and its separator; TRUE if something was cut. A root stays.
BOOL PathRemoveFileSpecW(LPWSTR pszPath);
// Adds a separator unless the path is empty or ends in one; gives the end of the text, or
// null when MAX_PATH characters would not hold it (also for a path that is already longer).
LPWSTR PathAddBackslashW(LPWSTR pszPath);
// Joins pszMore to the path with one separator; FALSE when MAX_PATH would be exceeded.
BOOL PathAppendW(LPWSTR pszPath, LPCWSTR pszMore);
// Drops "." parts and resolves ".." parts, writing every separator as the path's own kind
// (see PathAddBackslashW). ".." at a root stays at the root; leading ".." parts of a
// relative path are kept. FALSE with an empty result when the path or the result does not
// fit in MAX_PATH characters; nothing is ever cut to fit.
BOOL PathCanonicalizeW(LPWSTR pszBuf, LPCWSTR pszPath);

#ifndef FILE_ATTRIBUTE_NORMAL
#define FILE_ATTRIBUTE_NORMAL 0x00000080
#endif
#ifndef FILE_ATTRIBUTE_DIRECTORY
#define FILE_ATTRIBUTE_DIRECTORY 0x00000010
#endif
// The way from pszFrom (a folder with FILE_ATTRIBUTE_DIRECTORY, else a file whose folder
// counts) to pszTo, as ".\x" or "..\x". FALSE when the two have different roots. Parts
// compare without regard to case for drive and backslash paths, exactly for POSIX ones.
// FALSE with an empty result when a path or the result does not fit in MAX_PATH.
BOOL PathRelativePathToW(LPWSTR pszPath, LPCWSTR pszFrom, DWORD dwAttrFrom, LPCWSTR pszTo,
                         DWORD dwAttrTo);
