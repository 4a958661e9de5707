// Parameters of a space: networks made on demand, variables whose expressions reference
// each other, and the refusals of names, expressions and open modes.
#include <gtest/gtest.h>

#include "AcDbAssocManager.h"
#include "AcDbAssocNetwork.h"
#include "AcDbAssocVariable.h"
#include "dbapserv.h"
#include "drawing/control/Editor.h"
#include "sdk/control/SystemVariables.h"
#include "testkit/Transcript.h"

namespace {

class AssocTest : public testkit::HostTest {
protected:
    AcDbDatabase* db() { return acdbHostApplicationServices()->workingDatabase(); }

    AcDbObjectId network() {
        return AcDbAssocNetwork::getInstanceFromObject(db()->currentSpaceId(), true, true, L"");
    }

    // A variable as the host's parameter manager makes one: added, then named and set.
    AcDbObjectId addVariable(const wchar_t* name, const wchar_t* expression) {
        auto* variable = new AcDbAssocVariable;
        AcDbObjectId id;
        EXPECT_EQ(db()->addAcDbObject(id, variable), Acad::eOk);
        variable->close();
        AcDbObjectPointer<AcDbAssocNetwork> net(network(), AcDb::kForWrite);
        EXPECT_EQ(net->addAction(id, true), Acad::eOk);
        net.close();
        AcDbObjectPointer<AcDbAssocVariable> v(id, AcDb::kForWrite);
        EXPECT_EQ(v->setName(name, true), Acad::eOk);
        EXPECT_EQ(assign(v, expression), Acad::eOk);
        return id;
    }

    static Acad::ErrorStatus assign(AcDbAssocVariable* v, const wchar_t* expression,
                                    AcString& error = dummyString()) {
        Acad::ErrorStatus es = v->setExpression(expression, L"", true, true, error, false);
        if (es != Acad::eOk)
            return es;
        AcDbEvalVariant value;
        es = v->evaluateExpression(value, error);
        if (es != Acad::eOk)
            return es;
        return v->setValue(value);
    }

    double valueOf(AcDbObjectId id) {
        AcDbObjectPointer<AcDbAssocVariable> v(id);
        double d = -999;
        EXPECT_EQ(v->value().getValue(d), Acad::eOk);
        return d;
    }
};

TEST_F(AssocTest, NetworkOfASpaceIsMadeOnlyWhenAskedAndThenKept) {
    AcDbObjectId space = db()->currentSpaceId();
    EXPECT_TRUE(AcDbAssocNetwork::getInstanceFromObject(space, false, true, L"").isNull());
    AcDbObjectId made = AcDbAssocNetwork::getInstanceFromObject(space, true, true, L"");
    ASSERT_TRUE(made.isValid());
    EXPECT_EQ(made.objectClass(), AcDbAssocNetwork::desc());
    EXPECT_EQ(AcDbAssocNetwork::getInstanceFromObject(space, false, true, L""), made);
    // Another dictionary key is another network; the top level holds the space's one.
    EXPECT_NE(AcDbAssocNetwork::getInstanceFromObject(space, true, false, L"Other"), made);
    AcDbObjectId top = AcDbAssocNetwork::getInstanceFromDatabase(db(), false);
    AcDbObjectPointer<AcDbAssocNetwork> topNetwork(top);
    ASSERT_EQ(topNetwork.openStatus(), Acad::eOk);
    EXPECT_TRUE(topNetwork->getActions().contains(made));
    EXPECT_EQ(topNetwork->getActions().length(), 1);
    EXPECT_TRUE(AcDbAssocNetwork::getInstanceFromObject(AcDbObjectId::kNull, true).isNull());
}

TEST_F(AssocTest, FrameworkThatIsNotThereRefusesEverything) {
    lmhost::setAssocFrameworkAvailable(false);
    EXPECT_EQ(AcDbAssocManager::initialize(), Acad::eNotInitializedYet);
    EXPECT_TRUE(network().isNull());
    lmhost::setAssocFrameworkAvailable(true);
    EXPECT_EQ(AcDbAssocManager::initialize(), Acad::eOk);
}

TEST_F(AssocTest, ActionsKeepTheirOrderAndTheirExactClass) {
    AcDbObjectId a = addVariable(L"Width", L"10");
    auto* group = new AcDbAssoc2dConstraintGroup;
    AcDbObjectId groupId;
    db()->addAcDbObject(groupId, group);
    group->close();
    {
        AcDbObjectPointer<AcDbAssocNetwork> net(network(), AcDb::kForWrite);
        ASSERT_EQ(net->addAction(groupId, true), Acad::eOk);
        EXPECT_EQ(net->addAction(groupId, true), Acad::eInvalidInput); // already in one
        EXPECT_EQ(net->addAction(db()->currentSpaceId(), true), Acad::eNotThatKindOfClass);
    }
    AcDbObjectId b = addVariable(L"Height", L"Width*2");
    AcDbObjectPointer<AcDbAssocNetwork> net(network());
    const AcDbObjectIdArray& actions = net->getActions();
    ASSERT_EQ(actions.length(), 3);
    EXPECT_EQ(actions[0], a);
    EXPECT_EQ(actions[1], groupId);
    EXPECT_EQ(actions[2], b);
    EXPECT_EQ(actions[1].objectClass(), AcDbAssoc2dConstraintGroup::desc());
    EXPECT_TRUE(actions[1].objectClass()->isDerivedFrom(AcDbAssocAction::desc()));
    EXPECT_NE(actions[1].objectClass(), AcDbAssocVariable::desc());
    // Adding needs the network open for write.
    auto* loose = new AcDbAssocVariable;
    AcDbObjectId looseId;
    db()->addAcDbObject(looseId, loose);
    loose->close();
    EXPECT_EQ(net->addAction(looseId, true), Acad::eNotOpenForWrite);
}

TEST_F(AssocTest, ChangingAVariableUpdatesItsDependentsInOrder) {
    AcDbObjectId width = addVariable(L"Width", L"10");
    AcDbObjectId height = addVariable(L"Height", L"Width/2");
    AcDbObjectId area = addVariable(L"Area", L"Width*Height + sqrt(16)");
    EXPECT_DOUBLE_EQ(valueOf(height), 5);
    EXPECT_DOUBLE_EQ(valueOf(area), 54);
    {
        AcDbObjectPointer<AcDbAssocVariable> w(width, AcDb::kForWrite);
        ASSERT_EQ(assign(w, L"2^3"), Acad::eOk);
        EXPECT_EQ(w->expression(), AcString(L"2^3"));
    }
    EXPECT_DOUBLE_EQ(valueOf(width), 8);
    EXPECT_DOUBLE_EQ(valueOf(height), 4);
    EXPECT_DOUBLE_EQ(valueOf(area), 36);
    AcDbObjectPointer<AcDbAssocVariable> a(area);
    EXPECT_EQ(a->value().restype, 40);
    EXPECT_EQ(a->name(), AcString(L"Area"));
}

TEST_F(AssocTest, RefusedExpressionsLeaveTheVariableAsItWas) {
    AcDbObjectId width = addVariable(L"Width", L"10");
    addVariable(L"Height", L"Width+1");
    addVariable(L"Zero", L"0");
    AcDbObjectPointer<AcDbAssocVariable> w(width, AcDb::kForWrite);
    AcString error;
    EXPECT_EQ(assign(w, L"Height*2", error), Acad::eCyclicDependency);
    EXPECT_FALSE(error.isEmpty());
    EXPECT_EQ(assign(w, L"d9+1", error), Acad::eUndefinedVariable);
    EXPECT_NE(std::wstring(error.kwszPtr()).find(L"d9"), std::wstring::npos);
    EXPECT_EQ(assign(w, L"3+*", error), Acad::eInvalidExpression);
    EXPECT_EQ(assign(w, L"", error), Acad::eInvalidExpression);
    EXPECT_EQ(w->expression(), AcString(L"10"));
    double d = 0;
    w->value().getValue(d);
    EXPECT_DOUBLE_EQ(d, 10);
    // An expression that parses but cannot be evaluated stays, with the old value.
    EXPECT_EQ(assign(w, L"1/Zero", error), Acad::eDivisionByZero);
    EXPECT_EQ(w->expression(), AcString(L"1/Zero"));
    w->value().getValue(d);
    EXPECT_DOUBLE_EQ(d, 10);
}

TEST_F(AssocTest, NamesAreCheckedWithoutChangingAnything) {
    AcDbObjectId width = addVariable(L"Width", L"10");
    AcDbObjectId height = addVariable(L"Height", L"Width+1");
    AcDbObjectPointer<AcDbAssocVariable> h(height);
    AcString error;
    EXPECT_EQ(h->validateNameAndExpression(L"Height", L"Width*3", error), Acad::eOk);
    EXPECT_EQ(h->validateNameAndExpression(L"WIDTH", L"1", error), Acad::eInvalidVariableName);
    EXPECT_EQ(h->validateNameAndExpression(L"2nd", L"1", error), Acad::eInvalidVariableName);
    EXPECT_EQ(h->validateNameAndExpression(L"sin", L"1", error), Acad::eInvalidVariableName);
    EXPECT_EQ(h->validateNameAndExpression(L"Height", L"Height+1", error), Acad::eCyclicDependency);
    EXPECT_EQ(h->validateNameAndExpression(L"Height", L"", error), Acad::eInvalidExpression);
    EXPECT_EQ(h->expression(), AcString(L"Width+1"));
    // Changes need a write open; the read open refuses them with a status.
    EXPECT_EQ(h->setName(L"Tall", true), Acad::eNotOpenForWrite);
    EXPECT_EQ(h->setValue(AcDbEvalVariant(2.0)), Acad::eNotOpenForWrite);
    h.close();
    // Renaming rewrites the expressions that reference the variable.
    AcDbObjectPointer<AcDbAssocVariable> w(width, AcDb::kForWrite);
    EXPECT_EQ(w->setName(L"Breadth", false), Acad::eInvalidInput);
    EXPECT_EQ(w->setName(L"Breadth", true), Acad::eOk);
    EXPECT_EQ(w->setValue(AcDbEvalVariant(AcString(L"x"))), Acad::eInvalidInput);
    w.close();
    AcDbObjectPointer<AcDbAssocVariable> again(height);
    EXPECT_EQ(again->expression(), AcString(L"Breadth+1"));
}

TEST_F(AssocTest, UnnamedVariableInTheNetworkTakesItsNameLater) {
    auto* variable = new AcDbAssocVariable;
    AcDbObjectId id;
    db()->addAcDbObject(id, variable);
    variable->close();
    AcDbObjectPointer<AcDbAssocNetwork> net(network(), AcDb::kForWrite);
    ASSERT_EQ(net->addAction(id, true), Acad::eOk);
    net.close();
    AcDbObjectPointer<AcDbAssocVariable> v(id, AcDb::kForWrite);
    EXPECT_TRUE(v->isAnonymous());
    AcString error;
    EXPECT_EQ(v->validateNameAndExpression(L"d1", L"1.0", error), Acad::eOk);
    EXPECT_EQ(v->setName(L"d1", true), Acad::eOk);
    EXPECT_EQ(v->setValue(AcDbEvalVariant(1.0)), Acad::eOk);
    EXPECT_EQ(v->setDescription(L"first"), Acad::eOk);
    EXPECT_EQ(v->description(), AcString(L"first"));
    EXPECT_EQ(assign(v, L"pi*2"), Acad::eOk);
    double d = 0;
    v->value().getValue(d);
    EXPECT_NEAR(d, 6.283185307, 1e-9);
}

} // namespace

namespace {

// The host's expressions as the plug-in meets them through the variables' own calls.
class AssocExpressionTest : public AssocTest {};

} // namespace

TEST_F(AssocExpressionTest, ADependentThatNoLongerEvaluatesIsMarkedAndSaysWhy) {
    AcDbObjectId base = addVariable(L"base", L"5");
    AcDbObjectId d = addVariable(L"d", L"1/(base-2)");
    {
        AcDbObjectPointer<AcDbAssocVariable> b(base, AcDb::kForWrite);
        ASSERT_EQ(assign(b, L"2"), Acad::eOk);
    }
    {
        AcDbObjectPointer<AcDbAssocVariable> v(d);
        EXPECT_EQ(v->status(), kFailedToEvaluateAssocStatus);
        AcDbEvalVariant value;
        AcString error;
        EXPECT_EQ(v->evaluateExpression(value, error), Acad::eDivisionByZero);
        EXPECT_EQ(error, AcString(L"Division by zero"));
        EXPECT_EQ(v->expression(), AcString(L"1/(base-2)"));
    }
    EXPECT_DOUBLE_EQ(valueOf(d), 1.0 / 3.0); // the last good value
    {
        AcDbObjectPointer<AcDbAssocVariable> b(base, AcDb::kForWrite);
        ASSERT_EQ(assign(b, L"4"), Acad::eOk);
        EXPECT_EQ(b->status(), kIsUpToDateAssocStatus);
    }
    AcDbObjectPointer<AcDbAssocVariable> v(d);
    EXPECT_EQ(v->status(), kIsUpToDateAssocStatus);
    EXPECT_DOUBLE_EQ(valueOf(d), 0.5);
}

TEST_F(AssocExpressionTest, ValuesStayWithinTheHostsRange) {
    AcDbObjectId w = addVariable(L"w", L"1e100");
    AcDbObjectPointer<AcDbAssocVariable> v(w, AcDb::kForWrite);
    EXPECT_EQ(v->setValue(AcDbEvalVariant(1.5e100)), Acad::eOutOfRange);
    EXPECT_EQ(v->setValue(AcDbEvalVariant(-1.5e100)), Acad::eOutOfRange);
    AcString error;
    EXPECT_EQ(assign(v, L"1e101", error), Acad::eOutOfRange);
    EXPECT_EQ(assign(v, L"10^50 * 10^51", error), Acad::eOutOfRange);
    v.close();
    EXPECT_DOUBLE_EQ(valueOf(w), 1e100);
}

TEST_F(AssocExpressionTest, DistancesReadByTheDrawingsUnitsAndAnglesInRadiansWhateverAUNITS) {
    AcDbObjectId w = addVariable(L"w", L"1");
    AcDbObjectPointer<AcDbAssocVariable> v(w, AcDb::kForWrite);
    AcString error;
    EXPECT_EQ(assign(v, L"5'-9\"", error), Acad::eInvalidExpression); // decimal units
    lmhost::setSystemVariable(L"LUNITS", short(4));
    EXPECT_EQ(assign(v, L"5'-9\"", error), Acad::eOk);
    v.close();
    EXPECT_DOUBLE_EQ(valueOf(w), 69);
    for (short aunits : {0, 3}) {
        lmhost::setSystemVariable(L"AUNITS", aunits);
        AcDbObjectPointer<AcDbAssocVariable> again(w, AcDb::kForWrite);
        ASSERT_EQ(assign(again, L"sin(d2r(30))"), Acad::eOk);
        again.close();
        EXPECT_NEAR(valueOf(w), 0.5, 1e-12);
    }
}
