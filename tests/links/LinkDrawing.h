// Drawings for the link tests, built through the host's API as a user's drawing would be:
// parameters in the current space, tables with cells, links stored on the objects.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "AcDbAssocNetwork.h"
#include "AcDbAssocVariable.h"
#include "aced.h"
#include "dbapserv.h"
#include "dbsymtb.h"
#include "dbtable.h"
#include "links/LinkStore.h"
#include "links/LiveRefresh.h"
#include "drawing/control/Editor.h"
#include "testkit/Transcript.h"

namespace linktest {

inline AcDbDatabase* database() {
    return acdbHostApplicationServices()->workingDatabase();
}

// A named parameter of the current space with its expression evaluated.
inline AcDbObjectId addParameter(const wchar_t* name, const wchar_t* expression) {
    AcDbObjectId networkId =
        AcDbAssocNetwork::getInstanceFromObject(database()->currentSpaceId(), true, true, L"");
    AcDbObjectId id;
    auto* created = new AcDbAssocVariable();
    EXPECT_EQ(database()->addAcDbObject(id, created), Acad::eOk);
    created->close();
    {
        AcDbObjectPointer<AcDbAssocNetwork> network(networkId, AcDb::kForWrite);
        EXPECT_EQ(network->addAction(id, true), Acad::eOk);
    }
    AcDbObjectPointer<AcDbAssocVariable> variable(id, AcDb::kForWrite);
    EXPECT_EQ(variable->setName(name, true), Acad::eOk);
    EXPECT_EQ(variable->setExpression(expression, L"", true, true), Acad::eOk);
    AcDbEvalVariant value;
    EXPECT_EQ(variable->evaluateExpression(value), Acad::eOk);
    variable->setValue(value);
    return id;
}

inline std::wstring expressionOf(AcDbObjectId id) {
    AcDbObjectPointer<AcDbAssocVariable> variable(id, AcDb::kForRead);
    return variable.openStatus() == Acad::eOk ? variable->expression().str() : L"<closed>";
}

inline double valueOf(AcDbObjectId id) {
    AcDbObjectPointer<AcDbAssocVariable> variable(id, AcDb::kForRead);
    double value = -1.0;
    if (variable.openStatus() == Acad::eOk)
        variable->value().getValue(value);
    return value;
}

// A table of rows x columns with the given texts row by row, in a space.
inline AcDbObjectId addTable(int rows, int columns, AcDbObjectId owner = AcDbObjectId::kNull) {
    if (owner.isNull())
        owner = database()->currentSpaceId();
    auto* table = new AcDbTable();
    table->setSize(rows, columns);
    AcDbObjectPointer<AcDbBlockTableRecord> space(owner, AcDb::kForWrite);
    AcDbObjectId id;
    EXPECT_EQ(space->appendAcDbEntity(id, table), Acad::eOk);
    table->close();
    return id;
}

inline std::wstring handleOf(AcDbObjectId id) {
    wchar_t text[260] = {0};
    id.handle().getIntoAsciiBuffer(text);
    return text;
}

// As the user does in the table editor: the table is changed and closed.
inline void editCell(AcDbObjectId tableId, int row, int column, const wchar_t* text) {
    AcDbObjectPointer<AcDbTable> table(tableId, AcDb::kForWrite);
    ASSERT_EQ(table.openStatus(), Acad::eOk);
    ASSERT_EQ(table->setTextString(row, column, text), Acad::eOk);
}

inline CString tableLink(AcDbObjectId tableId, const wchar_t* address) {
    return CString((L"Table(" + handleOf(tableId) + L")." + address).c_str());
}

inline void storeLink(AcDbObjectId id, const wchar_t* appName, const CString& text) {
    ASSERT_TRUE(setXdata(id, appName, text));
}

// The plug-in's reactors as the frame attaches them: a modified table is queued, and the
// queue drains at the command events.
class QueueingDatabaseReactor : public AcDbDatabaseReactor {
public:
    void objectModified(const AcDbDatabase*, const AcDbObject* object) override {
        enqueueModifiedTable(object);
    }
};

class DrainingEditorReactor : public AcEditorReactor {
public:
    void commandWillStart(const ACHAR*) override { drainPendingTables(); }
    void commandEnded(const ACHAR*) override { drainPendingTables(); }
    void commandCancelled(const ACHAR*) override { drainPendingTables(); }
    void commandFailed(const ACHAR*) override { drainPendingTables(); }
};

// A fresh host with the reactors attached to the working database.
class LinkTest : public testkit::HostTest {
protected:
    void SetUp() override {
        testkit::HostTest::SetUp();
        pendingTables.setLogicalLength(0);
        database()->addReactor(&m_databaseReactor);
        acedEditor->addReactor(&m_editorReactor);
    }
    void TearDown() override {
        acedEditor->removeReactor(&m_editorReactor);
        database()->removeReactor(&m_databaseReactor);
        pendingTables.setLogicalLength(0);
        testkit::HostTest::TearDown();
    }
    // Any command the user starts drains the queue first.
    void startCommand(const wchar_t* name = L"LINE") {
        lmhost::raiseCommandWillStart(name);
        lmhost::raiseCommandEnded(name);
    }
    std::wstring commandLine() const { return testkit::commandLine(); }

private:
    QueueingDatabaseReactor m_databaseReactor;
    DrainingEditorReactor m_editorReactor;
};

} // namespace linktest
