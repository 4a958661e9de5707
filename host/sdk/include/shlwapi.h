// The shell's path helpers. On this platform both '/' and '\' separate path parts; a
// separator the helpers add is '\' only when the path already uses '\' and no '/'.
#pragma once

#include "windows.h"

// TRUE if a file or directory exists at the path.
BOOL PathFileExistsW(LPCWSTR pszPath);
// TRUE unless the path starts at a root: "/", "\", "X:" or "\\server".
BOOL PathIsRelativeW(LPCWSTR pszPath);
// Cuts the last part and its separator; TRUE if something was cut. A root stays.
BOOL PathRemoveFileSpecW(LPWSTR pszPath);
// Adds a separator unless the path ends in one; gives the end of the text, or null when
// MAX_PATH characters would not hold it.
LPWSTR PathAddBackslashW(LPWSTR pszPath);
// Joins pszMore to the path with one separator; FALSE when MAX_PATH would be exceeded.
BOOL PathAppendW(LPWSTR pszPath, LPCWSTR pszMore);
