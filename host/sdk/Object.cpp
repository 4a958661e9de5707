#include "afxobj.h"

#include <string>

const CRuntimeClass CObject::classCObject = {"CObject", static_cast<int>(sizeof(CObject)), nullptr};

BOOL CRuntimeClass::IsDerivedFrom(const CRuntimeClass* baseClass) const {
    for (const CRuntimeClass* c = this; c; c = c->m_pBaseClass)
        if (c == baseClass)
            return TRUE;
    return FALSE;
}

CRuntimeClass* CObject::GetRuntimeClass() const {
    return RUNTIME_CLASS(CObject);
}

void CObject::Serialize(CArchive&) {}

void CObject::AssertValid() const {}

void CObject::Dump(CDumpContext& context) const {
    context << "a " << GetRuntimeClass()->m_lpszClassName << " at $"
            << static_cast<long long>(reinterpret_cast<uintptr_t>(this));
}

BOOL CObject::IsKindOf(const CRuntimeClass* runtimeClass) const {
    return GetRuntimeClass()->IsDerivedFrom(runtimeClass);
}

CDumpContext& CDumpContext::operator<<(const wchar_t* text) {
    m_text += text ? text : L"(null)";
    return *this;
}

CDumpContext& CDumpContext::operator<<(const char* text) {
    if (!text)
        return *this << L"(null)";
    for (const char* c = text; *c; ++c)
        m_text += static_cast<wchar_t>(static_cast<unsigned char>(*c));
    return *this;
}

CDumpContext& CDumpContext::operator<<(long long number) {
    m_text += std::to_wstring(number);
    return *this;
}
