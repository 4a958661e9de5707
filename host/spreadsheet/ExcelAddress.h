// The addresses of Excel's automation: areas as Range reads them and as Address writes
// them.
#pragma once

#include "spreadsheet/Workbook.h"

#include <string>
#include <vector>

namespace excelhost::automation {

bool parseArea(const std::wstring& text, spreadsheet::RangeRef& out);
bool resolveAddress(spreadsheet::Workbook& wb, int sheet, std::wstring text,
                    std::vector<spreadsheet::RangeRef>& areas);
std::wstring addressOf(const spreadsheet::RangeRef& r, bool rowAbs, bool colAbs, bool r1c1);

} // namespace excelhost::automation
