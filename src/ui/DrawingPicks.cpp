// The manager's picks in the drawing: a cell of a table, and a dynamic block with one of its
// properties. Neither makes a link; the user presses Add afterwards.
#include "ui/DrawingPicks.h"

#include "aced.h"
#include "acedads.h"
#include "acutads.h"
#include "dbapserv.h"
#include "dbdynblk.h"
#include "dbents.h"
#include "dbidar.h"
#include "dbsymtb.h"
#include "dbtable.h"
#include "excel/ExcelUtils.h"
#include "support/ArxUtils.h"
#include "ui/DynaBlockParameterDialog.h"
#include "ui/ParametersManagerDialog.h"

namespace {

const wchar_t* const kLongTitle = L"Norvane Linkmesh";

// The property types whose values a cell's text can give.
bool isLinkableType(AcDb::DwgDataType type) {
    return (type >= AcDb::kDwgReal && type <= AcDb::kDwgText) || type == AcDb::kDwgInt64;
}

CString handleText(AcDbObjectId id) {
    wchar_t text[260] = {0};
    id.handle().getIntoAsciiBuffer(text);
    return text;
}

} // namespace

void CParametersManagerDialog::pickTableCell() {
    BeginEditorCommand();
    int savedMode = 0;
    if (ArxUtils::getOsnapMode(savedMode) != Acad::eOk)
        savedMode = 0;
    // A snap would move the click off the cell the user aimed at.
    ArxUtils::setOsnapMode(static_cast<short>(0));
    ads_point picked;
    int result = acedGetPoint(nullptr, L"\nSelect table cell:", picked);
    ArxUtils::setOsnapMode(static_cast<short>(savedMode));
    CompleteEditorCommand(1);
    if (result != RTNORM)
        return;

    AcDbDatabase* db = acdbHostApplicationServices()->workingDatabase();
    AcGeMatrix3d ucs;
    if (!acdbUcsMatrix(ucs, db))
        ucs.setToIdentity();
    AcGePoint3d point(picked[0], picked[1], picked[2]);
    point.transformBy(ucs);

    resbuf* filter = acutBuildList(RTDXF0, L"ACAD_TABLE", 0);
    ads_name selection = {0, 0};
    acedSSGet(L"X", nullptr, nullptr, filter, selection);
    acutRelRb(filter);
    Adesk::Int32 count = 0;
    if (acedSSLength(selection, &count) != RTNORM || count <= 0) {
        acedSSFree(selection);
        return;
    }

    AcGeVector3d viewDirection = AcGeVector3d::kZAxis;
    AcDbViewport* viewport = nullptr;
    if (acdbOpenObject(viewport, acedGetCurViewportObjectId(), AcDb::kForRead) == Acad::eOk) {
        viewDirection = viewport->viewDirection();
        viewport->close();
    }

    bool hit = false;
    int row = -1, column = -1;
    wchar_t handle[260] = {0};
    for (Adesk::Int32 i = 0; i < count && !hit; ++i) {
        ads_name entity;
        AcDbObjectId id;
        if (acedSSName(selection, i, entity) != RTNORM || acdbGetObjectId(id, entity) != Acad::eOk)
            continue;
        AcDbTable* table = nullptr;
        if (acdbOpenObject(table, id, AcDb::kForRead) != Acad::eOk)
            continue;
        // Only what the user sees can be clicked: tables of the current space.
        if (table->ownerId() != db->currentSpaceId() ||
            !table->hitTest(point, viewDirection, 0.0, 0.0, row, column)) {
            table->close();
            continue;
        }
        AcDbHandle tableHandle;
        table->getAcDbHandle(tableHandle);
        tableHandle.getIntoAsciiBuffer(handle);
        table->close();
        hit = true;
    }
    acedSSFree(selection);
    if (!hit || row < 0 || column < 0 || handle[0] == L'\0')
        return;

    CString address = ExcelUtils::GetCellAddress(row + 1, column + 1);
    cellExpression.Format(L"Table(%s).%s", handle, static_cast<const wchar_t*>(address));
    UpdateData(FALSE);
}

int selectDynamicBlock(AcDbObjectId& firstReferenceId, AcDbObjectId& lastReferenceId) {
    const ACHAR* prompts[2] = {L"\nSelect a dynamic block:", L""};
    ads_name selection = {0, 0};
    if (acedSSGet(L"_:n:$:S", prompts, nullptr, nullptr, selection) != RTNORM)
        return RTERROR;
    acutPrintf(L"\n");
    AcDbObjectIdArray finds;
    Adesk::Int32 count = 0;
    acedSSLength(selection, &count);
    for (int i = 0; i < count; ++i) {
        resbuf* chain = nullptr;
        if (acedSSNameX(&chain, selection, i) != RTNORM)
            continue;
        // From the picked entity outward through the references that hold it.
        for (resbuf* rb = chain; rb; rb = rb->rbnext) {
            if (rb->restype != RTENAME)
                continue;
            AcDbObjectId id;
            if (acdbGetObjectId(id, rb->resval.rlname) != Acad::eOk)
                continue;
            acutPrintf(L"Entity %d: ", i);
            AcDbObject* object = nullptr;
            if (acdbOpenObject(object, id, AcDb::kForRead) != Acad::eOk) {
                acutPrintf(L"\nCouldn't open object");
                continue;
            }
            acutPrintf(L"(%s)\n", object->isA()->name());
            if (object->isA()->isDerivedFrom(AcDbBlockReference::desc())) {
                AcDbDynBlockReference reference(static_cast<AcDbBlockReference*>(object));
                if (reference.isDynamicBlock()) {
                    AcDbBlockTableRecord* record = nullptr;
                    if (acdbOpenObject(record, reference.dynamicBlockTableRecord(),
                                       AcDb::kForRead) != Acad::eOk) {
                        acutPrintf(L"\nCouldn't open block");
                    } else {
                        const ACHAR* name = nullptr;
                        record->getName(name);
                        acutPrintf(L"(block name: %s)\n", name ? name : L"");
                        record->close();
                        finds.append(id);
                    }
                }
            }
            object->close();
        }
        acutRelRb(chain);
    }
    acedSSFree(selection);
    if (finds.isEmpty())
        return RTERROR;
    // The innermost and the outermost; any between them play no part.
    firstReferenceId = finds[0];
    lastReferenceId = finds[finds.length() - 1];
    return RTNORM;
}

void CParametersManagerDialog::pickDynamicBlock() {
    AcDbObjectId firstReferenceId, lastReferenceId;
    BeginEditorCommand();
    int result = selectDynamicBlock(firstReferenceId, lastReferenceId);
    CompleteEditorCommand(1);
    if (result != RTNORM || !firstReferenceId.isValid())
        return;

    CString handle = handleText(firstReferenceId);
    if (firstReferenceId != lastReferenceId)
        handle = handleText(lastReferenceId) + L"|" + handle;

    // Open from here to the end, across the Dynamic Block dialog.
    AcDbObjectPointer<AcDbBlockReference> reference(firstReferenceId, AcDb::kForRead);
    if (reference.openStatus() != Acad::eOk) {
        MessageBox(L"Invalid block reference.", kLongTitle, MB_ICONINFORMATION);
        return;
    }
    AcDbDynBlockReference dynamic(reference.object());
    if (!dynamic.isDynamicBlock()) {
        MessageBox(L"Invalid dynamic block.", kLongTitle, MB_ICONINFORMATION);
        return;
    }
    CString name;
    ArxUtils::getSymbolName(dynamic.dynamicBlockTableRecord(), name);

    CDynaBlockParameterDialog dialog(nullptr);
    dialog.handle = handle;
    dialog.blockName = name;
    AcDbDynBlockReferencePropertyArray properties;
    dynamic.getBlockProperties(properties);
    for (int i = 0; i < properties.length(); ++i) {
        if (!isLinkableType(properties[i].propertyType()))
            continue;
        CString property = properties[i].propertyName().kwszPtr();
        if (dialog.parameters.FindString(property, FALSE) < 0)
            dialog.parameters.Add(property);
    }
    if (dialog.parameters.GetSize() == 0) {
        MessageBox(L"The dynamic block doesn't have any parameters.", kLongTitle,
                   MB_ICONINFORMATION);
        return;
    }
    if (dialog.DoModal() != IDOK || dialog.selectedParameter.IsEmpty())
        return;

    // Every linkable property becomes a choice; the chosen one is selected.
    for (INT_PTR i = 0; i < dialog.parameters.GetSize(); ++i) {
        CString linkName;
        linkName.Format(L"%s%s%s", static_cast<const wchar_t*>(handle), L".",
                        static_cast<const wchar_t*>(dialog.parameters[i]));
        int index = parameterCombo.FindStringExact(-1, linkName);
        if (index == CB_ERR)
            index = parameterCombo.AddString(linkName);
        if (dialog.parameters[i].CompareNoCase(dialog.selectedParameter) == 0)
            parameterCombo.SetCurSel(index);
    }
    blockName = name;
    UpdateData(FALSE);
}
