// The host's runtime classes: class descriptors and the root object.
#pragma once

#include <cstdint>

#include "AdAChar.h"

namespace Adesk {
typedef int8_t Int8;
typedef uint8_t UInt8;
typedef int16_t Int16;
typedef uint16_t UInt16;
typedef int32_t Int32;
typedef uint32_t UInt32;
typedef int64_t Int64;
typedef uint64_t UInt64;
typedef intptr_t IntPtr;
typedef uintptr_t UIntPtr;
typedef bool Boolean;
const bool kTrue = true;
const bool kFalse = false;
} // namespace Adesk

// The descriptor of a runtime class: its name and its parent.
class AcRxClass {
public:
    AcRxClass(const ACHAR* name, AcRxClass* parent) : m_name(name), m_parent(parent) {}
    AcRxClass(const AcRxClass&) = delete;
    AcRxClass& operator=(const AcRxClass&) = delete;
    const ACHAR* name() const { return m_name; }
    AcRxClass* myParent() const { return m_parent; }
    bool isDerivedFrom(const AcRxClass* other) const;

private:
    const ACHAR* m_name;
    AcRxClass* m_parent;
};

class AcRxObject {
public:
    virtual ~AcRxObject() = default;
    static AcRxClass* desc();
    static AcRxObject* cast(const AcRxObject* object) { return const_cast<AcRxObject*>(object); }
    virtual AcRxClass* isA() const;
    // True if this object's class is the given class or derived from it.
    bool isKindOf(const AcRxClass* cls) const { return isA()->isDerivedFrom(cls); }
};

// Declares a runtime class: desc() names the class, isA() the exact class of an object, and
// cast() gives null for an object of another class.
#define ACRX_DECLARE_MEMBERS(CLASS)                                                                \
    static AcRxClass* desc();                                                                      \
    static CLASS* cast(const AcRxObject* object) {                                                 \
        return (object == nullptr || !object->isKindOf(CLASS::desc()))                             \
                   ? nullptr                                                                       \
                   : static_cast<CLASS*>(const_cast<AcRxObject*>(object));                         \
    }                                                                                              \
    AcRxClass* isA() const override

#define ACRX_DEFINE_MEMBERS(CLASS, PARENT)                                                         \
    AcRxClass* CLASS::desc() {                                                                     \
        static AcRxClass cls(L## #CLASS, PARENT::desc());                                          \
        return &cls;                                                                               \
    }                                                                                              \
    AcRxClass* CLASS::isA() const {                                                                \
        return CLASS::desc();                                                                      \
    }
