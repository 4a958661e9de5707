// Drawings and workbooks for the workbook link tests: a document saved in a folder of its
// own, real .xlsx files beside it, parameters and dynamic blocks built through the host's API,
// and links written the way the Parameter Links Manager writes them.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "AcDbAssocNetwork.h"
#include "AcDbAssocVariable.h"
#include "dbapserv.h"
#include "dbdynblk.h"
#include "drawing/Blocks.h"
#include "links/LinkDrawing.h"
#include "links/LinkOperations.h"
#include "links/UpdateCommand.h"
#include "sdk/control/Documents.h"
#include "sdk/control/HostControl.h"
#include "sdk/control/SystemVariables.h"
#include "spreadsheet/ExcelControl.h"
#include "testkit/Transcript.h"
#include "testkit/XlsxBuilder.h"

namespace wbtest {

namespace fs = std::filesystem;

using linktest::database;
using linktest::handleOf;

class WorkbookLinkTest : public testkit::HostTest {
protected:
    void SetUp() override {
        testkit::HostTest::SetUp();
        lmhost::closeAllDocuments();
        excelhost::resetExcel();
        std::string pattern = (fs::temp_directory_path() / "wblinks-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        m_folder = pattern;
        lmhost::newDocument(path(L"drawing.dwg"));
        regenNeeded = false;
    }
    void TearDown() override {
        lmhost::setMessageBoxHandler(nullptr);
        lmhost::closeAllDocuments();
        excelhost::resetExcel();
        std::error_code ignored;
        fs::remove_all(m_folder, ignored);
        testkit::HostTest::TearDown();
    }

    // A path in the drawing's folder.
    std::wstring path(const std::wstring& name) const { return (m_folder / name).wstring(); }
    void write(const std::wstring& name, const testkit::XlsxBuilder& book) const {
        fs::create_directories((m_folder / name).parent_path());
        book.write((m_folder / name).string());
    }
    // A workbook "Sheet1" with numbers in B2..B4.
    void writeSizes(const std::wstring& name) const {
        testkit::XlsxBuilder book;
        book.sheet(L"Sheet1").number("B2", 12.5).number("B3", 40).number("B4", 7);
        write(name, book);
    }

    static AcDbObjectId addParameter(const wchar_t* name, const wchar_t* expression) {
        return linktest::addParameter(name, expression);
    }
    static std::wstring expressionOf(AcDbObjectId id) { return linktest::expressionOf(id); }

    // A dynamic block "Door" with a real Width, a text Finish and a 32-bit Panels.
    AcDbObjectId defineDoor(const wchar_t* name = L"Door") {
        AcDbObjectId id;
        EXPECT_EQ(drawing::addBlockDefinition(database(), name, id), Acad::eOk);
        drawing::DynamicPropertyDefinition width;
        width.name = L"Width";
        width.type = AcDb::kDwgReal;
        width.units = AcDbDynBlockReferenceProperty::kDistance;
        width.defaultValue = AcDbEvalVariant(900.0);
        EXPECT_EQ(drawing::addDynamicProperty(id, width), Acad::eOk);
        drawing::DynamicPropertyDefinition finish;
        finish.name = L"Finish";
        finish.type = AcDb::kDwgText;
        finish.defaultValue = AcDbEvalVariant(L"Oak");
        EXPECT_EQ(drawing::addDynamicProperty(id, finish), Acad::eOk);
        drawing::DynamicPropertyDefinition panels;
        panels.name = L"Panels";
        panels.type = AcDb::kDwgInt32;
        panels.defaultValue = AcDbEvalVariant(static_cast<Adesk::Int32>(2));
        EXPECT_EQ(drawing::addDynamicProperty(id, panels), Acad::eOk);
        return id;
    }
    AcDbObjectId insert(AcDbObjectId block, AcDbObjectId owner = AcDbObjectId::kNull) {
        if (owner.isNull())
            owner = database()->currentSpaceId();
        AcDbObjectId id;
        EXPECT_EQ(drawing::insertBlock(owner, block, AcGePoint3d(0, 0, 0), id), Acad::eOk);
        return id;
    }
    static std::wstring propertyText(AcDbObjectId reference, const wchar_t* name) {
        AcDbDynBlockReference dynamic(reference);
        AcDbDynBlockReferencePropertyArray properties;
        dynamic.getBlockProperties(properties);
        for (int i = 0; i < properties.length(); ++i) {
            if (properties[i].propertyName() != AcString(name))
                continue;
            AcDbEvalVariant value = properties[i].value();
            wchar_t text[64];
            switch (value.restype) {
            case AcDb::kDxfReal:
                swprintf(text, 64, L"%g", value.resval.rreal);
                return text;
            case AcDb::kDxfInt32:
                swprintf(text, 64, L"%ld", static_cast<long>(value.resval.rlong));
                return text;
            case AcDb::kDxfText:
                return value.resval.rstring ? value.resval.rstring : L"";
            default:
                return L"<type>";
            }
        }
        return L"<none>";
    }

    static void setFileDialogs(short on) { lmhost::setSystemVariable(L"FILEDIA", on); }

    static std::wstring commandLine() { return testkit::commandLine(); }
    static std::wstring transcript() { return testkit::transcript(); }

    fs::path m_folder;
};

} // namespace wbtest
