// The graph of parameters: names, expressions, values, and who depends on whom.
#include "drawing/ExpressionFunctions.h"
#include "drawing/ParameterExpression.h"

#include <algorithm>
#include <array>

namespace drawing {

using expr::quoted;

namespace {
const std::wstring kEmpty;

ExprStatus noSuchParameter(ExprError& error) {
    error = {ExprStatus::notFound, L"No such parameter"};
    return ExprStatus::notFound;
}
} // namespace

bool ParameterSet::contains(VariableId id) const {
    return id < m_variables.size() && m_variables[id].alive;
}

VariableId ParameterSet::find(std::wstring_view name) const {
    auto it = m_byName.find(foldName(name));
    return it == m_byName.end() ? kNoVariable : it->second;
}

const std::wstring& ParameterSet::name(VariableId id) const {
    return contains(id) ? m_names[id] : kEmpty;
}

const std::wstring& ParameterSet::expression(VariableId id) const {
    return contains(id) && m_variables[id].expression ? m_variables[id].expression->text() : kEmpty;
}

double ParameterSet::value(VariableId id) const {
    return contains(id) ? m_variables[id].value : 0.0;
}

ExprStatus ParameterSet::lastStatus(VariableId id) const {
    return contains(id) ? m_variables[id].lastStatus : ExprStatus::notFound;
}

const std::wstring& ParameterSet::lastError(VariableId id) const {
    auto it = m_errors.find(id);
    return contains(id) && it != m_errors.end() ? it->second : kEmpty;
}

void ParameterSet::markValid(VariableId id) {
    if (m_variables[id].lastStatus != ExprStatus::ok) {
        m_variables[id].lastStatus = ExprStatus::ok;
        m_errors.erase(id);
    }
}

void ParameterSet::markInvalid(VariableId id, const ExprError& error) {
    m_variables[id].lastStatus = error.status;
    m_errors[id] = error.text;
}

std::vector<VariableId> ParameterSet::dependents(VariableId id) const {
    return contains(id) ? m_variables[id].dependents : std::vector<VariableId>{};
}

std::uint32_t ParameterSet::nextEpoch() const {
    if (m_mark.size() < m_variables.size()) {
        m_mark.resize(m_variables.size(), 0);
        m_pending.resize(m_variables.size(), 0);
    }
    if (++m_epoch == 0) { // wrapped: old marks could collide
        std::fill(m_mark.begin(), m_mark.end(), 0);
        m_epoch = 1;
    }
    return m_epoch;
}

ExprStatus ParameterSet::resolve(VariableId self, const Expression& expression,
                                 std::vector<VariableId>& ids, ExprError& error) const {
    ids.clear();
    ids.reserve(expression.references().size());
    for (const auto& name : expression.references()) {
        VariableId id = find(name);
        if (id == kNoVariable) {
            error = {ExprStatus::unknownName, L"Unknown name " + quoted(name)};
            return ExprStatus::unknownName;
        }
        if (id == self) {
            error = {ExprStatus::cyclicDependency,
                     L"Cyclic dependency: " + quoted(name) + L" refers to itself"};
            return ExprStatus::cyclicDependency;
        }
        ids.push_back(id);
    }
    return ExprStatus::ok;
}

// Whether any of `targets` depends, directly or not, on `from`.
bool ParameterSet::reaches(VariableId from, const std::vector<VariableId>& targets) const {
    if (targets.empty() || m_variables[from].dependents.empty())
        return false;
    std::uint32_t epoch = nextEpoch();
    m_work.assign(1, from);
    m_mark[from] = epoch;
    while (!m_work.empty()) {
        VariableId v = m_work.back();
        m_work.pop_back();
        for (VariableId d : m_variables[v].dependents) {
            if (m_mark[d] != epoch) {
                m_mark[d] = epoch;
                m_work.push_back(d);
            }
        }
    }
    return std::any_of(targets.begin(), targets.end(),
                       [&](VariableId t) { return m_mark[t] == epoch; });
}

ExprStatus ParameterSet::check(VariableId id, std::wstring_view name, std::wstring_view expression,
                               ExprError& error) const {
    if (id != kNoVariable && !contains(id))
        return noSuchParameter(error);
    if (ExprStatus s = validateName(name, error); s != ExprStatus::ok)
        return s;
    VariableId holder = find(name);
    if (holder != kNoVariable && holder != id) {
        error = {ExprStatus::duplicateName, L"Name " + quoted(name) + L" is already used"};
        return ExprStatus::duplicateName;
    }
    auto parsed = Expression::parse(expression, error, m_linearUnits);
    if (!parsed)
        return error.status;
    std::vector<VariableId> ids;
    // A new parameter is not in the graph, so nothing can depend on it yet.
    if (ExprStatus s = resolve(id, *parsed, ids, error); s != ExprStatus::ok)
        return s;
    if (id != kNoVariable && reaches(id, ids)) {
        error = {ExprStatus::cyclicDependency,
                 L"Cyclic dependency: " + quoted(name) + L" would depend on itself"};
        return ExprStatus::cyclicDependency;
    }
    error = {};
    return ExprStatus::ok;
}

void ParameterSet::link(VariableId id, const std::vector<VariableId>& references) {
    m_variables[id].references = references;
    for (VariableId r : references)
        m_variables[r].dependents.push_back(id);
}

void ParameterSet::unlink(VariableId id) {
    for (VariableId r : m_variables[id].references) {
        auto& list = m_variables[r].dependents;
        auto it = std::find(list.begin(), list.end(), id);
        if (it != list.end()) {
            *it = list.back();
            list.pop_back();
        }
    }
    m_variables[id].references.clear();
}

ExprStatus ParameterSet::evaluateWith(const Variable& variable, double& result,
                                      ExprError& error) const {
    if (!variable.expression) {
        result = variable.value;
        error = {};
        return ExprStatus::ok;
    }
    const auto& refs = variable.references;
    std::array<double, 16> small;
    std::vector<double> large;
    double* values = small.data();
    if (refs.size() > small.size()) {
        large.resize(refs.size());
        values = large.data();
    }
    for (std::size_t i = 0; i < refs.size(); ++i)
        values[i] = m_variables[refs[i]].value;
    return variable.expression->evaluate(std::span<const double>(values, refs.size()), result,
                                         error);
}

ExprStatus ParameterSet::add(std::wstring_view name, std::wstring_view expression, VariableId& id,
                             ExprError& error) {
    id = kNoVariable;
    if (!name.empty()) {
        if (ExprStatus s = validateName(name, error); s != ExprStatus::ok)
            return s;
        if (find(name) != kNoVariable) {
            error = {ExprStatus::duplicateName, L"Name " + quoted(name) + L" is already used"};
            return ExprStatus::duplicateName;
        }
    }
    Variable variable;
    std::vector<VariableId> refs;
    if (!expression.empty()) {
        auto parsed = Expression::parse(expression, error, m_linearUnits);
        if (!parsed)
            return error.status;
        if (ExprStatus s = resolve(kNoVariable, *parsed, refs, error); s != ExprStatus::ok)
            return s;
        variable.expression = std::make_unique<Expression>(std::move(*parsed));
        variable.references = refs;
        if (ExprStatus s = evaluateWith(variable, variable.value, error); s != ExprStatus::ok)
            return s;
        variable.references.clear();
    }
    variable.alive = true;
    id = static_cast<VariableId>(m_variables.size());
    m_variables.push_back(std::move(variable));
    m_names.emplace_back(name);
    link(id, refs);
    if (!name.empty())
        m_byName.emplace(foldName(name), id);
    ++m_count;
    error = {};
    return ExprStatus::ok;
}

ExprStatus ParameterSet::setExpression(VariableId id, std::wstring_view expression,
                                       ExprError& error) {
    if (!contains(id))
        return noSuchParameter(error);
    auto parsed = Expression::parse(expression, error, m_linearUnits);
    if (!parsed)
        return error.status;
    std::vector<VariableId> refs;
    if (ExprStatus s = resolve(id, *parsed, refs, error); s != ExprStatus::ok)
        return s;
    if (reaches(id, refs)) {
        error = {ExprStatus::cyclicDependency,
                 L"Cyclic dependency: " + quoted(m_names[id]) + L" would depend on itself"};
        return ExprStatus::cyclicDependency;
    }
    unlink(id);
    link(id, refs);
    m_variables[id].expression = std::make_unique<Expression>(std::move(*parsed));
    error = {};
    return ExprStatus::ok;
}

ExprStatus ParameterSet::evaluate(VariableId id, double& result, ExprError& error) const {
    if (!contains(id))
        return noSuchParameter(error);
    return evaluateWith(m_variables[id], result, error);
}

ParameterSet::Update ParameterSet::setValue(VariableId id, double value) {
    Update update;
    if (!contains(id))
        return update;
    m_variables[id].value = value;
    markValid(id);
    if (m_variables[id].dependents.empty())
        return update;

    // Mark everything downstream, then count for each marked parameter how many of its
    // references are marked too; evaluating in that order (Kahn) sees each input settled.
    std::uint32_t epoch = nextEpoch();
    m_affected.clear();
    m_work.assign(1, id);
    while (!m_work.empty()) {
        VariableId v = m_work.back();
        m_work.pop_back();
        for (VariableId d : m_variables[v].dependents) {
            if (m_mark[d] != epoch) {
                m_mark[d] = epoch;
                m_affected.push_back(d);
                m_work.push_back(d);
            }
        }
    }
    for (VariableId v : m_affected) {
        std::uint32_t count = 0;
        for (VariableId r : m_variables[v].references)
            if (m_mark[r] == epoch)
                ++count;
        m_pending[v] = count;
    }
    m_ready.clear();
    for (VariableId d : m_variables[id].dependents)
        if (m_pending[d] == 0)
            m_ready.push_back(d);
    ExprError error;
    while (!m_ready.empty()) {
        VariableId v = m_ready.back();
        m_ready.pop_back();
        Variable& variable = m_variables[v];
        double result = 0.0;
        ++update.evaluated;
        if (evaluateWith(variable, result, error) == ExprStatus::ok) {
            variable.value = result;
            markValid(v);
        } else {
            // Marked invalid; the last good value stays, as the host keeps it.
            markInvalid(v, error);
            update.failed.push_back(v);
        }
        for (VariableId d : variable.dependents)
            if (--m_pending[d] == 0)
                m_ready.push_back(d);
    }
    return update;
}

ExprStatus ParameterSet::assign(VariableId id, std::wstring_view expression, ExprError& error) {
    if (ExprStatus s = setExpression(id, expression, error); s != ExprStatus::ok)
        return s;
    double result = 0.0;
    if (ExprStatus s = evaluate(id, result, error); s != ExprStatus::ok) {
        markInvalid(id, error);
        return s;
    }
    setValue(id, result);
    return ExprStatus::ok;
}

ExprStatus ParameterSet::rename(VariableId id, std::wstring_view newName, bool updateReferences,
                                ExprError& error) {
    if (!contains(id))
        return noSuchParameter(error);
    if (ExprStatus s = validateName(newName, error); s != ExprStatus::ok)
        return s;
    VariableId holder = find(newName);
    if (holder != kNoVariable && holder != id) {
        error = {ExprStatus::duplicateName, L"Name " + quoted(newName) + L" is already used"};
        return ExprStatus::duplicateName;
    }
    const Variable& v = m_variables[id];
    if (!v.dependents.empty() && !updateReferences) {
        error = {ExprStatus::inUse, quoted(m_names[id]) + L" is referenced by " +
                                        quoted(m_names[v.dependents.front()])};
        return ExprStatus::inUse;
    }
    // Rewrite first, so that a failure leaves every text as it was.
    std::vector<std::pair<VariableId, std::unique_ptr<Expression>>> rewritten;
    for (VariableId d : v.dependents) {
        std::wstring text = m_variables[d].expression->withRenamedReference(m_names[id], newName);
        auto parsed = Expression::parse(text, error, m_variables[d].expression->linearUnits());
        if (!parsed)
            return error.status;
        rewritten.emplace_back(d, std::make_unique<Expression>(std::move(*parsed)));
    }
    // References keep their ids and order: only the spelling changes.
    for (auto& [d, expression] : rewritten)
        m_variables[d].expression = std::move(expression);
    if (!m_names[id].empty())
        m_byName.erase(foldName(m_names[id]));
    m_names[id] = newName;
    m_byName.emplace(foldName(newName), id);
    error = {};
    return ExprStatus::ok;
}

ExprStatus ParameterSet::remove(VariableId id, ExprError& error) {
    if (!contains(id))
        return noSuchParameter(error);
    if (!m_variables[id].dependents.empty()) {
        error = {ExprStatus::inUse, quoted(m_names[id]) + L" is referenced by " +
                                        quoted(m_names[m_variables[id].dependents.front()])};
        return ExprStatus::inUse;
    }
    unlink(id);
    if (!m_names[id].empty())
        m_byName.erase(foldName(m_names[id]));
    m_variables[id] = Variable{};
    m_errors.erase(id);
    m_names[id].clear();
    --m_count;
    error = {};
    return ExprStatus::ok;
}

} // namespace drawing
