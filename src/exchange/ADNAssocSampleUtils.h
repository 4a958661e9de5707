// Access to the drawing's constraint parameters: the AcDbAssocVariable actions of a space's
// associative network. Only actions of exactly that class are parameters.
#pragma once

#include "AcDbAssocGlobal.h"
#include "AcString.h"
#include "afx.h"
#include "acadstrc.h"
#include "dbmain.h"

// The first variable whose name begins with name (case counts), in network order. Creates one
// with the expression "1.0" when none is found and create is true; eNullObjectId otherwise.
Acad::ErrorStatus findVariable(AcDbObjectId spaceId, const AcString& name, bool create,
                               AcDbObjectId& variableId);

// Adds a new variable to the network; variableId is set once it is in the database, also
// when a later step fails, and a half-made variable stays.
Acad::ErrorStatus createVariable(AcDbObjectId networkId, const AcString& name,
                                 const AcString& expression, AcDbObjectId& variableId);

// Gives a variable a new expression and description; an empty argument leaves its field.
// Writing the expression it already has evaluates nothing.
Acad::ErrorStatus setVariableExpression(AcDbObjectId variableId, const AcString& expression,
                                        const AcString& description, AcString& errorMessage);

// Link names and their stored Cell Expressions (or empty texts), appended in step: the
// parameters of the current space in network order, then, with includeBlocks, the linked
// properties of block references in selection order. Nothing is sorted here.
Acad::ErrorStatus enumerateParameters(CStringArray& names, CStringArray& expressions,
                                      int includeBlocks);

// An evaluation callback that asks nothing and does nothing. It is declared for clients of
// the framework and never made here: no operation of the plug-in creates one or hands one to
// the host.
class ADNConstraintEvaluationCallback : public AcDbAssocEvaluationCallback {
public:
    ~ADNConstraintEvaluationCallback() override = default;

    AcDbAssocEvaluationMode evaluationMode() const override {
        return kModifyObjectsAssocEvaluationMode;
    }
    void beginActionEvaluation(AcDbAssocAction*) override {}
    void endActionEvaluation(AcDbAssocAction*) override {}
    void setActionEvaluationErrorStatus(AcDbAssocAction*, Acad::ErrorStatus, const AcDbObjectId&,
                                        AcDbObject*, void*) override {}
    void beginActionEvaluationUsingObject(AcDbAssocAction*, const AcDbObjectId&, bool, bool,
                                          AcDbObject*&) override {}
    void endActionEvaluationUsingObject(AcDbAssocAction*, const AcDbObjectId&,
                                        AcDbObject*) override {}
    void allDependentActionsMarkedToEvaluate(AcDbAssocNetwork*) override {}
    AcDbAssocDraggingState draggingState() const override { return kNotDraggingAssocDraggingState; }
    AcDbEvalContext* getAdditionalData() const override { return nullptr; }
    AcDbAssocTransformationType getTransformationType() const override { return kNotSpecified; }
    void beginNetworkEvaluation(AcDbAssocNetwork*) override {}
    void endNetworkEvaluation(AcDbAssocNetwork*) override {}
    bool cancelActionEvaluation() override { return false; }
};
