#pragma once
// A revision file in memory: parallel arrays, one entry per record.
#include <string>
#include <vector>

namespace kau {

struct LocalRevisionList {
    std::vector<std::string> m_aNames;
    std::vector<std::string> m_aVersions;
};

struct RemoteRevisionList {
    std::vector<std::string> m_aNames;
    std::vector<std::string> m_aVersions;
    // "0" after reading; "1" once the update run has transferred the file.
    std::vector<std::string> m_aTransferred;
};

} // namespace kau
