// The import's lookup of names answers as findVariable does, call after call, also while it
// creates variables and when the host refuses a name.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "AcDbAssocNetwork.h"
#include "exchange/ADNAssocSampleUtils.h"
#include "exchange/VariableLookup.h"
#include "links/LinkDrawing.h"
#include "drawing/control/Editor.h"

using namespace linktest;

namespace {

class VariableLookupTest : public testkit::HostTest {
protected:
    AcDbObjectId space() const { return database()->currentSpaceId(); }
    int actionCount() const {
        AcDbObjectId networkId = AcDbAssocNetwork::getInstanceFromObject(space(), false);
        AcDbObjectPointer<AcDbAssocNetwork> network(networkId, AcDb::kForRead);
        return network.openStatus() == Acad::eOk ? network->getActions().length() : -1;
    }
};

const wchar_t* const kProbes[] = {L"Width", L"Width2", L"width", L"W", L"Wi",   L"d",     L"d1",
                                  L"d12",   L"d123",   L"x",     L"",  L"Widt", L"Height"};

TEST_F(VariableLookupTest, FindsWhatFindVariableFinds) {
    addParameter(L"Width2", L"2");
    addParameter(L"Width", L"1");
    addParameter(L"d12", L"12");
    addParameter(L"d1", L"1");
    addParameter(L"Height", L"3");
    VariableLookup lookup(space());
    for (const wchar_t* probe : kProbes) {
        AcDbObjectId expected, found;
        Acad::ErrorStatus want = findVariable(space(), probe, false, expected);
        EXPECT_EQ(lookup.find(probe, false, found), want) << probe;
        EXPECT_EQ(found, expected) << probe;
    }
}

TEST_F(VariableLookupTest, CreatesAsFindVariableAndFindsWhatItCreated) {
    addParameter(L"depth", L"1");
    VariableLookup lookup(space());
    AcDbObjectId id;
    ASSERT_EQ(lookup.find(L"length", true, id), Acad::eOk);
    EXPECT_EQ(expressionOf(id), L"1.0");
    AcDbObjectId again, viaWalk;
    EXPECT_EQ(lookup.find(L"len", false, again), Acad::eOk);
    EXPECT_EQ(again, id);
    EXPECT_EQ(findVariable(space(), L"len", false, viaWalk), Acad::eOk);
    EXPECT_EQ(viaWalk, id);
    // A name the host refuses leaves a half-made variable, as findVariable does.
    int before = actionCount();
    AcDbObjectId refused, expected;
    Acad::ErrorStatus es = lookup.find(L"9 bad name", true, refused);
    EXPECT_NE(es, Acad::eOk);
    EXPECT_EQ(actionCount(), before + 1);
    EXPECT_EQ(lookup.find(L"9 bad", false, refused),
              findVariable(space(), L"9 bad", false, expected));
    EXPECT_EQ(lookup.find(L"", true, refused), Acad::eInvalidInput);
    EXPECT_EQ(actionCount(), before + 1) << "an empty name creates nothing";
}

TEST_F(VariableLookupTest, WithoutTheFrameworkEachLookupFailsAsFindVariableDoes) {
    addParameter(L"d1", L"1");
    lmhost::setAssocFrameworkAvailable(false);
    VariableLookup lookup(space());
    AcDbObjectId found, expected;
    EXPECT_EQ(lookup.find(L"d1", true, found), findVariable(space(), L"d1", true, expected));
    lmhost::setAssocFrameworkAvailable(true);
}

} // namespace
