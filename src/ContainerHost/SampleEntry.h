#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "BoxWalk.h"
#include "ContainerClaims.h"

namespace h265_container {

/// A sample description of a track, or an image item's properties: what is needed to read its samples.
struct SampleDescription
{
    std::uint32_t uiType = 0;     // of the entry
    std::uint32_t uiOriginal = 0; // the same, of a protected entry the one that it stands for
    bool bIsH265 = false;
    bool bDelivered = false;    // its parameter sets have been
    unsigned uiLengthBytes = 4; // 0 of samples that have start codes
    bool bLengthsSeen = false;  // a sample has shown them
    std::uint64_t ulDataReference = 1;
    std::vector<unsigned char> hvcC; // contents of the boxes
    std::vector<unsigned char> lhvC;
    ContainerClaims claims;
};

/// Whether samples of such an entry are H.265, ISO/IEC 14496-15.
bool isH265Entry(std::uint32_t uiType);

/// Reads one entry of stsd. Its claims lack the track.
SampleDescription readSampleEntry(CRandomSource& source, CUnitOutput& output, const Box& entry,
                                  const std::string& path);

/// Takes a box of a sample entry or an image property in: hvcC, lhvC, pasp, clap, colr, ispe, pixi. False of
/// any other.
bool takeDescriptionBox(SampleDescription& description, CRandomSource& source, CUnitOutput& output, const Box& box,
                        const std::string& path);

/// The claims stand in another file than the one that is read, which has no offsets for them.
void standInOtherFile(ContainerClaims& claims, std::string_view otherFile);

/// Claims and findings of a description, then the NAL units of its records. The first time only claims and
/// findings are told.
void deliverDescription(CUnitOutput& output, SampleDescription& description, UnitPlace place, bool bOffsetsInFile);

} // namespace h265_container
