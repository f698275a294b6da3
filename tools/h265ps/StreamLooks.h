#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace h265ps {

/// What other video a byte stream is for certain, judged by its first bytes: by what comes first, a parameter set
/// of H.265 or something that H.265 does not have. None when it can be H.265.
std::optional<std::string_view> otherVideo(std::span<const unsigned char> head);

/// What a stream can turn out to be.
inline constexpr std::string_view MPEG_VIDEO = "MPEG-1 or MPEG-2 video";
inline constexpr std::string_view RAW_H264 = "a raw H.264 stream";

/// Looks for a sequence header of MPEG-1 or MPEG-2 video in a stream that comes in pieces. Slices of high pictures
/// have the start codes of parameter sets of higher layers.
class CMpegSequenceSearch
{
public:
    /// Whether one is in the piece, or begins in the bytes in front of it.
    [[nodiscard]] bool isIn(std::span<const unsigned char> piece) const;
    /// Goes on behind the piece.
    void keepEnd(std::span<const unsigned char> piece);

private:
    static constexpr std::size_t CUT_BYTES = 10; // what a start code and a header of 8 bytes can have in front of a cut

    std::vector<unsigned char> m_end; // of what came so far
};

/// Whether the NAL units of the first bytes are such as streams of H.264 have: they can be of H.265 only if
/// parameter sets of layer 0 follow. Units that H.265 allows in layers 32 and above do not suffice.
bool resemblesH264(std::span<const unsigned char> head);

/// Whether the first bytes read like text: UTF-8, or ASCII with a few bytes of another code.
bool looksLikeText(std::span<const unsigned char> head);

} // namespace h265ps
