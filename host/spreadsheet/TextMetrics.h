// Widths on screen: of a text in the default font and of columns, as the spreadsheet
// program measures them for display and AutoFit.
#pragma once

#include <string>
#include <string_view>

namespace spreadsheet {

// Approximate width in pixels of a text in the default font (Calibri 11 at 96 dpi).
int textPixels(std::wstring_view text);
// The row of "#" that fills a cell too narrow for its number.
std::wstring hashFill(int contentPixels);

// Pixels of a column width in characters (as stored in the file), and back.
int columnPixels(double widthChars);
double columnWidthFromPixels(int pixels);
constexpr int kCellPaddingPixels = 5;

} // namespace spreadsheet
