// The drawing's text settings that new tables and texts take: the current table style and
// its text height for data rows, the current text style and its fixed height, TEXTSIZE.
#include <cwchar>

#include "DrawingText.h"
#include "Shell.h"
#include "dbapserv.h"
#include "dbsymtb.h"
#include "dbtable.h"
#include "windows.h"

namespace shell {

namespace {

using lmhost::CommandResult;
using Args = std::vector<std::wstring>;

CommandResult refuse(const std::wstring& text) {
    lmhost::print(L"\n" + text);
    return CommandResult::Failed;
}

AcDbDatabase* working() {
    return acdbHostApplicationServices()->workingDatabase();
}

// A height as typed: a finite number; the model decides whether it takes it.
bool parseHeight(const std::wstring& text, double& height) {
    wchar_t* end = nullptr;
    height = std::wcstod(text.c_str(), &end);
    return !text.empty() && end && !*end;
}

std::wstring statusWords(Acad::ErrorStatus es) {
    return acadErrorStatusText(es);
}

// TABLESTYLE: show the current style; TABLESTYLE height: set its data text height;
// TABLESTYLE NEW name height: a new style with that height, made current.
CommandResult tableStyle(const Args& args) {
    AcDbDatabase* db = working();
    double height = 0;
    if (args.size() == 3 && _wcsicmp(args[0].c_str(), L"NEW") == 0) {
        if (!parseHeight(args[2], height))
            return refuse(L"\"" + args[2] + L"\" is no height.");
        auto* style = new AcDbTableStyle();
        Acad::ErrorStatus es = style->setName(args[1].c_str());
        if (es == Acad::eOk)
            es = style->setTextHeight(height, AcDb::kDataRow);
        if (es != Acad::eOk) {
            delete style;
            return refuse(L"The table style is refused: " + statusWords(es) + L".");
        }
        AcDbObjectId id;
        es = db->addAcDbObject(id, style);
        if (es != Acad::eOk) {
            delete style;
            return refuse(L"The table style is refused: " + statusWords(es) + L".");
        }
        style->close();
        db->setTablestyle(id);
    } else if (args.size() == 1) {
        if (!parseHeight(args[0], height))
            return refuse(L"\"" + args[0] + L"\" is no height.");
        AcDbObjectPointer<AcDbTableStyle> style(db->tablestyle(), AcDb::kForWrite);
        if (style.openStatus() != Acad::eOk)
            return refuse(L"The current table style cannot be opened: " +
                          statusWords(style.openStatus()) + L".");
        Acad::ErrorStatus es = style->setTextHeight(height, AcDb::kDataRow);
        if (es != Acad::eOk)
            return refuse(L"The height is refused: " + statusWords(es) + L".");
    } else if (!args.empty()) {
        return refuse(L"TABLESTYLE takes a height, or NEW, a name and a height.");
    }
    AcDbObjectPointer<AcDbTableStyle> style(db->tablestyle(), AcDb::kForRead);
    if (style.openStatus() != Acad::eOk)
        return refuse(L"The current table style cannot be opened: " +
                      statusWords(style.openStatus()) + L".");
    lmhost::print(L"\nTable style " + std::wstring(style->getName()) +
                  L" is current; data text height " +
                  formatNumber(style->textHeight(AcDb::kDataRow)) + L".");
    return CommandResult::Ended;
}

// TEXTSTYLE name height: a text style (made or changed) with a fixed height, made current;
// 0 asks for the height at each text, as TEXTSIZE gives it.
CommandResult textStyle(const Args& args) {
    double height = 0;
    if (args.size() != 2 || !parseHeight(args[1], height))
        return refuse(L"TEXTSTYLE needs a name and a height (0 for none of its own).");
    AcDbDatabase* db = working();
    AcDbObjectPointer<AcDbTextStyleTable> table(db->textStyleTableId(), AcDb::kForWrite);
    if (table.openStatus() != Acad::eOk)
        return refuse(L"The text styles cannot be opened: " + statusWords(table.openStatus()) +
                      L".");
    AcDbObjectId id;
    if (table->getAt(args[0].c_str(), id) != Acad::eOk) {
        auto* record = new AcDbTextStyleTableRecord();
        Acad::ErrorStatus es = record->setName(args[0].c_str());
        if (es == Acad::eOk)
            es = table->add(id, record);
        if (es != Acad::eOk) {
            delete record;
            return refuse(L"The text style is refused: " + statusWords(es) + L".");
        }
        record->close();
    }
    table->close();
    {
        AcDbObjectPointer<AcDbTextStyleTableRecord> record(id, AcDb::kForWrite);
        if (record.openStatus() != Acad::eOk)
            return refuse(L"The text style cannot be opened: " + statusWords(record.openStatus()) +
                          L".");
        Acad::ErrorStatus es = record->setTextSize(height);
        if (es != Acad::eOk)
            return refuse(L"The height is refused: " + statusWords(es) + L".");
    }
    Acad::ErrorStatus es = db->setTextstyle(id);
    if (es != Acad::eOk)
        return refuse(L"The text style cannot be made current: " + statusWords(es) + L".");
    lmhost::print(L"\nText style " + args[0] + L" is current; its height " + formatNumber(height) +
                  L".");
    return CommandResult::Ended;
}

CommandResult textSize(const Args& args) {
    double height = 0;
    if (args.size() > 1 || (args.size() == 1 && !parseHeight(args[0], height)))
        return refuse(L"TEXTSIZE takes a height.");
    AcDbDatabase* db = working();
    if (args.size() == 1) {
        Acad::ErrorStatus es = db->setTextsize(height);
        if (es != Acad::eOk)
            return refuse(L"The height is refused: " + statusWords(es) + L".");
    }
    lmhost::print(L"\nTEXTSIZE is " + formatNumber(db->textsize()) + L".");
    return CommandResult::Ended;
}

} // namespace

void registerStyleCommands() {
    using lmhost::registerHostCommand;
    registerHostCommand(L"TABLESTYLE", tableStyle,
                        L"TABLESTYLE [height | NEW name height]: the current table style and "
                        L"its text height for data rows");
    registerHostCommand(L"TEXTSTYLE", textStyle,
                        L"TEXTSTYLE name height: make a text style current, with a fixed "
                        L"height (0: none)");
    registerHostCommand(L"TEXTSIZE", textSize, L"TEXTSIZE [height]: the default text height");
}

} // namespace shell
