#include "spreadsheet/TextMetrics.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace spreadsheet {

int textPixels(std::wstring_view text) {
    int px = 0;
    for (wchar_t c : text) {
        if (c >= L'0' && c <= L'9')
            px += 7;
        else if (c == L'.' || c == L',' || c == L':' || c == L';' || c == L'\'' || c == L'!' ||
                 c == L'|' || c == L'i' || c == L'l' || c == L'I' || c == L'j')
            px += 4;
        else if (c == L' ' || c == L'(' || c == L')' || c == L'[' || c == L']' || c == L'/' ||
                 c == L'-' || c == L'f' || c == L't' || c == L'r')
            px += 4;
        else if (c == L'%' || c == L'm' || c == L'w' || c == L'M' || c == L'W' || c == L'@')
            px += 11;
        else if (c >= 0x2E80) // CJK and wider scripts
            px += 15;
        else
            px += 7;
    }
    return px;
}

std::wstring hashFill(int contentPixels) {
    if (contentPixels < 0)
        return L"#";
    return std::wstring(std::size_t(contentPixels / 7), L'#');
}

int columnPixels(double widthChars) {
    if (!(widthChars > 0))
        return 0;
    widthChars = std::min(widthChars, 255.0);
    return int(std::trunc((256.0 * widthChars + std::trunc(128.0 / 7)) / 256.0 * 7));
}

double columnWidthFromPixels(int pixels) {
    return std::trunc(double(pixels) / 7 * 256) / 256;
}

} // namespace spreadsheet
