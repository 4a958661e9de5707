// The host's table entity and table styles.
#pragma once

#include "AcString.h"
#include "dbents.h"

namespace AcDb {
enum CellType { kUnknownCell = 0, kTextCell = 1, kBlockCell = 2, kMultipleContentCell = 3 };
enum RowType { kUnknownRow = 0, kDataRow = 1, kTitleRow = 2, kHeaderRow = 4 };
enum FlowDirection { kTtoB = 0, kBtoT = 1 };
} // namespace AcDb

namespace AcValue {
enum FormatOption {
    kFormatOptionNone = 0,
    kForEditing = 1,
    kForExpression = 2,
    kUseMaximumPrecision = 4,
    kIgnoreMtextFormat = 8,
};
} // namespace AcValue

// Rows run downwards from the position (the table's top left corner), columns to the right.
// Rows and columns are 0-based. Cell styles: row 0 "_TITLE", row 1 "_HEADER", the rest
// "_DATA"; with the title suppressed row 0 is the header; setCellStyle overrides.
class AcDbTable : public AcDbBlockReference {
public:
    ACRX_DECLARE_MEMBERS(AcDbTable);
    AcDbTable();
    ~AcDbTable() override;

    AcDbObjectId tableStyle() const;
    Acad::ErrorStatus setTableStyle(AcDbObjectId styleId);

    int numRows() const;
    int numColumns() const;
    // Sizes: at least one row and one column, at most 4,000,000 cells; eInvalidInput else.
    Acad::ErrorStatus setNumRows(int rows);
    Acad::ErrorStatus setNumColumns(int columns);
    Acad::ErrorStatus setSize(int rows, int columns);
    Acad::ErrorStatus insertRows(int row, double height, int rows = 1);
    Acad::ErrorStatus deleteRows(int row, int rows = 1);
    Acad::ErrorStatus insertColumns(int column, double width, int columns = 1);
    Acad::ErrorStatus deleteColumns(int column, int columns = 1);

    double rowHeight(int row) const;
    Acad::ErrorStatus setRowHeight(double height); // every row
    Acad::ErrorStatus setRowHeight(int row, double height);
    double columnWidth(int column) const;
    Acad::ErrorStatus setColumnWidth(double width); // every column
    Acad::ErrorStatus setColumnWidth(int column, double width);
    double height() const;
    double width() const;

    bool isTitleSuppressed() const;
    Acad::ErrorStatus suppressTitleRow(bool value);
    bool isHeaderSuppressed() const;
    Acad::ErrorStatus suppressHeaderRow(bool value);
    AcDb::RowType rowType(int row) const;

    AcDb::CellType cellType(int row, int column) const;
    Acad::ErrorStatus setCellType(int row, int column, AcDb::CellType type);

    // The cell's text as stored, with its in-text format codes; empty out of range.
    AcString textString(int row, int column) const;
    // With kIgnoreMtextFormat the format codes are stripped (\P becomes a line break).
    // eInvalidInput out of range.
    Acad::ErrorStatus textString(int row, int column, AcValue::FormatOption option,
                                 AcString& text) const;
    Acad::ErrorStatus setTextString(int row, int column, const ACHAR* text);

    // The cell style of a cell; column -1 sets it for the whole row.
    AcString cellStyle(int row, int column) const;
    Acad::ErrorStatus setCellStyle(int row, int column, const ACHAR* style);
    double textHeight(int row, int column) const;
    Acad::ErrorStatus setTextHeight(int row, int column, double height);

    // The cell under a point, seen along the view direction (from the viewer to the
    // target, or the reverse: either way the line through the point is what counts).
    // The apertures widen each cell by that much on every side. False when no cell is hit
    // or the view lies in the table's plane.
    bool hitTest(const AcGePoint3d& point, const AcGeVector3d& viewVector, double xAperture,
                 double yAperture, int& row, int& column) const;

    Acad::ErrorStatus setPosition(const AcGePoint3d& position) override;
    Acad::ErrorStatus transformBy(const AcGeMatrix3d& xform) override;
    Acad::ErrorStatus generateLayout() { return Acad::eOk; }
    Acad::ErrorStatus recomputeTableBlock(bool = true) { return Acad::eOk; }

    struct Data;
    Data* data() const { return m_data; }

private:
    Data* m_data;
};

// A table style: text heights and text styles by row type.
class AcDbTableStyle : public AcDbObject {
public:
    ACRX_DECLARE_MEMBERS(AcDbTableStyle);
    AcDbTableStyle();

    const ACHAR* getName() const { return m_name.kwszPtr(); }
    Acad::ErrorStatus getName(AcString& name) const;
    Acad::ErrorStatus setName(const ACHAR* name);
    // The text height of one row type (data rows when kUnknownRow is asked).
    double textHeight(AcDb::RowType rowType = AcDb::kDataRow) const;
    // Sets it for each row type whose bit is in rowTypes; eInvalidInput for a height <= 0.
    Acad::ErrorStatus setTextHeight(double height, int rowTypes);
    AcDbObjectId textStyle(AcDb::RowType rowType = AcDb::kDataRow) const;
    Acad::ErrorStatus setTextStyle(AcDbObjectId styleId, int rowTypes);

private:
    AcString m_name;
    double m_heights[3] = {0.18, 0.25, 0.18}; // data, title, header
    AcDbObjectId m_styles[3];
};
