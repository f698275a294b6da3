#include "Matroska.h"

#include <algorithm>
#include <array>
#include <memory>
#include <utility>
#include <vector>

#include "BoxWalk.h"
#include "BytesAt.h"
#include "CountedText.h"
#include "MatroskaTrack.h"

namespace h265_container {

namespace {

constexpr std::size_t MAX_SEGMENT_TRACKS = 1024;

// RFC 9559 5.1 and RFC 8794 11.
enum ESegmentId : std::uint32_t
{
    ID_EBML = 0x1a45dfa3,
    ID_DOC_TYPE = 0x4282,
    ID_VOID = 0xec,
    ID_CRC = 0xbf,
    ID_SEGMENT = 0x18538067,
    ID_SEEK_HEAD = 0x114d9b74,
    ID_INFO = 0x1549a966,
    ID_TIMESTAMP_SCALE = 0x2ad7b1,
    ID_TRACKS = 0x1654ae6b,
    ID_TRACK_ENTRY = 0xae,
    ID_CLUSTER = 0x1f43b675,
    ID_CLUSTER_TIMESTAMP = 0xe7,
    ID_SIMPLE_BLOCK = 0xa3,
    ID_ENCRYPTED_BLOCK = 0xaf,
    ID_BLOCK_GROUP = 0xa0,
    ID_BLOCK = 0xa1,
    ID_CUES = 0x1c53bb6b,
    ID_ATTACHMENTS = 0x1941a469,
    ID_CHAPTERS = 0x1043a770,
    ID_TAGS = 0x1254c367
};

// What stands in a Segment: in a Cluster of unknown size it is the end of that.
bool isSegmentLevel(std::uint32_t uiId)
{
    constexpr std::array<std::uint32_t, 10> IDS = {ID_SEEK_HEAD,
                                                   ID_INFO,
                                                   ID_TRACKS,
                                                   ID_CLUSTER,
                                                   ID_CUES,
                                                   ID_ATTACHMENTS,
                                                   ID_CHAPTERS,
                                                   ID_TAGS,
                                                   ID_SEGMENT,
                                                   ID_EBML};
    return std::find(IDS.begin(), IDS.end(), uiId) != IDS.end();
}

struct Frame
{
    std::uint64_t ulOffset;
    std::uint64_t ulSize;
};

class CMatroskaReader
{
public:
    CMatroskaReader(CRandomSource& source, CUnitOutput& output) : m_source(source), m_output(output) {}

    void read();

private:
    void readHeader(const EbmlElement& header);
    std::uint64_t readSegment(const EbmlElement& segment);
    void readInfo(const EbmlElement& info);
    void readTracks(const EbmlElement& tracks);
    void findTracksBehind(std::uint64_t ulOffset, std::uint64_t ulEnd);
    std::uint64_t readCluster(const EbmlElement& cluster);
    void readGroup(const EbmlElement& group);
    void readBlock(const EbmlElement& block);
    [[nodiscard]] bool readLaces(const EbmlElement& block, std::uint64_t ulOffset, unsigned uiLacing);
    [[nodiscard]] bool addXiphSizes(std::uint64_t& ulOffset, std::uint64_t ulEnd, unsigned uiCount);
    [[nodiscard]] bool addEbmlSizes(std::uint64_t& ulOffset, std::uint64_t ulEnd, unsigned uiCount);
    [[nodiscard]] std::optional<std::uint64_t> nextCluster(std::uint64_t ulOffset, std::uint64_t ulEnd);
    [[nodiscard]] bool isDone() const;
    void tell(ESeverity eSeverity, const char* pPath, std::optional<std::uint64_t> ulOffset, std::string message,
              bool bUnread = false)
    {
        m_output.finding({eSeverity, pPath, ulOffset, std::nullopt, std::move(message), bUnread});
    }

    CRandomSource& m_source;
    CUnitOutput& m_output;
    std::vector<std::unique_ptr<MatroskaTrack>> m_tracks;
    std::uint64_t m_ulTimestampScale = 1000000; // nanoseconds
    std::uint64_t m_ulClusterTime = 0;
    bool m_bTracks = false;
    bool m_bTracksSought = false;                  // behind the first Cluster
    std::optional<std::uint64_t> m_ulTracksBehind; // Tracks that were found there, and have been read
    bool m_bSegment = false;
    bool m_bSecondTold = false;  // that there is another Segment
    std::vector<Frame> m_frames; // of the block being read
};

void CMatroskaReader::read()
{
    CEbmlWalk walk(m_source, m_output, {}, 0, NO_END);
    while (const auto element = walk.next()) {
        if (element->uiId == ID_EBML)
            readHeader(*element);
        else if (element->uiId == ID_SEGMENT) {
            if (std::exchange(m_bSegment, true) && !std::exchange(m_bSecondTold, true))
                tell(ESeverity::Warning,
                     "Segment",
                     element->ulOffset,
                     "a second Segment: most players read the first one only [RFC 9559 5.1]");
            walk.moveTo(readSegment(*element));
            if (m_output.isStopped() || isDone())
                return;
        } else if (element->uiId != ID_VOID)
            tell(ESeverity::Warning,
                 "",
                 element->ulOffset,
                 "element " + ebmlIdText(element->uiId) + " stands beside the Segment; it is passed over");
    }
    const auto ulSize = m_source.size();
    if (ulSize && walk.offset() > *ulSize && walk.offset() < NO_END)
        m_output.findingOnce(ONCE_FILE_END,
                             {ESeverity::Error,
                              "",
                              *ulSize,
                              std::nullopt,
                              "the file ends early: its last element reaches to byte " + std::to_string(walk.offset()),
                              true});
    if (!m_bSegment)
        tell(ESeverity::Error, "Segment", ulSize, "is missing: there is nothing to read", true);
    else if (!m_bTracks && !m_output.isStopped())
        tell(ESeverity::Error, "Segment/Tracks", ulSize, "is missing: nothing says what the blocks hold", true);
}

void CMatroskaReader::readHeader(const EbmlElement& header)
{
    CEbmlWalk walk(m_source, m_output, "EBML", header.ulContent, header.ulEnd);
    while (const auto element = walk.next()) {
        if (element->uiId != ID_DOC_TYPE)
            continue;
        const std::vector<unsigned char> bytes = readEbmlBytes(m_source, *element, 64);
        const std::string type(bytes.begin(), std::find(bytes.begin(), bytes.end(), '\0'));
        if (type != "matroska" && type != "webm")
            tell(ESeverity::Warning,
                 "EBML/DocType",
                 element->ulOffset,
                 "is \"" + type + "\" instead of \"matroska\" or \"webm\"");
    }
}

// Where the next element beside the segment begins.
std::uint64_t CMatroskaReader::readSegment(const EbmlElement& segment)
{
    CEbmlWalk walk(m_source, m_output, "Segment", segment.ulContent, segment.ulEnd);
    while (!m_output.isStopped() && !isDone()) {
        const auto element = walk.next();
        if (!element && walk.isBroken()) {
            const auto ulCluster = nextCluster(walk.offset() + 1, segment.ulEnd);
            if (!ulCluster)
                return segment.ulEnd;
            tell(ESeverity::Warning,
                 "Segment",
                 ulCluster,
                 countedText(*ulCluster - walk.offset(), "byte") + " in front of this Cluster" +
                     areOrIs(*ulCluster - walk.offset()) + "passed over");
            walk.moveTo(*ulCluster);
            continue;
        }
        if (!element)
            break;
        switch (element->uiId) {
        case ID_INFO:
            readInfo(*element);
            break;
        case ID_TRACKS:
            if (element->ulOffset != m_ulTracksBehind)
                readTracks(*element);
            break;
        case ID_CLUSTER:
            if (!m_bTracks && !std::exchange(m_bTracksSought, true))
                findTracksBehind(element->ulOffset, segment.ulEnd);
            walk.moveTo(readCluster(*element));
            break;
        case ID_EBML:
        case ID_SEGMENT:
            if (segment.bUnknownSize)
                return element->ulOffset;
            break;
        default:
            break;
        }
    }
    return segment.bUnknownSize ? walk.offset() : segment.ulEnd;
}

void CMatroskaReader::readInfo(const EbmlElement& info)
{
    CEbmlWalk walk(m_source, m_output, "Segment/Info", info.ulContent, info.ulEnd);
    while (const auto element = walk.next()) {
        if (element->uiId == ID_TIMESTAMP_SCALE)
            m_ulTimestampScale = readEbmlUnsigned(m_source, *element);
    }
}

void CMatroskaReader::readTracks(const EbmlElement& tracks)
{
    m_bTracks = true;
    CEbmlWalk walk(m_source, m_output, "Segment/Tracks", tracks.ulContent, tracks.ulEnd);
    while (const auto element = walk.next()) {
        if (element->uiId != ID_TRACK_ENTRY)
            continue;
        auto pTrack = std::make_unique<MatroskaTrack>(readMatroskaTrack(m_source, m_output, *element));
        const auto known = std::ranges::find(m_tracks, pTrack->ulTrack, [](const auto& p) { return p->ulTrack; });
        if (m_tracks.size() == MAX_SEGMENT_TRACKS ||
            !m_output.keep(sizeof *pTrack + pTrack->codecPrivate.size() + pTrack->strippedHeader.size())) {
            tell(ESeverity::Error,
                 "Segment/Tracks",
                 element->ulOffset,
                 "more tracks than can be kept; from here on they are not read");
            return;
        }
        deliverMatroskaTrack(m_output, *pTrack);
        pTrack->codecPrivate = {};
        if (known != m_tracks.end())
            *known = std::move(pTrack); // a later segment's
        else
            m_tracks.push_back(std::move(pTrack));
    }
}

// Tracks can stand behind the clusters, if nobody reads the file from front to back.
void CMatroskaReader::findTracksBehind(std::uint64_t ulOffset, std::uint64_t ulEnd)
{
    if (m_source.isForwardOnly()) {
        tell(ESeverity::Error,
             "Segment/Tracks",
             ulOffset,
             "does not stand in front of the first Cluster, and a stream cannot be read backwards; save it as a file "
             "first",
             true);
        return;
    }
    CEbmlWalk walk(m_source, m_output, "Segment", ulOffset, ulEnd);
    for (auto element = walk.next(); element && !element->bUnknownSize; element = walk.next()) {
        if (element->uiId == ID_TRACKS) {
            m_ulTracksBehind = element->ulOffset;
            readTracks(*element);
            return;
        }
    }
}

// Where the next element of the segment begins.
std::uint64_t CMatroskaReader::readCluster(const EbmlElement& cluster)
{
    m_ulClusterTime = 0;
    CEbmlWalk walk(m_source, m_output, "Segment/Cluster", cluster.ulContent, cluster.ulEnd);
    while (!m_output.isStopped() && !isDone()) {
        const auto element = walk.next();
        if (!element)
            return walk.isBroken() && cluster.bUnknownSize ? walk.offset() : std::max(walk.offset(), cluster.ulEnd);
        if (cluster.bUnknownSize && isSegmentLevel(element->uiId))
            return element->ulOffset;
        if (element->uiId == ID_CLUSTER_TIMESTAMP)
            m_ulClusterTime = readEbmlUnsigned(m_source, *element);
        else if (element->uiId == ID_SIMPLE_BLOCK)
            readBlock(*element);
        else if (element->uiId == ID_ENCRYPTED_BLOCK)
            m_output.findingOnce(ONCE_ENCRYPTED,
                                 {ESeverity::Error,
                                  "Segment/Cluster/EncryptedBlock",
                                  element->ulOffset,
                                  std::nullopt,
                                  "holds encrypted frames, which are not read",
                                  true});
        else if (element->uiId == ID_BLOCK_GROUP)
            readGroup(*element);
    }
    return cluster.ulEnd;
}

void CMatroskaReader::readGroup(const EbmlElement& group)
{
    CEbmlWalk walk(m_source, m_output, "Segment/Cluster/BlockGroup", group.ulContent, group.ulEnd);
    while (const auto element = walk.next()) {
        if (element->uiId == ID_BLOCK)
            readBlock(*element);
    }
}

// RFC 9559 10.1: track, time, flags, sizes, frames.
void CMatroskaReader::readBlock(const EbmlElement& block)
{
    constexpr std::size_t TIME_AND_FLAGS = 3;
    std::array<unsigned char, MAX_VINT_BYTES + TIME_AND_FLAGS> aucHead;
    const std::span here = std::span(aucHead).first(
        static_cast<std::size_t>(std::min<std::uint64_t>(aucHead.size(), block.contentSize())));
    const std::span<const unsigned char> there = here.first(m_source.read(block.ulContent, here));
    const auto number = vintIn(there);
    if (!number || there.size() < number->uiBytes + TIME_AND_FLAGS) {
        tell(ESeverity::Error, "Segment/Cluster", block.ulOffset, "a block ends inside its header");
        return;
    }
    const auto found = std::ranges::find(m_tracks, number->ulValue, [](const auto& p) { return p->ulTrack; });
    if (found == m_tracks.end()) {
        m_output.findingOnce(
            ONCE_NO_DESCRIPTION,
            {ESeverity::Error,
             "Segment/Cluster",
             block.ulOffset,
             number->ulValue,
             "blocks of track " + std::to_string(number->ulValue) + ", which Tracks does not have, are passed over"});
        return;
    }
    const auto iRelative = static_cast<std::int16_t>(u16At(there, number->uiBytes));
    const unsigned uiFlags = there[number->uiBytes + 2];
    MatroskaTrack& track = **found;
    if (!track.reason.empty() || m_output.isTrackDone(track.ulTrack))
        return;
    const auto iTime = static_cast<std::int64_t>(m_ulClusterTime + static_cast<std::uint64_t>(std::int64_t{iRelative}));
    const double seconds = static_cast<double>(iTime) * static_cast<double>(m_ulTimestampScale) / 1e9;
    m_frames.clear();
    if (!readLaces(block, block.ulContent + number->uiBytes + TIME_AND_FLAGS, uiFlags >> 1 & 3))
        tell(ESeverity::Error, "Segment/Cluster", block.ulOffset, "the sizes of a block's frames do not fit in it");
    for (const Frame& frame : m_frames) {
        if (!m_output.isStopped() && !m_output.isTrackDone(track.ulTrack) && m_output.spend(m_source, 1))
            deliverMatroskaFrame(m_output, m_source, track, frame.ulOffset, frame.ulSize, seconds);
    }
}

// 10.3: none, Xiph, fixed size, EBML. Frames that fit are kept even when a later one does not; none when their
// sizes are cut.
bool CMatroskaReader::readLaces(const EbmlElement& block, std::uint64_t ulOffset, unsigned uiLacing)
{
    constexpr unsigned NONE = 0;
    constexpr unsigned XIPH = 1;
    constexpr unsigned FIXED = 2;
    if (uiLacing == NONE) {
        m_frames.push_back({ulOffset, block.ulEnd - ulOffset});
        return true;
    }
    CFieldCursor cursor(m_source, ulOffset, block.ulEnd);
    const unsigned uiFrames = cursor.u8() + 1;
    if (!cursor.isComplete())
        return false;
    ulOffset = cursor.offset();
    bool bFits = true;
    if (uiLacing == FIXED) {
        const std::uint64_t ulSize = (block.ulEnd - ulOffset) / uiFrames;
        bFits = ulSize * uiFrames == block.ulEnd - ulOffset;
        m_frames.assign(uiFrames - 1, {0, ulSize});
    } else if (!(uiLacing == XIPH ? addXiphSizes(ulOffset, block.ulEnd, uiFrames - 1)
                                  : addEbmlSizes(ulOffset, block.ulEnd, uiFrames - 1))) {
        m_frames.clear();
        return false;
    }
    for (Frame& frame : m_frames) {
        if (frame.ulSize > block.ulEnd - ulOffset) {
            frame.ulSize = block.ulEnd - ulOffset;
            bFits = false;
        }
        frame.ulOffset = ulOffset;
        ulOffset += frame.ulSize;
    }
    m_frames.push_back({ulOffset, block.ulEnd - ulOffset}); // the last one takes what is left
    return bFits;
}

// 10.3.2: bytes of 255, and one below, added up.
bool CMatroskaReader::addXiphSizes(std::uint64_t& ulOffset, std::uint64_t ulEnd, unsigned uiCount)
{
    CFieldCursor cursor(m_source, ulOffset, ulEnd);
    for (; uiCount != 0; --uiCount) {
        std::uint64_t ulSize = 0;
        unsigned uiByte = 255;
        while (uiByte == 255 && cursor.isComplete()) {
            uiByte = cursor.u8();
            ulSize += uiByte;
        }
        if (!cursor.isComplete())
            return false;
        m_frames.push_back({0, ulSize});
    }
    ulOffset = cursor.offset();
    return true;
}

// 10.3.3: the first size, then differences with a sign: the middle of a vint's range is 0.
bool CMatroskaReader::addEbmlSizes(std::uint64_t& ulOffset, std::uint64_t ulEnd, unsigned uiCount)
{
    std::uint64_t ulSize = 0;
    for (unsigned i = 0; i < uiCount; ++i) {
        const auto vint = readVint(m_source, ulOffset, ulEnd);
        if (!vint)
            return false;
        const std::uint64_t ulMiddle = (std::uint64_t{1} << (7 * vint->uiBytes - 1)) - 1;
        ulSize = i == 0 ? vint->ulValue : ulSize + vint->ulValue - ulMiddle;
        if (ulSize > ulEnd - ulOffset)
            return false; // below 0 too
        ulOffset += vint->uiBytes;
        m_frames.push_back({0, ulSize});
    }
    return true;
}

// Behind damage: the next place that a Cluster seems to begin at.
std::optional<std::uint64_t> CMatroskaReader::nextCluster(std::uint64_t ulOffset, std::uint64_t ulEnd)
{
    constexpr std::array<unsigned char, 4> MARK = {0x1f, 0x43, 0xb6, 0x75};
    std::array<unsigned char, 4096> piece{};
    while (ulOffset < ulEnd) {
        const auto uiAsked = static_cast<std::size_t>(std::min<std::uint64_t>(piece.size(), ulEnd - ulOffset));
        const std::size_t uiRead = m_source.read(ulOffset, std::span(piece).first(uiAsked));
        if (uiRead < MARK.size())
            return std::nullopt;
        const std::span<const unsigned char> read = std::span(piece).first(uiRead);
        const auto found = std::search(read.begin(), read.end(), MARK.begin(), MARK.end());
        if (found != read.end())
            return ulOffset + static_cast<std::uint64_t>(found - read.begin());
        ulOffset += uiRead - (MARK.size() - 1);
    }
    return std::nullopt;
}

bool CMatroskaReader::isDone() const
{
    return m_output.isHead() && !m_tracks.empty() && std::ranges::all_of(m_tracks, [this](const auto& pTrack) {
               return !pTrack->reason.empty() || m_output.isTrackDone(pTrack->ulTrack);
           });
}

} // namespace

void readMatroska(CRandomSource& source, const ContainerOptions& options, CContainerSink& sink)
{
    CUnitOutput output(sink, options);
    CMatroskaReader reader(source, output);
    reader.read();
    output.finish();
}

} // namespace h265_container
