#include "MatroskaEdit.h"

#include <algorithm>
#include <utility>

namespace h265_inspect {

using h265_container::CRandomSource;

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::uint32_t ID_SEGMENT = 0x18538067;
constexpr std::uint32_t ID_TRACKS = 0x1654ae6b;
constexpr std::uint32_t ID_TRACK_ENTRY = 0xae;
constexpr std::uint32_t ID_CODEC_PRIVATE = 0x63a2;
constexpr std::uint32_t ID_CLUSTER = 0x1f43b675;
constexpr std::uint32_t ID_SEEK_HEAD = 0x114d9b74;
constexpr std::uint32_t ID_SEEK = 0x4dbb;
constexpr std::uint32_t ID_SEEK_POSITION = 0x53ac;
constexpr std::uint32_t ID_VOID = 0xec;
constexpr std::uint32_t ID_CRC_32 = 0xbf;
constexpr std::uint64_t CRC_ELEMENT_BYTES = 6; // id, size and four bytes
constexpr std::uint64_t MAX_TRACKS_BYTES = std::uint64_t{16} << 20;

// 4: the bytes of a variable-size integer by its first one; 9 and more are none.
unsigned vintBytes(unsigned char ucFirst)
{
    unsigned uiBytes = 1;
    while (uiBytes <= 8 && (ucFirst & 0x80U >> (uiBytes - 1)) == 0)
        ++uiBytes;
    return uiBytes;
}

std::optional<ElementPlace> placeAt(CRandomSource& source, std::uint64_t ulOffset, std::uint64_t ulEnd)
{
    constexpr std::uint64_t MAX_HEADER = 12;
    const Bytes header = bytesOf(source, ulOffset, std::min(MAX_HEADER, ulEnd - ulOffset));
    if (header.empty())
        return std::nullopt;
    ElementPlace element;
    const unsigned uiIdBytes = vintBytes(header[0]);
    if (uiIdBytes > 4 || uiIdBytes >= header.size())
        return std::nullopt;
    element.uiSizeBytes = vintBytes(header[uiIdBytes]);
    if (element.uiSizeBytes > 8 || uiIdBytes + element.uiSizeBytes > header.size())
        return std::nullopt;
    element.uiId = static_cast<std::uint32_t>(integerAt(header, 0, uiIdBytes));
    element.ulOffset = ulOffset;
    element.ulContent = ulOffset + uiIdBytes + element.uiSizeBytes;
    const std::uint64_t ulMask = (std::uint64_t{1} << 7 * element.uiSizeBytes) - 1;
    const std::uint64_t ulSize = integerAt(header, uiIdBytes, element.uiSizeBytes) & ulMask;
    element.bUnknownSize = ulSize == ulMask;
    if (!element.bUnknownSize && ulSize > ulEnd - element.ulContent)
        return std::nullopt;
    element.ulEnd = element.bUnknownSize ? ulEnd : element.ulContent + ulSize;
    return element;
}

// The first element of an id; from it on only as long as the elements are whole.
std::optional<ElementPlace> find(CRandomSource& source, std::uint32_t uiId, std::uint64_t ulBegin, std::uint64_t ulEnd,
                                 std::uint64_t ulWith)
{
    while (ulBegin < ulEnd) {
        const auto element = placeAt(source, ulBegin, ulEnd);
        if (!element || (element->uiId == uiId && element->ulContent <= ulWith && ulWith < element->ulEnd))
            return element;
        ulBegin = element->ulEnd;
    }
    return std::nullopt;
}

bool fits(std::uint64_t ulSize, unsigned uiBytes)
{
    return ulSize < (std::uint64_t{1} << 7 * uiBytes) - 1; // all ones stand for unknown
}

void appendElement(Bytes& to, std::uint32_t uiId, unsigned uiSizeBytes, const Bytes& content)
{
    appendInteger(to, (uiId > 0xffffff ? 4U : uiId > 0xffff ? 3U : uiId > 0xff ? 2U : 1U), uiId);
    appendInteger(to, uiSizeBytes, content.size() | std::uint64_t{1} << 7 * uiSizeBytes);
    to.insert(to.end(), content.begin(), content.end());
}

// 11.3.2: a Void element of so many bytes, 2 and more.
Bytes voidOf(std::uint64_t ulBytes)
{
    Bytes element;
    const unsigned uiSizeBytes = ulBytes < 128 ? 1 : 8;
    appendElement(element, ID_VOID, uiSizeBytes, Bytes(static_cast<std::size_t>(ulBytes - 1 - uiSizeBytes)));
    return element;
}

// 11.3.1: over what stands behind it in its parent; ISO/IEC 3309, the lowest byte first.
class CCrc32 : public CEditOutput
{
public:
    void write(std::span<const unsigned char> bytes) override
    {
        for (const unsigned char ucByte : bytes) {
            m_uiCrc ^= ucByte;
            for (unsigned i = 0; i < 8; ++i)
                m_uiCrc = m_uiCrc >> 1 ^ ((m_uiCrc & 1) != 0 ? 0xedb88320 : 0);
        }
    }
    [[nodiscard]] Bytes bytes() const
    {
        const std::uint32_t uiCrc = ~m_uiCrc;
        Bytes bytes;
        for (unsigned i = 0; i < 4; ++i)
            bytes.push_back(static_cast<unsigned char>(uiCrc >> 8 * i));
        return bytes;
    }

private:
    std::uint32_t m_uiCrc = 0xffffffff;
};

// The content of an element whose first child is a CRC-32 gets the one that is right.
void updateCrc(Bytes& content)
{
    if (content.size() < CRC_ELEMENT_BYTES || content[0] != ID_CRC_32 || content[1] != 0x84)
        return;
    CCrc32 crc;
    crc.write(std::span<const unsigned char>(content).subspan(CRC_ELEMENT_BYTES));
    std::ranges::copy(crc.bytes(), content.begin() + 2);
}

} // namespace

bool CMatroskaEdit::findPrivate(std::uint64_t ulOffset)
{
    const std::uint64_t ulEnd = m_source.size().value_or(0);
    const auto segment = find(m_source, ID_SEGMENT, 0, ulEnd, ulOffset);
    if (!segment)
        return false;
    const auto tracks = find(m_source, ID_TRACKS, segment->ulContent, segment->ulEnd, ulOffset);
    if (!tracks || tracks->bUnknownSize)
        return false;
    const auto entry = find(m_source, ID_TRACK_ENTRY, tracks->ulContent, tracks->ulEnd, ulOffset);
    if (!entry || entry->bUnknownSize)
        return false;
    const auto codecPrivate = find(m_source, ID_CODEC_PRIVATE, entry->ulContent, entry->ulEnd, ulOffset);
    if (!codecPrivate || codecPrivate->bUnknownSize)
        return false;
    m_segment = *segment;
    m_tracks = *tracks;
    m_entry = *entry;
    m_private = *codecPrivate;
    m_void = placeAt(m_source, m_tracks.ulEnd, m_segment.ulEnd);
    if (m_void && (m_void->uiId != ID_VOID || m_void->bUnknownSize))
        m_void.reset();
    return true;
}

Bytes CMatroskaEdit::recordAt(std::uint64_t ulOffset)
{
    return findPrivate(ulOffset) ? bytesOf(m_source, ulOffset, m_private.ulEnd - ulOffset) : Bytes();
}

// The Tracks element; empty where a size does not fit its bytes.
Bytes CMatroskaEdit::tracksWith(const Bytes& content, const Widths& widths)
{
    const auto append = [&](Bytes& to, std::uint64_t ulBegin, std::uint64_t ulEnd) {
        const Bytes bytes = bytesOf(m_source, ulBegin, ulEnd - ulBegin);
        to.insert(to.end(), bytes.begin(), bytes.end());
    };
    if (!fits(content.size(), widths.uiPrivate))
        return {};
    Bytes entry;
    append(entry, m_entry.ulContent, m_private.ulOffset);
    appendElement(entry, ID_CODEC_PRIVATE, widths.uiPrivate, content);
    append(entry, m_private.ulEnd, m_entry.ulEnd);
    updateCrc(entry);
    if (!fits(entry.size(), widths.uiEntry))
        return {};
    Bytes tracks;
    append(tracks, m_tracks.ulContent, m_entry.ulOffset);
    appendElement(tracks, ID_TRACK_ENTRY, widths.uiEntry, entry);
    append(tracks, m_entry.ulEnd, m_tracks.ulEnd);
    updateCrc(tracks);
    if (!fits(tracks.size(), widths.uiTracks))
        return {};
    Bytes element;
    appendElement(element, ID_TRACKS, widths.uiTracks, tracks);
    return element;
}

// A Void in front of Tracks becomes smaller: what stands between moves to the front, and SeekHead with it.
bool CMatroskaEdit::takeFromFront(std::vector<unsigned char> tracks, CFilePatches& patches)
{
    const std::uint64_t ulTracks = m_tracks.ulEnd - m_tracks.ulOffset;
    if (tracks.size() <= ulTracks)
        return false;
    const std::uint64_t ulGrowth = tracks.size() - ulTracks;
    std::optional<ElementPlace> space;
    std::optional<ElementPlace> seekHead;
    for (std::uint64_t ulAt = m_segment.ulContent; ulAt < m_tracks.ulOffset;) {
        const auto element = placeAt(m_source, ulAt, m_segment.ulEnd);
        if (!element || element->bUnknownSize || element->uiId == ID_CLUSTER ||
            (space && element->uiId == ID_SEEK_HEAD))
            return false;
        ulAt = element->ulEnd;
        const std::uint64_t ulSize = element->ulEnd - element->ulOffset;
        if (element->uiId == ID_SEEK_HEAD)
            seekHead = element;
        if (element->uiId == ID_VOID && !space && (ulSize == ulGrowth || ulSize >= ulGrowth + 2))
            space = element;
    }
    if (!space)
        return false;
    const std::uint64_t ulLeft = space->ulEnd - space->ulOffset - ulGrowth;
    patches.replace(space->ulOffset, space->ulEnd - space->ulOffset, ulLeft == 0 ? Bytes() : voidOf(ulLeft));
    patches.replace(m_tracks.ulOffset, ulTracks, std::move(tracks));
    if (seekHead)
        moveSeeks(*seekHead, space->ulEnd, ulGrowth, patches);
    return true;
}

// 5.1.1: positions count from the content of Segment. Those from ulBegin to Tracks become smaller.
void CMatroskaEdit::moveSeeks(const ElementPlace& seekHead, std::uint64_t ulBegin, std::uint64_t ulGrowth,
                              CFilePatches& patches)
{
    for (std::uint64_t ulAt = seekHead.ulContent; ulAt < seekHead.ulEnd;) {
        const auto seek = placeAt(m_source, ulAt, seekHead.ulEnd);
        if (!seek)
            break;
        ulAt = seek->ulEnd;
        if (seek->uiId != ID_SEEK)
            continue;
        const auto position = childOf(*seek, ID_SEEK_POSITION);
        const auto uiBytes =
            position ? static_cast<unsigned>(std::min<std::uint64_t>(position->ulEnd - position->ulContent, 8)) : 0;
        if (uiBytes == 0)
            continue;
        const std::uint64_t ulPosition = integerAt(bytesOf(m_source, position->ulContent, uiBytes), 0, uiBytes);
        const std::uint64_t ulTarget = m_segment.ulContent + ulPosition;
        if (ulTarget >= ulBegin && ulTarget <= m_tracks.ulOffset)
            patches.replaceInteger(position->ulContent, uiBytes, ulPosition - ulGrowth);
    }
    updateCrcOf(seekHead, patches);
}

std::optional<ElementPlace> CMatroskaEdit::childOf(const ElementPlace& parent, std::uint32_t uiId)
{
    for (std::uint64_t ulAt = parent.ulContent; ulAt < parent.ulEnd;) {
        const auto element = placeAt(m_source, ulAt, parent.ulEnd);
        if (!element || element->uiId == uiId)
            return element;
        ulAt = element->ulEnd;
    }
    return std::nullopt;
}

std::string CMatroskaEdit::replace(const ReplacedRecord& record, CFilePatches& patches)
{
    if (!findPrivate(record.ulOffset) || m_tracks.ulEnd - m_tracks.ulOffset > MAX_TRACKS_BYTES)
        return "CodecPrivate cannot be found again, or is damaged";
    // What stands in front of the record in CodecPrivate stays.
    Bytes content = bytesOf(m_source, m_private.ulContent, record.ulOffset - m_private.ulContent);
    content.insert(content.end(), record.content.begin(), record.content.end());
    const std::uint64_t ulTracks = m_tracks.ulEnd - m_tracks.ulOffset;
    const std::uint64_t ulVoid = m_void ? m_void->ulEnd - m_void->ulOffset : 0;
    // Sizes as long as they were, if that will do; then shorter and longer ones.
    std::vector<Widths> candidates = {{m_tracks.uiSizeBytes, m_entry.uiSizeBytes, m_private.uiSizeBytes}};
    for (unsigned uiTracks = 8; uiTracks != 0; --uiTracks) {
        for (unsigned uiEntry = 8; uiEntry != 0; --uiEntry) {
            for (unsigned uiPrivate = 1; uiPrivate <= 8; ++uiPrivate)
                candidates.push_back({uiTracks, uiEntry, uiPrivate});
        }
    }
    for (const Widths& widths : candidates) {
        Bytes bytes = tracksWith(content, widths);
        const std::uint64_t ulRoom = ulTracks + ulVoid;
        if (bytes.empty() || bytes.size() > ulRoom || (bytes.size() + 1 == ulRoom && bytes.size() != ulTracks))
            continue;
        if (bytes.size() == ulTracks) {
            patches.replace(m_tracks.ulOffset, ulTracks, std::move(bytes));
            return {};
        }
        if (bytes.size() < ulRoom) {
            const Bytes rest = voidOf(ulRoom - bytes.size());
            bytes.insert(bytes.end(), rest.begin(), rest.end());
        }
        patches.replace(m_tracks.ulOffset, ulRoom, std::move(bytes));
        return {};
    }
    if (takeFromFront(tracksWith(content, candidates.front()), patches))
        return {};
    return "CodecPrivate would grow from " + std::to_string(m_private.ulEnd - m_private.ulContent) + " to " +
           std::to_string(content.size()) + " bytes, and there is no free space (Void) around Tracks for that";
}

// An element that is patched and has a CRC-32 over what it holds.
void CMatroskaEdit::updateCrcOf(const ElementPlace& element, CFilePatches& patches)
{
    if (element.bUnknownSize || !patches.isPatched(element.ulContent, element.ulEnd))
        return;
    const auto first = placeAt(m_source, element.ulContent, element.ulEnd);
    if (!first || first->uiId != ID_CRC_32 || first->ulEnd - first->ulContent != 4)
        return;
    CCrc32 crc;
    patches.write(m_source, first->ulEnd, element.ulEnd, crc);
    patches.replace(first->ulContent, 4, crc.bytes());
}

void CMatroskaEdit::updateSums(CFilePatches& patches)
{
    const std::uint64_t ulEnd = m_source.size().value_or(0);
    for (std::uint64_t ulAt = 0; ulAt < ulEnd;) {
        const auto segment = placeAt(m_source, ulAt, ulEnd);
        if (!segment)
            return;
        ulAt = segment->ulEnd;
        if (segment->uiId != ID_SEGMENT)
            continue;
        for (std::uint64_t ulInside = segment->ulContent; ulInside < segment->ulEnd;) {
            const auto element = placeAt(m_source, ulInside, segment->ulEnd);
            if (!element)
                break;
            if (element->uiId == ID_CLUSTER)
                updateCrcOf(*element, patches);
            ulInside = element->ulEnd;
        }
        updateCrcOf(*segment, patches);
    }
}

std::string CMatroskaEdit::plan(const std::vector<ReplacedRecord>& records, CFilePatches& patches)
{
    std::string reason;
    for (const ReplacedRecord& record : records) {
        if (reason.empty())
            reason = replace(record, patches);
    }
    if (reason.empty() && !patches.isEmpty())
        updateSums(patches);
    return reason;
}

} // namespace h265_inspect
