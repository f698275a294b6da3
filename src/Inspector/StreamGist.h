#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "H265psExport.h"
#include "ParameterSetSyntax.h"

namespace H265PS_EXPORT h265_inspect {

/// Frames a second: ulNumerator / ulDenominator.
struct FrameRate
{
    std::uint64_t ulNumerator = 0;
    std::uint64_t ulDenominator = 1;
    bool bFromVps = false; // the VUI has none
};

/// The shape of a sample, or of a pixel: width to height.
struct AspectRatio
{
    unsigned uiWidth = 1;
    unsigned uiHeight = 1;
};

/// What an SPS, with the VPS that it names, says of its pictures.
struct SequenceGist
{
    std::uint32_t uiWidth = 0; // behind the cropping of the conformance window
    std::uint32_t uiHeight = 0;
    std::uint32_t uiCodedWidth = 0;
    std::uint32_t uiCodedHeight = 0;
    bool bEmptyWindow = false; // nothing would be left: then not cropped
    std::optional<FrameRate> frameRate;
    std::string profile; // "Main 10"; "profile 77" for a value without a name
    std::string level;   // "5.1"; empty for a value without a name
    unsigned general_level_idc = 0;
    bool general_tier_flag = false; // High tier
    std::uint32_t BitDepthY = 8;
    std::uint32_t BitDepthC = 8;
    std::uint32_t chroma_format_idc = 1;
    bool separate_colour_plane_flag = false;
    std::string colour;             // "BT.2020 PQ"; empty when it is unspecified
    std::optional<bool> bFullRange; // none when the VUI does not say
    std::uint16_t colour_primaries = 2;
    std::uint16_t transfer_characteristics = 2;
    std::uint16_t matrix_coeffs = 2;
    std::optional<AspectRatio> sampleAspectRatio; // none when it is unspecified
    bool bInterlaced = false;
    bool bFields = false; // each field is a picture of its own
    unsigned uiLayers = 1;
    unsigned uiViews = 1;
    std::string codecs; // "hvc1.2.4.L153.B0"
};

/// pVps: null when it is not there. rbsp: of the NAL unit that the SPS was read from.
SequenceGist gistOf(const h265_syntax::SequenceParameterSet& sps, const h265_syntax::VideoParameterSet* pVps,
                    std::span<const unsigned char> rbsp);

/// In one line: "1920x1080, 10-bit 4:2:0, Main 10, level 4.1, 50 frames a second (VUI), BT.2020 PQ, limited range".
std::string textOf(const SequenceGist& gist);

/// What the VUI says, and nothing else: "50 frames a second (VUI), BT.2020 PQ, limited range".
std::string vuiTextOf(const SequenceGist& gist);

/// "10-bit 4:2:2", and its halves.
std::string samplesOf(const SequenceGist& gist);
std::string chromaFormatOf(const SequenceGist& gist);

/// A number with two decimals at most: "29.97", "25".
std::string decimalOf(std::uint64_t ulNumerator, std::uint64_t ulDenominator);

/// "1 frame a second", "29.97 frames a second".
std::string perSecond(const std::string& number, const char* pNoun);

} // namespace h265_inspect
