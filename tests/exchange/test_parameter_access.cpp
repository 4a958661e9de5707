// Finding, creating and changing constraint parameters of a space.
#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

#include "AcDbAssocNetwork.h"
#include "AcDbAssocVariable.h"
#include "dbapserv.h"
#include "exchange/ADNAssocSampleUtils.h"
#include "links/LinkDrawing.h"
#include "drawing/control/Editor.h"

using namespace linktest;

namespace {

class ParameterAccessTest : public testkit::HostTest {
protected:
    AcDbObjectId space() const { return database()->currentSpaceId(); }
    int actionCount() const {
        AcDbObjectId networkId = AcDbAssocNetwork::getInstanceFromObject(space(), false);
        if (networkId.isNull())
            return -1;
        AcDbObjectPointer<AcDbAssocNetwork> network(networkId, AcDb::kForRead);
        return network->getActions().length();
    }
    std::wstring nameOf(AcDbObjectId id) {
        AcDbObjectPointer<AcDbAssocVariable> variable(id, AcDb::kForRead);
        return variable->name().str();
    }
};

TEST_F(ParameterAccessTest, EmptyNameIsRefusedBeforeAnythingElse) {
    AcDbObjectId id;
    EXPECT_EQ(findVariable(space(), L"", true, id), Acad::eInvalidInput);
    EXPECT_TRUE(id.isNull());
    EXPECT_EQ(actionCount(), -1) << "not even a network is made";
}

TEST_F(ParameterAccessTest, NameIsFoundByItsBeginningInNetworkOrder) {
    AcDbObjectId width2 = addParameter(L"Width2", L"2");
    AcDbObjectId width = addParameter(L"Width", L"1");
    AcDbObjectId id;
    ASSERT_EQ(findVariable(space(), L"Width", false, id), Acad::eOk);
    EXPECT_EQ(id, width2);
    ASSERT_EQ(findVariable(space(), L"Width2", false, id), Acad::eOk);
    EXPECT_EQ(id, width2);
    EXPECT_NE(width, width2);
}

TEST_F(ParameterAccessTest, LongerOrDifferentlyCasedNamesDoNotMatch) {
    addParameter(L"Width", L"1");
    AcDbObjectId id;
    EXPECT_EQ(findVariable(space(), L"Width2", false, id), Acad::eNullObjectId);
    EXPECT_EQ(findVariable(space(), L"width", false, id), Acad::eNullObjectId);
}

TEST_F(ParameterAccessTest, OtherActionsOfTheNetworkAreNotParameters) {
    AcDbObjectId networkId = AcDbAssocNetwork::getInstanceFromObject(space(), true);
    auto* group = new AcDbAssoc2dConstraintGroup();
    AcDbObjectId groupId;
    ASSERT_EQ(database()->addAcDbObject(groupId, group), Acad::eOk);
    group->close();
    {
        AcDbObjectPointer<AcDbAssocNetwork> network(networkId, AcDb::kForWrite);
        ASSERT_EQ(network->addAction(groupId, true), Acad::eOk);
    }
    AcDbObjectId depth = addParameter(L"Depth", L"3");
    AcDbObjectId id;
    ASSERT_EQ(findVariable(space(), L"Depth", false, id), Acad::eOk);
    EXPECT_EQ(id, depth);
}

TEST_F(ParameterAccessTest, AskingAnEmptySpaceMakesItsNetwork) {
    AcDbObjectId id;
    EXPECT_EQ(findVariable(space(), L"Width", false, id), Acad::eNullObjectId);
    EXPECT_EQ(actionCount(), 0);
}

TEST_F(ParameterAccessTest, MissingParameterIsCreatedWithOne) {
    addParameter(L"Width", L"1");
    AcDbObjectId id;
    ASSERT_EQ(findVariable(space(), L"Depth", true, id), Acad::eOk);
    EXPECT_EQ(nameOf(id), L"Depth");
    EXPECT_EQ(expressionOf(id), L"1.0");
    EXPECT_DOUBLE_EQ(valueOf(id), 1.0);
    EXPECT_EQ(actionCount(), 2);
    AcDbObjectId again;
    ASSERT_EQ(findVariable(space(), L"Depth", true, again), Acad::eOk);
    EXPECT_EQ(again, id);
    EXPECT_EQ(actionCount(), 2);
}

TEST_F(ParameterAccessTest, RefusedNameLeavesAnUnnamedVariable) {
    AcDbObjectId id;
    Acad::ErrorStatus es = findVariable(space(), L"2 wide", true, id);
    EXPECT_EQ(es, Acad::eInvalidVariableName);
    ASSERT_FALSE(id.isNull());
    EXPECT_EQ(nameOf(id), L"");
    EXPECT_EQ(actionCount(), 1);
}

TEST_F(ParameterAccessTest, CreatedExpressionIsEvaluated) {
    addParameter(L"Width", L"4");
    AcDbObjectId networkId = AcDbAssocNetwork::getInstanceFromObject(space(), true);
    AcDbObjectId id;
    ASSERT_EQ(createVariable(networkId, L"Half", L"Width/2", id), Acad::eOk);
    EXPECT_DOUBLE_EQ(valueOf(id), 2.0);
    AcDbObjectId broken;
    EXPECT_EQ(createVariable(networkId, L"Broken", L"Nothing*2", broken), Acad::eUndefinedVariable);
    EXPECT_FALSE(broken.isNull()) << "the half-made variable stays";
    EXPECT_DOUBLE_EQ(valueOf(broken), 1.0);
}

TEST_F(ParameterAccessTest, UnavailableFrameworkGivesItsStatus) {
    lmhost::setAssocFrameworkAvailable(false);
    AcDbObjectId id;
    AcString error;
    EXPECT_NE(findVariable(space(), L"Width", true, id), Acad::eOk);
    EXPECT_NE(setVariableExpression(id, L"2", L"", error), Acad::eOk);
    lmhost::setAssocFrameworkAvailable(true);
    EXPECT_TRUE(id.isNull());
}

TEST_F(ParameterAccessTest, NewExpressionIsEvaluatedAndDependentsFollow) {
    AcDbObjectId width = addParameter(L"Width", L"10");
    AcDbObjectId height = addParameter(L"Height", L"Width+1");
    AcString error;
    ASSERT_EQ(setVariableExpression(width, L"20", L"Door width", error), Acad::eOk);
    EXPECT_DOUBLE_EQ(valueOf(width), 20.0);
    EXPECT_DOUBLE_EQ(valueOf(height), 21.0);
    AcDbObjectPointer<AcDbAssocVariable> variable(width, AcDb::kForRead);
    EXPECT_EQ(variable->description().str(), L"Door width");
}

TEST_F(ParameterAccessTest, SameExpressionIsNotEvaluatedAgain) {
    AcDbObjectId width = addParameter(L"Width", L"10");
    {
        AcDbObjectPointer<AcDbAssocVariable> variable(width, AcDb::kForWrite);
        variable->setValue(AcDbEvalVariant(99.0));
    }
    AcString error;
    EXPECT_EQ(setVariableExpression(width, L"10", L"", error), Acad::eOk);
    EXPECT_DOUBLE_EQ(valueOf(width), 99.0);
    EXPECT_EQ(setVariableExpression(width, L"10.0", L"", error), Acad::eOk);
    EXPECT_DOUBLE_EQ(valueOf(width), 10.0);
}

TEST_F(ParameterAccessTest, EmptyArgumentsLeaveTheirFields) {
    AcDbObjectId width = addParameter(L"Width", L"10");
    AcString error;
    ASSERT_EQ(setVariableExpression(width, L"", L"Kept", error), Acad::eOk);
    ASSERT_EQ(setVariableExpression(width, L"", L"", error), Acad::eOk);
    AcDbObjectPointer<AcDbAssocVariable> variable(width, AcDb::kForRead);
    EXPECT_EQ(variable->expression().str(), L"10");
    EXPECT_EQ(variable->description().str(), L"Kept");
}

TEST_F(ParameterAccessTest, RefusedExpressionKeepsExpressionButNotDescription) {
    AcDbObjectId width = addParameter(L"Width", L"10");
    AcString error;
    EXPECT_EQ(setVariableExpression(width, L"2+*3", L"New", error), Acad::eInvalidExpression);
    EXPECT_FALSE(error.isEmpty());
    AcDbObjectPointer<AcDbAssocVariable> variable(width, AcDb::kForRead);
    EXPECT_EQ(variable->expression().str(), L"10");
    EXPECT_EQ(variable->description().str(), L"New");
}

TEST_F(ParameterAccessTest, UnevaluableExpressionStaysWithTheOldValue) {
    AcDbObjectId width = addParameter(L"Width", L"10");
    AcString error;
    EXPECT_EQ(setVariableExpression(width, L"1/0", L"", error), Acad::eDivisionByZero);
    EXPECT_EQ(expressionOf(width), L"1/0");
    EXPECT_DOUBLE_EQ(valueOf(width), 10.0);
}

// The evaluation callback is declared for the framework's clients and made by none of the
// plug-in's operations: it asks for nothing and never cancels an evaluation.
TEST(EvaluationCallback, AsksNothingAndCancelsNothing) {
    static_assert(std::is_base_of_v<AcDbAssocEvaluationCallback, ADNConstraintEvaluationCallback>);
    std::unique_ptr<AcDbAssocEvaluationCallback> callback =
        std::make_unique<ADNConstraintEvaluationCallback>();
    EXPECT_EQ(callback->evaluationMode(), kModifyObjectsAssocEvaluationMode);
    EXPECT_EQ(callback->draggingState(), kNotDraggingAssocDraggingState);
    EXPECT_EQ(callback->getAdditionalData(), nullptr);
    EXPECT_EQ(callback->getTransformationType(), kNotSpecified);
    AcDbObject* substitute = nullptr;
    callback->beginActionEvaluationUsingObject(nullptr, AcDbObjectId::kNull, true, true,
                                               substitute);
    EXPECT_EQ(substitute, nullptr);
    EXPECT_FALSE(callback->cancelActionEvaluation());
}

} // namespace
