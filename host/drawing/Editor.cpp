// The editor: user input from the host's queue, selection sets, entity names, the UCS,
// regeneration records and the command events told to editor reactors.
#include <algorithm>
#include <cmath>
#include <cwctype>
#include <deque>
#include <map>
#include <optional>
#include <sstream>

#include "aced.h"
#include "acedads.h"
#include "acutads.h"
#include "dbsymtb.h"
#include "dbtable.h"
#include "dbapserv.h"
#include "drawing/Blocks.h"
#include "sdk/Database.h"
#include "drawing/control/Editor.h"
#include "sdk/control/HostControl.h"
#include "drawing/control/Input.h"
#include "windows.h"

ACRX_DEFINE_MEMBERS(AcEditorReactor, AcRxObject)
ACRX_DEFINE_MEMBERS(AcEditor, AcRxObject)

namespace {

// Selection-set names carry this mark in their second half, so that an entity name (whose
// second half is a database) is never taken for a set.
constexpr int64_t kSelectionSetMark = 0x55454c53; // "SLEU"

// A member of a selection set that the user picked: where, and the block references that
// hold it, innermost first (for a nested selection).
struct Pick {
    AcGePoint3d point;
    std::vector<AcDbObjectId> containers;
};

struct EditorState {
    std::deque<lmhost::InputItem> input;
    lmhost::InputSource source;
    size_t unanswered = 0;
    std::wstring lastUnanswered;
    std::wstring keywords; // of the last acedInitGet, for the next input call only
    std::wstring lastKeyword;
    std::map<int64_t, std::vector<AcDbObjectId>> selectionSets;
    // How the members of a set were picked, by set and member (sets made by a pick only).
    std::map<std::pair<int64_t, AcDbObjectId>, Pick> picks;
    int64_t nextSelectionSet = 1;
    int selectionSetFreeCalls = 0;
    std::vector<AcEditorReactor*> reactors;
    int regens = 0;
    std::vector<AcDbObjectId> queuedForRegen;
};

EditorState& state() {
    static EditorState s;
    return s;
}

AcDbDatabase* working() {
    return acdbHostApplicationServices()->workingDatabase();
}

std::vector<AcDbObjectId>* selectionSet(const ads_name name) {
    if (!name || name[1] != kSelectionSetMark)
        return nullptr;
    auto it = state().selectionSets.find(name[0]);
    return it == state().selectionSets.end() ? nullptr : &it->second;
}

void nameSelectionSet(int64_t key, ads_name name) {
    name[0] = key;
    name[1] = kSelectionSetMark;
}

int64_t newSelectionSet(std::vector<AcDbObjectId> members) {
    int64_t key = state().nextSelectionSet++;
    state().selectionSets[key] = std::move(members);
    return key;
}

// An entity name of a live object; null otherwise.
AcDbObjectId entityOf(const ads_name name) {
    AcDbObjectId id;
    if (!name || name[1] == kSelectionSetMark || acdbGetObjectId(id, name) != Acad::eOk)
        return AcDbObjectId::kNull;
    AcDbStub* stub = id.stub();
    // Only names the host handed out are trusted: the stub must belong to its database.
    AcDbDatabase* db = reinterpret_cast<AcDbDatabase*>(name[1]);
    if (!db || !stub)
        return AcDbObjectId::kNull;
    AcDbObjectId check;
    if (db != working() || db->getAcDbObjectId(check, false, stub->handle) != Acad::eOk ||
        check != id)
        return AcDbObjectId::kNull;
    return id;
}

// The next input for a prompt: printed as the host shows it. With nothing queued the input
// source is asked; nothing from it either counts as a cancel, and is noted for the shell.
bool nextInput(const ACHAR* prompt, lmhost::InputItem& item) {
    EditorState& s = state();
    if (prompt && *prompt)
        lmhost::print(prompt);
    if (s.input.empty() && s.source) {
        // A copy: the source may be replaced while it asks.
        lmhost::InputSource source = s.source;
        source(prompt ? prompt : L"");
    }
    if (s.input.empty()) {
        ++s.unanswered;
        s.lastUnanswered = prompt ? prompt : L"";
        item = lmhost::InputItem{};
        return false;
    }
    item = std::move(s.input.front());
    s.input.pop_front();
    return true;
}

// A keyword answer: accepted when no keyword list is set or when it is on the list (case
// ignored, the list's spelling is handed out).
bool acceptKeyword(const std::wstring& answer, std::wstring& keyword) {
    EditorState& s = state();
    std::wstring list = s.keywords;
    s.keywords.clear();
    if (list.empty()) {
        keyword = answer;
        return !answer.empty();
    }
    std::wistringstream words(list);
    std::wstring word;
    while (words >> word)
        if (_wcsicmp(word.c_str(), answer.c_str()) == 0) {
            keyword = word;
            return true;
        }
    return false;
}

int keywordResult(const lmhost::InputItem& item) {
    std::wstring keyword;
    if (!acceptKeyword(item.keyword, keyword))
        return RTERROR;
    state().lastKeyword = keyword;
    return RTKWORD;
}

// The DXF name a selection filter sees for an entity's class.
const wchar_t* dxfName(const AcRxClass* cls) {
    static const std::pair<const AcRxClass*, const wchar_t*> names[] = {
        {AcDbTable::desc(), L"ACAD_TABLE"},
        {AcDbBlockReference::desc(), L"INSERT"},
        {AcDbLine::desc(), L"LINE"},
        {AcDbViewport::desc(), L"VIEWPORT"}};
    for (const AcRxClass* c = cls; c; c = c->myParent())
        for (const auto& [known, name] : names)
            if (c == known)
                return name;
    return L"";
}

bool matchesList(const std::wstring& list, const wchar_t* value) {
    std::wstring item;
    std::wistringstream in(list);
    while (std::getline(in, item, L','))
        if (item == L"*" || _wcsicmp(item.c_str(), value) == 0)
            return true;
    return false;
}

bool passesFilter(AcDbObjectId id, const resbuf* filter) {
    AcDbStub* stub = id.stub();
    for (const resbuf* rb = filter; rb; rb = rb->rbnext) {
        if (rb->restype == 0 || rb->restype == RTDXF0) {
            if (!rb->resval.rstring ||
                !matchesList(rb->resval.rstring, dxfName(stub->object->isA())))
                return false;
        } else if (rb->restype == 2) {
            auto* reference = AcDbBlockReference::cast(stub->object);
            if (!rb->resval.rstring || !reference || AcDbTable::cast(reference))
                return false;
            AcDbStub* block = drawing::blockOf(reference).stub();
            const ACHAR* name = L"";
            auto* record =
                block && block->object ? AcDbBlockTableRecord::cast(block->object) : nullptr;
            if (!record || AcDbObjectAccess::open(record, AcDb::kForRead) != Acad::eOk)
                return false;
            record->getName(name);
            bool match = matchesList(rb->resval.rstring, name);
            record->close();
            if (!match)
                return false;
        } else {
            return false; // a property this drawing does not keep
        }
    }
    return true;
}

// Every entity of every space (not of block definitions), in the order they were made.
std::vector<AcDbObjectId> allEntities(AcDbDatabase* db) {
    std::vector<AcDbObjectId> ids;
    AcDbBlockTable* table = nullptr;
    if (acdbOpenObject(table, db->blockTableId(), AcDb::kForRead) != Acad::eOk)
        return ids;
    for (int i = 0; i < table->count(); ++i) {
        AcDbStub* stub = table->recordAt(i).stub();
        auto* record = stub && stub->object && !stub->erased
                           ? AcDbBlockTableRecord::cast(stub->object)
                           : nullptr;
        if (!record || !record->isLayout())
            continue;
        for (const AcDbObjectId& id : record->data()->entities)
            if (!id.isErased())
                ids.push_back(id);
    }
    table->close();
    std::sort(ids.begin(), ids.end(),
              [](const AcDbObjectId& a, const AcDbObjectId& b) { return a.handle() < b.handle(); });
    return ids;
}

template <class F> void tellReactors(F f) {
    std::vector<AcEditorReactor*> copy = state().reactors;
    for (AcEditorReactor* r : copy)
        if (std::find(state().reactors.begin(), state().reactors.end(), r) !=
            state().reactors.end())
            f(r);
}

void toPoint(const AcGePoint3d& p, ads_point out) {
    out[0] = p.x;
    out[1] = p.y;
    out[2] = p.z;
}

// Running object snaps. The host has no screen: it draws 50 pixels to a drawing unit, so
// APERTURE (pixels) reaches APERTURE / 50 units from the line of sight through a click.
constexpr int kSnapEndpoint = 1, kSnapMidpoint = 2, kSnapInsertion = 64, kSnapsOff = 16384;
constexpr double kPixelsPerUnit = 50.0;

int systemInteger(const wchar_t* name, int fallback) {
    resbuf value{};
    if (acedGetVar(name, &value) != RTNORM)
        return fallback;
    if (value.restype == RTSHORT)
        return value.resval.rint;
    if (value.restype == RTLONG)
        return static_cast<int>(value.resval.rlong);
    return fallback;
}

// The direction the current viewport looks along; the Z axis without one.
AcGeVector3d currentViewDirection() {
    AcDbViewport* viewport = nullptr;
    AcGeVector3d direction = AcGeVector3d::kZAxis;
    if (acdbOpenObject(viewport, acedGetCurViewportObjectId(), AcDb::kForRead) == Acad::eOk) {
        direction = viewport->viewDirection();
        viewport->close();
    }
    return direction.isZeroLength() ? AcGeVector3d::kZAxis : direction.normal();
}

// The snap points an entity offers under the modes.
void snapPointsOf(const AcDbEntity* entity, int modes, std::vector<AcGePoint3d>& points) {
    if (auto* line = AcDbLine::cast(entity)) {
        AcGePoint3d a = line->startPoint(), b = line->endPoint();
        if (modes & kSnapEndpoint)
            points.insert(points.end(), {a, b});
        if (modes & kSnapMidpoint)
            points.push_back(a + (b - a) * 0.5);
    } else if (auto* table = AcDbTable::cast(entity)) {
        AcGePoint3d origin = table->position();
        if (modes & kSnapInsertion)
            points.push_back(origin);
        if (modes & kSnapEndpoint) {
            // The ends of the grid lines: every corner of every cell.
            double angle = table->rotation();
            AcGeVector3d across(std::cos(angle), std::sin(angle), 0);
            AcGeVector3d down(std::sin(angle), -std::cos(angle), 0);
            double y = 0;
            for (int r = 0; r <= table->numRows(); ++r) {
                double x = 0;
                for (int c = 0; c <= table->numColumns(); ++c) {
                    points.push_back(origin + across * x + down * y);
                    if (c < table->numColumns())
                        x += table->columnWidth(c);
                }
                if (r < table->numRows())
                    y += table->rowHeight(r);
            }
        }
    } else if (auto* reference = AcDbBlockReference::cast(entity)) {
        if (modes & kSnapInsertion)
            points.push_back(reference->position());
    }
}

// Where running object snaps take a click (a point of the UCS): the nearest snap point of
// an entity of the current space within the aperture, or the click itself.
AcGePoint3d snapClick(const AcGePoint3d& click) {
    int modes = systemInteger(L"OSMODE", 0);
    if ((modes & kSnapsOff) || !(modes & (kSnapEndpoint | kSnapMidpoint | kSnapInsertion)))
        return click;
    AcDbDatabase* db = working();
    AcGeMatrix3d toWorld;
    if (!db || !acdbUcsMatrix(toWorld, db))
        return click;
    AcGePoint3d world = AcGePoint3d(click).transformBy(toWorld);
    AcGeVector3d sight = currentViewDirection();
    double reach = systemInteger(L"APERTURE", 10) / kPixelsPerUnit;
    std::optional<AcGePoint3d> best;
    double bestDistance = reach;
    AcDbBlockTableRecord* space = nullptr;
    if (acdbOpenObject(space, db->currentSpaceId(), AcDb::kForRead) != Acad::eOk)
        return click;
    std::vector<AcDbObjectId> entities = space->data()->entities;
    space->close();
    for (const AcDbObjectId& id : entities) {
        AcDbEntity* entity = nullptr;
        if (id.isErased() || acdbOpenObject(entity, id, AcDb::kForRead) != Acad::eOk)
            continue;
        std::vector<AcGePoint3d> points;
        snapPointsOf(entity, modes, points);
        entity->close();
        for (const AcGePoint3d& p : points) {
            AcGeVector3d offset = p - world;
            double distance = (offset - sight * offset.dotProduct(sight)).length();
            if (distance <= bestDistance && (!best || distance < bestDistance)) {
                best = p;
                bestDistance = distance;
            }
        }
    }
    if (!best)
        return click;
    toWorld.invert();
    return best->transformBy(toWorld);
}

} // namespace

// ---------------------------------------------------------------------------------------
// The host's side

namespace lmhost {

void queuePoint(const AcGePoint3d& point) {
    state().input.push_back({InputItem::Point, point, {}, {}, {}});
}
void queueEntity(AcDbObjectId entity, const AcGePoint3d& pickedPoint) {
    state().input.push_back({InputItem::Entity, pickedPoint, entity, {}, {}});
}
void queueNestedEntity(const std::vector<AcDbObjectId>& path, const AcGePoint3d& pickedPoint) {
    if (path.empty())
        return queueEntity(AcDbObjectId::kNull, pickedPoint);
    state().input.push_back({InputItem::Entity,
                             pickedPoint,
                             path.front(),
                             {},
                             std::vector<AcDbObjectId>(path.begin() + 1, path.end())});
}
void queueKeyword(const std::wstring& keyword) {
    state().input.push_back({InputItem::Keyword, {}, {}, keyword, {}});
}
void queueCancel() {
    state().input.push_back({InputItem::Cancel, {}, {}, {}, {}});
}
size_t pendingInput() {
    return state().input.size();
}
void clearInput() {
    state().input.clear();
}
void setInputSource(InputSource source) {
    state().source = std::move(source);
}
size_t unansweredPrompts() {
    return state().unanswered;
}
const std::wstring& lastUnansweredPrompt() {
    return state().lastUnanswered;
}
void clearUnansweredPrompts() {
    state().unanswered = 0;
    state().lastUnanswered.clear();
}

void raiseCommandWillStart(const std::wstring& command) {
    tellReactors([&](AcEditorReactor* r) { r->commandWillStart(command.c_str()); });
}
void raiseCommandEnded(const std::wstring& command) {
    tellReactors([&](AcEditorReactor* r) { r->commandEnded(command.c_str()); });
}
void raiseCommandCancelled(const std::wstring& command) {
    tellReactors([&](AcEditorReactor* r) { r->commandCancelled(command.c_str()); });
}
void raiseCommandFailed(const std::wstring& command) {
    tellReactors([&](AcEditorReactor* r) { r->commandFailed(command.c_str()); });
}

int regenCount() {
    return state().regens;
}
const std::vector<AcDbObjectId>& queuedForRegen() {
    return state().queuedForRegen;
}
void clearRegenRecord() {
    state().regens = 0;
    state().queuedForRegen.clear();
}

int selectionSetsHeld() {
    return static_cast<int>(state().selectionSets.size());
}

int selectionSetFreeCalls() {
    return state().selectionSetFreeCalls;
}

void resetEditor() {
    state() = EditorState{};
    setAssocFrameworkAvailable(true);
}

} // namespace lmhost

// ---------------------------------------------------------------------------------------
// Editor reactors

void AcEditor::addReactor(AcEditorReactor* reactor) {
    auto& list = state().reactors;
    if (reactor && std::find(list.begin(), list.end(), reactor) == list.end())
        list.push_back(reactor);
}

void AcEditor::removeReactor(AcEditorReactor* reactor) {
    std::erase(state().reactors, reactor);
}

AcEditor* acedEditorObject() {
    static AcEditor editor;
    return &editor;
}

AcDbObjectId acedGetCurViewportObjectId() {
    AcDbDatabase::Impl* impl = working()->impl();
    if (impl->activeLayoutViewport.isValid() && !impl->activeLayoutViewport.isErased())
        return impl->activeLayoutViewport;
    // On a layout's paper no viewport is in use.
    return impl->currentSpace == impl->modelSpace ? impl->viewport : AcDbObjectId::kNull;
}

// ---------------------------------------------------------------------------------------
// Entity names

int acdbEntDel(const ads_name ent) {
    AcDbObjectId id = entityOf(ent);
    if (id.isNull() || !id.stub()->object)
        return RTERROR;
    AcDbObject* object = nullptr;
    if (acdbOpenObject(object, id, nullptr, AcDb::kForWrite, true) != Acad::eOk)
        return RTERROR;
    if (!AcDbEntity::cast(object)) {
        object->close();
        return RTERROR;
    }
    Acad::ErrorStatus es = object->erase(!id.isErased());
    object->close();
    return es == Acad::eOk ? RTNORM : RTERROR;
}

int acdbHandEnt(const ACHAR* handle, ads_name entres) {
    if (!handle || !*handle || std::wcslen(handle) > 16 || !entres)
        return RTERROR;
    for (const ACHAR* p = handle; *p; ++p)
        if (!std::iswxdigit(*p))
            return RTERROR;
    AcDbObjectId id;
    if (working()->getAcDbObjectId(id, false, AcDbHandle(handle)) != Acad::eOk || id.isErased() ||
        !id.stub()->object || !AcDbEntity::cast(id.stub()->object))
        return RTERROR;
    return acdbGetAdsName(*reinterpret_cast<ads_name*>(entres), id) == Acad::eOk ? RTNORM : RTERROR;
}

// ---------------------------------------------------------------------------------------
// Selection sets

namespace {

// The options of an interactive selection: ":S" single, ":n" nested, ":$" prompts supplied
// (pt1 is then an array of two prompts, to add and to remove), names with or without "_".
struct SelectionOptions {
    bool single = false, nested = false, prompts = false;
};

bool parseSelectionOptions(const ACHAR* str, SelectionOptions& options) {
    std::wstring text = str ? str : L"";
    if (!text.empty() && text[0] == L'_')
        text.erase(0, 1);
    if (text.empty())
        return true;
    if (text[0] != L':')
        return false;
    std::wistringstream in(text.substr(1));
    std::wstring option;
    while (std::getline(in, option, L':')) {
        if (option == L"S" || option == L"s")
            options.single = true;
        else if (option == L"n" || option == L"N")
            options.nested = true;
        else if (option == L"$")
            options.prompts = true;
        else
            return false;
    }
    return true;
}

// Whether an entity passes a selection filter of the user's pick.
bool pickPasses(AcDbObjectId id, const resbuf* filter) {
    return !filter || passesFilter(id, filter);
}

// One pick of the user for a single selection. A pick beside every entity, or of something
// the filter refuses, selects nothing: RTERROR.
int pickSelection(const SelectionOptions& options, const void* pt1, const resbuf* filter,
                  ads_name ss) {
    const ACHAR* prompt = L"\nSelect objects: ";
    if (options.prompts && pt1)
        prompt = static_cast<const ACHAR* const*>(pt1)[0];
    state().keywords.clear();
    lmhost::InputItem item;
    if (!nextInput(prompt, item) || item.kind == lmhost::InputItem::Cancel)
        return RTCAN;
    if (item.kind != lmhost::InputItem::Entity || item.entity.isNull() || item.entity.isErased())
        return RTERROR;
    Pick pick{item.point, {}};
    AcDbObjectId member = item.entity;
    if (options.nested && !item.inside.empty()) {
        // The innermost entity is the member; the references that hold it follow it outward.
        member = item.inside.back();
        pick.containers.assign(item.inside.rbegin() + 1, item.inside.rend());
        pick.containers.push_back(item.entity);
        for (const AcDbObjectId& id : item.inside)
            if (id.isNull() || id.isErased())
                return RTERROR;
    }
    if (!pickPasses(member, filter))
        return RTERROR;
    int64_t key = newSelectionSet({member});
    state().picks[{key, member}] = std::move(pick);
    nameSelectionSet(key, ss);
    return RTNORM;
}

} // namespace

int acedSSGet(const ACHAR* str, const void* pt1, const void*, const resbuf* filter, ads_name ss) {
    if (!ss)
        return RTERROR;
    SelectionOptions options;
    if (str && _wcsicmp(str, L"X") != 0 && _wcsicmp(str, L"_X") != 0) {
        // Only single selections are asked of the user here.
        if (!parseSelectionOptions(str, options) || !options.single)
            return RTERROR;
        return pickSelection(options, pt1, filter, ss);
    }
    if (!str)
        return RTERROR;
    std::vector<AcDbObjectId> members;
    for (const AcDbObjectId& id : allEntities(working()))
        if (passesFilter(id, filter))
            members.push_back(id);
    if (members.empty())
        return RTERROR;
    nameSelectionSet(newSelectionSet(std::move(members)), ss);
    return RTNORM;
}

int acedSSFree(const ads_name sname) {
    ++state().selectionSetFreeCalls;
    if (!selectionSet(sname))
        return RTERROR;
    state().selectionSets.erase(sname[0]);
    std::erase_if(state().picks, [&](const auto& p) { return p.first.first == sname[0]; });
    return RTNORM;
}

int acedSSNameX(resbuf** rbpp, const ads_name ss, const int i, unsigned int) {
    auto* set = selectionSet(ss);
    if (!rbpp || !set || i < 0 || static_cast<size_t>(i) >= set->size())
        return RTERROR;
    *rbpp = nullptr;
    AcDbObjectId member = (*set)[i];
    auto pick = state().picks.find({ss[0], member});
    ads_name name;
    if (acdbGetAdsName(name, member) != Acad::eOk)
        return RTERROR;
    if (pick == state().picks.end()) {
        // Selected without a pick (mode "X"): method 0 and the entity.
        *rbpp = acutBuildList(RTSHORT, 0, RTENAME, name, RTNONE);
        return *rbpp ? RTNORM : RTERROR;
    }
    // A pick (method 1): the entity, its marker, the picked point, then the references that
    // hold it, innermost first.
    ads_point point;
    toPoint(pick->second.point, point);
    resbuf* head = acutBuildList(RTSHORT, 1, RTENAME, name, RTSHORT, 0, RTLB, RTSHORT, 0, RT3DPOINT,
                                 point, RTLE, RTNONE);
    if (!head)
        return RTERROR;
    resbuf* tail = head;
    while (tail->rbnext)
        tail = tail->rbnext;
    for (const AcDbObjectId& container : pick->second.containers) {
        ads_name containerName;
        if (acdbGetAdsName(containerName, container) != Acad::eOk)
            continue;
        tail->rbnext = acutBuildList(RTENAME, containerName, RTNONE);
        if (tail->rbnext)
            tail = tail->rbnext;
    }
    *rbpp = head;
    return RTNORM;
}

int acedSSLength(const ads_name sname, Adesk::Int32* len) {
    auto* set = selectionSet(sname);
    if (!set || !len)
        return RTERROR;
    *len = static_cast<Adesk::Int32>(set->size());
    return RTNORM;
}

int acedSSName(const ads_name ss, Adesk::Int32 i, ads_name entres) {
    auto* set = selectionSet(ss);
    if (!set || !entres || i < 0 || static_cast<size_t>(i) >= set->size())
        return RTERROR;
    return acdbGetAdsName(*reinterpret_cast<ads_name*>(entres), (*set)[i]) == Acad::eOk ? RTNORM
                                                                                        : RTERROR;
}

int acedSSAdd(const ads_name ename, const ads_name sname, ads_name result) {
    if (!result)
        return RTERROR;
    AcDbObjectId id;
    if (ename) {
        id = entityOf(ename);
        if (id.isNull())
            return RTERROR;
    }
    if (!sname) {
        std::vector<AcDbObjectId> members;
        if (id.isValid())
            members.push_back(id);
        nameSelectionSet(newSelectionSet(std::move(members)), result);
        return RTNORM;
    }
    auto* set = selectionSet(sname);
    if (!set)
        return RTERROR;
    if (id.isValid() && std::find(set->begin(), set->end(), id) == set->end())
        set->push_back(id);
    result[0] = sname[0];
    result[1] = sname[1];
    return RTNORM;
}

int acedSSDel(const ads_name ename, const ads_name ss) {
    auto* set = selectionSet(ss);
    AcDbObjectId id = entityOf(ename);
    auto it = set ? std::find(set->begin(), set->end(), id) : std::vector<AcDbObjectId>::iterator();
    if (!set || id.isNull() || it == set->end())
        return RTERROR;
    set->erase(it);
    return RTNORM;
}

int acedXformSS(const ads_name ssname, ads_matrix genmat) {
    auto* set = selectionSet(ssname);
    if (!set || !genmat)
        return RTERROR;
    AcGeMatrix3d m;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            m.entry[r][c] = genmat[r][c];
    int result = RTNORM;
    for (const AcDbObjectId& id : *set) {
        AcDbEntity* entity = nullptr;
        if (acdbOpenAcDbEntity(entity, id, AcDb::kForWrite) != Acad::eOk) {
            result = RTERROR;
            continue;
        }
        if (entity->transformBy(m) != Acad::eOk)
            result = RTERROR;
        entity->close();
    }
    return result;
}

int acedDragGen(const ads_name ss, const ACHAR* pmt, int, int (*scnf)(ads_point, ads_matrix),
                ads_point p) {
    if (!selectionSet(ss) || !p)
        return RTERROR;
    state().keywords.clear();
    lmhost::InputItem item;
    if (!nextInput(pmt, item) || item.kind == lmhost::InputItem::Cancel)
        return RTCAN;
    if (item.kind == lmhost::InputItem::Keyword)
        return keywordResult(item);
    ads_point point;
    toPoint(item.point, point);
    if (scnf) {
        // The host shows the set at the point once before it takes it.
        ads_matrix matrix;
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c)
                matrix[r][c] = r == c ? 1.0 : 0.0;
        if (scnf(point, matrix) != RTNORM)
            return RTCAN;
    }
    toPoint(item.point, p);
    return RTNORM;
}

// ---------------------------------------------------------------------------------------
// Input

int acedInitGet(int, const ACHAR* kwl) {
    state().keywords = kwl ? kwl : L"";
    return RTNORM;
}

int acedGetPoint(const ads_point, const ACHAR* prompt, ads_point result) {
    lmhost::InputItem item;
    if (!nextInput(prompt, item) || item.kind == lmhost::InputItem::Cancel) {
        state().keywords.clear();
        return RTCAN;
    }
    if (item.kind == lmhost::InputItem::Keyword)
        return keywordResult(item);
    state().keywords.clear();
    if (!result)
        return RTERROR;
    toPoint(snapClick(item.point), result);
    return RTNORM;
}

int acedEntSel(const ACHAR* str, ads_name entres, ads_point ptres) {
    lmhost::InputItem item;
    if (!nextInput(str ? str : L"\nSelect object: ", item) ||
        item.kind == lmhost::InputItem::Cancel) {
        state().keywords.clear();
        return RTCAN;
    }
    if (item.kind == lmhost::InputItem::Keyword)
        return keywordResult(item);
    state().keywords.clear();
    if (item.kind != lmhost::InputItem::Entity || item.entity.isNull() || item.entity.isErased() ||
        !entres) {
        return RTERROR; // a pick beside every entity
    }
    if (acdbGetAdsName(*reinterpret_cast<ads_name*>(entres), item.entity) != Acad::eOk)
        return RTERROR;
    if (ptres)
        toPoint(item.point, ptres);
    return RTNORM;
}

int acedGetKword(const ACHAR* prompt, ACHAR* result, size_t bufsize) {
    lmhost::InputItem item;
    if (!nextInput(prompt, item) || item.kind == lmhost::InputItem::Cancel) {
        state().keywords.clear();
        return RTCAN;
    }
    std::wstring keyword;
    if (item.kind != lmhost::InputItem::Keyword || !acceptKeyword(item.keyword, keyword))
        return RTERROR;
    if (!result || keyword.size() + 1 > bufsize)
        return RTINPUTTRUNCATED;
    std::wcscpy(result, keyword.c_str());
    state().lastKeyword = keyword;
    return RTNORM;
}

int acedGetInput(ACHAR* str, size_t bufsize) {
    const std::wstring& keyword = state().lastKeyword;
    if (!str || keyword.size() + 1 > bufsize)
        return RTERROR;
    std::wcscpy(str, keyword.c_str());
    return RTNORM;
}

// ---------------------------------------------------------------------------------------
// Regeneration

int acedRegen() {
    ++state().regens;
    return RTNORM;
}

int acedRedraw(const ads_name, int) {
    return RTNORM;
}

int acdbQueueForRegen(const AcDbObjectId* ids, Adesk::Int32 count) {
    if (!ids || count <= 0)
        return 0;
    int queued = 0;
    for (Adesk::Int32 i = 0; i < count; ++i)
        if (ids[i].isValid() && !ids[i].isErased()) {
            state().queuedForRegen.push_back(ids[i]);
            ++queued;
        }
    return queued;
}

// ---------------------------------------------------------------------------------------
// UCS

bool acdbUcsMatrix(AcGeMatrix3d& mat, AcDbDatabase* db) {
    if (!db)
        db = working();
    if (!db)
        return false;
    AcGeVector3d x = db->ucsxdir(), y = db->ucsydir();
    mat.setCoordSystem(db->ucsorg(), x, y, x.crossProduct(y));
    return true;
}

bool acdbUcs2Wcs(const ads_point p, ads_point q, bool vec) {
    AcGeMatrix3d m;
    if (!p || !q || !acdbUcsMatrix(m))
        return false;
    if (vec) {
        AcGeVector3d v = AcGeVector3d(p[0], p[1], p[2]).transformBy(m);
        q[0] = v.x, q[1] = v.y, q[2] = v.z;
    } else {
        AcGePoint3d r = AcGePoint3d(p).transformBy(m);
        toPoint(r, q);
    }
    return true;
}

bool acdbWcs2Ucs(const ads_point p, ads_point q, bool vec) {
    AcGeMatrix3d m;
    if (!p || !q || !acdbUcsMatrix(m))
        return false;
    m.invert();
    if (vec) {
        AcGeVector3d v = AcGeVector3d(p[0], p[1], p[2]).transformBy(m);
        q[0] = v.x, q[1] = v.y, q[2] = v.z;
    } else {
        AcGePoint3d r = AcGePoint3d(p).transformBy(m);
        toPoint(r, q);
    }
    return true;
}
