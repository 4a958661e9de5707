// The host's commands that build and show a drawing: user parameters, tables, links and
// other xdata, erasing, the UCS and the current space.
#include <algorithm>
#include <cmath>
#include <numbers>

#include "AcDbAssocManager.h"
#include "AcDbAssocNetwork.h"
#include "AcDbAssocVariable.h"
#include "DrawingText.h"
#include "Shell.h"
#include "acdocman.h"
#include "aced.h"
#include "acedads.h"
#include "acutads.h"
#include "dbsymtb.h"
#include "dbtable.h"
#include "drawing/Blocks.h"
#include "drawing/ParameterExpression.h"
#include "drawing/UnitFormatting.h"
#include "sdk/WideFormat.h"
#include "sdk/control/Documents.h"
#include "drawing/control/Editor.h"
#include "sdk/control/HostControl.h"
#include "spreadsheet/CellRef.h"

namespace shell {

namespace {

using lmhost::CommandResult;

// ---------------------------------------------------------------------------------------
// User parameters: the variables of the current space's network.

AcDbObjectId currentNetwork(AcDbDatabase* db, bool create) {
    if (AcDbAssocManager::initialize() != Acad::eOk)
        return AcDbObjectId::kNull;
    return AcDbAssocNetwork::getInstanceFromObject(db->currentSpaceId(), create, true, L"");
}

std::vector<AcDbObjectId> parametersOf(AcDbDatabase* db) {
    std::vector<AcDbObjectId> ids;
    AcDbObjectPointer<AcDbAssocNetwork> network(currentNetwork(db, false), AcDb::kForRead);
    if (network.openStatus() != Acad::eOk)
        return ids;
    const AcDbObjectIdArray& actions = network->getActions();
    for (int i = 0; i < actions.length(); ++i)
        if (actions[i].objectClass() == AcDbAssocVariable::desc())
            ids.push_back(actions[i]);
    return ids;
}

AcDbObjectId findParameter(AcDbDatabase* db, const std::wstring& name) {
    for (AcDbObjectId id : parametersOf(db)) {
        AcDbObjectPointer<AcDbAssocVariable> variable(id, AcDb::kForRead);
        if (variable.openStatus() == Acad::eOk && lmhost::equalNoCase(variable->name().str(), name))
            return id;
    }
    return AcDbObjectId::kNull;
}

short unitsVariable(const wchar_t* name, short fallback) {
    resbuf rb{};
    if (acedGetVar(name, &rb) == RTNORM && rb.restype == RTSHORT)
        return rb.resval.rint;
    if (rb.restype == RTSTR)
        acutDelString(rb.resval.rstring);
    return fallback;
}

// As the host shows a parameter's value: by the drawing's linear units and precision, or
// for an angular constraint (whose value is in degrees) by its angular ones.
std::wstring parameterValueText(const AcDbAssocVariable* variable) {
    const AcDbEvalVariant& value = variable->value();
    if (value.restype != AcDb::kDxfReal)
        return valueText(value);
    if (lmhost::isAngularVariable(variable->objectId()))
        return drawing::formatAngle(value.resval.rreal * std::numbers::pi / 180.0,
                                    unitsVariable(L"AUNITS", 0), unitsVariable(L"AUPREC", 0));
    return drawing::formatDistance(value.resval.rreal, unitsVariable(L"LUNITS", 2),
                                   unitsVariable(L"LUPREC", 4));
}

std::wstring parameterLine(const AcDbAssocVariable* variable) {
    std::wstring line = (variable->isAnonymous() ? L"(anonymous)" : variable->name().str()) +
                        L" = " + variable->expression().str() + L" = " +
                        parameterValueText(variable);
    if (variable->status() == kFailedToEvaluateAssocStatus) {
        // The host marks an expression that no longer evaluates; the value is the last good.
        AcDbEvalVariant ignored;
        AcString error;
        variable->evaluateExpression(ignored, error);
        line += L"  (invalid: " + std::wstring(error.str()) + L")";
    }
    if (!variable->description().isEmpty())
        line += L"  \"" + variable->description().str() + L"\"";
    return line;
}

// Sets and evaluates an expression; false after the model's refusal is printed.
bool applyExpression(AcDbAssocVariable* variable, const std::wstring& expression) {
    AcString error;
    AcString previous = variable->expression();
    Acad::ErrorStatus es = variable->setExpression(expression.c_str(), L"", true, true, error);
    if (es != Acad::eOk) {
        say((error.isEmpty() ? std::wstring(acadErrorStatusText(es)) : error.str()) + L".");
        return false;
    }
    AcDbEvalVariant value;
    es = variable->evaluateExpression(value, error);
    if (es == Acad::eOk)
        es = variable->setValue(value);
    if (es != Acad::eOk) {
        // An expression that cannot be evaluated does not stay.
        AcString ignored;
        variable->setExpression(previous, L"", true, true, ignored);
        say((error.isEmpty() ? std::wstring(acadErrorStatusText(es)) : error.str()) + L".");
        return false;
    }
    return true;
}

// Takes a variable out of its network and erases it. The network reads the variable's
// fields as it lets it go, so the variable is held open for read meanwhile.
Acad::ErrorStatus removeParameter(AcDbObjectId networkId, AcDbObjectId id) {
    Acad::ErrorStatus es;
    {
        AcDbObjectPointer<AcDbAssocNetwork> network(networkId, AcDb::kForWrite);
        AcDbObjectPointer<AcDbAssocVariable> variable(id, AcDb::kForRead);
        es = network.openStatus() != Acad::eOk ? network.openStatus() : variable.openStatus();
        if (es == Acad::eOk)
            es = network->removeAction(id, false);
    }
    if (es != Acad::eOk)
        return es;
    AcDbObjectPointer<AcDbAssocVariable> variable(id, AcDb::kForWrite);
    if ((es = variable.openStatus()) == Acad::eOk)
        es = variable->erase();
    return es;
}

CommandResult createParameter(const Args& args, bool angular) {
    if (args.size() < 2 || args.size() > 3)
        return refuse(std::wstring(angular ? L"PARAMANGLE" : L"PARAM") +
                      L" needs a name, an expression and, if wanted, a description.");
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    AcDbObjectId networkId = currentNetwork(db, true);
    if (networkId.isNull())
        return refuse(L"The current space has no parameter network.");
    // The variable joins the network first, so its expression may name the others.
    auto* created = new AcDbAssocVariable();
    AcDbObjectId id;
    if (Acad::ErrorStatus es = db->addAcDbObject(id, created)) {
        delete created;
        return refuse(std::wstring(L"The parameter cannot be made: ") + acadErrorStatusText(es) +
                      L".");
    }
    created->close();
    {
        AcDbObjectPointer<AcDbAssocNetwork> network(networkId, AcDb::kForWrite);
        Acad::ErrorStatus es = network.openStatus();
        if (es == Acad::eOk)
            es = network->addAction(id, true);
        if (es != Acad::eOk) {
            AcDbObjectPointer<AcDbAssocVariable> orphan(id, AcDb::kForWrite);
            if (orphan.openStatus() == Acad::eOk)
                orphan->erase();
            return refuse(std::wstring(L"The parameter cannot be added: ") +
                          acadErrorStatusText(es) + L".");
        }
    }
    bool made = false;
    {
        AcDbObjectPointer<AcDbAssocVariable> variable(id, AcDb::kForWrite);
        AcString error;
        if (variable->validateNameAndExpression(args[0].c_str(), args[1].c_str(), error) !=
            Acad::eOk) {
            say(error.str() + L".");
        } else if (variable->setName(args[0].c_str(), true) == Acad::eOk &&
                   applyExpression(variable, args[1])) {
            if (args.size() == 3)
                variable->setDescription(args[2].c_str());
            lmhost::setAngularVariable(id, angular);
            say(L"Created " + parameterLine(variable));
            made = true;
        }
    }
    if (!made) {
        removeParameter(networkId, id);
        return CommandResult::Failed;
    }
    return CommandResult::Ended;
}

CommandResult changeParameter(const Args& args) {
    if (args.size() != 2)
        return refuse(L"PARAMSET needs a parameter name and an expression.");
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    AcDbObjectId id = findParameter(db, args[0]);
    if (id.isNull())
        return refuse(L"No parameter is named " + args[0] + L".");
    AcDbObjectPointer<AcDbAssocVariable> variable(id, AcDb::kForWrite);
    if (variable.openStatus() != Acad::eOk)
        return refuse(std::wstring(L"The parameter cannot be opened: ") +
                      acadErrorStatusText(variable.openStatus()) + L".");
    if (!applyExpression(variable, args[1]))
        return CommandResult::Failed;
    say(parameterLine(variable));
    return CommandResult::Ended;
}

CommandResult listParameters(const Args& args) {
    if (!args.empty())
        return refuse(L"PARAMS takes no arguments.");
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    std::vector<AcDbObjectId> ids = parametersOf(db);
    if (ids.empty())
        say(L"The current space has no parameters.");
    for (AcDbObjectId id : ids) {
        AcDbObjectPointer<AcDbAssocVariable> variable(id, AcDb::kForRead);
        if (variable.openStatus() == Acad::eOk)
            say(parameterLine(variable));
    }
    return CommandResult::Ended;
}

// The first parameter whose expression names this one, or empty.
std::wstring dependentOf(AcDbDatabase* db, AcDbObjectId id, const std::wstring& name) {
    for (AcDbObjectId other : parametersOf(db)) {
        if (other == id)
            continue;
        AcDbObjectPointer<AcDbAssocVariable> variable(other, AcDb::kForRead);
        if (variable.openStatus() != Acad::eOk)
            continue;
        drawing::ExprError error;
        auto parsed = drawing::Expression::parse(variable->expression().str(), error,
                                                 unitsVariable(L"LUNITS", 2));
        if (!parsed)
            continue;
        for (const std::wstring& reference : parsed->references())
            if (lmhost::equalNoCase(reference, name))
                return variable->name().str();
    }
    return L"";
}

CommandResult eraseParameter(AcDbDatabase* db, AcDbObjectId id) {
    std::wstring name;
    {
        AcDbObjectPointer<AcDbAssocVariable> variable(id, AcDb::kForRead);
        if (variable.openStatus() != Acad::eOk)
            return refuse(L"The parameter cannot be opened.");
        name = variable->name().str();
    }
    std::wstring user = dependentOf(db, id, name);
    if (!user.empty())
        return refuse(L"\"" + name + L"\" is referenced by \"" + user + L"\" and stays.");
    AcDbObjectId networkId;
    {
        AcDbObjectPointer<AcDbAssocVariable> variable(id, AcDb::kForRead);
        networkId = variable->owningNetwork();
    }
    Acad::ErrorStatus es = removeParameter(networkId, id);
    if (es != Acad::eOk)
        return refuse(L"\"" + name + L"\" cannot be erased: " + acadErrorStatusText(es) + L".");
    say(L"Erased the parameter " + name + L".");
    return CommandResult::Ended;
}

CommandResult eraseParameterByName(const Args& args) {
    if (args.size() != 1)
        return refuse(L"PARAMERASE needs a parameter name.");
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    AcDbObjectId id = findParameter(db, args[0]);
    if (id.isNull())
        return refuse(L"No parameter is named " + args[0] + L".");
    return eraseParameter(db, id);
}

// ---------------------------------------------------------------------------------------
// Tables

CommandResult insertTable(const Args& args) {
    if (args.size() != 3)
        return refuse(L"TABLE needs rows, columns and the insertion point x,y.");
    auto rows = parseInteger(args[0]);
    auto columns = parseInteger(args[1]);
    auto at = parsePoint(args[2]);
    if (!rows || !columns || *rows < 1 || *columns < 1 || *rows > 4000000 || *columns > 4000000)
        return refuse(L"Rows and columns are whole numbers from 1.");
    if (!at)
        return refuse(L"\"" + args[2] + L"\" is no point (x,y or x,y,z).");
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    auto* table = new AcDbTable();
    if (table->setSize(static_cast<int>(*rows), static_cast<int>(*columns)) != Acad::eOk) {
        delete table;
        return refuse(L"A table holds at most 4,000,000 cells.");
    }
    table->setPosition(ucsToWorld(*at));
    AcDbObjectPointer<AcDbBlockTableRecord> space(db->currentSpaceId(), AcDb::kForWrite);
    AcDbObjectId id;
    Acad::ErrorStatus es = space.openStatus();
    if (es == Acad::eOk)
        es = space->appendAcDbEntity(id, table);
    if (es != Acad::eOk) {
        delete table;
        return refuse(std::wstring(L"The table cannot be inserted: ") + acadErrorStatusText(es) +
                      L".");
    }
    table->close();
    say(lmhost::formatWide(L"Table %ls: %ld rows, %ld columns.", handleText(id).c_str(), *rows,
                           *columns));
    return CommandResult::Ended;
}

// Opens a table by handle in a database; a message when it is none.
bool openTable(AcDbDatabase* db, const std::wstring& handle, AcDb::OpenMode mode,
               AcDbObjectPointer<AcDbTable>& table) {
    AcDbObjectId id;
    if (!objectOfHandle(db, handle, id))
        return false;
    if (Acad::ErrorStatus es = table.open(id, mode)) {
        if (es == Acad::eNotThatKindOfClass)
            say(handle + L" is no table (" + className(id) + L").");
        else
            say(L"The table " + handle + L" cannot be opened: " + acadErrorStatusText(es) + L".");
        return false;
    }
    return true;
}

// As a user edits a cell in the host: the table is opened for write, changed and closed,
// and the drawing's reactors hear of it.
CommandResult editCell(const Args& args) {
    if (args.size() < 3 || args.size() > 4)
        return refuse(L"TABLEDIT needs a table handle, a cell (B2 or $B$2), the text and, for "
                      L"another open drawing, its name.");
    AcDbDatabase* db = nullptr;
    if (args.size() == 4) {
        AcApDocument* doc = lmhost::findDocument(args[3]);
        if (!doc)
            return refuse(L"No open drawing is named " + args[3] + L".");
        db = doc->database();
    } else if (!(db = currentDatabase())) {
        return CommandResult::Failed;
    }
    spreadsheet::CellRef cell;
    if (!spreadsheet::parseCellRef(args[1], cell))
        return refuse(L"\"" + args[1] + L"\" is no cell address (B2 or $B$2).");
    int row = cell.row, column = cell.col;
    AcDbObjectPointer<AcDbTable> table;
    if (!openTable(db, args[0], AcDb::kForWrite, table))
        return CommandResult::Failed;
    if (row > table->numRows() || column > table->numColumns())
        return refuse(lmhost::formatWide(L"The table %ls has no cell %ls (%d rows, %d columns).",
                                         args[0].c_str(),
                                         spreadsheet::cellAddress(row, column, false).c_str(),
                                         table->numRows(), table->numColumns()));
    if (Acad::ErrorStatus es = table->setTextString(row - 1, column - 1, args[2].c_str()))
        return refuse(std::wstring(L"The cell refused the text: ") + acadErrorStatusText(es) +
                      L".");
    say(L"Cell " + spreadsheet::cellAddress(row, column, false) + L" of table " +
        handleText(table->objectId()) + L": \"" + args[2] + L"\"");
    return CommandResult::Ended;
}

CommandResult listTable(const Args& args) {
    if (args.size() != 1)
        return refuse(L"TABLELIST needs a table handle.");
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    AcDbObjectPointer<AcDbTable> table;
    if (!openTable(db, args[0], AcDb::kForRead, table))
        return CommandResult::Failed;
    say(lmhost::formatWide(L"Table %ls: %d rows, %d columns at %ls",
                           handleText(table->objectId()).c_str(), table->numRows(),
                           table->numColumns(), formatPoint(table->position()).c_str()));
    int shown = 0;
    for (int r = 0; r < table->numRows(); ++r)
        for (int c = 0; c < table->numColumns(); ++c) {
            AcString text = table->textString(r, c);
            if (text.isEmpty())
                continue;
            say(L"  " + spreadsheet::cellAddress(r + 1, c + 1, false) + L" \"" +
                visible(text.str()) + L"\"");
            if (++shown == 10000) {
                say(L"  (and more)");
                return CommandResult::Ended;
            }
        }
    if (shown == 0)
        say(L"  (every cell is empty)");
    return CommandResult::Ended;
}

// ---------------------------------------------------------------------------------------
// Xdata

std::wstring groupValue(const resbuf* rb) {
    short code = rb->restype;
    if ((code >= 1000 && code <= 1005) || code == 1009)
        return rb->resval.rstring ? visible(rb->resval.rstring) : L"";
    if (code >= 1010 && code <= 1013)
        return formatPoint(
            AcGePoint3d(rb->resval.rpoint[0], rb->resval.rpoint[1], rb->resval.rpoint[2]));
    if (code >= 1040 && code <= 1042)
        return formatNumber(rb->resval.rreal);
    if (code == 1070)
        return std::to_wstring(rb->resval.rint);
    if (code == 1071)
        return std::to_wstring(rb->resval.rlong);
    return L"(binary)";
}

CommandResult listXdata(const Args& args) {
    if (args.size() != 1)
        return refuse(L"XDLIST needs a handle.");
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    AcDbObjectId id;
    if (!objectOfHandle(db, args[0], id))
        return CommandResult::Failed;
    AcDbObject* object = nullptr;
    if (Acad::ErrorStatus es = acdbOpenAcDbObject(object, id, AcDb::kForRead))
        return refuse(L"The object " + args[0] + L" cannot be opened: " + acadErrorStatusText(es) +
                      L".");
    resbuf* chain = object->xData(nullptr);
    object->close();
    std::wstring what = handleText(id) + L" (" + className(id) + L")";
    if (!chain) {
        say(what + L" has no xdata.");
        return CommandResult::Ended;
    }
    say(L"Xdata of " + what + L":");
    for (const resbuf* rb = chain; rb; rb = rb->rbnext)
        say(lmhost::formatWide(L"  %d ", rb->restype) + groupValue(rb));
    acutRelRb(chain);
    return CommandResult::Ended;
}

CommandResult addXdata(const Args& args) {
    if (args.size() != 3)
        return refuse(L"XDADD needs a handle, an application name and the text.");
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    AcDbObjectId id;
    if (!objectOfHandle(db, args[0], id))
        return CommandResult::Failed;
    if (args[1].empty() || args[1].size() > 255)
        return refuse(L"An application name has 1 to 255 characters.");
    std::wstring why;
    if (!appendXdataText(id, args[1], args[2], why))
        return refuse(L"No xdata was added: " + why + L".");
    say(L"Added to " + handleText(id) + L" under " + args[1] + L": " + visible(args[2]));
    return CommandResult::Ended;
}

// ---------------------------------------------------------------------------------------
// Erasing, UCS, spaces

CommandResult eraseObject(const Args& args) {
    if (args.size() != 1)
        return refuse(L"ERASE needs a handle.");
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    AcDbObjectId id;
    if (!objectOfHandle(db, args[0], id))
        return CommandResult::Failed;
    if (id.objectClass() == AcDbAssocVariable::desc())
        return eraseParameter(db, id);
    std::wstring what = handleText(id) + L" (" + className(id) + L")";
    AcDbEntity* entity = nullptr;
    Acad::ErrorStatus es = acdbOpenAcDbEntity(entity, id, AcDb::kForWrite);
    if (es == Acad::eNotAnEntity || es == Acad::eNotThatKindOfClass)
        return refuse(what + L" is no entity; ERASE takes entities and parameters.");
    if (es != Acad::eOk)
        return refuse(what + L" cannot be erased: " + acadErrorStatusText(es) + L".");
    es = entity->erase();
    entity->close();
    if (es != Acad::eOk)
        return refuse(what + L" cannot be erased: " + acadErrorStatusText(es) + L".");
    say(L"Erased " + what + L".");
    return CommandResult::Ended;
}

CommandResult setUcs(const Args& args) {
    if (args.size() != 1)
        return refuse(L"UCS needs an origin x,y[,z] or World.");
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    AcGePoint3d origin;
    if (!lmhost::equalNoCase(args[0], L"World")) {
        auto at = parsePoint(args[0]);
        if (!at)
            return refuse(L"\"" + args[0] + L"\" is no point (x,y or x,y,z).");
        // The origin is typed in the present UCS, as the host takes it.
        origin = ucsToWorld(*at);
    }
    Acad::ErrorStatus es = db->setUcs(origin, AcGeVector3d::kXAxis, AcGeVector3d::kYAxis);
    if (es != Acad::eOk)
        return refuse(std::wstring(L"The UCS was refused: ") + acadErrorStatusText(es) + L".");
    say(L"UCS origin " + formatPoint(origin) + L".");
    return CommandResult::Ended;
}

// Layouts in the order of the block table: Layout1 is the first paper space.
std::vector<AcDbObjectId> layoutsOf(AcDbDatabase* db) {
    std::vector<AcDbObjectId> spaces;
    AcDbObjectId first = lmhost::paperSpaceId(db);
    if (first.isValid())
        spaces.push_back(first);
    AcDbObjectPointer<AcDbBlockTable> table(db->blockTableId(), AcDb::kForRead);
    if (table.openStatus() != Acad::eOk)
        return spaces;
    for (int i = 0; i < table->count(); ++i) {
        AcDbObjectId id = table->recordAt(i);
        if (id == first || id == lmhost::modelSpaceId(db) || id.isErased())
            continue;
        AcDbObjectPointer<AcDbBlockTableRecord> record(id, AcDb::kForRead);
        if (record.openStatus() == Acad::eOk && record->isLayout())
            spaces.push_back(id);
    }
    return spaces;
}

CommandResult switchToModel(const Args& args) {
    if (!args.empty())
        return refuse(L"MODEL takes no arguments.");
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    lmhost::setCurrentSpace(db, lmhost::modelSpaceId(db));
    say(L"Model space is current.");
    return CommandResult::Ended;
}

CommandResult switchToLayout(const Args& args) {
    if (args.size() > 1)
        return refuse(L"LAYOUT takes a layout number or NEW.");
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    std::vector<AcDbObjectId> layouts = layoutsOf(db);
    size_t index = 0;
    if (!args.empty() && lmhost::equalNoCase(args[0], L"NEW")) {
        AcDbObjectId made;
        if (Acad::ErrorStatus es = drawing::addLayout(db, made))
            return refuse(std::wstring(L"No layout was added: ") + acadErrorStatusText(es) + L".");
        layouts.push_back(made);
        index = layouts.size() - 1;
    } else if (!args.empty()) {
        auto number = parseInteger(args[0]);
        if (!number || *number < 1 || static_cast<size_t>(*number) > layouts.size())
            return refuse(lmhost::formatWide(L"The drawing has layouts 1 to %d.",
                                             static_cast<int>(layouts.size())));
        index = static_cast<size_t>(*number - 1);
    }
    if (layouts.empty() || lmhost::setCurrentSpace(db, layouts[index]) != Acad::eOk)
        return refuse(L"The drawing has no layout.");
    say(lmhost::formatWide(L"Layout%d is current.", static_cast<int>(index + 1)));
    return CommandResult::Ended;
}

// The number of a layout among the drawing's layouts, from 1; 0 for what is no layout.
int layoutNumber(AcDbDatabase* db, AcDbObjectId space) {
    std::vector<AcDbObjectId> layouts = layoutsOf(db);
    auto it = std::find(layouts.begin(), layouts.end(), space);
    return it == layouts.end() ? 0 : static_cast<int>(it - layouts.begin()) + 1;
}

std::wstring directionText(const AcGeVector3d& v) {
    return formatNumber(v.x) + L"," + formatNumber(v.y) + L"," + formatNumber(v.z);
}

CommandResult setViewPoint(const Args& args) {
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    AcDbObjectId current = acedGetCurViewportObjectId();
    if (current.isNull())
        return refuse(L"Paper space is seen in plan; MVIEW places a viewport, MSPACE enters it.");
    AcDbObjectPointer<AcDbViewport> viewport(current, AcDb::kForWrite);
    if (viewport.openStatus() != Acad::eOk)
        return refuse(L"The current viewport cannot be changed now.");
    if (args.empty()) {
        say(L"The view direction is " + directionText(viewport->viewDirection()) + L".");
        return CommandResult::Ended;
    }
    auto to = args.size() == 1 ? parsePoint(args[0]) : std::nullopt;
    if (!to || AcGeVector3d(to->x, to->y, to->z).isZeroLength())
        return refuse(L"VPOINT takes a view direction x,y,z (from the target towards the viewer).");
    viewport->setViewDirection(AcGeVector3d(to->x, to->y, to->z));
    say(L"The view direction is " + directionText(viewport->viewDirection()) + L".");
    return CommandResult::Ended;
}

CommandResult placeViewport(const Args& args) {
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    int layout = layoutNumber(db, db->currentSpaceId());
    if (!layout || lmhost::activeViewportLayout(db).isValid())
        return refuse(L"MVIEW places a viewport on a layout's paper (LAYOUT, or PSPACE).");
    AcGeVector3d direction = AcGeVector3d::kZAxis;
    if (!args.empty()) {
        auto to = args.size() == 1 ? parsePoint(args[0]) : std::nullopt;
        if (!to || AcGeVector3d(to->x, to->y, to->z).isZeroLength())
            return refuse(L"MVIEW takes a view direction x,y,z, or none for the plan view.");
        direction = AcGeVector3d(to->x, to->y, to->z);
    }
    AcDbObjectId id;
    if (Acad::ErrorStatus es = lmhost::addLayoutViewport(db, db->currentSpaceId(), direction, id))
        return refuse(std::wstring(L"No viewport was placed: ") + acadErrorStatusText(es) + L".");
    say(lmhost::formatWide(L"Viewport %s on Layout%d looks along %s.", handleText(id).c_str(),
                           layout, directionText(direction).c_str()));
    return CommandResult::Ended;
}

CommandResult enterViewport(const Args& args) {
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    AcDbObjectId layout = lmhost::activeViewportLayout(db);
    if (layout.isNull())
        layout = db->currentSpaceId();
    int number = layoutNumber(db, layout);
    std::vector<AcDbObjectId> viewports = lmhost::layoutViewportsOf(db, layout);
    if (!number || viewports.empty())
        return refuse(L"MSPACE works through a viewport of the current layout; MVIEW places one.");
    AcDbObjectId chosen = viewports.front();
    if (args.size() > 1)
        return refuse(L"MSPACE takes a viewport's handle, or none for the first.");
    if (!args.empty()) {
        chosen = AcDbObjectId::kNull;
        for (const AcDbObjectId& id : viewports)
            if (lmhost::equalNoCase(handleText(id), args[0]))
                chosen = id;
        if (chosen.isNull())
            return refuse(
                lmhost::formatWide(L"Layout%d has no viewport %s.", number, args[0].c_str()));
    }
    lmhost::enterLayoutViewport(db, chosen);
    say(lmhost::formatWide(L"Model space through viewport %s of Layout%d.",
                           handleText(chosen).c_str(), number));
    return CommandResult::Ended;
}

CommandResult leaveViewport(const Args& args) {
    if (!args.empty())
        return refuse(L"PSPACE takes no arguments.");
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    AcDbObjectId layout = lmhost::activeViewportLayout(db);
    if (layout.isNull())
        return refuse(L"PSPACE leaves the viewport that MSPACE entered; none is.");
    lmhost::setCurrentSpace(db, layout);
    say(lmhost::formatWide(L"Layout%d is current.", layoutNumber(db, layout)));
    return CommandResult::Ended;
}

} // namespace

void registerDrawingCommands() {
    using lmhost::registerHostCommand;
    registerHostCommand(
        L"REGEN",
        [](const Args&) {
            acedRegen();
            lmhost::print(L"\nRegenerating model.");
            return CommandResult::Ended;
        },
        L"REGEN: regenerate the drawing");
    registerHostCommand(
        L"PARAM", [](const Args& args) { return createParameter(args, false); },
        L"PARAM name expression [description]: create a user parameter");
    registerHostCommand(
        L"PARAMANGLE", [](const Args& args) { return createParameter(args, true); },
        L"PARAMANGLE name expression [description]: create the parameter of an "
        L"angular constraint (degrees)");
    registerHostCommand(L"PARAMSET", changeParameter,
                        L"PARAMSET name expression: change a parameter's expression");
    registerHostCommand(L"PARAMS", listParameters,
                        L"PARAMS: list the parameters of the current space (name = "
                        L"expression = value)");
    registerHostCommand(L"PARAMERASE", eraseParameterByName, L"PARAMERASE name: erase a parameter");
    registerHostCommand(L"TABLE", insertTable,
                        L"TABLE rows columns x,y: insert a table in the current space");
    registerHostCommand(L"TABLEDIT", editCell,
                        L"TABLEDIT handle cell text [drawing]: edit a cell (B2 or $B$2) as "
                        L"a user does");
    registerHostCommand(L"TABLELIST", listTable, L"TABLELIST handle: list a table's cells");
    registerHostCommand(L"XDLIST", listXdata,
                        L"XDLIST handle: list an object's xdata with group codes");
    registerHostCommand(L"XDADD", addXdata,
                        L"XDADD handle application text: add a 1000 entry to an object's xdata");
    registerHostCommand(L"ERASE", eraseObject, L"ERASE handle: erase an entity or a parameter");
    registerHostCommand(L"UCS", setUcs, L"UCS x,y[,z] | World: move the UCS origin");
    registerHostCommand(L"MODEL", switchToModel, L"MODEL: make model space current");
    registerHostCommand(L"LAYOUT", switchToLayout,
                        L"LAYOUT [n | NEW]: make a layout current (Layout1 by default)");
    registerHostCommand(L"VPOINT", setViewPoint,
                        L"VPOINT [x,y,z]: show or set the current viewport's view direction");
    registerHostCommand(L"MVIEW", placeViewport,
                        L"MVIEW [x,y,z]: place a viewport on the current layout");
    registerHostCommand(L"MSPACE", enterViewport,
                        L"MSPACE [handle]: work in model space through a viewport of the layout");
    registerHostCommand(L"PSPACE", leaveViewport, L"PSPACE: back to the layout's paper");
    registerBlockCommands();
}

} // namespace shell
