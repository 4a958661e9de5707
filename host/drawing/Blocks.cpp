// Spaces, block definitions, references and their dynamic properties, text styles, and the
// database's drawing-wide settings.
#include "drawing/Blocks.h"

#include <algorithm>
#include <cmath>

#include "acutads.h"
#include "dbtable.h"
#include "drawing/DrawingModel.h"
#include "sdk/Database.h"
#include "drawing/control/Editor.h"
#include "windows.h"

ACRX_DEFINE_MEMBERS(AcDbBlockTableRecord, AcDbSymbolTableRecord)
ACRX_DEFINE_MEMBERS(AcDbBlockTable, AcDbSymbolTable)
ACRX_DEFINE_MEMBERS(AcDbTextStyleTableRecord, AcDbSymbolTableRecord)
ACRX_DEFINE_MEMBERS(AcDbTextStyleTable, AcDbSymbolTable)
ACRX_DEFINE_MEMBERS(AcDbBlockReference, AcDbEntity)
ACRX_DEFINE_MEMBERS(AcDbLine, AcDbEntity)
ACRX_DEFINE_MEMBERS(AcDbViewport, AcDbEntity)

struct BlockReferenceAccess {
    static AcDbObjectId block(const AcDbBlockReference* reference) { return reference->m_block; }
};

namespace {

// Objects are reached without opening them where the host reads its own structures.
template <class T> T* peek(AcDbObjectId id) {
    AcDbStub* stub = id.stub();
    if (!stub || !stub->object)
        return nullptr;
    return T::cast(stub->object);
}

// True when the block definition holds, at any depth, a reference to target.
bool blockContains(AcDbObjectId block, AcDbObjectId target, int depth = 0) {
    if (block == target)
        return true;
    auto* record = peek<AcDbBlockTableRecord>(block);
    if (!record || depth > 64)
        return depth > 64; // absurd depth counts as a cycle
    for (const AcDbObjectId& id : record->data()->entities) {
        auto* reference = peek<AcDbBlockReference>(id);
        if (reference && !id.isErased() &&
            blockContains(BlockReferenceAccess::block(reference), target, depth + 1))
            return true;
    }
    return false;
}

Acad::ErrorStatus writable(AcDbObject* object) {
    return object->isWriteEnabled() ? Acad::eOk : Acad::eNotOpenForWrite;
}

} // namespace

namespace lmhost {

void buildDefaultDrawing(AcDbDatabase* db) {
    AcDbDatabase::Impl* impl = db->impl();

    auto* blocks = new AcDbBlockTable;
    db->addAcDbObject(impl->blockTable, blocks);
    for (const wchar_t* name : {ACDB_MODEL_SPACE, ACDB_PAPER_SPACE}) {
        auto* space = new AcDbBlockTableRecord;
        space->setName(name);
        space->data()->layout = true;
        AcDbObjectId id;
        blocks->add(id, space);
        space->close();
        (name == std::wstring(ACDB_MODEL_SPACE) ? impl->modelSpace : impl->paperSpace) = id;
    }
    blocks->close();
    impl->currentSpace = impl->modelSpace;

    auto* styles = new AcDbTextStyleTable;
    db->addAcDbObject(impl->textStyleTable, styles);
    auto* standard = new AcDbTextStyleTableRecord;
    standard->setName(L"Standard");
    standard->setFileName(L"arial.ttf");
    styles->add(impl->textStyle, standard);
    standard->close();
    styles->close();

    auto* tableStyle = new AcDbTableStyle;
    tableStyle->setName(L"Standard");
    for (int rowType : {AcDb::kDataRow, AcDb::kTitleRow, AcDb::kHeaderRow})
        tableStyle->setTextStyle(impl->textStyle, rowType);
    db->addAcDbObject(impl->tableStyle, tableStyle);
    tableStyle->close();

    auto* viewport = new AcDbViewport;
    db->addAcDbObject(impl->viewport, viewport);
    AcDbObjectAccess::setOwner(viewport, impl->modelSpace);
    viewport->close();
}

Acad::ErrorStatus setCurrentSpace(AcDbDatabase* db, AcDbObjectId spaceId) {
    auto* record = peek<AcDbBlockTableRecord>(spaceId);
    if (!db || !record || spaceId.database() != db || spaceId.isErased() || !record->data()->layout)
        return Acad::eInvalidInput;
    db->impl()->currentSpace = spaceId;
    db->impl()->activeLayoutViewport = AcDbObjectId::kNull;
    return Acad::eOk;
}

AcDbObjectId modelSpaceId(AcDbDatabase* db) {
    return db ? db->impl()->modelSpace : AcDbObjectId();
}
AcDbObjectId paperSpaceId(AcDbDatabase* db) {
    return db ? db->impl()->paperSpace : AcDbObjectId();
}

} // namespace lmhost

// ---------------------------------------------------------------------------------------
// Block table records

AcDbBlockTableRecord::AcDbBlockTableRecord() : m_data(new Data) {}
AcDbBlockTableRecord::~AcDbBlockTableRecord() {
    delete m_data;
}

Acad::ErrorStatus AcDbBlockTableRecord::appendAcDbEntity(AcDbObjectId& id, AcDbEntity* entity) {
    id = AcDbObjectId::kNull;
    if (Acad::ErrorStatus es = writable(this))
        return es;
    if (!entity)
        return Acad::eNullEntityPointer;
    if (!entity->isNewObject())
        return Acad::eAlreadyInDb;
    if (!database())
        return Acad::eNotInDatabase;
    if (auto* reference = AcDbBlockReference::cast(entity)) {
        AcDbObjectId block = BlockReferenceAccess::block(reference);
        if (block.isValid() && blockContains(block, objectId()))
            return Acad::eSelfReference;
    }
    Acad::ErrorStatus es = database()->addAcDbObject(id, entity);
    if (es != Acad::eOk)
        return es;
    AcDbObjectAccess::setOwner(entity, objectId());
    m_data->entities.push_back(id);
    assertWriteEnabled();
    return Acad::eOk;
}

Acad::ErrorStatus AcDbBlockTableRecord::newIterator(AcDbBlockTableRecordIterator*& iterator,
                                                    bool atBeginning, bool skipDeleted) const {
    assertReadEnabled();
    iterator = new AcDbBlockTableRecordIterator(this);
    iterator->start(atBeginning, skipDeleted);
    return Acad::eOk;
}

bool AcDbBlockTableRecord::isLayout() const {
    return m_data->layout;
}

bool AcDbBlockTableRecord::isAnonymous() const {
    const ACHAR* name = L"";
    getName(name);
    return name[0] == L'*' && !m_data->layout;
}

Acad::ErrorStatus AcDbBlockTableRecord::setOrigin(const AcGePoint3d& origin) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    assertWriteEnabled();
    m_origin = origin;
    return Acad::eOk;
}

void AcDbBlockTableRecordIterator::start(bool atBeginning, bool skipDeleted) {
    long n = static_cast<long>(m_record->data()->entities.size());
    m_index = atBeginning ? 0 : n - 1;
    skip(atBeginning, skipDeleted);
}

bool AcDbBlockTableRecordIterator::done() const {
    return m_index < 0 || m_index >= static_cast<long>(m_record->data()->entities.size());
}

void AcDbBlockTableRecordIterator::step(bool forward, bool skipDeleted) {
    if (done())
        return;
    m_index += forward ? 1 : -1;
    skip(forward, skipDeleted);
}

void AcDbBlockTableRecordIterator::skip(bool forward, bool skipDeleted) {
    while (skipDeleted && !done() && m_record->data()->entities[m_index].isErased())
        m_index += forward ? 1 : -1;
}

Acad::ErrorStatus AcDbBlockTableRecordIterator::getEntityId(AcDbObjectId& id) const {
    if (done())
        return Acad::eIteratorDone;
    id = m_record->data()->entities[m_index];
    return Acad::eOk;
}

Acad::ErrorStatus AcDbBlockTableRecordIterator::getEntity(AcDbEntity*& entity, AcDb::OpenMode mode,
                                                          bool openErasedEntity) const {
    entity = nullptr;
    AcDbObjectId id;
    if (Acad::ErrorStatus es = getEntityId(id))
        return es;
    return acdbOpenAcDbEntity(entity, id, mode, openErasedEntity);
}

// ---------------------------------------------------------------------------------------
// Text styles

AcDbTextStyleTableRecord::~AcDbTextStyleTableRecord() {
    acutDelString(m_fileName);
}
double AcDbTextStyleTableRecord::textSize() const {
    assertReadEnabled();
    return m_textSize;
}
Acad::ErrorStatus AcDbTextStyleTableRecord::setTextSize(double size) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    if (!(size >= 0) || !std::isfinite(size))
        return Acad::eInvalidInput;
    assertWriteEnabled();
    m_textSize = size;
    return Acad::eOk;
}
double AcDbTextStyleTableRecord::priorSize() const {
    assertReadEnabled();
    return m_priorSize;
}
Acad::ErrorStatus AcDbTextStyleTableRecord::setPriorSize(double size) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    if (!(size > 0) || !std::isfinite(size))
        return Acad::eInvalidInput;
    assertWriteEnabled();
    m_priorSize = size;
    return Acad::eOk;
}
Acad::ErrorStatus AcDbTextStyleTableRecord::fileName(const ACHAR*& name) const {
    assertReadEnabled();
    name = m_fileName ? m_fileName : L"";
    return Acad::eOk;
}
Acad::ErrorStatus AcDbTextStyleTableRecord::setFileName(const ACHAR* name) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    assertWriteEnabled();
    acutDelString(m_fileName);
    acutNewString(name ? name : L"", m_fileName);
    return Acad::eOk;
}

// ---------------------------------------------------------------------------------------
// Block references, lines, viewports

AcDbBlockReference::AcDbBlockReference() = default;
AcDbBlockReference::AcDbBlockReference(const AcGePoint3d& position, AcDbObjectId block)
    : m_block(block), m_position(position) {}
AcDbBlockReference::~AcDbBlockReference() {
    delete m_dynamic;
}

AcDbObjectId AcDbBlockReference::blockTableRecord() const {
    assertReadEnabled();
    return m_block;
}

Acad::ErrorStatus AcDbBlockReference::setBlockTableRecord(AcDbObjectId block) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    if (block.isNull())
        return Acad::eNullObjectId;
    if (!peek<AcDbBlockTableRecord>(block))
        return Acad::eWrongObjectType;
    if (ownerId().isValid() && blockContains(block, ownerId()))
        return Acad::eSelfReference;
    assertWriteEnabled();
    m_block = block;
    delete m_dynamic; // another definition has other properties
    m_dynamic = nullptr;
    return Acad::eOk;
}

AcGePoint3d AcDbBlockReference::position() const {
    assertReadEnabled();
    return m_position;
}

Acad::ErrorStatus AcDbBlockReference::setPosition(const AcGePoint3d& position) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    assertWriteEnabled();
    m_position = position;
    return Acad::eOk;
}

double AcDbBlockReference::rotation() const {
    assertReadEnabled();
    return m_rotation;
}

Acad::ErrorStatus AcDbBlockReference::setRotation(double angle) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    if (!std::isfinite(angle))
        return Acad::eInvalidInput;
    assertWriteEnabled();
    m_rotation = angle;
    return Acad::eOk;
}

AcGeMatrix3d AcDbBlockReference::blockTransform() const {
    assertReadEnabled();
    AcGeVector3d origin;
    if (auto* record = peek<AcDbBlockTableRecord>(m_block))
        origin = record->origin().asVector();
    return AcGeMatrix3d::translation(m_position.asVector()) *
           AcGeMatrix3d::rotation(m_rotation, AcGeVector3d::kZAxis) *
           AcGeMatrix3d::translation(-origin);
}

Acad::ErrorStatus AcDbBlockReference::transformBy(const AcGeMatrix3d& xform) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    assertWriteEnabled();
    AcGeVector3d x = AcGeVector3d(std::cos(m_rotation), std::sin(m_rotation), 0).transformBy(xform);
    m_position.transformBy(xform);
    if (!x.isZeroLength())
        m_rotation = std::atan2(x.y, x.x);
    return Acad::eOk;
}

void AcDbBlockReference::setDynamicValues(DynamicValues* values) {
    if (values != m_dynamic)
        delete m_dynamic;
    m_dynamic = values;
}

AcGePoint3d AcDbLine::startPoint() const {
    assertReadEnabled();
    return m_start;
}
AcGePoint3d AcDbLine::endPoint() const {
    assertReadEnabled();
    return m_end;
}
Acad::ErrorStatus AcDbLine::setStartPoint(const AcGePoint3d& point) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    assertWriteEnabled();
    m_start = point;
    return Acad::eOk;
}
Acad::ErrorStatus AcDbLine::setEndPoint(const AcGePoint3d& point) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    assertWriteEnabled();
    m_end = point;
    return Acad::eOk;
}
Acad::ErrorStatus AcDbLine::transformBy(const AcGeMatrix3d& xform) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    assertWriteEnabled();
    m_start.transformBy(xform);
    m_end.transformBy(xform);
    return Acad::eOk;
}

AcGeVector3d AcDbViewport::viewDirection() const {
    assertReadEnabled();
    return m_viewDirection;
}
Acad::ErrorStatus AcDbViewport::setViewDirection(const AcGeVector3d& direction) {
    if (Acad::ErrorStatus es = writable(this))
        return es;
    if (direction.isZeroLength())
        return Acad::eInvalidInput;
    assertWriteEnabled();
    m_viewDirection = direction;
    return Acad::eOk;
}

// ---------------------------------------------------------------------------------------
// Dynamic blocks

namespace {

using Definition = std::vector<drawing::DynamicPropertyDefinition>;

const Definition* definitionOf(AcDbObjectId block) {
    auto* record = peek<AcDbBlockTableRecord>(block);
    if (!record || record->data()->properties.empty())
        return nullptr;
    return &record->data()->properties;
}

// The reference's values, filled with the definition's defaults as far as they go.
std::vector<AcDbEvalVariant>& valuesOf(AcDbBlockReference* reference, const Definition& def) {
    auto* values = reference->dynamicValues();
    if (!values) {
        values = new AcDbBlockReference::DynamicValues;
        reference->setDynamicValues(values);
    }
    for (size_t i = values->values.size(); i < def.size(); ++i)
        values->values.push_back(def[i].defaultValue);
    return values->values;
}

double numberOf(const AcDbEvalVariant& v) {
    switch (v.restype) {
    case AcDb::kDxfReal:
        return v.resval.rreal;
    case AcDb::kDxfInt16:
        return v.resval.rint;
    case AcDb::kDxfInt32:
        return v.resval.rlong;
    default:
        return 0.0;
    }
}

bool sameValue(const AcDbEvalVariant& a, const AcDbEvalVariant& b) {
    if (a.restype == AcDb::kDxfReal && b.restype == AcDb::kDxfReal)
        return std::fabs(a.resval.rreal - b.resval.rreal) <=
               1e-9 * std::max(1.0, std::fabs(a.resval.rreal));
    return a == b;
}

} // namespace

namespace drawing {

short restypeOfType(AcDb::DwgDataType type) {
    switch (type) {
    case AcDb::kDwgReal:
        return AcDb::kDxfReal;
    case AcDb::kDwgInt16:
        return AcDb::kDxfInt16;
    case AcDb::kDwgInt32:
        return AcDb::kDxfInt32;
    case AcDb::kDwgText:
        return AcDb::kDxfText;
    case AcDb::kDwg3Real:
        return AcDb::kDxfXCoord;
    default:
        return 0;
    }
}

AcDbObjectId blockOf(const AcDbBlockReference* reference) {
    return reference ? BlockReferenceAccess::block(reference) : AcDbObjectId();
}

Acad::ErrorStatus addBlockDefinition(AcDbDatabase* db, const std::wstring& name, AcDbObjectId& id) {
    id = AcDbObjectId::kNull;
    if (!db || db->blockTableId().isNull())
        return Acad::eNoDatabase;
    if (name.empty() || name[0] == L'*')
        return Acad::eInvalidSymbolTableName;
    AcDbBlockTable* table = nullptr;
    if (Acad::ErrorStatus es = acdbOpenObject(table, db->blockTableId(), AcDb::kForWrite))
        return es;
    auto* record = new AcDbBlockTableRecord;
    record->setName(name.c_str());
    Acad::ErrorStatus es = table->add(id, record);
    if (es == Acad::eOk)
        record->close();
    else
        delete record;
    table->close();
    return es;
}

Acad::ErrorStatus addLayout(AcDbDatabase* db, AcDbObjectId& spaceId) {
    spaceId = AcDbObjectId::kNull;
    if (!db || db->blockTableId().isNull())
        return Acad::eNoDatabase;
    AcDbBlockTable* table = nullptr;
    if (Acad::ErrorStatus es = acdbOpenObject(table, db->blockTableId(), AcDb::kForWrite))
        return es;
    int n = 0;
    std::wstring name;
    do
        name = std::wstring(ACDB_PAPER_SPACE) + std::to_wstring(n++);
    while (table->has(name.c_str()));
    auto* record = new AcDbBlockTableRecord;
    record->setName(name.c_str());
    record->data()->layout = true;
    Acad::ErrorStatus es = table->add(spaceId, record);
    if (es == Acad::eOk)
        record->close();
    else
        delete record;
    table->close();
    return es;
}

Acad::ErrorStatus addDynamicProperty(AcDbObjectId block, const DynamicPropertyDefinition& def) {
    auto* record = peek<AcDbBlockTableRecord>(block);
    if (!record)
        return Acad::eWrongObjectType;
    short restype = restypeOfType(def.type);
    if (def.name.empty() || restype == 0 || def.defaultValue.restype != restype)
        return Acad::eInvalidInput;
    for (const AcDbEvalVariant& v : def.allowedValues)
        if (v.restype != restype)
            return Acad::eInvalidInput;
    record->data()->properties.push_back(def);
    return Acad::eOk;
}

Acad::ErrorStatus insertBlock(AcDbObjectId owner, AcDbObjectId block, const AcGePoint3d& position,
                              AcDbObjectId& referenceId) {
    referenceId = AcDbObjectId::kNull;
    if (!peek<AcDbBlockTableRecord>(block))
        return Acad::eWrongObjectType;
    AcDbBlockTableRecord* record = nullptr;
    if (Acad::ErrorStatus es = acdbOpenObject(record, owner, AcDb::kForWrite))
        return es;
    auto* reference = new AcDbBlockReference(position, block);
    Acad::ErrorStatus es = record->appendAcDbEntity(referenceId, reference);
    if (es == Acad::eOk)
        reference->close();
    else
        delete reference;
    record->close();
    return es;
}

} // namespace drawing

AcDbDynBlockReference::AcDbDynBlockReference(AcDbObjectId blockReferenceId)
    : m_reference(blockReferenceId) {}
AcDbDynBlockReference::AcDbDynBlockReference(AcDbBlockReference* blockReference)
    : m_reference(blockReference ? blockReference->objectId() : AcDbObjectId()) {}

bool AcDbDynBlockReference::isDynamicBlock(AcDbObjectId blockTableRecordId) {
    return definitionOf(blockTableRecordId) != nullptr;
}

bool AcDbDynBlockReference::isDynamicBlock() const {
    return dynamicBlockTableRecord().isValid();
}

// Tables are references too, of a block of their own, never dynamic.
AcDbObjectId AcDbDynBlockReference::dynamicBlockTableRecord() const {
    auto* reference = peek<AcDbBlockReference>(m_reference);
    if (!reference || m_reference.isErased() || AcDbTable::cast(reference))
        return AcDbObjectId::kNull;
    AcDbObjectId block = BlockReferenceAccess::block(reference);
    return definitionOf(block) ? block : AcDbObjectId::kNull;
}

void AcDbDynBlockReference::getBlockProperties(
    AcDbDynBlockReferencePropertyArray& properties) const {
    properties.setLogicalLength(0);
    AcDbObjectId block = dynamicBlockTableRecord();
    if (const Definition* def = definitionOf(block))
        for (size_t i = 0; i < def->size(); ++i)
            properties.append(AcDbDynBlockReferenceProperty(m_reference, static_cast<int>(i)));
}

Acad::ErrorStatus AcDbDynBlockReference::resetBlock() {
    auto* reference = peek<AcDbBlockReference>(m_reference);
    if (!reference)
        return Acad::eNullObjectId;
    if (m_reference.isErased())
        return Acad::eWasErased;
    reference->setDynamicValues(nullptr);
    return Acad::eOk;
}

namespace {

struct PropertyAt {
    AcDbBlockReference* reference = nullptr;
    const drawing::DynamicPropertyDefinition* definition = nullptr;
    AcDbEvalVariant* value = nullptr;
};

PropertyAt propertyAt(AcDbObjectId referenceId, int index) {
    PropertyAt at;
    auto* reference = peek<AcDbBlockReference>(referenceId);
    if (!reference || index < 0)
        return at;
    const Definition* def = definitionOf(BlockReferenceAccess::block(reference));
    if (!def || index >= static_cast<int>(def->size()))
        return at;
    at.reference = reference;
    at.definition = &(*def)[index];
    at.value = &valuesOf(reference, *def)[index];
    return at;
}

} // namespace

AcString AcDbDynBlockReferenceProperty::propertyName() const {
    PropertyAt at = propertyAt(m_reference, m_index);
    return at.definition ? AcString(at.definition->name) : AcString();
}
AcString AcDbDynBlockReferenceProperty::description() const {
    PropertyAt at = propertyAt(m_reference, m_index);
    return at.definition ? AcString(at.definition->description) : AcString();
}
AcDb::DwgDataType AcDbDynBlockReferenceProperty::propertyType() const {
    PropertyAt at = propertyAt(m_reference, m_index);
    return at.definition ? at.definition->type : AcDb::kDwgNull;
}
AcDbDynBlockReferenceProperty::UnitsType AcDbDynBlockReferenceProperty::unitsType() const {
    PropertyAt at = propertyAt(m_reference, m_index);
    return at.definition ? at.definition->units : kNoUnits;
}
bool AcDbDynBlockReferenceProperty::readOnly() const {
    PropertyAt at = propertyAt(m_reference, m_index);
    return !at.definition || at.definition->readOnly;
}
bool AcDbDynBlockReferenceProperty::show() const {
    PropertyAt at = propertyAt(m_reference, m_index);
    return at.definition && at.definition->visible;
}
AcDbEvalVariant AcDbDynBlockReferenceProperty::value() const {
    PropertyAt at = propertyAt(m_reference, m_index);
    return at.value ? *at.value : AcDbEvalVariant();
}

Acad::ErrorStatus
AcDbDynBlockReferenceProperty::getAllowedValues(AcDbEvalVariantArray& values) const {
    values.setLogicalLength(0);
    PropertyAt at = propertyAt(m_reference, m_index);
    if (!at.definition)
        return Acad::eNotApplicable;
    for (const AcDbEvalVariant& v : at.definition->allowedValues)
        values.append(v);
    return Acad::eOk;
}

Acad::ErrorStatus AcDbDynBlockReferenceProperty::setValue(const AcDbEvalVariant& value) {
    if (m_reference.isNull())
        return Acad::eNullObjectId;
    if (m_reference.isErased())
        return Acad::eWasErased;
    PropertyAt at = propertyAt(m_reference, m_index);
    if (!at.definition)
        return Acad::eNotApplicable;
    const drawing::DynamicPropertyDefinition& def = *at.definition;
    if (def.readOnly)
        return Acad::eReadOnlyProperty;
    if (value.restype != drawing::restypeOfType(def.type))
        return Acad::eInvalidInput;
    if (value.restype == AcDb::kDxfReal && !std::isfinite(value.resval.rreal))
        return Acad::eBadDynBlockPropertyValue;
    if (value.restype != AcDb::kDxfText && value.restype != AcDb::kDxfXCoord) {
        double n = numberOf(value);
        if ((def.minimum && n < *def.minimum - 1e-12) || (def.maximum && n > *def.maximum + 1e-12))
            return Acad::eBadDynBlockPropertyValue;
    }
    if (!def.allowedValues.empty()) {
        bool allowed = false;
        for (const AcDbEvalVariant& v : def.allowedValues)
            allowed = allowed || sameValue(v, value);
        if (!allowed)
            return Acad::eBadDynBlockPropertyValue;
    }
    // The host changes the reference itself: through the caller's write open, or by an
    // open of its own when nobody holds it, which tells the reactors on close.
    AcDbBlockReference* reference = at.reference;
    if (reference->isWriteEnabled()) {
        *at.value = value;
        reference->assertWriteEnabled();
    } else if (AcDbObjectAccess::readers(reference) == 0) {
        AcDbObject* opened = nullptr;
        if (Acad::ErrorStatus es =
                acdbOpenObject(opened, m_reference, nullptr, AcDb::kForWrite, false))
            return es;
        *at.value = value;
        opened->assertWriteEnabled();
        opened->close();
    } else {
        *at.value = value;
    }
    return Acad::eOk;
}
