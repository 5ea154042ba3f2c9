#pragma once
// A compact list of texts: each entry is an offset and a length into a
// shared read-only source (the mapped file it was read from) or into one
// buffer of texts added by value. A list of 100,000 short names costs two
// 32-bit numbers each instead of a string object and a heap block each.
//
// Entries read as std::string_view; a view lives until the list next
// changes. All texts together stay below 4 GiB (std::length_error beyond).
#include "textfile/MappedBytes.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kau {

class TextList {
public:
    TextList() = default;
    TextList(std::initializer_list<std::string_view> texts);

    std::size_t size() const { return m_spans.size(); }
    bool empty() const { return m_spans.empty(); }
    std::string_view operator[](std::size_t i) const
    {
        const Span span = m_spans[i];
        const std::size_t sourced = m_source.size();
        return span.offset < sourced ? m_source.substr(span.offset, span.size)
                                     : std::string_view(m_added).substr(span.offset - sourced, span.size);
    }

    // Views of text inside source are kept as they are, without a copy, once
    // the list holds the source; until then, and for other text, a copy.
    void UseSource(std::shared_ptr<const MappedBytes> source);
    void push_back(std::string_view text) { m_spans.push_back(spanOf(text)); }
    // Entry i reads text from now on.
    void set(std::size_t i, std::string_view text);
    void reserve(std::size_t entries) { m_spans.reserve(entries); }
    void clear();
    // Keeps the entries whose index is marked in keep (an index beyond keep
    // is kept too), in their order.
    void Retain(const std::vector<bool>& keep);

    // The texts as strings, for comparing and printing.
    std::vector<std::string> Texts() const;

private:
    struct Span {
        std::uint32_t offset; // below m_source.size(): in the source; else in m_added
        std::uint32_t size;
    };
    Span spanOf(std::string_view text)
    {
        // As addresses: text may lie anywhere (before the source, at wraps round).
        const std::uintptr_t at =
            reinterpret_cast<std::uintptr_t>(text.data()) - reinterpret_cast<std::uintptr_t>(m_source.data());
        if (!m_source.empty() && at <= m_source.size() && text.size() <= m_source.size() - at)
            return {static_cast<std::uint32_t>(at), static_cast<std::uint32_t>(text.size())};
        return added(text);
    }
    // Copies text behind the added ones.
    Span added(std::string_view text);

    std::shared_ptr<const MappedBytes> m_held;
    std::string_view m_source; // the held bytes, empty without a source
    std::string m_added;
    std::vector<Span> m_spans;
};

} // namespace kau
