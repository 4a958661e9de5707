#include "exchange/ADNAssocSampleUtils.h"

#include "AcDbAssocManager.h"
#include "AcDbAssocNetwork.h"
#include "AcDbAssocVariable.h"
#include "dbeval.h"

namespace {

// How many leading characters agree, counted up to the end of the stored name.
unsigned commonPrefixLength(const AcString& wanted, const AcString& stored) {
    unsigned count = 0;
    while (count < stored.length() && count < wanted.length() &&
           wanted.getAt(count) == stored.getAt(count))
        ++count;
    return count;
}

} // namespace

Acad::ErrorStatus findVariable(AcDbObjectId spaceId, const AcString& name, bool create,
                               AcDbObjectId& variableId) {
    if (name.isEmpty())
        return Acad::eInvalidInput;
    Acad::ErrorStatus es = AcDbAssocManager::initialize();
    if (es != Acad::eOk)
        return es;
    AcDbObjectId networkId = AcDbAssocNetwork::getInstanceFromObject(spaceId, true, true, L"");
    if (networkId.isNull())
        return Acad::eInvalidInput;
    {
        AcDbObjectPointer<AcDbAssocNetwork> network(networkId, AcDb::kForRead);
        if (network.openStatus() != Acad::eOk)
            return network.openStatus();
        // The array is read afresh at each step; the host may hand out a new one.
        for (int i = 0; i < network->getActions().length(); ++i) {
            AcDbObjectId actionId = network->getActions()[i];
            if (actionId.objectClass() != AcDbAssocVariable::desc())
                continue;
            AcDbObjectPointer<AcDbAssocVariable> variable(actionId, AcDb::kForRead);
            if (variable.openStatus() != Acad::eOk)
                continue;
            // A stored name that merely begins with the wanted one matches as well.
            if (commonPrefixLength(name, variable->name()) == name.length()) {
                variableId = actionId;
                return Acad::eOk;
            }
        }
        if (!create)
            return Acad::eNullObjectId;
    } // createVariable opens the network for write
    return createVariable(networkId, name, L"1.0", variableId);
}

Acad::ErrorStatus createVariable(AcDbObjectId networkId, const AcString& name,
                                 const AcString& expression, AcDbObjectId& variableId) {
    variableId = AcDbObjectId::kNull;
    AcDbObjectPointer<AcDbAssocNetwork> network(networkId, AcDb::kForWrite);
    if (network.openStatus() != Acad::eOk)
        return network.openStatus();

    AcDbAssocVariable* created = new AcDbAssocVariable();
    Acad::ErrorStatus es = network->database()->addAcDbObject(variableId, created);
    if (es != Acad::eOk) {
        delete created;
        return es;
    }
    created->close();

    es = network->addAction(variableId, true);
    if (es != Acad::eOk)
        return es;

    AcDbObjectPointer<AcDbAssocVariable> variable(variableId, AcDb::kForWrite);
    if (variable.openStatus() != Acad::eOk)
        return variable.openStatus();
    AcString errorMessage(L"Name or Expression invalid");
    AcString seedExpression(L"1.0");
    // The name is checked with a plain number, so a bad expression cannot hide a bad name.
    es = variable->validateNameAndExpression(name, seedExpression, errorMessage);
    if (es != Acad::eOk)
        return es;
    es = variable->setName(name, true);
    if (es != Acad::eOk)
        return es;
    variable->setValue(AcDbEvalVariant(1.0));
    es = variable->setExpression(expression, L"", true, true, dummyString(), false);
    if (es != Acad::eOk)
        return es;
    errorMessage = L"Expression evaluation failed";
    AcDbEvalVariant value;
    es = variable->evaluateExpression(value, errorMessage);
    if (es != Acad::eOk)
        return es;
    variable->setValue(value);
    return Acad::eOk;
}

Acad::ErrorStatus setVariableExpression(AcDbObjectId variableId, const AcString& expression,
                                        const AcString& description, AcString& errorMessage) {
    Acad::ErrorStatus es = AcDbAssocManager::initialize();
    if (es != Acad::eOk)
        return es;
    AcDbObjectPointer<AcDbAssocVariable> variable(variableId, AcDb::kForWrite);
    if (variable.openStatus() != Acad::eOk)
        return variable.openStatus();

    if (!description.isEmpty() && description != variable->description())
        variable->setDescription(description);
    if (expression.isEmpty() || expression == variable->expression())
        return Acad::eOk;

    AcString name = variable->name();
    es = variable->validateNameAndExpression(name, expression, errorMessage);
    if (es != Acad::eOk)
        return es;
    es = variable->setExpression(expression, L"", true, true, errorMessage, false);
    if (es != Acad::eOk)
        return es;
    AcDbEvalVariant value;
    es = variable->evaluateExpression(value, errorMessage);
    if (es != Acad::eOk)
        return es;
    variable->setValue(value);
    return Acad::eOk;
}
