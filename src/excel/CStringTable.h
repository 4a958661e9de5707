// Rows of texts read from a worksheet.
#pragma once

#include "afx.h"

// A row of texts; a class of its own so it can be an element with a virtual destructor.
class CStringArrayEx : public CStringArray {
public:
    CStringArrayEx() = default;
    CStringArrayEx(const CStringArrayEx&) = default;
    CStringArrayEx& operator=(const CStringArrayEx&) = default;
    // A table's rows move when it grows.
    CStringArrayEx(CStringArrayEx&&) = default;
    CStringArrayEx& operator=(CStringArrayEx&&) = default;
    virtual ~CStringArrayEx() = default;

    // Searches inward from both ends at once; the index of a match, or -1. With repeats
    // the result is not the first occurrence as a rule.
    int FindString(CString text, BOOL ignoreCase) const;
};

// One row per worksheet row of the block, each with one text per column; 0-based.
class CStringTable : public CArray<CStringArrayEx, CStringArrayEx&> {
    DECLARE_DYNAMIC(CStringTable)

public:
    CStringTable() = default;
    ~CStringTable() override = default;
    // Never persisted: the table lives for one command.
    void Serialize(CArchive& archive) override;
    // Rectangular by construction: every row as long as the first.
    void AssertValid() const override;
    void Dump(CDumpContext& context) const override;

    // The address the table was read from.
    CString m_strAddress;
};
