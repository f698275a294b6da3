#include "MovieEdit.h"

#include <algorithm>
#include <array>
#include <map>
#include <string_view>

namespace h265_inspect {

using h265_container::CRandomSource;

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::uint32_t fourCC(std::string_view text)
{
    std::uint32_t uiCode = 0;
    for (const char c : text)
        uiCode = uiCode << 8 | static_cast<unsigned char>(c);
    return uiCode;
}

constexpr std::uint64_t SHORT_HEADER = 8;
constexpr std::uint64_t LONG_HEADER = 16;

// The box at a place; none where there is none, or where it does not fit.
std::optional<BoxPlace> boxAt(CRandomSource& source, std::uint64_t ulOffset, std::uint64_t ulEnd)
{
    const Bytes header = bytesOf(source, ulOffset, std::min(LONG_HEADER, ulEnd - ulOffset));
    if (header.size() < SHORT_HEADER)
        return std::nullopt;
    BoxPlace box;
    box.uiType = static_cast<std::uint32_t>(integerAt(header, 4, 4));
    box.ulOffset = ulOffset;
    std::uint64_t ulSize = integerAt(header, 0, 4);
    std::uint64_t ulHeader = SHORT_HEADER;
    if (ulSize == 1) {
        ulHeader = LONG_HEADER;
        if (header.size() < LONG_HEADER)
            return std::nullopt;
        ulSize = integerAt(header, SHORT_HEADER, 8);
    } else if (ulSize == 0) {
        box.bToTheEnd = true;
        ulSize = ulEnd - ulOffset;
    }
    if (ulSize < ulHeader || ulSize > ulEnd - ulOffset)
        return std::nullopt;
    box.ulContent = ulOffset + ulHeader;
    box.ulEnd = ulOffset + ulSize;
    return box;
}

// Boxes one after another, as far as they go.
std::vector<BoxPlace> boxesIn(CRandomSource& source, std::uint64_t ulBegin, std::uint64_t ulEnd)
{
    std::vector<BoxPlace> boxes;
    while (ulBegin < ulEnd) {
        const auto box = boxAt(source, ulBegin, ulEnd);
        if (!box)
            break;
        boxes.push_back(*box);
        ulBegin = box->ulEnd;
    }
    return boxes;
}

// Where the boxes inside a box begin. ISO/IEC 14496-12 8.5.2.2 and 12.1.3.2: stsd counts, entries have fields first.
std::uint64_t insideOf(const BoxPlace& box, std::uint32_t uiParent)
{
    constexpr std::uint64_t ENTRY_FIELDS = 78;
    constexpr std::uint64_t COUNT_FIELDS = 8;
    if (uiParent == fourCC("stsd"))
        return box.ulContent + ENTRY_FIELDS;
    return box.ulContent + (box.uiType == fourCC("stsd") ? COUNT_FIELDS : 0);
}

Bytes freeBox(std::uint64_t ulSize)
{
    Bytes box;
    appendInteger(box, 4, ulSize);
    appendInteger(box, 4, fourCC("free"));
    return box;
}

bool isFree(const BoxPlace& box)
{
    return box.uiType == fourCC("free") || box.uiType == fourCC("skip");
}

} // namespace

std::string CMovieEdit::readTop()
{
    m_ulEnd = m_source.size().value_or(0);
    m_top = boxesIn(m_source, 0, m_ulEnd);
    if (m_top.empty() || m_top.back().ulEnd != m_ulEnd)
        return "the boxes of the file do not reach its end: it ends early or is damaged";
    return {};
}

// The boxes from moov to the one whose content begins there; empty when there is none.
std::vector<BoxPlace> CMovieEdit::chainTo(std::uint64_t ulContent)
{
    std::vector<BoxPlace> chain;
    std::uint64_t ulBegin = 0;
    std::uint64_t ulEnd = m_ulEnd;
    std::uint32_t uiParent = 0;
    while (ulBegin < ulEnd) {
        const std::vector<BoxPlace> boxes = chain.empty() ? m_top : boxesIn(m_source, ulBegin, ulEnd);
        const auto found = std::ranges::find_if(boxes, [&](const BoxPlace& box) {
            return box.ulContent <= ulContent && ulContent < std::max(box.ulEnd, box.ulContent + 1);
        });
        if (found == boxes.end())
            return {};
        chain.push_back(*found);
        if (found->ulContent == ulContent)
            return chain;
        ulBegin = insideOf(*found, uiParent);
        ulEnd = found->ulEnd;
        uiParent = found->uiType;
    }
    return {};
}

Bytes CMovieEdit::recordAt(std::uint64_t ulOffset)
{
    (void)readTop();
    const std::vector<BoxPlace> chain = chainTo(ulOffset);
    return chain.empty() ? Bytes() : bytesOf(m_source, ulOffset, chain.back().ulEnd - ulOffset);
}

// The records, and the sizes of the boxes that hold them.
std::string CMovieEdit::replace(const std::vector<ReplacedRecord>& records, CFilePatches& patches)
{
    struct Grown
    {
        BoxPlace box;
        std::int64_t iGrowth = 0;
    };
    std::map<std::uint64_t, Grown> grown;
    for (const ReplacedRecord& record : records) {
        const std::vector<BoxPlace> chain = chainTo(record.ulOffset);
        if (chain.empty() || chain.front().uiType != fourCC("moov"))
            return "the sets do not stand in moov";
        if (!grown.empty() && grown.begin()->first != chain.front().ulOffset)
            return "the sets stand in more than one moov";
        m_uiMoov = static_cast<std::size_t>(std::ranges::find(m_top, chain.front().ulOffset, &BoxPlace::ulOffset) -
                                            m_top.begin());
        const std::uint64_t ulSize = chain.back().ulEnd - record.ulOffset;
        const std::int64_t iGrowth =
            static_cast<std::int64_t>(record.content.size()) - static_cast<std::int64_t>(ulSize);
        patches.replace(record.ulOffset, ulSize, record.content);
        m_iGrowth += iGrowth;
        for (const BoxPlace& box : chain) {
            grown[box.ulOffset].box = box;
            grown[box.ulOffset].iGrowth += iGrowth;
        }
    }
    for (const auto& [ulOffset, entry] : grown) {
        if (entry.iGrowth == 0 || entry.box.bToTheEnd)
            continue;
        const std::uint64_t ulSize = entry.box.size() + static_cast<std::uint64_t>(entry.iGrowth);
        const bool bLong = entry.box.ulContent - ulOffset == LONG_HEADER;
        if (!bLong && ulSize > UINT32_MAX)
            return "a box would have more than 4294967295 bytes, which its size cannot say";
        patches.replaceInteger(bLong ? ulOffset + SHORT_HEADER : ulOffset, bLong ? 8 : 4, ulSize);
    }
    return {};
}

// Free space behind moov takes up what it grows or shrinks by.
bool CMovieEdit::growIntoFreeSpace(CFilePatches& patches)
{
    const BoxPlace* const pNext = m_uiMoov + 1 < m_top.size() ? &m_top[m_uiMoov + 1] : nullptr;
    const bool bFree =
        pNext != nullptr && isFree(*pNext) && !pNext->bToTheEnd && pNext->ulContent - pNext->ulOffset == SHORT_HEADER;
    if (m_iGrowth < 0) {
        const auto ulLess = static_cast<std::uint64_t>(-m_iGrowth);
        if (bFree && pNext->size() + ulLess <= UINT32_MAX) {
            Bytes bytes = freeBox(pNext->size() + ulLess);
            bytes.resize(SHORT_HEADER + static_cast<std::size_t>(ulLess));
            patches.replace(pNext->ulOffset, SHORT_HEADER, std::move(bytes));
            return true;
        }
        if (ulLess < SHORT_HEADER || pNext == nullptr)
            return false;
        Bytes bytes = freeBox(ulLess);
        bytes.resize(static_cast<std::size_t>(ulLess));
        patches.replace(pNext->ulOffset, 0, std::move(bytes));
        return true;
    }
    const auto ulMore = static_cast<std::uint64_t>(m_iGrowth);
    if (!bFree || (pNext->size() != ulMore && pNext->size() < ulMore + SHORT_HEADER))
        return false;
    const bool bAll = pNext->size() == ulMore;
    patches.replace(
        pNext->ulOffset, bAll ? ulMore : ulMore + SHORT_HEADER, bAll ? Bytes() : freeBox(pNext->size() - ulMore));
    return true;
}

std::string CMovieEdit::moveToTheEnd(CFilePatches& patches)
{
    const BoxPlace& last = m_top.back();
    if (last.bToTheEnd) { // nothing can follow such a box
        if (last.size() > UINT32_MAX)
            return "moov would have to move behind a box without an end, of more than 4294967295 bytes";
        patches.replaceInteger(last.ulOffset, 4, last.size());
    }
    m_bMoved = true;
    return {};
}

std::string CMovieEdit::moveOffset(std::uint64_t ulAt, unsigned uiBytes, CFilePatches& patches)
{
    const std::uint64_t ulOffset = integerAt(bytesOf(m_source, ulAt, uiBytes), 0, uiBytes);
    if (ulOffset < m_top[m_uiMoov].ulEnd)
        return {};
    const std::uint64_t ulMoved = ulOffset + static_cast<std::uint64_t>(m_iGrowth);
    if (uiBytes == 4 && ulMoved > UINT32_MAX)
        return "an offset would be more than 4294967295, which it cannot say";
    patches.replaceInteger(ulAt, uiBytes, ulMoved);
    return {};
}

// Entries of a table, as many as its count says and its box holds.
std::string CMovieEdit::moveTable(const BoxPlace& box, std::size_t uiFirst, std::size_t uiStride, unsigned uiBytes,
                                  CFilePatches& patches)
{
    constexpr std::uint64_t COUNT_BYTES = 4;
    const std::uint64_t ulCountAt = box.ulContent + uiFirst;
    const std::uint64_t ulCount = integerAt(bytesOf(m_source, ulCountAt, COUNT_BYTES), 0, COUNT_BYTES);
    const std::uint64_t ulStep = uiStride;
    for (std::uint64_t i = 0; i < ulCount; ++i) {
        const std::uint64_t ulAt = ulCountAt + COUNT_BYTES + i * ulStep;
        if (ulAt + ulStep > box.ulEnd)
            break;
        // 8.8.10: the time of an entry of tfra stands in front of its offset, and is as long.
        std::string reason = moveOffset(box.uiType == fourCC("tfra") ? ulAt + uiBytes : ulAt, uiBytes, patches);
        if (!reason.empty())
            return reason;
    }
    return {};
}

// Offsets in a box and in those that it holds which count from the beginning of the file.
std::string CMovieEdit::moveOffsets(const BoxPlace& box, unsigned uiDepth, CFilePatches& patches)
{
    constexpr std::uint32_t HOLDERS[] = {fourCC("moov"),
                                         fourCC("trak"),
                                         fourCC("mdia"),
                                         fourCC("minf"),
                                         fourCC("stbl"),
                                         fourCC("moof"),
                                         fourCC("traf"),
                                         fourCC("mfra")};
    constexpr unsigned FULL_BOX = 4;
    constexpr unsigned MAX_DEPTH = 8; // moov/trak/mdia/minf/stbl/stco has six
    const Bytes head = bytesOf(m_source, box.ulContent, std::min<std::uint64_t>(box.ulEnd - box.ulContent, 16));
    const bool bVersion1 = integerAt(head, 0, 1) == 1;
    switch (box.uiType) {
    case fourCC("stco"):
        return moveTable(box, FULL_BOX, 4, 4, patches);
    case fourCC("co64"):
        return moveTable(box, FULL_BOX, 8, 8, patches);
    case fourCC("tfhd"): // 8.8.7: base_data_offset, where flag 1 says that it is there
        return (integerAt(head, 1, 3) & 1) != 0 ? moveOffset(box.ulContent + FULL_BOX + 4, 8, patches) : "";
    case fourCC("tfra"): {
        const std::uint64_t ulLengths = integerAt(head, FULL_BOX + 4, 4);
        const auto length = [&](unsigned uiShift) { return static_cast<std::size_t>((ulLengths >> uiShift & 3) + 1); };
        const unsigned uiBytes = bVersion1 ? 8 : 4;
        return moveTable(box, FULL_BOX + 8, 2 * uiBytes + length(4) + length(2) + length(0), uiBytes, patches);
    }
    case fourCC("saio"): // 8.7.9: in moov it counts from the beginning of the file, in traf it does not
        return box.ulOffset < m_top[m_uiMoov].ulEnd
                   ? "moov has offsets of auxiliary information (saio), which would change"
                   : "";
    default:
        break;
    }
    if (uiDepth == MAX_DEPTH || std::ranges::find(HOLDERS, box.uiType) == std::end(HOLDERS))
        return {};
    for (const BoxPlace& inner : boxesIn(m_source, box.ulContent, box.ulEnd)) {
        std::string reason = moveOffsets(inner, uiDepth + 1, patches);
        if (!reason.empty())
            return reason;
    }
    return {};
}

std::string CMovieEdit::moveWhatFollows(CFilePatches& patches)
{
    for (std::size_t i = 0; i < m_top.size(); ++i) {
        const BoxPlace& box = m_top[i];
        if (box.uiType == fourCC("meta"))
            return "moov has to stay in front of its fragments, and items (meta) count from the file's beginning";
        if (box.uiType == fourCC("sidx") && i < m_uiMoov)
            return "moov has to stay in front of its fragments, and an index (sidx) in front of it counts over it";
        std::string reason = moveOffsets(box, 0, patches);
        if (!reason.empty())
            return reason;
    }
    return {};
}

std::string CMovieEdit::plan(const std::vector<ReplacedRecord>& records, CFilePatches& patches)
{
    std::string reason = readTop();
    if (reason.empty())
        reason = replace(records, patches);
    if (!reason.empty() || m_iGrowth == 0)
        return reason;
    const bool bAtTheEnd = m_uiMoov + 1 == m_top.size();
    m_bKeepsSize = !bAtTheEnd && growIntoFreeSpace(patches);
    if (bAtTheEnd || m_bKeepsSize)
        return {};
    if (std::ranges::count(m_top, fourCC("ftyp"), &BoxPlace::uiType) > 1)
        return "moov would have to move, and another file is joined on, whose offsets count from its own beginning";
    const bool bFragments =
        std::ranges::any_of(m_top, [](const BoxPlace& box) { return box.uiType == fourCC("moof"); });
    return bFragments ? moveWhatFollows(patches) : moveToTheEnd(patches);
}

void CMovieEdit::write(const CFilePatches& patches, CEditOutput& output)
{
    m_ulEnd = m_source.size().value_or(0);
    if (!m_bMoved) {
        patches.write(m_source, 0, m_ulEnd, output);
        return;
    }
    const BoxPlace& moov = m_top[m_uiMoov];
    patches.write(m_source, 0, moov.ulOffset, output);
    Bytes header = bytesOf(m_source, moov.ulOffset, moov.ulContent - moov.ulOffset);
    std::ranges::copy(std::string_view("free"), header.begin() + 4);
    output.write(header);
    const std::array<unsigned char, 4096> aucZeros{};
    for (std::uint64_t ulLeft = moov.ulEnd - moov.ulContent; ulLeft != 0;) {
        const std::uint64_t ulPiece = std::min<std::uint64_t>(ulLeft, aucZeros.size());
        output.write(std::span(aucZeros).first(static_cast<std::size_t>(ulPiece)));
        ulLeft -= ulPiece;
    }
    patches.write(m_source, moov.ulEnd, m_ulEnd, output);
    patches.write(m_source, moov.ulOffset, moov.ulEnd, output);
}

} // namespace h265_inspect
