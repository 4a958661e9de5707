// Links stored as xdata on the object they drive: what is written, read back and removed.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "acutads.h"
#include "dbapserv.h"
#include "dbsymtb.h"
#include "links/LinkStore.h"
#include "testkit/Transcript.h"

namespace {

AcDbDatabase* db() {
    return acdbHostApplicationServices()->workingDatabase();
}

class LinkStore : public testkit::HostTest {
protected:
    AcDbObjectId add() {
        AcDbObjectId id;
        auto* e = new AcDbEntity;
        db()->addAcDbObject(id, e);
        e->close();
        return id;
    }
    // The 1000 texts of the object's xdata for the application, as stored.
    std::vector<std::wstring> stored(AcDbObjectId id, const wchar_t* app = kDirectLinkApp) {
        AcDbObjectPointer<AcDbObject> o(id, AcDb::kForRead);
        std::vector<std::wstring> out;
        resbuf* chain = o->xData(app);
        for (resbuf* rb = chain; rb; rb = rb->rbnext)
            if (rb->restype == 1000)
                out.push_back(rb->resval.rstring);
        acutRelRb(chain);
        return out;
    }
    void setRaw(AcDbObjectId id, resbuf* chain) {
        acdbRegApp(kDirectLinkApp);
        AcDbObjectPointer<AcDbObject> o(id, AcDb::kForWrite);
        ASSERT_EQ(o->setXData(chain), Acad::eOk);
        acutRelRb(chain);
    }
    CString first(AcDbObjectId id) {
        AcDbObjectPointer<AcDbObject> o(id, AcDb::kForRead);
        CString text = L"unchanged";
        getFirstLinkText(o.object(), text);
        return text;
    }
    std::vector<std::wstring> all(AcDbObjectId id, const wchar_t* app = kDirectLinkApp) {
        AcDbObjectPointer<AcDbObject> o(id, AcDb::kForRead);
        CStringArray texts;
        getAllLinkTexts(o.object(), app, texts);
        std::vector<std::wstring> out;
        for (INT_PTR i = 0; i < texts.GetSize(); ++i)
            out.push_back(texts[i].GetString());
        return out;
    }
};

using Texts = std::vector<std::wstring>;

TEST_F(LinkStore, StoresTextsUnderTheApplicationAndRegistersIt) {
    AcDbObjectId id = add();
    EXPECT_TRUE(setXdata(id, kDirectLinkApp, L"C:\\Data\\sizes.xlsx*Sheet1*$B$4"));
    EXPECT_EQ(stored(id), Texts{L"C:\\Data\\sizes.xlsx*Sheet1*$B$4"});
    EXPECT_EQ(first(id), L"C:\\Data\\sizes.xlsx*Sheet1*$B$4");
    EXPECT_TRUE(setXdata(id, kNestedLinkApp, L"2F\x1DWidth:Table(30).$A$1"));
    EXPECT_EQ(all(id, kNestedLinkApp), Texts{L"2F\x1DWidth:Table(30).$A$1"});
    EXPECT_EQ(testkit::transcript(), L"");
}

TEST_F(LinkStore, TheLastEntryIsNeverComparedSoItCanBeStoredTwice) {
    AcDbObjectId id = add();
    setXdata(id, kDirectLinkApp, L"A");
    setXdata(id, kDirectLinkApp, L"A");
    EXPECT_EQ(stored(id), (Texts{L"A", L"A"}));

    AcDbObjectId other = add();
    setXdata(other, kDirectLinkApp, L"A");
    setXdata(other, kDirectLinkApp, L"B");
    EXPECT_TRUE(setXdata(other, kDirectLinkApp, L"a")); // equal to an earlier entry: nothing
    EXPECT_EQ(stored(other), (Texts{L"A", L"B"}));
    setXdata(other, kDirectLinkApp, L"b"); // equal to the last: stored again
    EXPECT_EQ(stored(other), (Texts{L"A", L"B", L"b"}));
}

TEST_F(LinkStore, OnlyTheFirstTextIsInForce) {
    AcDbObjectId id = add();
    setXdata(id, kDirectLinkApp, L"A");
    setXdata(id, kDirectLinkApp, L"B");
    EXPECT_EQ(first(id), L"A");
    EXPECT_EQ(all(id), (Texts{L"A", L"B"}));
}

TEST_F(LinkStore, RemovesTheFirstEqualEntryOnly) {
    AcDbObjectId id = add();
    setXdata(id, kDirectLinkApp, L"A");
    setXdata(id, kDirectLinkApp, L"A");
    EXPECT_TRUE(deleteXdata(id, kDirectLinkApp, L"a"));
    EXPECT_EQ(stored(id), Texts{L"A"});
    EXPECT_EQ(first(id), L"A");
    EXPECT_FALSE(deleteXdata(id, kDirectLinkApp, L"missing"));
    EXPECT_EQ(stored(id), Texts{L"A"});
}

TEST_F(LinkStore, RemovingTheOnlyTextDropsTheApplicationsXdata) {
    AcDbObjectId id = add();
    setXdata(id, kDirectLinkApp, L"A");
    EXPECT_TRUE(deleteXdata(id, kDirectLinkApp, L"A"));
    AcDbObjectPointer<AcDbObject> o(id, AcDb::kForRead);
    EXPECT_EQ(o->xData(kDirectLinkApp), nullptr);
    CString text = L"x";
    EXPECT_FALSE(getFirstLinkText(o.object(), text));
    EXPECT_EQ(text, L"");
    o.close();
    EXPECT_FALSE(deleteXdata(id, kDirectLinkApp, L"A"));
}

TEST_F(LinkStore, ReadersSkipBracketedEntriesThatWritersStillCompare) {
    AcDbObjectId id = add();
    setRaw(id, acutBuildList(1001, kDirectLinkApp, 1070, 5, 1002, L"{", 1000, L"hidden", 1002, L"}",
                             1000, L"visible", 1000, L"tail", 0));
    EXPECT_EQ(first(id), L"visible");
    EXPECT_EQ(all(id), (Texts{L"visible", L"tail"}));
    // The hidden entry is compared like any other by the writers.
    EXPECT_TRUE(setXdata(id, kDirectLinkApp, L"HIDDEN"));
    EXPECT_EQ(stored(id), (Texts{L"hidden", L"visible", L"tail"}));
    EXPECT_TRUE(deleteXdata(id, kDirectLinkApp, L"hidden"));
    EXPECT_EQ(all(id), (Texts{L"visible", L"tail"}));
    // A 1002 of any text flips the skip state.
    setRaw(id,
           acutBuildList(1001, kDirectLinkApp, 1002, L"}", 1000, L"x", 1002, L"}", 1000, L"y", 0));
    EXPECT_EQ(all(id), Texts{L"y"});
}

TEST_F(LinkStore, AppendsToTextsAlreadyGiven) {
    AcDbObjectId id = add();
    setXdata(id, kDirectLinkApp, L"B");
    AcDbObjectPointer<AcDbObject> o(id, AcDb::kForRead);
    CStringArray texts;
    texts.Add(L"before");
    EXPECT_TRUE(getAllLinkTexts(o.object(), kDirectLinkApp, texts));
    ASSERT_EQ(texts.GetSize(), 2);
    EXPECT_EQ(texts[1], L"B");
    CStringArray none;
    EXPECT_FALSE(getAllLinkTexts(o.object(), kNestedLinkApp, none));
}

TEST_F(LinkStore, AFailedOpenIsReportedWithoutALineBreak) {
    AcDbObjectId id = add();
    {
        AcDbObjectPointer<AcDbObject> busy(id, AcDb::kForWrite);
        EXPECT_FALSE(setXdata(id, kDirectLinkApp, L"A"));
        EXPECT_FALSE(deleteXdata(id, kDirectLinkApp, L"A"));
    }
    EXPECT_FALSE(setXdata(AcDbObjectId::kNull, kDirectLinkApp, L"A"));
    EXPECT_EQ(testkit::commandLine(), L"acdbOpenEntity failed in setXdata function"
                                      L"acdbOpenEntity failed in deleteXdata function"
                                      L"acdbOpenEntity failed in setXdata function");
}

TEST_F(LinkStore, AnEmptyApplicationNameStoresNothing) {
    AcDbObjectId id = add();
    EXPECT_FALSE(setXdata(id, L"", L"A"));
    EXPECT_FALSE(deleteXdata(id, L"", L"A"));
    EXPECT_TRUE(stored(id).empty());
    // The object was closed again.
    AcDbObjectPointer<AcDbObject> o(id, AcDb::kForWrite);
    EXPECT_EQ(o.openStatus(), Acad::eOk);
}

TEST_F(LinkStore, TheOpenFormWorksOnTheCallersObject) {
    AcDbObjectId id = add();
    {
        AcDbObjectPointer<AcDbObject> o(id, AcDb::kForRead);
        EXPECT_TRUE(setXdata(o.object(), kDirectLinkApp, L"A"));
        EXPECT_TRUE(o->isWriteEnabled()); // upgraded in place, still the caller's to close
        EXPECT_TRUE(setXdata(o.object(), kDirectLinkApp, L"B"));
        EXPECT_TRUE(deleteXdata(o.object(), kDirectLinkApp, L"A"));
    }
    EXPECT_EQ(stored(id), Texts{L"B"});
}

} // namespace
