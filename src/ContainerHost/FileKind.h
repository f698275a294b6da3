#pragma once

#include <span>
#include <string_view>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_container {

enum class EFileKind
{
    Unknown,    // nothing speaks against a byte stream
    ByteStream, // Annex B: begins with a start code that can be H.265's
    IsoBaseMedia,
    Matroska,
    TransportStream,
    LengthPrefixed,     // NAL units behind their lengths, as a sample of a file of boxes has them
    SessionDescription, // SDP, RFC 8866
    Foreign             // known, and not read
};

/// What a file is, judged by its first bytes.
struct FileKind
{
    EFileKind eKind;
    std::string_view name;    // "an AVI file"; empty of what is not known
    std::string_view command; // brings an H.265 stream out of FILE; empty where there can be none, or none is needed
};

/// Bytes that the judgement needs at most.
inline constexpr std::size_t FILE_KIND_BYTES = 4096;

/// Judges a file by its first bytes, FILE_KIND_BYTES or all that there are.
FileKind fileKind(std::span<const unsigned char> head);

/// Whether fileKind would say the same of these bytes and any more behind them. What it says of fewer than
/// FILE_KIND_BYTES that are not the whole file holds only then.
bool isFileKindSettled(std::span<const unsigned char> head);

} // namespace h265_container
