#include "trust/ListedFileCheck.h"

namespace kau {

bool ListedFileCheck::Accept(const char* data, std::size_t size)
{
    if (size > m_entry.size - m_received)
        return false; // grows past its listed size
    m_received += size;
    m_hash.Add(data, size);
    return true;
}

bool ListedFileCheck::Complete()
{
    return m_received == m_entry.size && m_hash.FinishHex() == m_entry.sha256;
}

} // namespace kau
