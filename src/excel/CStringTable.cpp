#include "excel/CStringTable.h"

#include <cassert>

IMPLEMENT_DYNAMIC(CStringTable, CObject)

void CStringTable::Serialize(CArchive& archive) {
    CObject::Serialize(archive);
}

void CStringTable::AssertValid() const {
    CObject::AssertValid();
    for (INT_PTR r = 1; r < GetSize(); ++r)
        assert(GetAt(r).GetSize() == GetAt(0).GetSize());
}

void CStringTable::Dump(CDumpContext& context) const {
    CObject::Dump(context);
    context << L"\nm_strAddress = " << m_strAddress.GetString() << L"\nrows = "
            << static_cast<long long>(GetSize());
}

int CStringArrayEx::FindString(CString text, BOOL ignoreCase) const {
    INT_PTR i = 0;
    INT_PTR j = GetSize() - 1;
    while (i <= j) {
        const CString& front = GetAt(i);
        if ((ignoreCase ? front.CompareNoCase(text) : front.Compare(text)) == 0)
            return static_cast<int>(i);
        const CString& back = GetAt(j);
        if ((ignoreCase ? back.CompareNoCase(text) : back.Compare(text)) == 0)
            return static_cast<int>(j);
        ++i;
        --j;
    }
    return -1;
}
