#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "BoxWriter.h"

namespace h265_test {

/// A track as a movie describes it. Chunk offsets are the file's.
struct TrackSyntax
{
    std::uint32_t uiTrack = 1;
    std::string_view handler = "vide";
    std::uint32_t uiTimescale = 100;
    std::vector<Bytes> entries;                              // of stsd
    std::vector<std::uint32_t> sizes;                        // of samples
    std::vector<std::uint64_t> chunks;                       // offsets
    std::vector<std::vector<std::uint32_t>> runs{{1, 1, 1}}; // of stsc
    std::optional<Bytes> stts;                               // else 4 units for each sample
    Bytes more;                                              // boxes of stbl
    bool bLarge = false;                                     // co64
    Bytes dataReference = fullBox("url ", 0, 1, {});
};

inline Bytes table(std::string_view type, const std::vector<Bytes>& entries)
{
    Bytes all;
    for (const Bytes& entry : entries)
        all = joined({all, entry});
    return fullBox(type, 0, 0, {be(4, entries.size()), all});
}

inline Bytes sampleTable(const TrackSyntax& track)
{
    std::vector<Bytes> sizes;
    for (const std::uint32_t uiSize : track.sizes)
        sizes.push_back(be(4, uiSize));
    std::vector<Bytes> chunks;
    for (const std::uint64_t ulChunk : track.chunks)
        chunks.push_back(be(track.bLarge ? 8 : 4, ulChunk));
    std::vector<Bytes> runs;
    for (const auto& run : track.runs)
        runs.push_back(joined({be(4, run[0]), be(4, run[1]), be(4, run[2])}));
    Bytes stsz = table("stsz", sizes);
    stsz.insert(stsz.begin() + 12, 4, 0); // sample_size
    stsz[3] = static_cast<unsigned char>(stsz[3] + 4);
    const Bytes times = fullBox("stts", 0, 0, {be(4, 1), be(4, sizes.size()), be(4, 4)});
    return box("stbl",
               {table("stsd", track.entries),
                track.stts.value_or(times),
                table("stsc", runs),
                stsz,
                table(track.bLarge ? "co64" : "stco", chunks),
                track.more});
}

inline Bytes trackHeader(std::uint32_t uiTrack, unsigned uiWidth = 64, unsigned uiHeight = 48)
{
    return fullBox(
        "tkhd", 0, 3, {zeros(8), be(4, uiTrack), zeros(8), zeros(52), be(4, uiWidth << 16), be(4, uiHeight << 16)});
}

inline Bytes trak(const TrackSyntax& track)
{
    return box(
        "trak",
        {trackHeader(track.uiTrack),
         box("mdia",
             {fullBox("mdhd", 0, 0, {zeros(8), be(4, track.uiTimescale), zeros(8)}),
              fullBox("hdlr", 0, 0, {zeros(4), text(track.handler), zeros(13)}),
              box("minf",
                  {box("dinf", {fullBox("dref", 0, 0, {be(4, 1), track.dataReference})}), sampleTable(track)})})});
}

} // namespace h265_test
