#include "exchange/ADNAssocSampleUtils.h"

#include "dbdynblk.h"
#include "links/BlockReferences.h"
#include "links/LinkStore.h"
#include "links/TableLinks.h"

namespace {

void addBlockEntries(CStringArray& names, CStringArray& expressions) {
    forEachBlockReference([&](AcDbBlockReference* reference) {
        wchar_t handle[260] = {0};
        reference->objectId().handle().getIntoAsciiBuffer(handle);
        CStringArray texts;
        if (AcDbDynBlockReference(reference).isDynamicBlock()) {
            getAllLinkTexts(reference, kDirectLinkApp, texts);
            for (INT_PTR i = 0; i < texts.GetSize(); ++i) {
                CString property, expression;
                if (!splitLinkText(texts[i], property, expression))
                    continue;
                names.Add(propertyLinkName(handle, property));
                expressions.Add(expression);
            }
        }
        // A plain block has no properties of its own, yet its nested links still count.
        texts.RemoveAll();
        getAllLinkTexts(reference, kNestedLinkApp, texts);
        for (INT_PTR i = 0; i < texts.GetSize(); ++i) {
            CString left, expression;
            if (!splitLinkText(texts[i], left, expression))
                continue;
            // Without a separator the name reads "<handle>|.<text>".
            CString nested, property;
            splitNestedPart(left, nested, property);
            names.Add(nestedLinkName(handle, nested, property));
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
