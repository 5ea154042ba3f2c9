#pragma once
// A revision file in memory: parallel lists, one entry per record.
#include "catalogue/TextList.h"

#include <vector>

namespace kau {

struct LocalRevisionList {
    TextList m_aNames;
    TextList m_aVersions;
};

struct RemoteRevisionList {
    TextList m_aNames;
    TextList m_aVersions;
    // false after reading; true once the update run has transferred the file.
    std::vector<bool> m_aTransferred;
};

} // namespace kau
