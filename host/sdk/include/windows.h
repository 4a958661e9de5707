// The Win32 types, constants and calls the plug-in uses, for a host without Windows.
#pragma once

#include <cstdint>
#include <cwchar>

typedef int BOOL;
typedef unsigned char BYTE;
typedef unsigned short WORD;
typedef uint32_t DWORD;
typedef int32_t LONG;
typedef uint32_t ULONG;
typedef unsigned int UINT;
typedef int INT;
typedef wchar_t WCHAR;
typedef wchar_t TCHAR;
typedef const wchar_t* LPCWSTR;
typedef wchar_t* LPWSTR;
typedef const wchar_t* LPCTSTR;
typedef wchar_t* LPTSTR;
typedef const char* LPCSTR;
typedef char* LPSTR;
typedef void* LPVOID;
typedef BYTE* LPBYTE;
typedef DWORD* LPDWORD;
typedef int32_t HRESULT;
typedef int32_t SCODE;
typedef intptr_t INT_PTR;
typedef uintptr_t UINT_PTR;
typedef intptr_t LONG_PTR;
typedef uintptr_t ULONG_PTR;
typedef intptr_t LRESULT;
typedef uintptr_t WPARAM;
typedef intptr_t LPARAM;

struct HWND__;
typedef HWND__* HWND;
struct HINSTANCE__;
typedef HINSTANCE__* HINSTANCE;
typedef HINSTANCE HMODULE;
struct HKEY__;
typedef HKEY__* HKEY;
typedef HKEY* PHKEY;
typedef void* HANDLE;
typedef void* HLOCAL;

#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif
#ifndef MAX_PATH
#define MAX_PATH 260
#endif

#define _T(x) L##x
#define _TEXT(x) L##x

#define S_OK ((HRESULT)0)
#define S_FALSE ((HRESULT)1)
#define E_FAIL ((HRESULT)0x80004005L)
#define E_INVALIDARG ((HRESULT)0x80070057L)
#define E_OUTOFMEMORY ((HRESULT)0x8007000EL)
#define E_NOINTERFACE ((HRESULT)0x80004002L)
#define E_POINTER ((HRESULT)0x80004003L)
#define SUCCEEDED(hr) (((HRESULT)(hr)) >= 0)
#define FAILED(hr) (((HRESULT)(hr)) < 0)

// Message box styles and answers.
#define MB_OK 0x00000000L
#define MB_OKCANCEL 0x00000001L
#define MB_ABORTRETRYIGNORE 0x00000002L
#define MB_YESNOCANCEL 0x00000003L
#define MB_YESNO 0x00000004L
#define MB_RETRYCANCEL 0x00000005L
#define MB_ICONHAND 0x00000010L
#define MB_ICONSTOP MB_ICONHAND
#define MB_ICONERROR MB_ICONHAND
#define MB_ICONQUESTION 0x00000020L
#define MB_ICONEXCLAMATION 0x00000030L
#define MB_ICONWARNING MB_ICONEXCLAMATION
#define MB_ICONASTERISK 0x00000040L
#define MB_ICONINFORMATION MB_ICONASTERISK
#define IDOK 1
#define IDCANCEL 2
#define IDABORT 3
#define IDRETRY 4
#define IDIGNORE 5
#define IDYES 6
#define IDNO 7

int MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type);

// The C runtime's wide conversions as the host platform has them.
int _wtoi(const wchar_t* text);
long _wtol(const wchar_t* text);
double _wtof(const wchar_t* text);
int _wcsicmp(const wchar_t* a, const wchar_t* b);
int _wcsnicmp(const wchar_t* a, const wchar_t* b, size_t n);
// swprintf_s/_snwprintf with the host's wide-format rules (%s is a wide string).
int swprintf_s(wchar_t* buffer, size_t count, const wchar_t* format, ...);
int _snwprintf_s(wchar_t* buffer, size_t count, size_t maxCount, const wchar_t* format, ...);
int wcscpy_s(wchar_t* dest, size_t count, const wchar_t* src);
int wcscat_s(wchar_t* dest, size_t count, const wchar_t* src);
int wcsncpy_s(wchar_t* dest, size_t count, const wchar_t* src, size_t maxCount);
