// findVariable for a run of lookups, such as an import's rows: the network is walked once
// into an index of names, so that each lookup costs the length of the name and not a walk.
#pragma once

#include <cstdint>
#include <vector>

#include "AcString.h"
#include "acadstrc.h"
#include "dbmain.h"

class VariableLookup {
public:
    explicit VariableLookup(AcDbObjectId spaceId);

    // Answers as findVariable(spaceId, name, create, id) would at this moment: the first
    // variable in network order whose name begins with name, or a new one. Holds as long as
    // nothing but this lookup adds, removes or renames variables of the network.
    Acad::ErrorStatus find(const AcString& name, bool create, AcDbObjectId& variableId);

private:
    struct Node {
        std::vector<std::pair<wchar_t, std::uint32_t>> children;
        AcDbObjectId first; // the first variable in network order below this node
    };
    void rebuild();
    void insert(const AcString& name, AcDbObjectId id);

    AcDbObjectId m_space;
    AcDbObjectId m_network;
    bool m_ready = false; // the walk succeeded; else every lookup is findVariable's own
    std::vector<Node> m_nodes;
};
