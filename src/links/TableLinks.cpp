#include "links/TableLinks.h"

#include "AcDbAssocManager.h"
#include "acutads.h"
#include "dbapserv.h"

Acad::ErrorStatus openCurrentSpaceNetwork(AcDbObjectPointer<AcDbAssocNetwork>& network) {
    Acad::ErrorStatus es = AcDbAssocManager::initialize();
    if (es != Acad::eOk)
        return es;
    AcDbDatabase* database = acdbHostApplicationServices()->workingDatabase();
    AcDbObjectId networkId =
        AcDbAssocNetwork::getInstanceFromObject(database->currentSpaceId(), true, true, L"");
    if (networkId.isNull())
        return Acad::eInvalidInput;
    return network.open(networkId, AcDb::kForRead);
}

void applyCellTextToVariable(AcDbAssocVariable* variable, const AcString& text) {
    // Texts are compared, not values, so another spelling of the same number is a change.
    if (variable->expression() == text)
        return;
    AcString errorMessage;
    if (variable->validateNameAndExpression(variable->name(), text, errorMessage) != Acad::eOk)
        return;
    if (variable->upgradeOpen() != Acad::eOk)
        return;
    Acad::ErrorStatus es = variable->setExpression(text, L"", true, true, dummyString(), false);
    if (es != Acad::eOk) {
        // The name's place of this line has always come out empty; it stays so.
        acutPrintf(L"\nFailed to set the expression of the parameter %s: %s", L"",
                   acadErrorStatusText(es));
        return;
    }
    AcDbEvalVariant value;
    es = variable->evaluateExpression(value);
    if (es == Acad::eOk)
        es = variable->setValue(value);
    if (es != Acad::eOk)
        acutPrintf(L"\n%s.", acadErrorStatusText(es));
}
