// The associative framework: networks per space and the variables they hold, whose
// expressions the drawing's parameter engine parses, evaluates and keeps in dependency
// order.
#include "AcDbAssocManager.h"
#include "AcDbAssocNetwork.h"
#include "AcDbAssocVariable.h"
#include "acedads.h"
#include "acutads.h"
#include "drawing/ExpressionFunctions.h"
#include "drawing/ParameterExpression.h"
#include "sdk/Database.h"
#include "drawing/control/Editor.h"

#include <cmath>
#include <optional>

ACRX_DEFINE_MEMBERS(AcDbAssocManager, AcDbObject)
ACRX_DEFINE_MEMBERS(AcDbAssocAction, AcDbObject)
ACRX_DEFINE_MEMBERS(AcDbAssoc2dConstraintGroup, AcDbAssocAction)
ACRX_DEFINE_MEMBERS(AcDbAssocNetwork, AcDbAssocAction)
ACRX_DEFINE_MEMBERS(AcDbAssocVariable, AcDbAssocAction)

struct AcDbAssocNetwork::Data {
    AcDbObjectIdArray actions;
    drawing::ParameterSet parameters;
};

struct AcDbAssocVariable::Data {
    // The variable's own fields while it is in no network.
    AcString name;
    AcString expression;
    AcDbEvalVariant value;
    AcString description;
    AcString evaluatorId;
    bool angular = false;
    // Its place in the network's parameters, once added.
    drawing::VariableId parameter = drawing::kNoVariable;
    // What name(), expression() and value() hand out by reference.
    mutable AcString nameShown;
    mutable AcString expressionShown;
    mutable AcDbEvalVariant valueShown;
};

namespace {

bool g_frameworkAvailable = true;

Acad::ErrorStatus statusOf(drawing::ExprStatus status) {
    using drawing::ExprStatus;
    switch (status) {
    case ExprStatus::ok:
        return Acad::eOk;
    case ExprStatus::syntaxError:
    case ExprStatus::tooComplex:
    case ExprStatus::domainError:
        return Acad::eInvalidExpression;
    case ExprStatus::unknownName:
        return Acad::eUndefinedVariable;
    case ExprStatus::invalidName:
    case ExprStatus::duplicateName:
        return Acad::eInvalidVariableName;
    case ExprStatus::cyclicDependency:
        return Acad::eCyclicDependency;
    case ExprStatus::divisionByZero:
        return Acad::eDivisionByZero;
    case ExprStatus::outOfRange:
        return Acad::eOutOfRange;
    case ExprStatus::inUse:
        return Acad::eInvalidInput;
    case ExprStatus::notFound:
        return Acad::eKeyNotFound;
    }
    return Acad::eInvalidInput;
}

Acad::ErrorStatus report(const drawing::ExprError& error, AcString& errorMessage) {
    errorMessage = error.text;
    return statusOf(error.status);
}

AcDbAssocNetwork* networkOf(const AcDbAssocVariable* variable) {
    AcDbStub* stub = variable->ownerId().stub();
    if (!stub || !stub->object || variable->data()->parameter == drawing::kNoVariable)
        return nullptr;
    return AcDbAssocNetwork::cast(stub->object);
}

// The drawing's LUNITS, which decides how distances in expressions read.
int linearUnits() {
    resbuf rb{};
    if (acedGetVar(L"LUNITS", &rb) == RTNORM && rb.restype == RTSHORT)
        return rb.resval.rint;
    if (rb.restype == RTSTR)
        acutDelString(rb.resval.rstring);
    return 2;
}

// The network's parameters, reading expressions in the present units.
drawing::ParameterSet& parametersOf(AcDbAssocNetwork* network) {
    drawing::ParameterSet& parameters = network->data()->parameters;
    parameters.setLinearUnits(linearUnits());
    return parameters;
}

std::optional<drawing::Expression> parseAlone(const AcString& text, drawing::ExprError& error) {
    return drawing::Expression::parse(text.str(), error, linearUnits());
}

// Numbers only: a parameter's value is a real.
bool numberOf(const AcDbEvalVariant& value, double& number) {
    switch (value.restype) {
    case AcDb::kDxfReal:
        number = value.resval.rreal;
        return true;
    case AcDb::kDxfInt16:
        number = value.resval.rint;
        return true;
    case AcDb::kDxfInt32:
        number = value.resval.rlong;
        return true;
    default:
        return false;
    }
}

AcDbObjectId makeNetwork(AcDbDatabase* db, AcDbObjectId owner) {
    auto* network = new AcDbAssocNetwork;
    AcDbObjectId id;
    if (db->addAcDbObject(id, network) != Acad::eOk) {
        delete network;
        return AcDbObjectId::kNull;
    }
    AcDbObjectAccess::setOwner(network, owner);
    network->close();
    return id;
}

} // namespace

// ---------------------------------------------------------------------------------------

Acad::ErrorStatus AcDbAssocManager::initialize() {
    return g_frameworkAvailable ? Acad::eOk : Acad::eNotInitializedYet;
}

void AcDbAssocManager::uninitialize() {}

// Values follow their references as they change, so nothing is left to evaluate.
bool AcDbAssocManager::evaluateTopLevelNetwork(AcDbDatabase* database) {
    return database != nullptr && g_frameworkAvailable;
}

void lmhost::setAssocFrameworkAvailable(bool available) {
    g_frameworkAvailable = available;
}

void lmhost::setAngularVariable(AcDbObjectId id, bool angular) {
    AcDbStub* stub = id.stub();
    if (auto* variable = stub ? AcDbAssocVariable::cast(stub->object) : nullptr)
        variable->data()->angular = angular;
}

bool lmhost::isAngularVariable(AcDbObjectId id) {
    AcDbStub* stub = id.stub();
    auto* variable = stub ? AcDbAssocVariable::cast(stub->object) : nullptr;
    return variable && variable->data()->angular;
}

AcDbAssocStatus AcDbAssocAction::status() const {
    assertReadEnabled();
    auto* variable = AcDbAssocVariable::cast(this);
    AcDbAssocNetwork* network = variable ? networkOf(variable) : nullptr;
    if (network && network->data()->parameters.lastStatus(variable->data()->parameter) !=
                       drawing::ExprStatus::ok)
        return kFailedToEvaluateAssocStatus;
    return kIsUpToDateAssocStatus;
}

AcDbObjectId AcDbAssocAction::owningNetwork() const {
    AcDbStub* stub = ownerId().stub();
    return stub && stub->object && AcDbAssocNetwork::cast(stub->object) ? ownerId()
                                                                        : AcDbObjectId::kNull;
}

// ---------------------------------------------------------------------------------------

AcDbAssocNetwork::AcDbAssocNetwork() : m_data(new Data) {}
AcDbAssocNetwork::~AcDbAssocNetwork() {
    delete m_data;
}

const AcDbObjectIdArray& AcDbAssocNetwork::getActions() const {
    assertReadEnabled();
    return m_data->actions;
}

Acad::ErrorStatus AcDbAssocNetwork::addAction(const AcDbObjectId& actionId, bool) {
    if (!isWriteEnabled())
        return Acad::eNotOpenForWrite;
    AcDbStub* stub = actionId.stub();
    if (!stub)
        return Acad::eNullObjectId;
    if (!stub->object)
        return Acad::ePermanentlyErased;
    if (stub->erased)
        return Acad::eWasErased;
    auto* action = AcDbAssocAction::cast(stub->object);
    if (!action)
        return Acad::eNotThatKindOfClass;
    if (action == this || action->owningNetwork().isValid() || stub->database != database())
        return Acad::eInvalidInput;
    if (auto* variable = AcDbAssocVariable::cast(action)) {
        AcDbAssocVariable::Data& v = *variable->data();
        drawing::ExprError error;
        drawing::VariableId parameter = drawing::kNoVariable;
        drawing::ExprStatus status =
            parametersOf(this).add(v.name.str(), v.expression.str(), parameter, error);
        if (status != drawing::ExprStatus::ok)
            return statusOf(status);
        double number = 0;
        if (v.expression.isEmpty() && numberOf(v.value, number))
            m_data->parameters.setValue(parameter, number);
        v.parameter = parameter;
    }
    AcDbObjectAccess::setOwner(action, objectId());
    m_data->actions.append(actionId);
    assertWriteEnabled();
    return Acad::eOk;
}

Acad::ErrorStatus AcDbAssocNetwork::removeAction(const AcDbObjectId& actionId, bool alsoEraseIt) {
    if (!isWriteEnabled())
        return Acad::eNotOpenForWrite;
    int index = m_data->actions.find(actionId);
    if (index < 0)
        return Acad::eInvalidInput;
    AcDbStub* stub = actionId.stub();
    if (stub->object) {
        if (auto* variable = AcDbAssocVariable::cast(stub->object)) {
            AcDbAssocVariable::Data& v = *variable->data();
            // The variable takes its fields with it.
            v.name = variable->name();
            v.expression = variable->expression();
            v.value = variable->value();
            drawing::ExprError error;
            drawing::ExprStatus status = m_data->parameters.remove(v.parameter, error);
            if (status != drawing::ExprStatus::ok)
                return statusOf(status);
            v.parameter = drawing::kNoVariable;
        }
        AcDbObjectAccess::setOwner(stub->object, AcDbObjectId::kNull);
    }
    m_data->actions.removeAt(index);
    assertWriteEnabled();
    if (alsoEraseIt && stub->object && !stub->erased) {
        AcDbObject* action = nullptr;
        if (acdbOpenObject(action, actionId, nullptr, AcDb::kForWrite, false) == Acad::eOk) {
            action->erase();
            action->close();
        }
    }
    return Acad::eOk;
}

AcDbObjectId AcDbAssocNetwork::getInstanceFromDatabase(AcDbDatabase* db, bool create,
                                                       const AcString& key) {
    if (!db || !g_frameworkAvailable)
        return AcDbObjectId::kNull;
    auto& networks = db->impl()->networks;
    auto it = networks.find({nullptr, key.str()});
    if (it != networks.end() && !it->second.isErased())
        return it->second;
    if (!create)
        return AcDbObjectId::kNull;
    AcDbObjectId id = makeNetwork(db, AcDbObjectId::kNull);
    if (id.isValid())
        networks[{nullptr, key.str()}] = id;
    if (key.isEmpty())
        db->impl()->topLevelNetwork = id;
    return id;
}

AcDbObjectId AcDbAssocNetwork::getInstanceFromObject(const AcDbObjectId& owner, bool create,
                                                     bool addToTopLevel, const AcString& key) {
    AcDbStub* stub = owner.stub();
    if (!g_frameworkAvailable || !stub || !stub->object || stub->erased)
        return AcDbObjectId::kNull;
    AcDbDatabase* db = stub->database;
    auto& networks = db->impl()->networks;
    auto it = networks.find({stub, key.str()});
    if (it != networks.end() && !it->second.isErased())
        return it->second;
    if (!create)
        return AcDbObjectId::kNull;
    AcDbObjectId id = makeNetwork(db, owner);
    if (id.isNull())
        return id;
    networks[{stub, key.str()}] = id;
    if (addToTopLevel) {
        AcDbObjectId top = getInstanceFromDatabase(db, true, L"");
        AcDbAssocNetwork* topNetwork = nullptr;
        if (acdbOpenObject(topNetwork, top, AcDb::kForWrite) == Acad::eOk) {
            AcDbObjectAccess::setOwner(id.stub()->object, AcDbObjectId::kNull);
            topNetwork->addAction(id, true);
            topNetwork->close();
        }
    }
    return id;
}

// ---------------------------------------------------------------------------------------

AcDbAssocVariable::AcDbAssocVariable() : m_data(new Data) {}
AcDbAssocVariable::~AcDbAssocVariable() {
    delete m_data;
}

const AcString& AcDbAssocVariable::name() const {
    assertReadEnabled();
    if (AcDbAssocNetwork* network = networkOf(this)) {
        m_data->nameShown = network->data()->parameters.name(m_data->parameter);
        return m_data->nameShown;
    }
    return m_data->name;
}

const AcString& AcDbAssocVariable::expression() const {
    assertReadEnabled();
    if (AcDbAssocNetwork* network = networkOf(this)) {
        m_data->expressionShown = network->data()->parameters.expression(m_data->parameter);
        return m_data->expressionShown;
    }
    return m_data->expression;
}

const AcString& AcDbAssocVariable::evaluatorId() const {
    assertReadEnabled();
    return m_data->evaluatorId;
}

const AcString& AcDbAssocVariable::description() const {
    assertReadEnabled();
    return m_data->description;
}

const AcDbEvalVariant& AcDbAssocVariable::value() const {
    assertReadEnabled();
    if (AcDbAssocNetwork* network = networkOf(this)) {
        m_data->valueShown = network->data()->parameters.value(m_data->parameter);
        return m_data->valueShown;
    }
    return m_data->value;
}

Acad::ErrorStatus AcDbAssocVariable::validateNameAndExpression(const AcString& name,
                                                               const AcString& expression,
                                                               AcString& errorMessage) const {
    assertReadEnabled();
    drawing::ExprError error;
    if (AcDbAssocNetwork* network = networkOf(this)) {
        parametersOf(network).check(m_data->parameter, name.str(), expression.str(), error);
        return report(error, errorMessage);
    }
    // In no network there is nothing to reference.
    if (drawing::validateName(name.str(), error) != drawing::ExprStatus::ok)
        return report(error, errorMessage);
    auto parsed = parseAlone(expression, error);
    if (parsed && !parsed->references().empty())
        error = {drawing::ExprStatus::unknownName,
                 L"Unknown name \"" + parsed->references().front() + L"\""};
    return report(error, errorMessage);
}

Acad::ErrorStatus AcDbAssocVariable::setName(const AcString& newName, bool updateReferences) {
    if (!isWriteEnabled())
        return Acad::eNotOpenForWrite;
    drawing::ExprError error;
    if (AcDbAssocNetwork* network = networkOf(this)) {
        drawing::ExprStatus status =
            parametersOf(network).rename(m_data->parameter, newName.str(), updateReferences, error);
        if (status != drawing::ExprStatus::ok)
            return statusOf(status);
    } else {
        if (drawing::validateName(newName.str(), error) != drawing::ExprStatus::ok)
            return statusOf(error.status);
        m_data->name = newName;
    }
    assertWriteEnabled();
    return Acad::eOk;
}

Acad::ErrorStatus AcDbAssocVariable::setExpression(const AcString& newExpression,
                                                   const AcString& evaluatorId, bool, bool,
                                                   AcString& errorMessage, bool) {
    if (!isWriteEnabled())
        return Acad::eNotOpenForWrite;
    drawing::ExprError error;
    if (AcDbAssocNetwork* network = networkOf(this)) {
        if (parametersOf(network).setExpression(m_data->parameter, newExpression.str(), error) !=
            drawing::ExprStatus::ok)
            return report(error, errorMessage);
    } else {
        auto parsed = parseAlone(newExpression, error);
        if (parsed && !parsed->references().empty())
            error = {drawing::ExprStatus::unknownName,
                     L"Unknown name \"" + parsed->references().front() + L"\""};
        if (error.status != drawing::ExprStatus::ok)
            return report(error, errorMessage);
        m_data->expression = newExpression;
    }
    m_data->evaluatorId = evaluatorId;
    assertWriteEnabled();
    return Acad::eOk;
}

Acad::ErrorStatus AcDbAssocVariable::evaluateExpression(AcDbEvalVariant& result,
                                                        AcString& errorMessage) const {
    assertReadEnabled();
    drawing::ExprError error;
    double number = 0;
    if (AcDbAssocNetwork* network = networkOf(this)) {
        if (network->data()->parameters.evaluate(m_data->parameter, number, error) !=
            drawing::ExprStatus::ok)
            return report(error, errorMessage);
    } else {
        if (m_data->expression.isEmpty()) {
            result = m_data->value;
            return Acad::eOk;
        }
        auto parsed = parseAlone(m_data->expression, error);
        if (!parsed ||
            parsed->evaluate(std::span<const double>(), number, error) != drawing::ExprStatus::ok)
            return report(error, errorMessage);
    }
    result = number;
    return Acad::eOk;
}

Acad::ErrorStatus AcDbAssocVariable::setValue(const AcDbEvalVariant& value) {
    if (!isWriteEnabled())
        return Acad::eNotOpenForWrite;
    double number = 0;
    if (!numberOf(value, number))
        return Acad::eInvalidInput;
    if (!(std::fabs(number) <= drawing::expr::kValueLimit))
        return Acad::eOutOfRange;
    if (AcDbAssocNetwork* network = networkOf(this))
        network->data()->parameters.setValue(m_data->parameter, number);
    else
        m_data->value = number;
    assertWriteEnabled();
    return Acad::eOk;
}

Acad::ErrorStatus AcDbAssocVariable::setDescription(const AcString& newDescription) {
    if (!isWriteEnabled())
        return Acad::eNotOpenForWrite;
    assertWriteEnabled();
    m_data->description = newDescription;
    return Acad::eOk;
}
