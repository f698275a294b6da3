#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "SampleEntry.h"
#include "SampleTables.h"

namespace h265_container {

/// ISO/IEC 14496-12 8.8.3 trex: what holds for samples of fragments unless they say otherwise.
struct FragmentDefaults
{
    std::uint32_t uiDescription = 1;
    std::uint32_t uiDuration = 0;
    std::uint32_t uiSize = 0;
};

/// A track of a movie.
struct MovieTrack
{
    std::uint32_t uiTrack = 0;
    std::uint32_t uiHandler = 0;
    std::uint32_t uiTimescale = 0;
    std::optional<std::uint64_t> ulHandlerOffset;   // of the boxes: hdlr
    std::optional<std::uint64_t> ulTimescaleOffset; // mdhd
    std::optional<Claim<SizeClaim>> trackSize;
    std::vector<bool> external; // by data reference: the samples lie in another file
    std::vector<SampleDescription> descriptions;
    std::string path;                      // of its stsd
    std::optional<std::uint64_t> ulOffset; // likewise
    SampleTables tables;
    std::uint64_t ulFileBegin = 0; // that offsets count from
    FragmentDefaults defaults;
    bool bHasDefaults = false; // there is a trex

    std::uint64_t ulSamples = 0;    // seen so far
    std::uint64_t ulDecodeTime = 0; // of the next one in a fragment
    std::uint32_t uiCurrent = 0;    // sample description whose sets are in force, from 1

    [[nodiscard]] bool isH265() const;
    [[nodiscard]] std::optional<double> secondsOf(std::int64_t iTime) const;
};

/// ISO/IEC 14496-12 8.3: reads a trak.
MovieTrack readTrack(CRandomSource& source, CUnitOutput& output, const Box& trak, const std::string& path);

/// What is told of a track.
ContainerTrack trackInfo(const MovieTrack& track);

/// Delivers one sample: its description's sets when that changes, then its NAL units. bInFile: the samples'
/// offsets are those of the file.
void deliverSample(CUnitOutput& output, CRandomSource& source, MovieTrack& track, std::uint32_t uiDescription,
                   std::uint64_t ulOffset, const Sample& sample);

/// Makes a description's sets the ones in force.
void enterDescription(CUnitOutput& output, MovieTrack& track, std::uint32_t uiDescription, bool bOffsetsInFile);

/// Walks all samples of all tracks of H.265 as they lie in the file.
void deliverSamples(CUnitOutput& output, CRandomSource& source, std::vector<MovieTrack>& tracks);

} // namespace h265_container
