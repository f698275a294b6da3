#include "MovieTracks.h"

#include <algorithm>
#include <memory>
#include <queue>
#include <utility>

#include "CountedText.h"
#include "ElementaryUnits.h"
#include "MovieTrackChecks.h"

namespace h265_container {

namespace {

constexpr std::size_t MAX_REFERENCES = 1024;

void readTrackHeader(MovieTrack& track, CRandomSource& source, CUnitOutput& output, const Box& tkhd,
                     const std::string& path)
{
    constexpr std::uint32_t SIZE_IS_ASPECT_RATIO = 8; // ISO/IEC 14496-12 8.3.2.3
    CFieldCursor cursor(source, tkhd.ulContent, tkhd.ulEnd);
    const FullBox full = readFullBox(cursor);
    const unsigned uiTimeBytes = full.uiVersion == 1 ? 8 : 4;
    cursor.skip(uint64_t{2} * uiTimeBytes);
    track.uiTrack = cursor.u32();
    output.speakOf(track.uiTrack);
    cursor.skip(4 + uiTimeBytes);
    cursor.skip(8 + 8 + 36); // layer, group, volume; the matrix
    const double width = cursor.u32() / 65536.0;
    const double height = cursor.u32() / 65536.0;
    if (!cursor.isComplete())
        output.finding({ESeverity::Error, path, tkhd.ulOffset, std::nullopt, "ends inside its fields"});
    else
        track.trackSize = {{width, height, (full.uiFlags & SIZE_IS_ASPECT_RATIO) != 0}, path, tkhd.ulOffset};
}

void readMediaHeader(MovieTrack& track, CRandomSource& source, const Box& mdhd)
{
    CFieldCursor cursor(source, mdhd.ulContent, mdhd.ulEnd);
    const FullBox full = readFullBox(cursor);
    cursor.skip(full.uiVersion == 1 ? 16 : 8);
    track.uiTimescale = cursor.u32();
    track.ulTimescaleOffset = mdhd.ulOffset;
}

void readHandler(MovieTrack& track, CRandomSource& source, const Box& hdlr)
{
    CFieldCursor cursor(source, hdlr.ulContent, hdlr.ulEnd);
    cursor.skip(8);
    track.uiHandler = cursor.u32();
    track.ulHandlerOffset = hdlr.ulOffset;
}

// ISO/IEC 14496-12 8.7.2: an entry with flag 1 means this very file.
void readDataReferences(MovieTrack& track, CRandomSource& source, CUnitOutput& output, const Box& dref,
                        const std::string& path)
{
    CBoxWalk walk(source, output, path, std::min(dref.ulContent + 8, dref.ulEnd), dref.ulEnd);
    for (auto box = walk.next(); box && track.external.size() < MAX_REFERENCES; box = walk.next()) {
        CFieldCursor cursor(source, box->ulContent, box->ulEnd);
        track.external.push_back((readFullBox(cursor).uiFlags & 1) == 0);
    }
}

void readDescriptions(MovieTrack& track, CRandomSource& source, CUnitOutput& output, const Box& stsd,
                      const std::string& path)
{
    track.path = path;
    track.ulOffset = stsd.ulOffset;
    CFieldCursor cursor(source, stsd.ulContent, stsd.ulEnd);
    (void)readFullBox(cursor);
    const std::uint32_t entry_count = cursor.u32();
    CBoxWalk walk(source, output, path, std::min(stsd.ulContent + 8, stsd.ulEnd), stsd.ulEnd);
    while (const auto entry = walk.next()) {
        SampleDescription description = readSampleEntry(source, output, *entry, walk.pathOf(*entry));
        if (!output.keep(2 * sizeof description + description.hvcC.size() + description.lhvC.size())) {
            output.finding({ESeverity::Error,
                            path,
                            entry->ulOffset,
                            track.uiTrack,
                            "more sample descriptions than can be kept; from here on they are not read"});
            return;
        }
        track.descriptions.push_back(std::move(description));
    }
    if (track.isH265() && entry_count != track.descriptions.size())
        output.finding({ESeverity::Error,
                        path,
                        stsd.ulOffset,
                        track.uiTrack,
                        "counts " + std::to_string(entry_count) + " sample entries and has " +
                            std::to_string(track.descriptions.size()) +
                            ": players that go by the count read others, or none [14496-12 8.5.2]"});
}

// One level of trak, mdia, minf, dinf or stbl.
void readTrackBoxes(MovieTrack& track, CRandomSource& source, CUnitOutput& output, const Box& parent,
                    const std::string& path)
{
    CBoxWalk walk(source, output, path, parent.ulContent, parent.ulEnd);
    const bool bInMedia = parent.uiType == fourCC("mdia"); // minf has a handler of its own in older files
    while (const auto box = walk.next()) {
        const std::string boxPath = walk.pathOf(*box);
        switch (box->uiType) {
        case fourCC("tkhd"):
            readTrackHeader(track, source, output, *box, boxPath);
            break;
        case fourCC("mdhd"):
            readMediaHeader(track, source, *box);
            break;
        case fourCC("hdlr"):
            if (bInMedia)
                readHandler(track, source, *box);
            break;
        case fourCC("dref"):
            readDataReferences(track, source, output, *box, boxPath);
            break;
        case fourCC("stsd"):
            readDescriptions(track, source, output, *box, boxPath);
            break;
        case fourCC("mdia"):
        case fourCC("minf"):
        case fourCC("dinf"):
        case fourCC("stbl"): {
            // Each stands in one box only, so that boxes in boxes end here.
            const std::uint32_t uiHolder = box->uiType == fourCC("mdia")   ? fourCC("trak")
                                           : box->uiType == fourCC("minf") ? fourCC("mdia")
                                                                           : fourCC("minf");
            if (parent.uiType == uiHolder)
                readTrackBoxes(track, source, output, *box, boxPath);
            break;
        }
        default:
            (void)takeSampleTable(track.tables, source, output, *box, boxPath, track.uiTrack);
        }
    }
}

// By their index from 0, whether a chunk has the description. Where there is one it is not asked.
std::vector<bool> usedDescriptions(const MovieTrack& track, CRandomSource& source, CUnitOutput& output)
{
    const CTable& stsc = track.tables.stsc;
    const std::size_t uiDescriptions = track.descriptions.size();
    std::vector<bool> used(uiDescriptions, uiDescriptions == 1);
    for (std::uint64_t i = 0; uiDescriptions > 1 && i < stsc.count() && output.spend(source, 1); ++i) {
        CFieldCursor fields = stsc.entry(i);
        fields.skip(8);
        const std::uint32_t sample_description_index = fields.u32();
        if (sample_description_index != 0 && sample_description_index <= uiDescriptions)
            used[sample_description_index - 1] = true;
    }
    return used;
}

// A rate that is the same from the first sample to the last. Of a description without samples it says nothing.
void claimFrameRate(MovieTrack& track, CRandomSource& source, CUnitOutput& output)
{
    CFieldCursor fields = track.tables.stts.entry(0);
    const std::uint32_t uiCount = fields.u32();
    const std::uint32_t uiDuration = fields.u32();
    if (track.tables.stts.count() != 1 || uiCount < 2 || uiDuration == 0 || track.uiTimescale == 0)
        return;
    const std::string path = sampleTablePath(track) + "/stts";
    const std::vector<bool> used = usedDescriptions(track, source, output);
    for (std::size_t i = 0; i < used.size(); ++i) {
        if (used[i])
            track.descriptions[i].claims.constantFrameRate = {
                {track.uiTimescale, uiDuration}, path, track.tables.ulTimesOffset};
    }
}

// stsz's samples against those that the chunks hold.
void tellLostSamples(CUnitOutput& output, const MovieTrack& track, std::uint64_t ulTaken)
{
    if (!track.tables.bHasSizes && track.tables.chunks.count() != 0)
        output.finding({ESeverity::Error,
                        sampleTablePath(track),
                        track.ulOffset,
                        track.uiTrack,
                        "has no stsz or stz2 that can be read: how many samples its " +
                            std::to_string(track.tables.chunks.count()) +
                            " chunks hold is not known, and none of them is read",
                        true});
    if (ulTaken < track.tables.ulSamples)
        output.finding({ESeverity::Error,
                        sampleTablePath(track) + "/stsz",
                        track.tables.ulSizesOffset,
                        track.uiTrack,
                        "counts " + countedText(track.tables.ulSamples, "sample") + "; the chunks have " +
                            std::to_string(ulTaken) + ", the others cannot be found",
                        true});
}

// A track on its way through its chunks.
struct TrackWalk
{
    MovieTrack& track;
    CSampleCursor cursor;
    Chunk chunk{};

    explicit TrackWalk(MovieTrack& walked) : track(walked), cursor(walked.tables) {}
};

// The samples of the chunk that the walk stands at.
void deliverChunk(CUnitOutput& output, CRandomSource& source, TrackWalk& walk)
{
    MovieTrack& track = walk.track;
    const Chunk& chunk = walk.chunk;
    std::uint64_t ulOffset = chunk.ulOffset;
    for (std::uint64_t i = 0; i < chunk.ulSamples; ++i) {
        const auto ulSize = source.size();
        if (output.isStopped() || output.isTrackDone(track.uiTrack) || !output.spend(source, 1))
            return;
        if (ulSize && ulOffset >= *ulSize) {
            output.findingOnce(ONCE_OUTSIDE,
                               {ESeverity::Error,
                                track.path,
                                *ulSize,
                                track.uiTrack,
                                "sample " + std::to_string(walk.cursor.samplesTaken() + 1) + " begins at byte " +
                                    std::to_string(ulOffset) + ", behind the end of the file at " +
                                    std::to_string(*ulSize) + "; it and all others there are lost",
                                true});
            walk.cursor.skipSamples(chunk.ulSamples - i);
            return;
        }
        const Sample sample = walk.cursor.nextSample();
        deliverSample(output, source, track, chunk.uiDescription, ulOffset, sample);
        ulOffset += sample.ulSize;
    }
}

} // namespace

bool MovieTrack::isH265() const
{
    return std::ranges::any_of(descriptions, [](const auto& description) { return description.bIsH265; });
}

std::optional<double> MovieTrack::secondsOf(std::int64_t iTime) const
{
    return uiTimescale == 0 ? std::nullopt : std::optional(static_cast<double>(iTime) / uiTimescale);
}

MovieTrack readTrack(CRandomSource& source, CUnitOutput& output, const Box& trak, const std::string& path)
{
    MovieTrack track;
    readTrackBoxes(track, source, output, trak, path);
    output.speakOf(std::nullopt);
    if (track.tables.stts)
        claimFrameRate(track, source, output);
    for (SampleDescription& description : track.descriptions)
        description.claims.trackSize = track.trackSize;
    if (track.isH265())
        checkMedia(output, track);
    return track;
}

ContainerTrack trackInfo(const MovieTrack& track)
{
    ContainerTrack info{track.uiTrack, ETrackKind::Other, {}, track.isH265(), {}};
    switch (track.uiHandler) {
    case fourCC("vide"):
    case fourCC("auxv"):
        info.eKind = ETrackKind::Video;
        break;
    case fourCC("soun"):
        info.eKind = ETrackKind::Audio;
        break;
    case fourCC("text"):
    case fourCC("sbtl"):
    case fourCC("subt"):
    case fourCC("clcp"):
        info.eKind = ETrackKind::Text;
        break;
    case fourCC("pict"):
        info.eKind = ETrackKind::Image;
        break;
    default:
        break;
    }
    if (!track.descriptions.empty())
        info.codec = fourCCText(track.descriptions.front().uiOriginal);
    if (!info.bIsH265)
        info.reason = track.descriptions.empty() ? "it has no sample description" : "it is no H.265";
    return info;
}

void enterDescription(CUnitOutput& output, MovieTrack& track, std::uint32_t uiDescription, bool bOffsetsInFile)
{
    track.uiCurrent = uiDescription;
    SampleDescription& description = track.descriptions[uiDescription - 1];
    UnitPlace place;
    place.ulTrack = track.uiTrack;
    place.holder = "track";
    place.uiDescription = track.descriptions.size() > 1 ? uiDescription : 0;
    if (!description.bDelivered && !description.claims.hvcC && !description.claims.lhvC &&
        description.uiOriginal != fourCC("hvt1"))
        output.finding({ESeverity::Error,
                        description.claims.entrySize ? description.claims.entrySize->box : track.path,
                        description.claims.entrySize ? description.claims.entrySize->ulOffset : track.ulOffset,
                        track.uiTrack,
                        "has neither hvcC nor lhvC; lengths of 4 bytes are assumed"});
    deliverDescription(output, description, place, bOffsetsInFile);
}

void deliverSample(CUnitOutput& output, CRandomSource& source, MovieTrack& track, std::uint32_t uiDescription,
                   std::uint64_t ulOffset, const Sample& sample)
{
    if (uiDescription == 0 || uiDescription > track.descriptions.size()) {
        output.findingOnce(ONCE_NO_DESCRIPTION,
                           {ESeverity::Error,
                            track.path,
                            track.ulOffset,
                            track.uiTrack,
                            "sample " + std::to_string(sample.ulNumber) + " has description " +
                                std::to_string(uiDescription) + " of " + std::to_string(track.descriptions.size()) +
                                "; such samples cannot be read",
                            true});
        return;
    }
    SampleDescription& description = track.descriptions[uiDescription - 1];
    if (!description.bIsH265)
        return;
    const std::uint64_t ulReference = description.ulDataReference - 1; // 0 wraps, and is none
    if (ulReference < track.external.size() && track.external[static_cast<std::size_t>(ulReference)]) {
        output.findingOnce(ONCE_EXTERNAL,
                           {ESeverity::Error,
                            track.path,
                            track.ulOffset,
                            track.uiTrack,
                            "the samples lie in another file, which is not read"});
        return;
    }
    if (track.uiCurrent != uiDescription &&
        output.spend(source, 1 + (description.hvcC.size() + description.lhvC.size()) / 16))
        enterDescription(output, track, uiDescription, true);
    std::uint64_t ulSize = sample.ulSize;
    if (const auto ulEnd = source.size(); ulEnd && ulSize > *ulEnd - std::min(*ulEnd, ulOffset)) {
        output.findingOnce(ONCE_OUTSIDE,
                           {ESeverity::Error,
                            track.path,
                            ulOffset,
                            track.uiTrack,
                            "sample " + std::to_string(sample.ulNumber) + " of " + countedText(ulSize, "byte") +
                                " reaches beyond the end of the file at " + std::to_string(*ulEnd),
                            true});
        ulSize = *ulEnd - std::min(*ulEnd, ulOffset);
    }
    UnitPlace place;
    place.ulTrack = track.uiTrack;
    place.holder = "track";
    place.part = "sample";
    place.ulPart = sample.ulNumber;
    place.time = track.secondsOf(sample.iTime);
    if (!std::exchange(description.bLengthsSeen, true) && !source.isForwardOnly())
        description.uiLengthBytes =
            lengthBytesOf(output, place, source, ulOffset, ulSize, description.uiLengthBytes, 0);
    if (description.uiLengthBytes != 0)
        readLengthPrefixedUnits(output, place, source, ulOffset, ulSize, description.uiLengthBytes, 0);
    else
        readStartCodeUnits(output, place, source, ulOffset, ulSize, 0);
}

void deliverSamples(CUnitOutput& output, CRandomSource& source, std::vector<MovieTrack>& tracks)
{
    std::vector<std::unique_ptr<TrackWalk>> walks;
    using Next = std::pair<std::uint64_t, std::size_t>; // offset of the chunk, index of its walk
    std::priority_queue<Next, std::vector<Next>, std::greater<>> queue;
    const auto advance = [&](std::size_t i) {
        TrackWalk& walk = *walks[i];
        const auto chunk = walk.cursor.nextChunk();
        if (chunk) {
            walk.chunk = *chunk;
            walk.chunk.ulOffset += walk.track.ulFileBegin;
            queue.emplace(walk.chunk.ulOffset, i);
            return;
        }
        tellLostSamples(output, walk.track, walk.cursor.samplesTaken());
        checkSampleTables(output, source, walk.track);
    };
    for (MovieTrack& track : tracks) {
        if (!track.isH265() || output.isTrackDone(track.uiTrack))
            continue;
        walks.push_back(std::make_unique<TrackWalk>(track));
        advance(walks.size() - 1);
    }
    while (!queue.empty() && !output.isStopped()) {
        const std::size_t i = queue.top().second;
        queue.pop();
        deliverChunk(output, source, *walks[i]);
        walks[i]->track.ulSamples = walks[i]->cursor.samplesTaken();
        walks[i]->track.ulDecodeTime = walks[i]->cursor.decodeTime(); // fragments go on from there
        if (!output.isTrackDone(walks[i]->track.uiTrack) && output.spend(source, 1))
            advance(i);
    }
}

} // namespace h265_container
