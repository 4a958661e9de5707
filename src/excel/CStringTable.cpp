#include "excel/CStringTable.h"

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
