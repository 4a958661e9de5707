#include "exchange/ADNAssocSampleUtils.h"

#include "dbdynblk.h"
#include "links/BlockReferences.h"
#include "links/LinkStore.h"
#include "links/TableLinks.h"

namespace {

// "name:expression" at the first colon; a colon at the start, or none, gives no entry.
bool splitAtFirstColon(const CString& text, CString& left, CString& right) {
    int colon = text.Find(L':');
    if (colon <= 0)
        return false;
    left = text.Left(colon);
    right = text.Mid(colon + 1);
    return true;
}

void addBlockEntries(CStringArray& names, CStringArray& expressions) {
    forEachBlockReference([&](AcDbBlockReference* reference) {
        wchar_t handle[260] = {0};
        reference->objectId().handle().getIntoAsciiBuffer(handle);
        CStringArray texts;
        if (AcDbDynBlockReference(reference).isDynamicBlock()) {
            getAllLinkTexts(reference, kDirectLinkApp, texts);
            for (INT_PTR i = 0; i < texts.GetSize(); ++i) {
                CString property, expression;
                if (!splitAtFirstColon(texts[i], property, expression))
                    continue;
                CString name;
                name.Format(L"%s%s%s", handle, L".", static_cast<const wchar_t*>(property));
                names.Add(name);
                expressions.Add(expression);
            }
        }
        // A plain block has no properties of its own, yet its nested links still count.
        texts.RemoveAll();
        getAllLinkTexts(reference, kNestedLinkApp, texts);
        for (INT_PTR i = 0; i < texts.GetSize(); ++i) {
            CString left, expression;
            if (!splitAtFirstColon(texts[i], left, expression))
                continue;
            CString nested, property = left;
            int separator = left.Find(kNestedSeparator);
            if (separator >= 0) {
                nested = left.Left(separator);
                property = left.Mid(separator + 1);
            }
            CString name;
            name.Format(L"%s%s%s%s%s", handle, L"|", static_cast<const wchar_t*>(nested), L".",
                        static_cast<const wchar_t*>(property));
            names.Add(name);
            expressions.Add(expression);
        }
    });
}

} // namespace

Acad::ErrorStatus enumerateParameters(CStringArray& names, CStringArray& expressions,
                                      int includeBlocks) {
    {
        AcDbObjectPointer<AcDbAssocNetwork> network;
        Acad::ErrorStatus es = openCurrentSpaceNetwork(network);
        if (es != Acad::eOk)
            return es;
        forEachVariable(network.object(), [&](AcDbAssocVariable* variable) {
            names.Add(variable->name().kwszPtr());
            // Every name gets its entry, an empty one too, so the arrays keep in step.
            CString expression;
            getFirstLinkText(variable, expression);
            expressions.Add(expression);
        });
    }
    if (!includeBlocks)
        return Acad::eOk;
    addBlockEntries(names, expressions);
    return Acad::eOk;
}
