#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ByteSource.h"
#include "ContainerSink.h"
#include "FileKind.h"
#include "H265psExport.h"
#include "RandomSource.h"
#include "SetText.h"

namespace H265PS_EXPORT h265_inspect {

/// A parameter set as it stands in a file, without what it says.
struct KeptSet
{
    unsigned char nal_unit_type;
    unsigned char nuh_layer_id;
    std::vector<unsigned char> bytes; // the NAL unit
    std::string place;                // "byte 33", "track 1, hvcC"
};

/// The sets of a byte stream, or of one track of H.265.
struct KeptTrack
{
    std::uint64_t ulTrack = 0; // 0: a byte stream
    std::vector<KeptSet> sets; // each once, in the order in which they come first
};

/// The parameter sets of a file.
struct KeptSets
{
    std::vector<KeptTrack> tracks;     // of H.265
    std::vector<std::string> warnings; // what could not be read or kept, a sentence each
};

/// Bytes of different sets that are kept of one file.
inline constexpr std::size_t MAX_KEPT_SET_BYTES = std::size_t{32} << 20;

/// Keeps the sets of a byte stream. Throws h265_stream::CSourceError.
KeptSets keepSets(h265_stream::CByteSource& source);

/// Likewise of a file with tracks.
KeptSets keepSets(h265_container::EFileKind eKind, h265_container::CRandomSource& source);

/// Likewise of sets that stand alone.
KeptSets keepSets(std::string_view text, h265_container::ETextForm eForm);

} // namespace h265_inspect
