#include "links/UpdateCommand.h"

#include <cmath>
#include <cwchar>

#include "acedads.h"
#include "acutads.h"
#include "dbapserv.h"
#include "dbdynblk.h"
#include "dbtable.h"
#include "dbunits.h"
#include "excel/ExcelUtils.h"
#include "links/BlockReferences.h"
#include "links/LinkStore.h"
#include "links/RefreshFromWorkbooks.h"
#include "links/TableLinks.h"

bool regenNeeded = false;

namespace {

Acad::ErrorStatus refreshParameters() {
    AcDbObjectPointer<AcDbAssocNetwork> network;
    Acad::ErrorStatus es = openCurrentSpaceNetwork(network);
    if (es != Acad::eOk)
        return es;
    forEachVariable(network.object(), [](AcDbAssocVariable* variable) {
        CString link;
        if (!getFirstLinkText(variable, link) || link.IsEmpty())
            return;
        AcString text;
        // A workbook link does not fit the table pattern and ends here.
        if (!ReadTableCellText(link, text))
            return;
        applyCellTextToVariable(variable, text);
    });
    return Acad::eOk;
}

// Direct properties of a dynamic reference, read while the reference stays open for read.
void refreshDirectProperties(AcDbBlockReference* reference) {
    AcDbDynBlockReference dynamic(reference);
    if (!dynamic.isDynamicBlock())
        return;
    CStringArray links;
    getAllLinkTexts(reference, kDirectLinkApp, links);
    for (INT_PTR i = 0; i < links.GetSize(); ++i) {
        CString property, expression;
        if (!splitLinkText(links[i], property, expression))
            continue;
        AcString text;
        if (ReadTableCellText(expression, text))
            setBlockProperty(dynamic, property, CString(text.kwszPtr()));
    }
}

// Properties of references nested in this reference's block, named by handle.
void refreshNestedProperties(AcDbBlockReference* reference) {
    CStringArray links;
    getAllLinkTexts(reference, kNestedLinkApp, links);
    if (links.GetSize() > 0)
        regenNeeded = true;
    for (INT_PTR i = 0; i < links.GetSize(); ++i) {
        CString left, expression;
        if (!splitLinkText(links[i], left, expression))
            continue;
        // Without a nested handle the id stays null and the open below passes the link over.
        CString property;
        AcDbObjectId nestedId = nestedReferenceOrNull(left, property);
        AcString text;
        if (!ReadTableCellText(expression, text))
            continue;
        AcDbObjectPointer<AcDbBlockReference> nested(nestedId, AcDb::kForWrite);
        if (nested.openStatus() != Acad::eOk)
            continue;
        AcDbDynBlockReference dynamic(nested.object());
        if (dynamic.isDynamicBlock())
            setBlockProperty(dynamic, property, CString(text.kwszPtr()));
    }
}

void refreshBlockProperties() {
    forEachBlockReference([](AcDbBlockReference* reference) {
        refreshDirectProperties(reference);
        refreshNestedProperties(reference);
    });
}

bool sameText(const CString& present, const CString& text) {
    return present.CompareNoCase(text) == 0;
}

} // namespace

void updateLinkedParameters() {
    regenNeeded = false;
    refreshFromTables();
    refreshFromWorkbooks();
    if (regenNeeded)
        ads_regen();
    acutPrintf(L"\nFinish.");
}

Acad::ErrorStatus refreshFromTables() {
    Acad::ErrorStatus es = refreshParameters();
    if (es != Acad::eOk)
        return es;
    // Block references of every layout, while the parameters are those of the current space.
    refreshBlockProperties();
    return Acad::eOk;
}

int ReadTableCellText(CString expression, AcString& text) {
    CString handle, address;
    if (!matchTableExpression(expression, handle, address))
        return 0;
    if (address.IsEmpty())
        return 0;
    int row = 0, column = 0;
    if (!ExcelUtils::ParseCellAddress(address, row, column) || row < 1 || column < 1)
        return 0;

    AcDbObjectId tableId;
    AcDbDatabase* database = acdbHostApplicationServices()->workingDatabase();
    Acad::ErrorStatus es = database->getAcDbObjectId(tableId, false, AcDbHandle(handle));
    if (es != Acad::eOk) {
        acutPrintf(L"\nERROR: Could not translate handle to objectId (%s)",
                   acadErrorStatusText(es));
        return 0;
    }
    AcDbObjectPointer<AcDbTable> table(tableId, AcDb::kForRead);
    if (table.openStatus() != Acad::eOk)
        return 0;
    es = table->textString(row - 1, column - 1, AcValue::kIgnoreMtextFormat, text);
    table.close();
    return es == Acad::eOk ? 1 : 0;
}

Acad::ErrorStatus setBlockProperty(AcDbDynBlockReference& reference, CString propertyName,
                                   CString text) {
    AcDbDynBlockReferencePropertyArray properties;
    reference.getBlockProperties(properties);
    for (int i = 0; i < properties.length(); ++i) {
        AcDbDynBlockReferenceProperty& property = properties[i];
        if (propertyName.CompareNoCase(property.propertyName()) != 0)
            continue;
        AcDbEvalVariant present = property.value();
        AcDbEvalVariant wanted;
        CString shown;
        switch (present.restype) {
        case AcDb::kDxfText:
            shown.Format(L"%s", present.resval.rstring ? present.resval.rstring : L"");
            if (sameText(shown, text))
                return Acad::eOk;
            wanted = static_cast<const wchar_t*>(text);
            break;
        case AcDb::kDxfReal:
            if (property.unitsType() == AcDbDynBlockReferenceProperty::kAngular) {
                // A text that is no angle counts as 0.0, and so is compared and set.
                ads_real angle = 0.0;
                acdbAngToF(text, -1, &angle);
                if (std::fabs(angle - present.resval.rreal) <= 1e-6)
                    return Acad::eOk;
                wanted = static_cast<double>(angle);
            } else {
                double value = present.resval.rreal;
                // "%g" would show a leftover of a computation as a tiny number, not as 0.
                shown.Format(L"%g", std::fabs(value) <= 1e-6 ? 0.0 : value);
                if (sameText(shown, text))
                    return Acad::eOk;
                ads_real distance = 0.0;
                if (acdbDisToF(text, -1, &distance) != RTNORM)
                    distance = std::wcstod(text, nullptr);
                wanted = static_cast<double>(distance);
            }
            break;
        case AcDb::kDxfInt16:
            shown.Format(L"%d", static_cast<int>(static_cast<short>(present.resval.rint)));
            if (sameText(shown, text))
                return Acad::eOk;
            wanted = static_cast<short>(_wtoi(text));
            break;
        case AcDb::kDxfInt32:
            shown.Format(L"%ld", static_cast<long>(present.resval.rlong));
            if (sameText(shown, text))
                return Acad::eOk;
            wanted = static_cast<Adesk::Int32>(_wtol(text));
            break;
        default:
            continue; // a later property of the same name may be of a kind that is supported
        }
        return property.setValue(wanted);
    }
    return Acad::eInvalidInput;
}
