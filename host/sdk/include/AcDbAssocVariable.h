// A named parameter of a network: an expression, its value, a description.
#pragma once

#include "AcDbAssocAction.h"
#include "dbeval.h"

// While a variable is in a network, its name is unique there (case ignored) and its
// expression may reference other variables of the network by name; changing a value
// re-evaluates what depends on it. Changes need the variable open for write
// (eNotOpenForWrite). Refusals of names and expressions give a status and the host's words
// in the error text: eInvalidVariableName (bad or taken name), eInvalidExpression (syntax,
// empty, domain), eUndefinedVariable (unknown name), eCyclicDependency, eDivisionByZero.
class AcDbAssocVariable : public AcDbAssocAction {
public:
    ACRX_DECLARE_MEMBERS(AcDbAssocVariable);
    AcDbAssocVariable();
    ~AcDbAssocVariable() override;

    const AcString& name() const;
    const AcString& expression() const;
    const AcString& evaluatorId() const;
    const AcString& description() const;
    // The present value (restype 40), or whatever setValue stored while in no network.
    const AcDbEvalVariant& value() const;
    bool isAnonymous() const { return name().isEmpty(); }

    // Checks a name and an expression for this variable without changing anything.
    Acad::ErrorStatus validateNameAndExpression(const AcString& nameToValidate,
                                                const AcString& expressionToValidate,
                                                AcString& errorMessage) const;
    // Renames; with updateReferencingExpressions the expressions that name the variable
    // are rewritten, otherwise a referenced variable keeps its name (eInvalidInput).
    Acad::ErrorStatus setName(const AcString& newName, bool updateReferencingExpressions);
    // Sets the expression without evaluating it; the value stays until setValue. Cycles
    // are always refused, whatever checkForCyclicDependencies says.
    Acad::ErrorStatus setExpression(const AcString& newExpression, const AcString& evaluatorId,
                                    bool checkForCyclicDependencies,
                                    bool updateDependenciesOnReferencedSymbols,
                                    AcString& errorMessage = dummyString(),
                                    bool silentMode = false);
    // Evaluates the expression against the present values of the network.
    Acad::ErrorStatus evaluateExpression(AcDbEvalVariant& evaluatedExpressionValue,
                                         AcString& errorMessage = dummyString()) const;
    // Stores a number (restype 40, 70 or 90; eInvalidInput for other kinds) and
    // re-evaluates the variables that depend on this one.
    Acad::ErrorStatus setValue(const AcDbEvalVariant& evaluatedExpressionValue);
    Acad::ErrorStatus setDescription(const AcString& newDescription);

    struct Data;
    Data* data() const { return m_data; }

private:
    Data* m_data;
};
