// Writes real .xlsx workbooks for tests: zip by libzip, XML by pugixml.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace testkit {

class XlsxBuilder {
public:
    XlsxBuilder();

    // Starts a new sheet; the cells, widths and selection that follow go to it.
    // state: "visible", "hidden" or "veryHidden".
    XlsxBuilder& sheet(const std::wstring& name, const std::string& state = "visible");

    XlsxBuilder& number(const std::string& ref, double value, int style = 0);
    XlsxBuilder& text(const std::string& ref, const std::wstring& value, int style = 0); // shared
    XlsxBuilder& inlineText(const std::string& ref, const std::wstring& value, int style = 0);
    XlsxBuilder& boolean(const std::string& ref, bool value);
    XlsxBuilder& error(const std::string& ref, const std::string& code);
    XlsxBuilder& formula(const std::string& ref, const std::string& formula, double cached,
                         int style = 0);
    // A formula without a result, as libraries that do not calculate write it.
    XlsxBuilder& formulaOnly(const std::string& ref, const std::string& formula, int style = 0);
    XlsxBuilder& formulaText(const std::string& ref, const std::string& formula,
                             const std::wstring& cached);
    // A cell with a style and no value.
    XlsxBuilder& styled(const std::string& ref, int style);

    // Cell format with a custom number format code; returns its style index.
    int format(const std::wstring& code);
    // Cell format with a built-in number format id; returns its style index.
    int builtin(int numFmtId);

    XlsxBuilder& columnWidth(int min, int max, double width);
    XlsxBuilder& defaultColumnWidth(double width);
    XlsxBuilder& selection(const std::string& activeCell, const std::string& sqref);
    XlsxBuilder& activeTab(int index);
    XlsxBuilder& definedName(const std::wstring& name, const std::wstring& refersTo,
                             int localSheet = -1);
    XlsxBuilder& date1904(bool on = true);

    // Replaces a generated part (or adds any other part) with the given bytes.
    XlsxBuilder& part(const std::string& name, const std::string& content);
    XlsxBuilder& omit(const std::string& name);

    // All parts in archive order, as they will be written.
    std::vector<std::pair<std::string, std::string>> parts() const;
    std::string bytes() const;
    void write(const std::string& path) const;

    // A zip of the given entries, deflated.
    static std::string zip(const std::vector<std::pair<std::string, std::string>>& entries);

private:
    struct Cell {
        std::string ref, type, value, formula;
        std::wstring text;
        int style = 0;
    };
    struct Sheet {
        std::wstring name;
        std::string state;
        std::vector<Cell> cells;
        std::vector<std::pair<std::pair<int, int>, double>> widths;
        double defaultWidth = 0;
        std::string activeCell, sqref;
    };
    Sheet& current();
    int sharedIndex(const std::wstring& s);

    std::vector<Sheet> m_sheets;
    std::vector<std::wstring> m_shared;
    std::vector<std::pair<int, std::wstring>> m_numFmts;
    std::vector<int> m_xfs;
    std::vector<std::pair<std::wstring, std::pair<std::wstring, int>>> m_names;
    int m_activeTab = -1;
    bool m_date1904 = false;
    std::map<std::string, std::string> m_overrides;
    std::vector<std::string> m_omitted;
};

} // namespace testkit
