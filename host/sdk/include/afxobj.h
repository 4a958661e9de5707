// The root of the framework's classes: run-time class information, serialisation and the
// two diagnostic operations.
#pragma once

#include <string>

#include "windows.h"

class CArchive;

// Where Dump writes: the text collects in the context.
class CDumpContext {
public:
    CDumpContext& operator<<(const wchar_t* text);
    CDumpContext& operator<<(const char* text);
    CDumpContext& operator<<(long long number);
    const std::wstring& text() const { return m_text; }

private:
    std::wstring m_text;
};

struct CRuntimeClass {
    const char* m_lpszClassName;
    int m_nObjectSize;
    const CRuntimeClass* m_pBaseClass;

    BOOL IsDerivedFrom(const CRuntimeClass* baseClass) const;
};

class CObject {
public:
    static const CRuntimeClass classCObject;

    virtual CRuntimeClass* GetRuntimeClass() const;
    virtual ~CObject() = default;
    virtual void Serialize(CArchive& archive);
    virtual void AssertValid() const;
    virtual void Dump(CDumpContext& context) const;

    BOOL IsKindOf(const CRuntimeClass* runtimeClass) const;

protected:
    CObject() = default;
    // The framework forbids copying a CObject; its array classes copy, and so do these.
    CObject(const CObject&) = default;
    CObject& operator=(const CObject&) = default;
};

#define RUNTIME_CLASS(class_name) (const_cast<CRuntimeClass*>(&class_name::class##class_name))

#define DECLARE_DYNAMIC(class_name)                                                                \
public:                                                                                            \
    static const CRuntimeClass class##class_name;                                                  \
    CRuntimeClass* GetRuntimeClass() const override;

#define IMPLEMENT_DYNAMIC(class_name, base_class_name)                                             \
    const CRuntimeClass class_name::class##class_name = {                                          \
        #class_name, static_cast<int>(sizeof(class_name)), RUNTIME_CLASS(base_class_name)};        \
    CRuntimeClass* class_name::GetRuntimeClass() const {                                           \
        return RUNTIME_CLASS(class_name);                                                          \
    }
