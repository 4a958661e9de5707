// Table entities and table styles.
#include <cmath>
#include <cwctype>
#include <string>
#include <vector>

#include "dbtable.h"
#include "drawing/Tables.h"
#include "sdk/Database.h"

ACRX_DEFINE_MEMBERS(AcDbTable, AcDbBlockReference)
ACRX_DEFINE_MEMBERS(AcDbTableStyle, AcDbObject)

namespace {

using drawing::kDefaultColumnWidth;
using drawing::kDefaultRowHeight;
using drawing::kMaxCells;

Acad::ErrorStatus writable(const AcDbObject* object) {
    return object->isWriteEnabled() ? Acad::eOk : Acad::eNotOpenForWrite;
}

bool sizeOk(double v) {
    return v > 0 && std::isfinite(v);
}

// The text of a stacked fraction "\S1/2;" or "\S1^2;": the parts joined by '/'.
size_t stacked(const std::wstring& in, size_t i, std::wstring& out) {
    for (; i < in.size() && in[i] != L';'; ++i) {
        if (in[i] == L'\\' && i + 1 < in.size()) {
            out += in[++i];
            continue;
        }
        out += (in[i] == L'^' || in[i] == L'#') ? L'/' : in[i];
    }
    return i; // at the ';' or the end
}

} // namespace

namespace drawing {

std::wstring stripMtextFormat(const std::wstring& in) {
    std::wstring out;
    out.reserve(in.size());
    for (size_t i = 0; i < in.size(); ++i) {
        wchar_t c = in[i];
        if (c == L'{' || c == L'}')
            continue;
        if (c != L'\\' || i + 1 >= in.size()) {
            out += c;
            continue;
        }
        wchar_t code = in[++i];
        switch (code) {
        case L'\\':
        case L'{':
        case L'}':
            out += code;
            break;
        case L'P':
            out += L'\n';
            break;
        case L'~':
            out += L'\u00A0';
            break;
        case L'L':
        case L'l':
        case L'O':
        case L'o':
        case L'K':
        case L'k':
        case L'N':
            break;
        case L'S':
            i = stacked(in, i + 1, out);
            break;
        case L'U':
            if (i + 5 < in.size() + 0 && in[i + 1] == L'+') {
                unsigned value = 0;
                size_t j = i + 2;
                for (; j < in.size() && j < i + 6 && std::iswxdigit(in[j]); ++j)
                    value = value * 16 + (std::iswdigit(in[j]) ? in[j] - L'0'
                                                               : std::towupper(in[j]) - L'A' + 10);
                if (j == i + 6) {
                    out += static_cast<wchar_t>(value);
                    i = j - 1;
                    break;
                }
            }
            out += code;
            break;
        case L'f':
        case L'F':
        case L'H':
        case L'W':
        case L'Q':
        case L'T':
        case L'A':
        case L'C':
        case L'c':
        case L'p': {
            // A code with an argument runs to its ';'.
            size_t end = in.find(L';', i);
            i = end == std::wstring::npos ? in.size() : end;
            break;
        }
        default:
            out += code;
            break;
        }
    }
    return out;
}

} // namespace drawing

// ---------------------------------------------------------------------------------------

AcDbTable::AcDbTable() : m_data(new Data) {}
AcDbTable::~AcDbTable() {
    delete m_data;
}

AcDbObjectId AcDbTable::tableStyle() const {
    assertReadEnabled();
    if (m_data->style.isNull() && database())
        return database()->tablestyle();
    return m_data->style;
}

Acad::ErrorStatus AcDbTable::setTableStyle(AcDbObjectId styleId) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    if (styleId.objectClass() != AcDbTableStyle::desc())
        return Acad::eWrongObjectType;
    assertWriteEnabled();
    m_data->style = styleId;
    return Acad::eOk;
}

int AcDbTable::numRows() const {
    assertReadEnabled();
    return m_data->rows;
}
int AcDbTable::numColumns() const {
    assertReadEnabled();
    return m_data->columns;
}

Acad::ErrorStatus AcDbTable::setSize(int rows, int columns) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    if (rows < 1 || columns < 1 || static_cast<long long>(rows) * columns > kMaxCells)
        return Acad::eInvalidInput;
    assertWriteEnabled();
    m_data->resize(rows, columns);
    return Acad::eOk;
}

// A table being built may have rows before it has columns.
Acad::ErrorStatus AcDbTable::setNumRows(int rows) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    if (rows < 1 || static_cast<long long>(rows) * m_data->columns > kMaxCells)
        return Acad::eInvalidInput;
    assertWriteEnabled();
    m_data->resize(rows, m_data->columns);
    return Acad::eOk;
}

Acad::ErrorStatus AcDbTable::setNumColumns(int columns) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    if (columns < 1 || static_cast<long long>(columns) * m_data->rows > kMaxCells)
        return Acad::eInvalidInput;
    assertWriteEnabled();
    m_data->resize(m_data->rows, columns);
    return Acad::eOk;
}

Acad::ErrorStatus AcDbTable::insertRows(int row, double height, int rows) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    Data& d = *m_data;
    if (row < 0 || row > d.rows || rows < 1 || !sizeOk(height) ||
        (static_cast<long long>(d.rows) + rows) * d.columns > kMaxCells)
        return Acad::eInvalidInput;
    assertWriteEnabled();
    d.cells.insert(d.cells.begin() + static_cast<long>(row) * d.columns,
                   static_cast<size_t>(rows) * d.columns, Data::Cell());
    d.rowHeights.insert(d.rowHeights.begin() + row, rows, height);
    d.rows += rows;
    return Acad::eOk;
}

Acad::ErrorStatus AcDbTable::deleteRows(int row, int rows) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    Data& d = *m_data;
    if (row < 0 || rows < 1 || row + rows > d.rows || rows >= d.rows)
        return Acad::eInvalidInput;
    assertWriteEnabled();
    d.cells.erase(d.cells.begin() + static_cast<long>(row) * d.columns,
                  d.cells.begin() + static_cast<long>(row + rows) * d.columns);
    d.rowHeights.erase(d.rowHeights.begin() + row, d.rowHeights.begin() + row + rows);
    d.rows -= rows;
    return Acad::eOk;
}

Acad::ErrorStatus AcDbTable::insertColumns(int column, double width, int columns) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    Data& d = *m_data;
    if (column < 0 || column > d.columns || columns < 1 || !sizeOk(width) ||
        static_cast<long long>(d.rows) * (d.columns + columns) > kMaxCells)
        return Acad::eInvalidInput;
    assertWriteEnabled();
    std::vector<Data::Cell> next;
    next.reserve(static_cast<size_t>(d.rows) * (d.columns + columns));
    for (int r = 0; r < d.rows; ++r)
        for (int c = 0; c <= d.columns; ++c) {
            if (c == column)
                next.insert(next.end(), columns, Data::Cell());
            if (c < d.columns)
                next.push_back(std::move(d.at(r, c)));
        }
    d.cells.swap(next);
    d.columnWidths.insert(d.columnWidths.begin() + column, columns, width);
    d.columns += columns;
    return Acad::eOk;
}

Acad::ErrorStatus AcDbTable::deleteColumns(int column, int columns) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    Data& d = *m_data;
    if (column < 0 || columns < 1 || column + columns > d.columns || columns >= d.columns)
        return Acad::eInvalidInput;
    assertWriteEnabled();
    std::vector<Data::Cell> next;
    for (int r = 0; r < d.rows; ++r)
        for (int c = 0; c < d.columns; ++c)
            if (c < column || c >= column + columns)
                next.push_back(std::move(d.at(r, c)));
    d.cells.swap(next);
    d.columnWidths.erase(d.columnWidths.begin() + column,
                         d.columnWidths.begin() + column + columns);
    d.columns -= columns;
    return Acad::eOk;
}

double AcDbTable::rowHeight(int row) const {
    assertReadEnabled();
    return row >= 0 && row < m_data->rows ? m_data->rowHeights[row] : 0.0;
}

Acad::ErrorStatus AcDbTable::setRowHeight(double height) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    if (!sizeOk(height))
        return Acad::eInvalidInput;
    assertWriteEnabled();
    for (double& h : m_data->rowHeights)
        h = height;
    return Acad::eOk;
}

Acad::ErrorStatus AcDbTable::setRowHeight(int row, double height) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    if (row < 0 || row >= m_data->rows || !sizeOk(height))
        return Acad::eInvalidInput;
    assertWriteEnabled();
    m_data->rowHeights[row] = height;
    return Acad::eOk;
}

double AcDbTable::columnWidth(int column) const {
    assertReadEnabled();
    return column >= 0 && column < m_data->columns ? m_data->columnWidths[column] : 0.0;
}

Acad::ErrorStatus AcDbTable::setColumnWidth(double width) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    if (!sizeOk(width))
        return Acad::eInvalidInput;
    assertWriteEnabled();
    for (double& w : m_data->columnWidths)
        w = width;
    return Acad::eOk;
}

Acad::ErrorStatus AcDbTable::setColumnWidth(int column, double width) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    if (column < 0 || column >= m_data->columns || !sizeOk(width))
        return Acad::eInvalidInput;
    assertWriteEnabled();
    m_data->columnWidths[column] = width;
    return Acad::eOk;
}

double AcDbTable::height() const {
    assertReadEnabled();
    double sum = 0;
    for (double h : m_data->rowHeights)
        sum += h;
    return sum;
}

double AcDbTable::width() const {
    assertReadEnabled();
    double sum = 0;
    for (double w : m_data->columnWidths)
        sum += w;
    return sum;
}

bool AcDbTable::isTitleSuppressed() const {
    assertReadEnabled();
    return m_data->titleSuppressed;
}
Acad::ErrorStatus AcDbTable::suppressTitleRow(bool value) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    assertWriteEnabled();
    m_data->titleSuppressed = value;
    return Acad::eOk;
}
bool AcDbTable::isHeaderSuppressed() const {
    assertReadEnabled();
    return m_data->headerSuppressed;
}
Acad::ErrorStatus AcDbTable::suppressHeaderRow(bool value) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    assertWriteEnabled();
    m_data->headerSuppressed = value;
    return Acad::eOk;
}

AcDb::RowType AcDbTable::rowType(int row) const {
    assertReadEnabled();
    if (row < 0 || row >= m_data->rows)
        return AcDb::kUnknownRow;
    int header = m_data->titleSuppressed ? 0 : 1;
    if (row == 0 && !m_data->titleSuppressed)
        return AcDb::kTitleRow;
    if (row == header && !m_data->headerSuppressed)
        return AcDb::kHeaderRow;
    return AcDb::kDataRow;
}

AcDb::CellType AcDbTable::cellType(int row, int column) const {
    assertReadEnabled();
    return m_data->inRange(row, column) ? m_data->at(row, column).type : AcDb::kUnknownCell;
}

Acad::ErrorStatus AcDbTable::setCellType(int row, int column, AcDb::CellType type) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    if (!m_data->inRange(row, column) || type < AcDb::kTextCell ||
        type > AcDb::kMultipleContentCell)
        return Acad::eInvalidInput;
    assertWriteEnabled();
    m_data->at(row, column).type = type;
    return Acad::eOk;
}

AcString AcDbTable::textString(int row, int column) const {
    assertReadEnabled();
    return m_data->inRange(row, column) ? AcString(m_data->at(row, column).text) : AcString();
}

Acad::ErrorStatus AcDbTable::textString(int row, int column, AcValue::FormatOption option,
                                        AcString& text) const {
    assertReadEnabled();
    if (!m_data->inRange(row, column))
        return Acad::eInvalidInput;
    const Data::Cell& cell = m_data->at(row, column);
    if (cell.type == AcDb::kBlockCell) {
        text.setEmpty();
        return Acad::eOk;
    }
    text =
        (option & AcValue::kIgnoreMtextFormat) ? drawing::stripMtextFormat(cell.text) : cell.text;
    return Acad::eOk;
}

Acad::ErrorStatus AcDbTable::setTextString(int row, int column, const ACHAR* text) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    if (!m_data->inRange(row, column))
        return Acad::eInvalidInput;
    Data::Cell& cell = m_data->at(row, column);
    if (cell.type == AcDb::kBlockCell)
        return Acad::eNotApplicable;
    assertWriteEnabled();
    cell.text = text ? text : L"";
    return Acad::eOk;
}

AcString AcDbTable::cellStyle(int row, int column) const {
    assertReadEnabled();
    if (!m_data->inRange(row, column))
        return AcString();
    const std::wstring& style = m_data->at(row, column).style;
    if (!style.empty())
        return AcString(style);
    switch (rowType(row)) {
    case AcDb::kTitleRow:
        return AcString(L"_TITLE");
    case AcDb::kHeaderRow:
        return AcString(L"_HEADER");
    default:
        return AcString(L"_DATA");
    }
}

// Row or column -1 stands for all rows or all columns.
Acad::ErrorStatus AcDbTable::setCellStyle(int row, int column, const ACHAR* style) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    Data& d = *m_data;
    if (!style || !*style || row < -1 || row >= d.rows || column < -1 || column >= d.columns)
        return Acad::eInvalidInput;
    assertWriteEnabled();
    for (int r = row < 0 ? 0 : row; r < (row < 0 ? d.rows : row + 1); ++r)
        for (int c = column < 0 ? 0 : column; c < (column < 0 ? d.columns : column + 1); ++c)
            d.at(r, c).style = style;
    return Acad::eOk;
}

double AcDbTable::textHeight(int row, int column) const {
    assertReadEnabled();
    if (!m_data->inRange(row, column))
        return 0.0;
    if (m_data->at(row, column).textHeight > 0)
        return m_data->at(row, column).textHeight;
    AcDbStub* stub = tableStyle().stub();
    auto* style = stub && stub->object ? AcDbTableStyle::cast(stub->object) : nullptr;
    if (!style)
        return 0.18;
    std::wstring name = cellStyle(row, column).str();
    AcDb::RowType type = name == L"_TITLE"    ? AcDb::kTitleRow
                         : name == L"_HEADER" ? AcDb::kHeaderRow
                                              : AcDb::kDataRow;
    // The style is read in place: the host's own lookup, not the caller's open.
    if (AcDbObjectAccess::open(style, AcDb::kForRead) != Acad::eOk)
        return 0.18;
    double height = style->textHeight(type);
    style->close();
    return height;
}

Acad::ErrorStatus AcDbTable::setTextHeight(int row, int column, double height) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    if (!m_data->inRange(row, column) || !sizeOk(height))
        return Acad::eInvalidInput;
    assertWriteEnabled();
    m_data->at(row, column).textHeight = height;
    return Acad::eOk;
}

bool AcDbTable::hitTest(const AcGePoint3d& point, const AcGeVector3d& viewVector, double xAperture,
                        double yAperture, int& row, int& column) const {
    assertReadEnabled();
    const Data& d = *m_data;
    if (d.rows == 0 || d.columns == 0 || std::fabs(viewVector.z) < 1e-12 ||
        !std::isfinite(point.x) || !std::isfinite(point.y) || !std::isfinite(point.z))
        return false;
    AcGePoint3d origin = position();
    // Along the line of sight onto the table's plane, then into the table's own axes.
    double t = (origin.z - point.z) / viewVector.z;
    AcGePoint3d onPlane = point + viewVector * t;
    AcGeVector3d offset = onPlane - origin;
    double angle = rotation();
    double x = offset.x * std::cos(angle) + offset.y * std::sin(angle);
    double down = -(-offset.x * std::sin(angle) + offset.y * std::cos(angle));
    xAperture = std::fabs(xAperture);
    yAperture = std::fabs(yAperture);
    int hitColumn = -1;
    double left = 0;
    for (int c = 0; c < d.columns && hitColumn < 0; ++c) {
        double right = left + d.columnWidths[c];
        if (x >= left - xAperture && x <= right + xAperture)
            hitColumn = c;
        left = right;
    }
    int hitRow = -1;
    double top = 0;
    for (int r = 0; r < d.rows && hitRow < 0; ++r) {
        double bottom = top + d.rowHeights[r];
        if (down >= top - yAperture && down <= bottom + yAperture)
            hitRow = r;
        top = bottom;
    }
    if (hitRow < 0 || hitColumn < 0)
        return false;
    row = hitRow;
    column = hitColumn;
    return true;
}

Acad::ErrorStatus AcDbTable::setPosition(const AcGePoint3d& position) {
    return AcDbBlockReference::setPosition(position);
}

Acad::ErrorStatus AcDbTable::transformBy(const AcGeMatrix3d& xform) {
    return AcDbBlockReference::transformBy(xform);
}

// ---------------------------------------------------------------------------------------

AcDbTableStyle::AcDbTableStyle() = default;

Acad::ErrorStatus AcDbTableStyle::getName(AcString& name) const {
    assertReadEnabled();
    name = m_name;
    return Acad::eOk;
}

Acad::ErrorStatus AcDbTableStyle::setName(const ACHAR* name) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    if (!name || !*name)
        return Acad::eInvalidInput;
    assertWriteEnabled();
    m_name = name;
    return Acad::eOk;
}

namespace {
int slotOf(AcDb::RowType rowType) {
    return rowType == AcDb::kTitleRow ? 1 : rowType == AcDb::kHeaderRow ? 2 : 0;
}
} // namespace

double AcDbTableStyle::textHeight(AcDb::RowType rowType) const {
    assertReadEnabled();
    return m_heights[slotOf(rowType)];
}

Acad::ErrorStatus AcDbTableStyle::setTextHeight(double height, int rowTypes) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    if (!sizeOk(height))
        return Acad::eInvalidInput;
    assertWriteEnabled();
    for (AcDb::RowType t : {AcDb::kDataRow, AcDb::kTitleRow, AcDb::kHeaderRow})
        if (rowTypes & t)
            m_heights[slotOf(t)] = height;
    return Acad::eOk;
}

AcDbObjectId AcDbTableStyle::textStyle(AcDb::RowType rowType) const {
    assertReadEnabled();
    return m_styles[slotOf(rowType)];
}

Acad::ErrorStatus AcDbTableStyle::setTextStyle(AcDbObjectId styleId, int rowTypes) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    assertWriteEnabled();
    for (AcDb::RowType t : {AcDb::kDataRow, AcDb::kTitleRow, AcDb::kHeaderRow})
        if (rowTypes & t)
            m_styles[slotOf(t)] = styleId;
    return Acad::eOk;
}
