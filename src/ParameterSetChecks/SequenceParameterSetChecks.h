#pragma once

#include "Finding.h"
#include "SequenceParameterSetSyntax.h"

namespace h265_syntax {

/// Table 6-1
struct ChromaFormat
{
    unsigned SubWidthC;
    unsigned SubHeightC;
    unsigned ChromaArrayType; // 7.4.3.2.1: 0 with separate planes
};

/// Of chroma_format_idc 0 to 3; above, as 4:4:4.
[[nodiscard]] ChromaFormat chromaFormat(std::uint32_t chroma_format_idc, bool separate_colour_plane_flag) noexcept;

/// The sizes of an SPS's coding blocks, as logarithms: 7.4.3.2.1 (7-10), (7-11) and the transform blocks.
/// 64 bits, so that no coded value wraps.
struct BlockSizes
{
    std::uint64_t MinCbLog2SizeY;
    std::uint64_t CtbLog2SizeY;
    std::uint64_t MinTbLog2SizeY;
    std::uint64_t MaxTbLog2SizeY;
};

[[nodiscard]] BlockSizes blockSizes(const SequenceParameterSet& s) noexcept;

/// The picture in CTBs, rounded up; none when the CTB size is one that no picture can have.
struct PictureInCtbs
{
    std::uint64_t PicWidthInCtbsY = 0;
    std::uint64_t PicHeightInCtbsY = 0;
};

[[nodiscard]] PictureInCtbs pictureInCtbs(const SequenceParameterSet& s) noexcept;

/// F.7.4.3.2.1: false for an SPS that leaves its format to a VPS that was not there when it was read.
[[nodiscard]] bool isFormatKnown(const SequenceParameterSet& s) noexcept;

/// The constraints of 7.4.3.2 on an SPS by itself, those of its structures included; without profile and
/// level. Stops where reading stopped.
void checkSequenceParameterSet(const SequenceParameterSet& s, CFindings& findings);

} // namespace h265_syntax
