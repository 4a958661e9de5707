#include "exchange/VariableLookup.h"

#include "AcDbAssocManager.h"
#include "AcDbAssocNetwork.h"
#include "AcDbAssocVariable.h"
#include "exchange/ADNAssocSampleUtils.h"
#include "links/TableLinks.h"

VariableLookup::VariableLookup(AcDbObjectId spaceId) : m_space(spaceId) {
    rebuild();
}

void VariableLookup::rebuild() {
    m_ready = false;
    m_nodes.assign(1, Node());
    if (AcDbAssocManager::initialize() != Acad::eOk)
        return;
    m_network = AcDbAssocNetwork::getInstanceFromObject(m_space, true, true, L"");
    if (m_network.isNull())
        return;
    AcDbObjectPointer<AcDbAssocNetwork> network(m_network, AcDb::kForRead);
    if (network.openStatus() != Acad::eOk)
        return;
    forEachVariable(network.object(), [this](AcDbAssocVariable* variable) {
        insert(variable->name(), variable->objectId());
    });
    m_ready = true;
}

void VariableLookup::insert(const AcString& name, AcDbObjectId id) {
    std::uint32_t node = 0;
    for (unsigned i = 0; i < name.length(); ++i) {
        wchar_t c = name.getAt(i);
        std::uint32_t next = 0;
        for (const auto& [key, child] : m_nodes[node].children)
            if (key == c) {
                next = child;
                break;
            }
        if (!next) {
            next = static_cast<std::uint32_t>(m_nodes.size());
            m_nodes[node].children.emplace_back(c, next);
            m_nodes.emplace_back();
        }
        node = next;
        // Variables come in network order: the first one to pass a node keeps it.
        if (m_nodes[node].first.isNull())
            m_nodes[node].first = id;
    }
}

Acad::ErrorStatus VariableLookup::find(const AcString& name, bool create,
                                       AcDbObjectId& variableId) {
    if (!m_ready || name.isEmpty())
        return findVariable(m_space, name, create, variableId);
    std::uint32_t node = 0;
    for (unsigned i = 0; i < name.length() && node != UINT32_MAX; ++i) {
        wchar_t c = name.getAt(i);
        std::uint32_t next = UINT32_MAX;
        for (const auto& [key, child] : m_nodes[node].children)
            if (key == c) {
                next = child;
                break;
            }
        node = next;
    }
    if (node != UINT32_MAX) {
        variableId = m_nodes[node].first;
        return Acad::eOk;
    }
    if (!create)
        return Acad::eNullObjectId;
    Acad::ErrorStatus es = createVariable(m_network, name, L"1.0", variableId);
    if (es == Acad::eOk) {
        // Appended to the network, so it comes last in network order.
        AcDbObjectPointer<AcDbAssocVariable> created(variableId, AcDb::kForRead);
        if (created.openStatus() == Acad::eOk)
            insert(created->name(), variableId);
        else
            rebuild();
    } else {
        // A half-made variable may or may not have joined the network: walk it again.
        rebuild();
    }
    return es;
}
