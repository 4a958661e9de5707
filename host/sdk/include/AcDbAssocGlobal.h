// What the associative framework tells a client while it evaluates actions. The host's
// network evaluation in this substitute takes no callback; a client may still derive from
// the class, as it does against the real framework.
#pragma once

#include "acadstrc.h"
#include "dbmain.h"

class AcDbAssocAction;
class AcDbAssocNetwork;
class AcDbEvalContext;

enum AcDbAssocEvaluationMode {
    kModifyObjectsAssocEvaluationMode = 0,
    kModifyActionAssocEvaluationMode = 1,
};

enum AcDbAssocDraggingState {
    kNotDraggingAssocDraggingState = 0,
    kFirstSampleAssocDraggingState = 1,
    kIntermediateSampleAssocDraggingState = 2,
    kLastSampleAssocDraggingState = 3,
};

enum AcDbAssocTransformationType {
    kNotSpecified = 0,
    kStretch = 1,
    kRotate = 2,
    kMove = 3,
};

class AcDbAssocEvaluationCallback {
public:
    AcDbAssocEvaluationCallback() = default;
    virtual ~AcDbAssocEvaluationCallback() = default;

    virtual AcDbAssocEvaluationMode evaluationMode() const = 0;
    virtual void beginActionEvaluation(AcDbAssocAction* action) = 0;
    virtual void endActionEvaluation(AcDbAssocAction* action) = 0;
    virtual void setActionEvaluationErrorStatus(AcDbAssocAction* action,
                                                Acad::ErrorStatus errorStatus,
                                                const AcDbObjectId& objectId,
                                                AcDbObject* errorObject, void* errorInfo) = 0;
    virtual void beginActionEvaluationUsingObject(AcDbAssocAction* action,
                                                  const AcDbObjectId& objectId,
                                                  bool objectIsGoingToBeUsed,
                                                  bool objectIsGoingToBeModified,
                                                  AcDbObject*& substituteObject) = 0;
    virtual void endActionEvaluationUsingObject(AcDbAssocAction* action,
                                                const AcDbObjectId& objectId,
                                                AcDbObject* object) = 0;
    virtual void allDependentActionsMarkedToEvaluate(AcDbAssocNetwork* network) = 0;
    virtual AcDbAssocDraggingState draggingState() const = 0;
    virtual AcDbEvalContext* getAdditionalData() const = 0;
    virtual AcDbAssocTransformationType getTransformationType() const = 0;
    virtual void beginNetworkEvaluation(AcDbAssocNetwork* network) = 0;
    virtual void endNetworkEvaluation(AcDbAssocNetwork* network) = 0;
    // True asks the framework to stop evaluating.
    virtual bool cancelActionEvaluation() = 0;

    AcDbAssocEvaluationCallback(const AcDbAssocEvaluationCallback&) = delete;
    AcDbAssocEvaluationCallback& operator=(const AcDbAssocEvaluationCallback&) = delete;
};
