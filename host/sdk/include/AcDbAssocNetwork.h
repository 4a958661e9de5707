// A network of associative actions, one per space, nested in the database's top-level one.
#pragma once

#include "AcDbAssocAction.h"

class AcDbAssocNetwork : public AcDbAssocAction {
public:
    ACRX_DECLARE_MEMBERS(AcDbAssocNetwork);
    AcDbAssocNetwork();
    ~AcDbAssocNetwork() override;

    // The actions in the order they were added.
    const AcDbObjectIdArray& getActions() const;
    // Adds a resident action that is in no network. Refusals: eNotOpenForWrite,
    // eNullObjectId, eWasErased, eNotThatKindOfClass for what is no action, eInvalidInput
    // for an action that already is in a network (or is this one), and the name checks of a
    // variable whose name another variable of this network has.
    Acad::ErrorStatus addAction(const AcDbObjectId& actionId, bool alsoSetAsDatabaseOwner);
    Acad::ErrorStatus removeAction(const AcDbObjectId& actionId, bool alsoEraseIt);

    // The network of an object (a space's block table record), made when asked and absent:
    // null when there is none and createIfDoesNotExist is false, or for a null or erased
    // object. A made network goes into the database's top-level network when asked. A
    // network is kept per dictionary key; the empty key is the usual one.
    static AcDbObjectId getInstanceFromObject(const AcDbObjectId& owningObjectId,
                                              bool createIfDoesNotExist,
                                              bool addToTopLevelNetwork = true,
                                              const AcString& dictionaryKey = L"");
    // The top-level network of a database.
    static AcDbObjectId getInstanceFromDatabase(AcDbDatabase* database, bool createIfDoesNotExist,
                                                const AcString& dictionaryKey = L"");

    struct Data;
    Data* data() const { return m_data; }

private:
    Data* m_data;
};
