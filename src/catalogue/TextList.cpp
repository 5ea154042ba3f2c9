#include "catalogue/TextList.h"

#include <limits>
#include <stdexcept>

namespace kau {

TextList::TextList(std::initializer_list<std::string_view> texts)
{
    m_spans.reserve(texts.size());
    for (const std::string_view text : texts)
        push_back(text);
}

void TextList::UseSource(std::shared_ptr<const MappedBytes> source)
{
    // Entries that lie in the added texts are counted behind the source.
    if (!m_spans.empty() || !m_added.empty() || !source)
        return;
    m_held = std::move(source);
    m_source = m_held->view();
    if (m_source.size() >= std::numeric_limits<std::uint32_t>::max())
        throw std::length_error("text list: the source is too long");
}

TextList::Span TextList::added(std::string_view text)
{
    const std::size_t offset = m_source.size() + m_added.size();
    if (offset + text.size() >= std::numeric_limits<std::uint32_t>::max())
        throw std::length_error("text list: more than 4 GiB of text");
    m_added.append(text);
    return {static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(text.size())};
}

void TextList::set(std::size_t i, std::string_view text)
{
    m_spans.at(i) = spanOf(text);
}

void TextList::clear()
{
    m_spans.clear();
    m_added.clear();
    m_held.reset();
    m_source = {};
}

void TextList::Retain(const std::vector<bool>& keep)
{
    std::size_t kept = 0;
    for (std::size_t i = 0; i < m_spans.size(); ++i)
        if (i >= keep.size() || keep[i])
            m_spans[kept++] = m_spans[i];
    m_spans.resize(kept);
}

std::vector<std::string> TextList::Texts() const
{
    std::vector<std::string> texts;
    texts.reserve(size());
    for (std::size_t i = 0; i < size(); ++i)
        texts.emplace_back((*this)[i]);
    return texts;
}

} // namespace kau
