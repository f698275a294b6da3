#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace h265ps {

/// What a stream that is no Annex B byte stream of H.265 is for certain, judged by its first bytes;
/// none when it can be one.
std::optional<std::string_view> foreignFormat(std::span<const unsigned char> head);

/// What a stream can turn out to be.
inline constexpr std::string_view MPEG_VIDEO = "MPEG-1 or MPEG-2 video";
inline constexpr std::string_view RAW_H264 = "a raw H.264 stream";

/// Whether a sequence header of MPEG-1 or MPEG-2 video is among the bytes. Slices of high pictures have the start
/// codes of parameter sets of higher layers.
bool hasMpegSequence(std::span<const unsigned char> bytes);

/// Whether the NAL units of the first bytes are such as streams of H.264 have: they can be of H.265 only if
/// parameter sets of layer 0 follow. Units that H.265 allows in layers 32 and above do not suffice.
bool resemblesH264(std::span<const unsigned char> head);

/// Whether the other functions would say the same of these bytes and any more behind them. What they say of
/// fewer than the first 4096 bytes of a stream holds only then.
bool looksSettled(std::span<const unsigned char> head);

/// Whether the first bytes read like text: UTF-8, or ASCII with a few bytes of another code.
bool looksLikeText(std::span<const unsigned char> head);

} // namespace h265ps
