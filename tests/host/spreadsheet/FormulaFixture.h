// The comparison fixture of the formula engine: a workbook of formulas without results
// (cases.txt) over a sheet of inputs, and the results another spreadsheet program gave for
// it (expected.tsv).
#pragma once

#include "spreadsheet/Workbook.h"
#include "testkit/XlsxBuilder.h"

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace formulafixture {

struct Case {
    std::string formula;
    std::string documented; // the result the spreadsheet program documents, where it differs
};

inline std::string path(const std::string& name) {
    return std::string(LM_FORMULA_FIXTURES) + "/" + name;
}

inline std::vector<Case> readCases() {
    std::vector<Case> out;
    std::ifstream in(path("cases.txt"));
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#')
            continue;
        Case c;
        auto tab = line.find('\t');
        c.formula = line.substr(0, tab);
        if (tab != std::string::npos) {
            auto end = line.find('\t', tab + 1);
            c.documented = line.substr(tab + 1, end == std::string::npos ? end : end - tab - 1);
        }
        out.push_back(c);
    }
    return out;
}

// Sheet "Cases" holds case i in A(i+1); "Data" and "My Data" hold the inputs.
inline testkit::XlsxBuilder workbook(const std::vector<Case>& cases) {
    testkit::XlsxBuilder b;
    b.sheet(L"Cases");
    for (std::size_t i = 0; i < cases.size(); ++i)
        b.formulaOnly("A" + std::to_string(i + 1), cases[i].formula);
    b.sheet(L"Data");
    for (int i = 1; i <= 5; ++i) {
        b.number("A" + std::to_string(i), i);
        b.number("B" + std::to_string(i), i * 10);
        b.number("D" + std::to_string(i), i + 0.5);
    }
    b.text("A6", L"text").boolean("A7", true).error("A9", "#DIV/0!").text("A10", L"12");
    const wchar_t* fruit[] = {L"apple", L"Banana", L"cherry", L"date", L"elderberry"};
    const wchar_t* words[] = {L"one", L"two", L"three", L"four", L"five"};
    for (int i = 0; i < 5; ++i) {
        b.text("C" + std::to_string(i + 1), fruit[i]);
        std::string col(1, char('A' + i));
        b.number(col + "12", i + 1);
        b.text(col + "13", words[i]);
    }
    b.number("XFD1048576", 7);
    b.sheet(L"My Data").number("A1", 100).number("B2", 7);
    b.definedName(L"Rate", L"Data!$B$1");
    b.definedName(L"Local", L"Data!$A$2", 0);
    b.definedName(L"Twice", L"Data!$A$3*2");
    return b;
}

// "number\t0.5", "text\tabc", "boolean\tTRUE", "error\t#N/A", "empty\t".
inline std::string describe(const spreadsheet::CellValue& v) {
    using spreadsheet::CellType;
    char buf[64];
    switch (v.type) {
    case CellType::Empty:
        return "empty\t";
    case CellType::Number:
        std::snprintf(buf, sizeof buf, "%.17g", v.number);
        return std::string("number\t") + buf;
    case CellType::Boolean:
        return std::string("boolean\t") + (v.number != 0 ? "TRUE" : "FALSE");
    case CellType::Error:
        return "error\t" + std::string(v.string.begin(), v.string.end());
    case CellType::String: {
        std::string s;
        for (wchar_t c : v.string)
            s += c < 128 ? char(c) : '?';
        return "text\t" + s;
    }
    }
    return "";
}

} // namespace formulafixture
