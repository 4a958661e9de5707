// The compiler's COM support: _com_error and its text.
#pragma once

#include "oleauto.h"

class _com_error {
public:
    explicit _com_error(HRESULT hr) : m_hresult(hr) {}
    _com_error(const _com_error& other);
    _com_error& operator=(const _com_error& other);
    virtual ~_com_error();

    HRESULT Error() const { return m_hresult; }
    WORD WCode() const;
    // The system text of the code without its line end; else "IDispatch error #<n>" for a
    // code from 0x80040200 to 0x8004FFFF (not 0x200 in the low word), else "Unknown error
    // 0x<CODE>". Made on the first call and kept.
    const wchar_t* ErrorMessage() const;

    static HRESULT WCodeToHRESULT(WORD code) {
        return code >= 0xFE00 ? (HRESULT)0x80040200 : (HRESULT)(0x80040200 + code);
    }
    static WORD HRESULTToWCode(HRESULT hr) {
        return (hr >= (HRESULT)0x80040200 && hr <= (HRESULT)0x8004FFFF)
                   ? (WORD)(hr - (HRESULT)0x80040200)
                   : 0;
    }

private:
    HRESULT m_hresult;
    mutable wchar_t* m_message = nullptr;
};

// Raises a _com_error for a failed code, as the compiler's support does.
void _com_issue_error(HRESULT hr);
