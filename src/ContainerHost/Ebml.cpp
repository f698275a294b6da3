#include "Ebml.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#include <iterator>
#include <utility>

#include "BoxWalk.h"
#include "BytesAt.h"
#include "CountedText.h"

namespace h265_container {

std::string ebmlIdText(std::uint32_t uiId)
{
    // RFC 9559 5.1: what a file and its Segment are made of.
    struct Name
    {
        std::uint32_t uiId;
        const char* pName;
    };
    constexpr Name NAMES[] = {{0x1a45dfa3, "EBML"},
                              {0x18538067, "Segment"},
                              {0x114d9b74, "SeekHead"},
                              {0x1549a966, "Info"},
                              {0x1654ae6b, "Tracks"},
                              {0x1f43b675, "Cluster"},
                              {0x1c53bb6b, "Cues"},
                              {0x1941a469, "Attachments"},
                              {0x1043a770, "Chapters"},
                              {0x1254c367, "Tags"}};
    const auto* const pFound = std::ranges::find(NAMES, uiId, &Name::uiId);
    if (pFound != std::end(NAMES))
        return pFound->pName;
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%X", uiId);
    return text.data();
}

std::optional<EbmlVint> readVint(CRandomSource& source, std::uint64_t ulOffset, std::uint64_t ulEnd)
{
    std::array<unsigned char, MAX_VINT_BYTES> aucBytes{};
    const std::size_t uiHere = static_cast<std::size_t>(std::min<std::uint64_t>(1, ulEnd - std::min(ulEnd, ulOffset)));
    if (source.read(ulOffset, std::span(aucBytes).first(uiHere)) == 0 || aucBytes[0] == 0)
        return std::nullopt;
    const auto uiBytes = static_cast<unsigned>(std::countl_zero(aucBytes[0])) + 1U;
    if (ulEnd - ulOffset < uiBytes ||
        source.read(ulOffset + 1, std::span(aucBytes).subspan(1, uiBytes - 1)) != uiBytes - 1)
        return std::nullopt;
    return vintIn(std::span(aucBytes).first(uiBytes));
}

std::optional<EbmlVint> vintIn(std::span<const unsigned char> bytes)
{
    if (bytes.empty() || bytes[0] == 0)
        return std::nullopt;
    const auto uiBytes = static_cast<unsigned>(std::countl_zero(bytes[0])) + 1U;
    if (bytes.size() < uiBytes)
        return std::nullopt;
    const std::uint64_t ulOnes = (std::uint64_t{1} << 7 * uiBytes) - 1;
    const std::uint64_t ulValue = uAt(bytes, 0, uiBytes) & ulOnes;
    return EbmlVint{ulValue, uiBytes, ulValue == ulOnes};
}

std::optional<EbmlElement> CEbmlWalk::broken(std::string message)
{
    m_bBroken = true;
    m_output.finding({ESeverity::Error, m_path, m_ulOffset, std::nullopt, std::move(message), true});
    return std::nullopt;
}

std::optional<EbmlElement> CEbmlWalk::next()
{
    const auto ulSize = m_source.size();
    const std::uint64_t ulHere = ulSize ? std::min(*ulSize, m_ulEnd) : m_ulEnd;
    if (m_bBroken || m_ulOffset >= ulHere || !m_output.spend(m_source, 1))
        return std::nullopt;
    std::array<unsigned char, MAX_ID_BYTES + MAX_VINT_BYTES> aucHead;
    const std::span asked = std::span(aucHead).first(
        static_cast<std::size_t>(std::min<std::uint64_t>(aucHead.size(), ulHere - m_ulOffset)));
    const std::span<const unsigned char> there = asked.first(m_source.readSome(m_ulOffset, asked));
    if (there.empty())
        return std::nullopt;
    // What is not there may come: nothing is waited for that is not wanted.
    auto id = vintIn(there);
    if (!id)
        id = readVint(m_source, m_ulOffset, ulHere);
    if (!id || id->uiBytes > MAX_ID_BYTES)
        return broken("here should be an element: its id is cut or not valid");
    EbmlElement element;
    element.ulOffset = m_ulOffset;
    element.uiId = static_cast<std::uint32_t>(id->ulValue | std::uint64_t{1} << 7 * id->uiBytes);
    auto size = vintIn(there.subspan(std::min<std::size_t>(id->uiBytes, there.size())));
    if (!size)
        size = readVint(m_source, m_ulOffset + id->uiBytes, ulHere);
    if (!size)
        return broken("the size of element " + ebmlIdText(element.uiId) + " is cut or not valid");
    element.ulContent = m_ulOffset + id->uiBytes + size->uiBytes;
    element.bUnknownSize = size->bAllOnes;
    const std::uint64_t ulLeft = m_ulEnd - std::min(m_ulEnd, element.ulContent);
    if (!element.bUnknownSize && size->ulValue > ulLeft)
        m_output.finding({ESeverity::Error,
                          m_path,
                          m_ulOffset,
                          std::nullopt,
                          "element " + ebmlIdText(element.uiId) + " of " + countedText(size->ulValue, "byte") +
                              " where " + std::to_string(ulLeft) + areOrIs(ulLeft) + "left",
                          true});
    element.ulEnd = element.ulContent + (element.bUnknownSize ? ulLeft : std::min(size->ulValue, ulLeft));
    if (ulSize && !element.bUnknownSize && element.ulEnd > *ulSize)
        m_output.findingOnce(ONCE_FILE_END,
                             {ESeverity::Error,
                              m_path,
                              *ulSize,
                              std::nullopt,
                              "the file ends early: element " + ebmlIdText(element.uiId) + " reaches to byte " +
                                  std::to_string(element.ulEnd),
                              true});
    m_ulOffset = element.ulEnd;
    return element;
}

std::uint64_t readEbmlUnsigned(CRandomSource& source, const EbmlElement& element)
{
    if (element.contentSize() > 8)
        return 0;
    return CFieldCursor(source, element.ulContent, element.ulEnd).bytes(static_cast<unsigned>(element.contentSize()));
}

std::vector<unsigned char> readEbmlBytes(CRandomSource& source, const EbmlElement& element, std::size_t uiMost)
{
    std::vector<unsigned char> bytes(static_cast<std::size_t>(std::min<std::uint64_t>(element.contentSize(), uiMost)));
    bytes.resize(source.read(element.ulContent, bytes));
    return bytes;
}

} // namespace h265_container
