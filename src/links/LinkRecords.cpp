#include "links/LinkRecords.h"

#include "links/BlockReferences.h"

#include <algorithm>
#include <cwchar>
#include <utility>
#include <vector>

#include "acdocman.h"
#include "acedads.h"
#include "acutads.h"
#include "adscodes.h"
#include "dbdynblk.h"
#include "dbents.h"
#include "links/LinkStore.h"
#include "links/TableLinks.h"
#include "links/UpdateCommand.h"
#include "oleauto.h"
#include "shlwapi.h"

namespace {

// A relative workbook path is taken from the folder of the active drawing; a drawing never
// saved reports an empty name, and the path then stays as it is apart from canonicalizing.
// The drawing's name is never cut to fit: a cut name loses its last folders and would
// lead to a workbook of the same name in a parent folder. The path calls refuse what does
// not fit in MAX_PATH, and what canonicalizing gives (nothing, when it fails) is the path.
CString resolveAgainstDrawing(const CString& path) {
    AcApDocument* document = acDocManager ? acDocManager->curDocument() : nullptr;
    const wchar_t* name = document && document->fileName() ? document->fileName() : L"";
    std::vector<wchar_t> folder(std::max<size_t>(std::wcslen(name) + 2, MAX_PATH), 0);
    std::wcscpy(folder.data(), name);
    PathRemoveFileSpecW(folder.data());
    PathAddBackslashW(folder.data());
    CString joined = CString(folder.data()) + path;
    wchar_t canonical[MAX_PATH] = {0};
    PathCanonicalizeW(canonical, joined);
    return canonical;
}

// Appends the record by moving its texts into a new last element, which grows the array by
// the same rule as Add, without copying every text of each record once more.
void append(CLinkedParameterXlsInfoArray& links, CLinkedParameterXlsInfo& record) {
    INT_PTR at = links.GetSize();
    links.SetSize(at + 1);
    links[at] = std::move(record);
}

void addParameterLinks(CLinkedParameterXlsInfoArray& links, const AcDbAssocNetwork* network) {
    forEachVariable(network, [&links](AcDbAssocVariable* variable) {
        CString text;
        if (!getFirstLinkText(variable, text) || text.IsEmpty())
            return;
        CLinkedParameterXlsInfo record;
        // A table link holds no asterisk and ends here.
        if (!record.ParseCellExpression(text))
            return;
        record.objectId = variable->objectId();
        record.name = variable->name();
        append(links, record);
    });
}

void addDirectLinks(CLinkedParameterXlsInfoArray& links, AcDbBlockReference* reference) {
    CStringArray texts;
    getAllLinkTexts(reference, kDirectLinkApp, texts);
    for (INT_PTR i = 0; i < texts.GetSize(); ++i) {
        CString property, expression;
        if (!splitLinkText(texts[i], property, expression))
            continue;
        CLinkedParameterXlsInfo record;
        if (!record.ParseCellExpression(expression))
            continue;
        record.objectId = reference->objectId();
        record.name = static_cast<const wchar_t*>(property);
        record.isBlockProperty = 1;
        append(links, record);
    }
}

void addNestedLinks(CLinkedParameterXlsInfoArray& links, AcDbBlockReference* reference) {
    CStringArray texts;
    getAllLinkTexts(reference, kNestedLinkApp, texts);
    if (texts.GetSize() > 0)
        regenNeeded = true;
    AcDbObjectId objectId = reference->objectId();
    for (INT_PTR i = 0; i < texts.GetSize(); ++i) {
        CString left, expression;
        if (!splitLinkText(texts[i], left, expression))
            continue;
        CString property;
        nestedReferenceOrKeep(left, property, objectId);
        CLinkedParameterXlsInfo record;
        if (!record.ParseCellExpression(expression))
            continue;
        record.objectId = objectId;
        record.name = static_cast<const wchar_t*>(property);
        record.isBlockProperty = 1;
        append(links, record);
    }
}

void addBlockLinks(CLinkedParameterXlsInfoArray& links) {
    forEachBlockReference([&](AcDbBlockReference* reference) {
        // A plain block has no properties of its own, yet its nested links still count.
        if (AcDbDynBlockReference(reference).isDynamicBlock())
            addDirectLinks(links, reference);
        addNestedLinks(links, reference);
    });
}

} // namespace

int CLinkedParameterXlsInfo::ParseCellExpression(CString expression) {
    CString fields[4];
    splitWorkbookExpression(expression, fields);
    workbookPath = fields[0];
    sheetName = fields[1];
    cellAddress = fields[2];
    if (!fields[3].IsEmpty()) {
        DATE date = 0;
        HRESULT hr = VarDateFromStr(fields[3], LOCALE_USER_DEFAULT, 0, &date);
        if (SUCCEEDED(hr)) {
            timestamp = COleDateTime(date);
        } else {
            timestamp.m_dt = hr == DISP_E_TYPEMISMATCH ? 0.0 : -1.0;
            timestamp.SetStatus(COleDateTime::invalid);
        }
    }
    if (workbookPath.IsEmpty() || sheetName.IsEmpty() || cellAddress.IsEmpty())
        return 0;
    if (PathIsRelativeW(workbookPath))
        workbookPath = resolveAgainstDrawing(workbookPath);
    if (PathFileExistsW(workbookPath))
        return 1;
    acutPrintf(L"\nCannot find %s. Skip it.", static_cast<const wchar_t*>(workbookPath));
    return 0;
}

Acad::ErrorStatus collectWorkbookLinks(CLinkedParameterXlsInfoArray& links) {
    AcDbObjectPointer<AcDbAssocNetwork> network;
    Acad::ErrorStatus es = openCurrentSpaceNetwork(network);
    if (es != Acad::eOk)
        return es;
    addParameterLinks(links, network.object());
    addBlockLinks(links);
    return Acad::eOk;
}
