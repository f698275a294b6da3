#include "BoxWalk.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "CountedText.h"

namespace h265_container {

std::string fourCCText(std::uint32_t uiCode)
{
    std::string text;
    for (int iShift = 24; iShift >= 0; iShift -= 8) {
        const unsigned uiByte = uiCode >> iShift & 0xff;
        if (uiByte > ' ' && uiByte < 0x7f) {
            text.push_back(static_cast<char>(uiByte));
            continue;
        }
        std::array<char, 8> hex{};
        std::snprintf(hex.data(), hex.size(), "\\x%02x", uiByte);
        text += uiByte == ' ' ? " " : hex.data();
    }
    return text;
}

std::uint64_t CFieldCursor::bytes(unsigned uiBytes)
{
    std::array<unsigned char, 8> aucBytes{};
    if (!m_bComplete || left() < uiBytes || m_source.read(m_ulOffset, std::span(aucBytes).first(uiBytes)) != uiBytes) {
        m_bComplete = false;
        return 0;
    }
    m_ulOffset += uiBytes;
    std::uint64_t ulValue = 0;
    for (unsigned i = 0; i < uiBytes; ++i)
        ulValue = ulValue << 8 | aucBytes[i];
    return ulValue;
}

void CFieldCursor::skip(std::uint64_t ulBytes)
{
    if (left() < ulBytes)
        m_bComplete = false;
    m_ulOffset += std::min(ulBytes, left());
}

FullBox readFullBox(CFieldCursor& cursor)
{
    const std::uint32_t uiWord = cursor.u32();
    return {uiWord >> 24, uiWord & 0xffffff};
}

std::string CBoxWalk::pathOf(const Box& box) const
{
    return m_path.empty() ? fourCCText(box.uiType) : m_path + '/' + fourCCText(box.uiType);
}

void CBoxWalk::tell(ESeverity eSeverity, const std::string& path, std::uint64_t ulOffset, std::string message,
                    bool bUnread)
{
    m_output.finding({eSeverity, path, ulOffset, std::nullopt, std::move(message), bUnread});
}

std::optional<Box> CBoxWalk::next()
{
    if (m_ulOffset >= m_ulEnd || !m_output.spend(m_source, 1))
        return std::nullopt;
    const auto box = readHeader();
    m_ulOffset = box ? box->ulEnd : m_ulEnd;
    return box;
}

// What is left is shorter than a header. Zeros at the end of a box are a terminator of older files.
void CBoxWalk::tellRest(std::size_t uiRead, bool bZeros)
{
    const auto ulSize = m_source.size();
    if (uiRead == 0 && m_path.empty()) {
        if (ulSize && m_ulOffset > *ulSize)
            tell(ESeverity::Error,
                 {},
                 *ulSize,
                 "the file ends early: its last box reaches to byte " + std::to_string(m_ulOffset),
                 true);
        return;
    }
    if (!bZeros)
        tell(ESeverity::Error, m_path, m_ulOffset, countedText(uiRead, "byte") + areOrIs(uiRead) + "too few for a box");
}

std::optional<Box> CBoxWalk::readHeader()
{
    std::array<unsigned char, 16> aucHead{};
    const std::size_t uiHere = static_cast<std::size_t>(std::min<std::uint64_t>(8, m_ulEnd - m_ulOffset));
    const std::size_t uiRead = m_source.read(m_ulOffset, std::span(aucHead).first(uiHere));
    if (uiRead < 8) {
        tellRest(uiRead, std::all_of(aucHead.begin(), aucHead.end(), [](unsigned char c) { return c == 0; }));
        return std::nullopt;
    }
    CFieldCursor cursor(m_source, m_ulOffset, m_ulEnd);
    std::uint64_t ulSize = cursor.u32();
    Box box;
    box.uiType = cursor.u32();
    box.ulOffset = m_ulOffset;
    if (ulSize == 0 && box.uiType == 0 && !m_path.empty())
        return std::nullopt; // a terminator too
    if (ulSize == 1) {
        ulSize = cursor.u64();
        if (!cursor.isComplete()) {
            tell(ESeverity::Error, pathOf(box), m_ulOffset, "ends inside its header", true);
            return std::nullopt;
        }
    } else if (ulSize == 0) {
        if (!m_path.empty())
            tell(ESeverity::Warning, pathOf(box), m_ulOffset, "has size 0, which only the last box of a file may have");
        ulSize = m_ulEnd - m_ulOffset;
    }
    box.ulContent = cursor.offset();
    if (!fitIn(box, ulSize))
        return std::nullopt;
    return box;
}

bool CBoxWalk::fitIn(Box& box, std::uint64_t ulSize)
{
    if (ulSize < box.ulContent - box.ulOffset) {
        tell(ESeverity::Error,
             pathOf(box),
             box.ulOffset,
             "has size " + std::to_string(ulSize) + ", which is less than its header; what follows is not read",
             true);
        return false;
    }
    const std::uint64_t ulLeft = m_ulEnd - box.ulOffset;
    if (ulSize > ulLeft) {
        tell(ESeverity::Error,
             pathOf(box),
             box.ulOffset,
             (m_path.empty() ? "the file ends early: the box has " : "is larger than the box that holds it: ") +
                 countedText(ulSize, "byte") + " where " + std::to_string(ulLeft) + areOrIs(ulLeft) + "left",
             true);
        ulSize = ulLeft;
    }
    box.ulEnd = box.ulOffset + ulSize;
    return true;
}

} // namespace h265_container
