#include "links/LinkText.h"

#include "acedads.h"
#include "adscodes.h"
#include "support/PatternMatcher.h"

// Stored in drawings: kept to the letter.
const wchar_t* const kDirectLinkApp = L"LMESH_EXPRESSION_AD66626A";
const wchar_t* const kNestedLinkApp = L"LMESH_EXPRESSION_368AE0D";

namespace {

// Handle and cell address of a table Cell Expression; case counts here.
const wchar_t* const kTablePattern = L"Table\\({[a-zA-Z0-9]+}\\)\\.{[a-zA-Z0-9\\$]+}";

// The id of the entity with that handle goes to id; with none, id is left alone.
void lookUpHandle(const CString& handle, AcDbObjectId& id) {
    ads_name entity = {0, 0};
    if (acdbHandEnt(handle, entity) == RTNORM)
        acdbGetObjectId(id, entity);
}

} // namespace

bool splitLinkText(const CString& text, CString& left, CString& expression) {
    // A drive letter comes after the property name, so the first colon is the separator.
    int colon = text.Find(L':');
    if (colon <= 0)
        return false;
    left = text.Left(colon);
    expression = text.Mid(colon + 1);
    return true;
}

bool splitNestedPart(const CString& left, CString& handle, CString& property) {
    int separator = left.Find(kNestedSeparator);
    if (separator < 0) {
        handle.Empty();
        property = left;
        return false;
    }
    handle = left.Left(separator);
    property = left.Mid(separator + 1);
    return true;
}

CString composeDirectLinkText(const CString& property, const CString& expression) {
    return property + L":" + expression;
}

CString composeNestedLinkText(const CString& nestedHandle, const CString& property,
                              const CString& expression) {
    return nestedHandle + kNestedSeparator + property + L":" + expression;
}

AcDbObjectId nestedReferenceOrNull(const CString& left, CString& property) {
    CString handle;
    AcDbObjectId id;
    if (splitNestedPart(left, handle, property))
        lookUpHandle(handle, id);
    return id;
}

void nestedReferenceOrKeep(const CString& left, CString& property, AcDbObjectId& id) {
    CString handle;
    if (splitNestedPart(left, handle, property))
        lookUpHandle(handle, id);
}

LinkName parseLinkName(const CString& name) {
    LinkName parsed;
    int dot = name.Find(L'.');
    if (dot < 0) {
        parsed.name = name;
        return parsed;
    }
    parsed.kind = LinkName::Property;
    parsed.handle = name.Left(dot);
    parsed.name = name.Mid(dot + 1);
    int bar = parsed.handle.Find(L'|');
    if (bar >= 0) {
        parsed.kind = LinkName::NestedProperty;
        parsed.nestedHandle = parsed.handle.Mid(bar + 1);
        parsed.handle = parsed.handle.Left(bar);
    }
    return parsed;
}

CString propertyLinkName(const CString& handle, const CString& property) {
    return handle + L"." + property;
}

CString nestedLinkName(const CString& outerHandle, const CString& nestedHandle,
                       const CString& property) {
    return outerHandle + L"|" + nestedHandle + L"." + property;
}

bool matchTableExpression(const CString& expression, CString& handle, CString& address) {
    if (expression.IsEmpty())
        return false;
    CStringArray groups;
    if (ApplyPattern(expression, kTablePattern, groups) != 1 || groups.GetSize() != 2)
        return false;
    handle = groups[0];
    address = groups[1];
    return true;
}

bool tableAddressOf(const CString& expression, const CString& handle, CString& address) {
    CString prefix;
    prefix.Format(L"Table(%s).", static_cast<const wchar_t*>(handle));
    prefix.MakeUpper();
    CString upper = expression;
    upper.MakeUpper();
    if (upper.Find(prefix) != 0)
        return false;
    address = expression.Mid(prefix.GetLength());
    return true;
}

void splitWorkbookExpression(const CString& expression, CString (&fields)[4]) {
    for (CString& field : fields)
        field.Empty();
    // Splitting ends at the first empty token, as Tokenize gives one only at the end.
    int position = 0;
    for (CString& field : fields) {
        field = expression.Tokenize(L"*", position);
        if (field.IsEmpty())
            break;
    }
}
