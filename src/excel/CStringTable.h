// Rows of texts read from a worksheet.
#pragma once

#include "afx.h"

// A row of texts; a class of its own so it can be an element with a virtual destructor.
class CStringArrayEx : public CStringArray {
public:
    CStringArrayEx() = default;
    CStringArrayEx(const CStringArrayEx&) = default;
    CStringArrayEx& operator=(const CStringArrayEx&) = default;
    virtual ~CStringArrayEx() = default;

    // Searches inward from both ends at once; the index of a match, or -1. With repeats
    // the result is not the first occurrence as a rule.
    int FindString(CString text, BOOL ignoreCase) const;
};

class CArchive;

// One row per worksheet row of the block, each with one text per column; 0-based.
class CStringTable : public CArray<CStringArrayEx, CStringArrayEx&>, public CObject {
public:
    CStringTable() = default;
    ~CStringTable() override = default;
    // Never persisted: the table lives for one command.
    virtual void Serialize(CArchive&) {}

    // The address the table was read from.
    CString m_strAddress;
};
