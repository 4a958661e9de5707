// The texts a link is stored and named by. Every reader and writer of links takes them apart
// and puts them together here, so that the stored form lives in one place.
//
// Stored under kDirectLinkApp:  the Cell Expression (on a parameter), or
//                               "<property>:<Cell Expression>" (on a block reference).
// Stored under kNestedLinkApp:  "<nestedHandle>\x1D<property>:<Cell Expression>", on the
//                               reference whose block holds the nested one.
// Link names:                   "<parameter>", "<handle>.<property>",
//                               "<outerHandle>|<nestedHandle>.<property>".
// Cell Expressions:             "<file>*<sheet>*<cell>[*<date>]" or "Table(<handle>).<cell>".
#pragma once

#include "afx.h"
#include "dbmain.h"

// Direct links: a parameter's link, or the properties of the block reference itself.
extern const wchar_t* const kDirectLinkApp;
// Links of properties of a reference nested in the block of the one carrying the xdata.
extern const wchar_t* const kNestedLinkApp;
// Between handle and property name in a nested link text.
constexpr wchar_t kNestedSeparator = 0x1D;

// ---- Stored texts of block references

// Splits "<left>:<expression>" at the first colon, which must not be the first character.
bool splitLinkText(const CString& text, CString& left, CString& expression);

// Splits the left part of a nested text at its first separator: true with the handle before
// it and the property behind it; without one, false, with no handle and the whole as property.
bool splitNestedPart(const CString& left, CString& handle, CString& property);

// "<property>:<expression>", as a direct property link is stored.
CString composeDirectLinkText(const CString& property, const CString& expression);
// "<nestedHandle>\x1D<property>:<expression>", as a nested property link is stored.
CString composeNestedLinkText(const CString& nestedHandle, const CString& property,
                              const CString& expression);

// The nested reference and the property that the left part of a nested text names, in the two
// readings the plug-in has kept apart for a handle that is missing or cannot be looked up.
// The table refresh has nowhere to fall back to: a null id, so the entry is passed over.
AcDbObjectId nestedReferenceOrNull(const CString& left, CString& property);
// The link collection keeps the id it had (at first the outer reference's), so the property
// is then looked for on that block.
void nestedReferenceOrKeep(const CString& left, CString& property, AcDbObjectId& id);

// ---- Link names

struct LinkName {
    enum Kind { Parameter, Property, NestedProperty };
    Kind kind = Parameter;
    // The parameter's name, or the bare property name.
    CString name;
    // The reference that carries the xdata; empty for a parameter.
    CString handle;
    // The nested reference, for a nested property.
    CString nestedHandle;
};

// Takes a link name apart: at the first "." and, left of it, at the first "|".
LinkName parseLinkName(const CString& name);

// "<handle>.<property>".
CString propertyLinkName(const CString& handle, const CString& property);
// "<outerHandle>|<nestedHandle>.<property>".
CString nestedLinkName(const CString& outerHandle, const CString& nestedHandle,
                       const CString& property);

// ---- Cell Expressions

// The table form in the two readings the plug-in has kept apart.
// The update command's: the form found by the table pattern anywhere in the text, with its case
// heeded, so "table(1F).$B$2" is no table link there.
bool matchTableExpression(const CString& expression, CString& handle, CString& address);
// The live refresh's: the text begins with "Table(<handle>)." in any case, and the address is
// the whole rest; the handle is the changed table's own.
bool tableAddressOf(const CString& expression, const CString& handle, CString& address);

// The fields of a workbook expression as CString::Tokenize gives them at "*": a run of asterisks
// is one separator, so an empty field shifts the later ones forward. Missing fields stay empty.
void splitWorkbookExpression(const CString& expression, CString (&fields)[4]);