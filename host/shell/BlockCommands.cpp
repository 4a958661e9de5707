// The host's block commands: block definitions with dynamic properties, references in
// spaces and inside other definitions (so they nest), and a reference's property values.
#include <algorithm>
#include <cwctype>

#include "DrawingText.h"
#include "Shell.h"
#include "dbdynblk.h"
#include "dbsymtb.h"
#include "dbtable.h"
#include "drawing/Blocks.h"
#include "sdk/WideFormat.h"
#include "sdk/control/HostControl.h"

namespace shell {

namespace {

using lmhost::CommandResult;
using Units = AcDbDynBlockReferenceProperty::UnitsType;

struct PropertyKind {
    const wchar_t* word;
    AcDb::DwgDataType type;
    Units units;
};

const PropertyKind kKinds[] = {
    {L"distance", AcDb::kDwgReal, AcDbDynBlockReferenceProperty::kDistance},
    {L"angle", AcDb::kDwgReal, AcDbDynBlockReferenceProperty::kAngular},
    {L"area", AcDb::kDwgReal, AcDbDynBlockReferenceProperty::kArea},
    {L"real", AcDb::kDwgReal, AcDbDynBlockReferenceProperty::kNoUnits},
    {L"int16", AcDb::kDwgInt16, AcDbDynBlockReferenceProperty::kNoUnits},
    {L"int32", AcDb::kDwgInt32, AcDbDynBlockReferenceProperty::kNoUnits},
    {L"text", AcDb::kDwgText, AcDbDynBlockReferenceProperty::kNoUnits},
    {L"point", AcDb::kDwg3Real, AcDbDynBlockReferenceProperty::kNoUnits},
};

std::wstring kindWord(AcDb::DwgDataType type, Units units) {
    for (const PropertyKind& k : kKinds)
        if (k.type == type && (type != AcDb::kDwgReal || k.units == units))
            return k.word;
    return L"?";
}

// A value of a property's kind from what the user typed; false for one of another kind.
bool parseValue(AcDb::DwgDataType type, const std::wstring& text, AcDbEvalVariant& value) {
    switch (type) {
    case AcDb::kDwgReal:
        if (auto v = parseNumber(text)) {
            value = *v;
            return true;
        }
        return false;
    case AcDb::kDwgInt16:
        if (auto v = parseInteger(text); v && *v >= -32768 && *v <= 32767) {
            value = static_cast<short>(*v);
            return true;
        }
        return false;
    case AcDb::kDwgInt32:
        if (auto v = parseInteger(text); v && *v >= INT32_MIN && *v <= INT32_MAX) {
            value = static_cast<Adesk::Int32>(*v);
            return true;
        }
        return false;
    case AcDb::kDwgText:
        value = text.c_str();
        return true;
    case AcDb::kDwg3Real:
        if (auto p = parsePoint(text)) {
            value = AcDbEvalVariant(*p);
            return true;
        }
        return false;
    default:
        return false;
    }
}

std::wstring valueText(const AcDbEvalVariant& value) {
    switch (value.restype) {
    case AcDb::kDxfReal:
        return formatNumber(value.resval.rreal);
    case AcDb::kDxfInt16:
        return std::to_wstring(value.resval.rint);
    case AcDb::kDxfInt32:
        return std::to_wstring(value.resval.rlong);
    case AcDb::kDxfText:
        return L"\"" + visible(value.resval.rstring ? value.resval.rstring : L"") + L"\"";
    case AcDb::kDxfXCoord:
        return formatPoint(
            AcGePoint3d(value.resval.rpoint[0], value.resval.rpoint[1], value.resval.rpoint[2]));
    default:
        return L"(none)";
    }
}

std::vector<std::wstring> splitList(const std::wstring& text) {
    std::vector<std::wstring> items;
    size_t start = 0;
    while (true) {
        size_t comma = text.find(L',', start);
        items.push_back(text.substr(start, comma - start));
        if (comma == std::wstring::npos)
            return items;
        start = comma + 1;
    }
}

bool findBlock(AcDbDatabase* db, const std::wstring& name, AcDbObjectId& id) {
    AcDbObjectPointer<AcDbBlockTable> table(db->blockTableId(), AcDb::kForRead);
    if (table.openStatus() != Acad::eOk || table->getAt(name.c_str(), id) != Acad::eOk ||
        name.empty() || name[0] == L'*') {
        say(L"No block is named " + name + L".");
        return false;
    }
    return true;
}

std::wstring blockName(AcDbObjectId id) {
    AcDbObjectPointer<AcDbBlockTableRecord> record(id, AcDb::kForRead);
    const ACHAR* name = nullptr;
    if (record.openStatus() != Acad::eOk || record->getName(name) != Acad::eOk || !name)
        return L"?";
    return name;
}

// True when the definition holds a reference to target, at any depth.
bool holds(AcDbObjectId definition, AcDbObjectId target, std::vector<AcDbObjectId>& seen) {
    if (definition == target)
        return true;
    if (std::find(seen.begin(), seen.end(), definition) != seen.end())
        return false;
    seen.push_back(definition);
    std::vector<AcDbObjectId> inner;
    {
        AcDbObjectPointer<AcDbBlockTableRecord> record(definition, AcDb::kForRead);
        if (record.openStatus() != Acad::eOk)
            return false;
        inner = record->data()->entities;
    }
    for (AcDbObjectId id : inner) {
        if (id.isErased() || id.objectClass() != AcDbBlockReference::desc())
            continue;
        AcDbObjectPointer<AcDbBlockReference> reference(id, AcDb::kForRead);
        if (reference.openStatus() != Acad::eOk)
            continue;
        AcDbObjectId block = drawing::blockOf(reference);
        reference.close();
        if (holds(block, target, seen))
            return true;
    }
    return false;
}

CommandResult defineBlock(const Args& args) {
    if (args.size() != 1)
        return refuse(L"BLOCK needs a block name.");
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    AcDbObjectId id;
    Acad::ErrorStatus es = drawing::addBlockDefinition(db, args[0], id);
    if (es == Acad::eDuplicateRecordName)
        return refuse(L"A block named " + args[0] + L" exists already.");
    if (es == Acad::eInvalidSymbolTableName)
        return refuse(L"\"" + args[0] + L"\" is no block name.");
    if (es != Acad::eOk)
        return refuse(std::wstring(L"The block was refused: ") + acadErrorStatusText(es) + L".");
    say(L"Block " + args[0] + L" defined.");
    return CommandResult::Ended;
}

// BLOCKPROP block name kind default [range MIN MAX] [values A,B,...] [readonly]
CommandResult addBlockProperty(const Args& args) {
    if (args.size() < 4)
        return refuse(L"BLOCKPROP needs a block, a property name, a kind (distance, angle, "
                      L"area, real, int16, int32, text, point) and a default value; then "
                      L"range MIN MAX, values A,B,... and readonly if wanted.");
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    AcDbObjectId block;
    if (!findBlock(db, args[0], block))
        return CommandResult::Failed;
    drawing::DynamicPropertyDefinition def;
    def.name = args[1];
    const PropertyKind* kind = nullptr;
    for (const PropertyKind& k : kKinds)
        if (lmhost::equalNoCase(k.word, args[2]))
            kind = &k;
    if (!kind)
        return refuse(L"\"" + args[2] +
                      L"\" is no kind of property (distance, angle, area, "
                      L"real, int16, int32, text, point).");
    def.type = kind->type;
    def.units = kind->units;
    if (!parseValue(def.type, args[3], def.defaultValue))
        return refuse(L"\"" + args[3] + L"\" is no " + kind->word + L" value.");
    for (size_t i = 4; i < args.size(); ++i) {
        if (lmhost::equalNoCase(args[i], L"readonly")) {
            def.readOnly = true;
        } else if (lmhost::equalNoCase(args[i], L"range") && i + 2 < args.size()) {
            auto low = parseNumber(args[i + 1]), high = parseNumber(args[i + 2]);
            if (!low || !high || *low > *high)
                return refuse(L"A range is two numbers, the lower first.");
            if (def.type == AcDb::kDwgText || def.type == AcDb::kDwg3Real)
                return refuse(L"Only numbers have a range.");
            def.minimum = *low;
            def.maximum = *high;
            i += 2;
        } else if (lmhost::equalNoCase(args[i], L"values") && i + 1 < args.size()) {
            if (def.type == AcDb::kDwg3Real)
                return refuse(L"A point property takes no list of values.");
            for (const std::wstring& item : splitList(args[++i])) {
                AcDbEvalVariant allowed;
                if (!parseValue(def.type, item, allowed))
                    return refuse(L"\"" + item + L"\" is no " + kind->word + L" value.");
                def.allowedValues.push_back(allowed);
            }
        } else {
            return refuse(L"\"" + args[i] +
                          L"\" is not understood; after the default come "
                          L"range MIN MAX, values A,B,... and readonly.");
        }
    }
    if (Acad::ErrorStatus es = drawing::addDynamicProperty(block, def))
        return refuse(std::wstring(L"The property was refused: ") + acadErrorStatusText(es) + L".");
    say(L"Block " + args[0] + L" has the property " + def.name + L" (" + kind->word + L").");
    return CommandResult::Ended;
}

// INSERT block x,y [owner]: into the current space, or into another block's definition.
CommandResult insertReference(const Args& args) {
    if (args.size() < 2 || args.size() > 3)
        return refuse(L"INSERT needs a block name, the point x,y and, to nest it, the block "
                      L"to insert it into.");
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    AcDbObjectId block, owner = db->currentSpaceId();
    if (!findBlock(db, args[0], block))
        return CommandResult::Failed;
    auto at = parsePoint(args[1]);
    if (!at)
        return refuse(L"\"" + args[1] + L"\" is no point (x,y or x,y,z).");
    AcGePoint3d position = *at;
    if (args.size() == 3) {
        if (!findBlock(db, args[2], owner))
            return CommandResult::Failed;
        std::vector<AcDbObjectId> seen;
        if (holds(block, owner, seen))
            return refuse(L"A block cannot hold a reference to itself.");
        // A definition's own coordinates are no UCS.
    } else {
        position = ucsToWorld(position);
    }
    AcDbObjectId reference;
    if (Acad::ErrorStatus es = drawing::insertBlock(owner, block, position, reference))
        return refuse(std::wstring(L"The reference was refused: ") + acadErrorStatusText(es) +
                      L".");
    if (args.size() == 3)
        say(L"Inserted " + args[0] + L" as " + handleText(reference) + L" into the block " +
            args[2] + L".");
    else
        say(L"Inserted " + args[0] + L" as " + handleText(reference) + L".");
    return CommandResult::Ended;
}

bool openReference(AcDbDatabase* db, const std::wstring& handle,
                   AcDbObjectPointer<AcDbBlockReference>& reference) {
    AcDbObjectId id;
    if (!objectOfHandle(db, handle, id))
        return false;
    if (id.objectClass() == AcDbTable::desc() || reference.open(id) != Acad::eOk) {
        say(handle + L" is no block reference (" + className(id) + L").");
        return false;
    }
    return true;
}

CommandResult listProperties(const Args& args) {
    if (args.size() != 1)
        return refuse(L"PROPS needs the handle of a block reference.");
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    AcDbObjectPointer<AcDbBlockReference> reference;
    if (!openReference(db, args[0], reference))
        return CommandResult::Failed;
    AcDbObjectId id = reference->objectId();
    AcDbObjectId block = drawing::blockOf(reference);
    AcDbDynBlockReference dynamic(id);
    say(handleText(id) + L": reference of " + blockName(block) +
        (dynamic.isDynamicBlock() ? L" (dynamic)" : L"") + L" at " +
        formatPoint(reference->position()));
    reference.close();
    AcDbDynBlockReferencePropertyArray properties;
    dynamic.getBlockProperties(properties);
    const AcDbBlockTableRecord::Data* definition = nullptr;
    AcDbObjectPointer<AcDbBlockTableRecord> record(block, AcDb::kForRead);
    if (record.openStatus() == Acad::eOk)
        definition = record->data();
    for (int i = 0; i < properties.length(); ++i) {
        const AcDbDynBlockReferenceProperty& p = properties[i];
        std::wstring line = L"  " + p.propertyName().str() + L" = " + valueText(p.value()) + L"  " +
                            kindWord(p.propertyType(), p.unitsType());
        if (definition && static_cast<size_t>(i) < definition->properties.size()) {
            const auto& def = definition->properties[static_cast<size_t>(i)];
            if (def.minimum && def.maximum)
                line += L", " + formatNumber(*def.minimum) + L" to " + formatNumber(*def.maximum);
        }
        AcDbEvalVariantArray allowed;
        if (p.getAllowedValues(allowed) == Acad::eOk && allowed.length() > 0) {
            line += L", one of ";
            for (int a = 0; a < allowed.length(); ++a)
                line += (a ? L"," : L"") + valueText(allowed[a]);
        }
        if (p.readOnly())
            line += L", read-only";
        say(line);
    }
    if (definition)
        for (AcDbObjectId inner : definition->entities)
            if (!inner.isErased() && inner.objectClass() == AcDbBlockReference::desc()) {
                AcDbObjectPointer<AcDbBlockReference> nested(inner, AcDb::kForRead);
                if (nested.openStatus() == Acad::eOk)
                    say(L"  holds " + handleText(inner) + L" (" +
                        blockName(drawing::blockOf(nested)) + L")");
            }
    return CommandResult::Ended;
}

// Sets a property as the host's property palette does; the model's refusals are shown.
CommandResult setProperty(const Args& args) {
    if (args.size() != 3)
        return refuse(L"PROPSET needs the handle of a block reference, a property and a value.");
    AcDbDatabase* db = currentDatabase();
    if (!db)
        return CommandResult::Failed;
    AcDbObjectId id;
    {
        AcDbObjectPointer<AcDbBlockReference> reference;
        if (!openReference(db, args[0], reference))
            return CommandResult::Failed;
        id = reference->objectId();
    }
    AcDbDynBlockReferencePropertyArray properties;
    AcDbDynBlockReference(id).getBlockProperties(properties);
    for (int i = 0; i < properties.length(); ++i) {
        AcDbDynBlockReferenceProperty& p = properties[i];
        if (!lmhost::equalNoCase(p.propertyName().str(), args[1]))
            continue;
        AcDbEvalVariant value;
        if (!parseValue(p.propertyType(), args[2], value))
            return refuse(L"\"" + args[2] + L"\" is no " +
                          kindWord(p.propertyType(), p.unitsType()) + L" value.");
        Acad::ErrorStatus es = p.setValue(value);
        if (es == Acad::eReadOnlyProperty)
            return refuse(L"The property " + args[1] + L" is read-only.");
        if (es == Acad::eBadDynBlockPropertyValue)
            return refuse(L"The property " + args[1] + L" does not take " + args[2] + L".");
        if (es != Acad::eOk)
            return refuse(std::wstring(L"The value was refused: ") + acadErrorStatusText(es) +
                          L".");
        say(args[1] + L" = " + valueText(p.value()));
        return CommandResult::Ended;
    }
    return refuse(L"The reference " + args[0] + L" has no property " + args[1] + L".");
}

} // namespace

void registerBlockCommands() {
    using lmhost::registerHostCommand;
    registerHostCommand(L"BLOCK", defineBlock, L"BLOCK name: define an empty block");
    registerHostCommand(L"BLOCKPROP", addBlockProperty,
                        L"BLOCKPROP block name kind default [range MIN MAX] [values A,B,...] "
                        L"[readonly]: add a dynamic property (kind: distance, angle, area, "
                        L"real, int16, int32, text, point)");
    registerHostCommand(L"INSERT", insertReference,
                        L"INSERT block x,y [into-block]: insert a reference into the current "
                        L"space or into a block's definition");
    registerHostCommand(L"PROPS", listProperties,
                        L"PROPS handle: list a reference's properties and nested references");
    registerHostCommand(L"PROPSET", setProperty,
                        L"PROPSET handle property value: set a dynamic property");
}

} // namespace shell
