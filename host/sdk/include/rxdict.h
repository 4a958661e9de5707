// The host's system registry: a dictionary of named service objects.
#pragma once

#include "rxobject.h"

// Names of the services the host keeps in its system registry.
#define ACRX_DYNAMIC_LINKER ACRX_T("DynamicLinker")
#define ACRX_COMMAND_DOCK ACRX_T("ACAD_REGISTERED_COMMANDS")
#define ACRX_CLASS_DICTIONARY ACRX_T("ClassDictionary")

class AcRxDictionary : public AcRxObject {
public:
    ACRX_DECLARE_MEMBERS(AcRxDictionary);
    AcRxDictionary();
    ~AcRxDictionary() override;
    AcRxDictionary(const AcRxDictionary&) = delete;
    AcRxDictionary& operator=(const AcRxDictionary&) = delete;

    // The entry of that name (names compare exactly), or null.
    AcRxObject* at(const ACHAR* key) const;
    // Stores the object under the name and gives back the one it replaced, or null. The
    // dictionary does not own its entries.
    AcRxObject* atPut(const ACHAR* key, AcRxObject* object);
    AcRxObject* remove(const ACHAR* key);
    bool has(const ACHAR* key) const { return at(key) != nullptr; }
    unsigned int numEntries() const;

private:
    struct Entries;
    Entries* m_entries;
};

// The root dictionary of the host; it always holds the dynamic linker and the command stack.
AcRxDictionary* acrxSysRegistry();
