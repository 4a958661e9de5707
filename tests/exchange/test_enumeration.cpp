// The list of what can be linked or exported: parameters in network order with their stored
// Cell Expressions, then the linked properties of block references.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "acutads.h"
#include "drawing/Blocks.h"
#include "exchange/ADNAssocSampleUtils.h"
#include "links/LinkDrawing.h"
#include "drawing/control/Editor.h"

using namespace linktest;
using ::testing::ElementsAre;

namespace {

using Pairs = std::vector<std::pair<std::wstring, std::wstring>>;

class Enumeration : public testkit::HostTest {
protected:
    Acad::ErrorStatus enumerate(Pairs& pairs, int includeBlocks) {
        CStringArray names, expressions;
        Acad::ErrorStatus es = enumerateParameters(names, expressions, includeBlocks);
        EXPECT_EQ(names.GetSize(), expressions.GetSize()) << "the arrays lost step";
        for (INT_PTR i = 0; i < names.GetSize() && i < expressions.GetSize(); ++i)
            pairs.emplace_back(static_cast<const wchar_t*>(names[i]),
                               static_cast<const wchar_t*>(expressions[i]));
        return es;
    }
    Pairs enumerate(int includeBlocks) {
        Pairs pairs;
        EXPECT_EQ(enumerate(pairs, includeBlocks), Acad::eOk);
        return pairs;
    }
    void setRaw(AcDbObjectId id, const wchar_t* app, resbuf* chain) {
        acdbRegApp(app);
        AcDbObjectPointer<AcDbObject> o(id, AcDb::kForWrite);
        ASSERT_EQ(o->setXData(chain), Acad::eOk);
        acutRelRb(chain);
    }
    AcDbObjectId defineBlock(const wchar_t* name, bool dynamic) {
        AcDbObjectId id;
        EXPECT_EQ(drawing::addBlockDefinition(database(), name, id), Acad::eOk);
        if (dynamic) {
            drawing::DynamicPropertyDefinition width;
            width.name = L"Width";
            width.defaultValue = AcDbEvalVariant(900.0);
            EXPECT_EQ(drawing::addDynamicProperty(id, width), Acad::eOk);
        }
        return id;
    }
    AcDbObjectId insert(AcDbObjectId owner, AcDbObjectId block) {
        AcDbObjectId id;
        EXPECT_EQ(drawing::insertBlock(owner, block, AcGePoint3d(0, 0, 0), id), Acad::eOk);
        return id;
    }
};

TEST_F(Enumeration, EmptyDrawingGivesTwoEmptyArrays) {
    EXPECT_EQ(enumerate(1), Pairs{});
}

TEST_F(Enumeration, ParametersInNetworkOrderEachWithItsFirstCountedText) {
    AcDbObjectId width = addParameter(L"Width", L"10");
    addParameter(L"Area", L"Width*2");
    AcDbObjectId depth = addParameter(L"depth", L"3");
    storeLink(width, kDirectLinkApp, L"C:\\a.xlsx*Sheet1*$B$2");
    storeLink(width, kDirectLinkApp, L"second");
    // Texts inside a 1002 pair do not count; a 1002 of any text flips the state.
    setRaw(depth, kDirectLinkApp,
           acutBuildList(1001, kDirectLinkApp, 1002, L"{", 1000, L"hidden", 1002, L"{", 0));
    EXPECT_EQ(enumerate(0),
              (Pairs{{L"Width", L"C:\\a.xlsx*Sheet1*$B$2"}, {L"Area", L""}, {L"depth", L""}}));
    setRaw(depth, kDirectLinkApp,
           acutBuildList(1001, kDirectLinkApp, 1070, 4, 1002, L"{", 1000, L"hidden", 1002, L"}",
                         1000, L"Table(1F).$A$1", 0));
    EXPECT_EQ(enumerate(0).back(),
              (std::pair<std::wstring, std::wstring>{L"depth", L"Table(1F).$A$1"}));
}

TEST_F(Enumeration, ArraysAreAppendedToNotCleared) {
    addParameter(L"d1", L"1");
    CStringArray names, expressions;
    names.Add(L"before");
    expressions.Add(L"x");
    ASSERT_EQ(enumerateParameters(names, expressions, 0), Acad::eOk);
    ASSERT_EQ(names.GetSize(), 2);
    EXPECT_EQ(names[1], L"d1");
    EXPECT_EQ(expressions[0], L"x");
}

TEST_F(Enumeration, BlockEntriesFollowParametersInTheThreeNameForms) {
    AcDbObjectId door = defineBlock(L"Door", true);
    AcDbObjectId frame = defineBlock(L"Frame", false);
    AcDbObjectId nested = insert(frame, door);
    AcDbObjectId dynamicRef = insert(database()->currentSpaceId(), door);
    AcDbObjectId plainRef = insert(database()->currentSpaceId(), frame);
    addParameter(L"d1", L"5");
    std::wstring n = handleOf(nested);
    storeLink(dynamicRef, kDirectLinkApp, L"Width:a.xlsx*S*$B$2");
    storeLink(dynamicRef, kDirectLinkApp, L"Finish:Table(2A).$C$3:$C$4");
    storeLink(dynamicRef, kNestedLinkApp, (n + L"\x1DWidth:b.xlsx*S*$A$1").c_str());
    // A plain reference's direct texts are not read; its nested ones are.
    storeLink(plainRef, kDirectLinkApp, L"Width:ignored.xlsx*S*$A$1");
    storeLink(plainRef, kNestedLinkApp, L"Width:c.xlsx*S*$A$1");
    std::wstring d = handleOf(dynamicRef), p = handleOf(plainRef);
    EXPECT_EQ(enumerate(1), (Pairs{{L"d1", L""},
                                   {d + L".Width", L"a.xlsx*S*$B$2"},
                                   {d + L".Finish", L"Table(2A).$C$3:$C$4"},
                                   {d + L"|" + n + L".Width", L"b.xlsx*S*$A$1"},
                                   {p + L"|.Width", L"c.xlsx*S*$A$1"}}));
    EXPECT_EQ(enumerate(0), (Pairs{{L"d1", L""}})) << "blocks are not looked at";
}

TEST_F(Enumeration, LinkTextsWithoutAPropertyAddNothingSoTheArraysStayParallel) {
    AcDbObjectId door = defineBlock(L"Door", true);
    AcDbObjectId reference = insert(database()->currentSpaceId(), door);
    AcDbObjectId unlinked = insert(database()->currentSpaceId(), door);
    storeLink(reference, kDirectLinkApp, L":a.xlsx*S*$A$1");
    storeLink(reference, kDirectLinkApp, L"no colon");
    storeLink(reference, kNestedLinkApp, L":b.xlsx*S*$A$1");
    storeLink(reference, kDirectLinkApp, L"Width:c.xlsx*S*$A$1");
    EXPECT_EQ(enumerate(1), (Pairs{{handleOf(reference) + L".Width", L"c.xlsx*S*$A$1"}}));
    EXPECT_NE(unlinked, reference);
}

TEST_F(Enumeration, BlocksOfEveryLayoutCount) {
    AcDbObjectId door = defineBlock(L"Door", true);
    AcDbObjectId layout;
    ASSERT_EQ(drawing::addLayout(database(), layout), Acad::eOk);
    AcDbObjectId onPaper = insert(layout, door);
    storeLink(onPaper, kDirectLinkApp, L"Width:a.xlsx*S*$A$1");
    EXPECT_EQ(enumerate(1), (Pairs{{handleOf(onPaper) + L".Width", L"a.xlsx*S*$A$1"}}));
}

TEST_F(Enumeration, ParametersOfTheCurrentSpaceOnly) {
    addParameter(L"onModel", L"1");
    AcDbObjectId layout;
    ASSERT_EQ(drawing::addLayout(database(), layout), Acad::eOk);
    ASSERT_EQ(lmhost::setCurrentSpace(database(), layout), Acad::eOk);
    addParameter(L"onPaper", L"2");
    EXPECT_EQ(enumerate(0), (Pairs{{L"onPaper", L""}}));
}

TEST_F(Enumeration, FrameworkFailureIsReturnedWithNothingGathered) {
    addParameter(L"d1", L"1");
    lmhost::setAssocFrameworkAvailable(false);
    Pairs pairs;
    EXPECT_NE(enumerate(pairs, 1), Acad::eOk);
    EXPECT_EQ(pairs, Pairs{});
    lmhost::setAssocFrameworkAvailable(true);
}

} // namespace
