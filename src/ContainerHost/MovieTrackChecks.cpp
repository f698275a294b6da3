#include "MovieTrackChecks.h"

#include <algorithm>
#include <iterator>

#include "CountedText.h"

namespace h265_container {

namespace {

// stts against the samples of stsz. Of a fragmented movie both are empty.
void checkTimes(CUnitOutput& output, CRandomSource& source, const MovieTrack& track)
{
    const SampleTables& tables = track.tables;
    if (tables.ulSamples == 0 || tables.bCut)
        return;
    const std::string path = sampleTablePath(track);
    const std::string samples = countedText(tables.ulSamples, "sample");
    if (!tables.stts)
        return output.finding(
            {ESeverity::Error,
             path,
             track.ulOffset,
             track.uiTrack,
             "has no stts, and stsz counts " + samples + ": none of them has a time [14496-12 8.6.1.2]"});
    std::uint64_t ulTimes = 0;
    for (std::uint64_t i = 0; i < tables.stts.count(); ++i) {
        if (!output.spend(source, 1))
            return;
        ulTimes += tables.stts.entry(i).u32();
    }
    if (ulTimes != tables.ulSamples)
        output.finding({ESeverity::Error,
                        path + "/stts",
                        tables.ulTimesOffset,
                        track.uiTrack,
                        "has times for " + std::to_string(ulTimes) + " samples, stsz counts " + samples +
                            ": players lose the others, or refuse the file [14496-12 8.6.1.2]"});
}

// 8.7.4: first_chunk begins with 1, and each entry's is higher than the one before.
void checkChunkRuns(CUnitOutput& output, CRandomSource& source, const MovieTrack& track)
{
    const CTable& stsc = track.tables.stsc;
    std::uint32_t uiBefore = 0;
    for (std::uint64_t i = 0; i < stsc.count() && output.spend(source, 1); ++i) {
        const std::uint32_t first_chunk = stsc.entry(i).u32();
        if (i == 0 ? first_chunk == 1 : first_chunk > uiBefore) {
            uiBefore = first_chunk;
            continue;
        }
        output.finding({ESeverity::Error,
                        sampleTablePath(track) + "/stsc",
                        track.tables.ulRunsOffset,
                        track.uiTrack,
                        i == 0
                            ? "begins with first_chunk " + std::to_string(first_chunk) +
                                  " instead of 1: nothing says what the chunks in front of it hold [14496-12 8.7.4]"
                            : "has first_chunk " + std::to_string(first_chunk) + " behind " + std::to_string(uiBefore) +
                                  ": it has to rise, and players take other samples for it [14496-12 8.7.4]"});
        return;
    }
}

} // namespace

std::string sampleTablePath(const MovieTrack& track)
{
    return track.path.substr(0, track.path.rfind('/'));
}

// Auxiliary pictures have a handler of their own, and image sequences.
void checkMedia(CUnitOutput& output, const MovieTrack& track)
{
    constexpr std::uint32_t HANDLERS[] = {fourCC("vide"), fourCC("auxv"), fourCC("pict")};
    const std::string media = track.path.substr(0, track.path.rfind("/minf"));
    if (track.ulHandlerOffset && std::ranges::find(HANDLERS, track.uiHandler) == std::end(HANDLERS))
        output.finding({ESeverity::Error,
                        media + "/hdlr",
                        track.ulHandlerOffset,
                        track.uiTrack,
                        "says " + fourCCText(track.uiHandler) + ", the track has a sample entry " +
                            fourCCText(track.descriptions.front().uiOriginal) +
                            ": players that go by the handler see no video [14496-12 12.1.1]"});
    if (track.ulTimescaleOffset && track.uiTimescale == 0)
        output.finding({ESeverity::Error,
                        media + "/mdhd",
                        track.ulTimescaleOffset,
                        track.uiTrack,
                        "says timescale 0: no sample has a time [14496-12 8.4.2]"});
}

void checkSampleTables(CUnitOutput& output, CRandomSource& source, const MovieTrack& track)
{
    checkTimes(output, source, track);
    checkChunkRuns(output, source, track);
}

} // namespace h265_container
