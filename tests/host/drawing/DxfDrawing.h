// Drawings for the DXF tests: one that holds every kind of object the model keeps, and a
// description of a drawing's content through the model's own reads, to compare drawings
// before a save and after an open.
#pragma once

#include <memory>
#include <string>

#include "dbmain.h"

namespace dxftest {

// Fills a database (the default drawing) with: registered applications, a second text
// style, a table style, tables (cell texts with format codes and control characters, cell
// styles, heights, sizes, a suppressed title), plain and dynamic blocks (every property
// kind, ranges, allowed values, read-only), nested references in model space, paper space
// and a second layout, xdata of every kind, parameters in the networks of two spaces
// (forward references, descriptions, an unnamed one), a line, UCS and text size.
void buildRichDrawing(AcDbDatabase* db);

// A drawing of the given size for the speed checks: parameters in model space, each linked
// to a cell of column A of Sizes.xlsx beside the drawing (row i + 1); references of a dynamic
// block whose Width and Finish link to columns B and C; one table of ten columns.
void buildLargeDrawing(AcDbDatabase* db, int parameters, int references, int cells);

// The content of a drawing as text, one line per fact, in the model's order.
std::wstring describe(AcDbDatabase* db);

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& bytes);

} // namespace dxftest
