// The Parameter Links Manager as a user works it: a drawing with parameters and dynamic
// blocks in a folder of its own, a driver that answers the dialogs from a list of actions,
// and picks that place a Cell Expression in the field as a pick does.
#pragma once

#include <functional>
#include <variant>

#include "links/LinkStore.h"
#include "links/test_workbook_fixture.h"
#include "sdk/control/Dialogs.h"
#include "ui/ParametersManagerDialog.h"

namespace managertest {

using Lines = std::vector<std::wstring>;
using linktest::handleOf;

// Answers the dialogs from a list: an action as a script writes it, or a pick that fills
// the manager's Cell Expression field before the next action.
class StepDriver : public lmhost::DialogDriver {
public:
    std::optional<lmhost::DialogAction> nextAction(const lmhost::DialogView& view) override {
        seen.push_back(view);
        while (next < steps.size() && steps[next].pick) {
            dialog->cellExpression = steps[next].text.c_str();
            dialog->UpdateData(FALSE);
            ++next;
        }
        if (next >= steps.size())
            return std::nullopt;
        return lmhost::parseDialogAction(steps[next++].text);
    }
    struct Step {
        bool pick = false;
        std::wstring text;
    };
    std::vector<Step> steps;
    size_t next = 0;
    CParametersManagerDialog* dialog = nullptr;
    std::vector<lmhost::DialogView> seen;
};

class ManagerTest : public wbtest::WorkbookLinkTest {
protected:
    void SetUp() override {
        wbtest::WorkbookLinkTest::SetUp();
        lmhost::setDialogDriver(&driver);
    }
    void TearDown() override {
        lmhost::setDialogDriver(nullptr);
        lmhost::clearMessageBoxAnswers();
        wbtest::WorkbookLinkTest::TearDown();
    }
    void act(std::initializer_list<const wchar_t*> actions) {
        for (const wchar_t* a : actions) {
            ASSERT_TRUE(lmhost::parseDialogAction(a)) << "bad action in the test";
            driver.steps.push_back({false, a});
        }
    }
    void pick(const wchar_t* expression) { driver.steps.push_back({true, expression}); }
    static void answer(std::initializer_list<int> answers) {
        for (int a : answers)
            lmhost::queueMessageBoxAnswer(a);
    }
    // Runs the manager until the actions are used up; its result.
    INT_PTR run() {
        CParametersManagerDialog dialog;
        driver.dialog = &dialog;
        INT_PTR result = dialog.DoModal();
        driver.dialog = nullptr;
        return result;
    }
    // The manager's list as the n-th view showed it (the last one by default).
    std::wstring list(int n = -1) const {
        const auto& view = driver.seen.at(n < 0 ? driver.seen.size() - 1 : static_cast<size_t>(n));
        for (const std::wstring& line : view.controls)
            if (line.rfind(L"100 list view", 0) == 0)
                return line;
        return L"<no list>";
    }
    std::wstring control(const std::wstring& prefix, int n = -1) const {
        const auto& view = driver.seen.at(n < 0 ? driver.seen.size() - 1 : static_cast<size_t>(n));
        for (const std::wstring& line : view.controls)
            if (line.rfind(prefix, 0) == 0)
                return line;
        return L"<none>";
    }
    static std::vector<std::wstring> stored(AcDbObjectId id, const wchar_t* appName) {
        AcDbObjectPointer<AcDbObject> object(id, AcDb::kForRead);
        CStringArray texts;
        getAllLinkTexts(object.object(), appName, texts);
        std::vector<std::wstring> out;
        for (INT_PTR i = 0; i < texts.GetSize(); ++i)
            out.emplace_back(texts[i]);
        return out;
    }

    StepDriver driver;
};

// The drawing the dialog's own tests work on: d1, Width, and area computed from d1.
class ManagerWithParameters : public ManagerTest {
protected:
    void SetUp() override {
        ManagerTest::SetUp();
        d1 = addParameter(L"d1", L"10");
        width = addParameter(L"Width", L"5");
        addParameter(L"area", L"d1*2");
    }
    AcDbObjectId d1, width;
};

} // namespace managertest
