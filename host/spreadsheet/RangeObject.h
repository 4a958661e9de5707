// The Range object's class, which a Worksheet looks into when given a Range as argument.
#pragma once

#include "spreadsheet/AutomationDispatch.h"

#include <vector>

namespace excelhost::automation {

class RangeObject : public AutoObject {
public:
    RangeObject(InstancePtr i, BookPtr b, int s, std::vector<RangeRef> areas, bool columns)
        : AutoObject(Kind::Range, std::move(i)), m_book(std::move(b)), m_sheet(s),
          m_areas(std::move(areas)), m_columns(columns) {}
    const BookPtr& book() const { return m_book; }
    int sheet() const { return m_sheet; }
    const std::vector<RangeRef>& areas() const { return m_areas; }

protected:
    bool answers(REFIID riid) const override { return riid == kIID_Range; }
    void call(const Member& m, WORD kind, const Args& args, VARIANT* r) override;

private:
    void putValue(spreadsheet::Worksheet& ws, const RangeRef& area, const VARIANT* value);
    void getValue(spreadsheet::Worksheet& ws, const RangeRef& area, VARIANT* r);

    BookPtr m_book;
    int m_sheet;
    std::vector<RangeRef> m_areas;
    bool m_columns;
};

} // namespace excelhost::automation
