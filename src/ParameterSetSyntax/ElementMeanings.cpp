#include "ElementMeanings.h"

#include <algorithm>
#include <iterator>
#include <span>

namespace h265_syntax {

namespace {

// Table E.1
constexpr std::string_view ASPECT_RATIO_IDC[] = {"unspecified",
                                                 "1:1",
                                                 "12:11",
                                                 "10:11",
                                                 "16:11",
                                                 "40:33",
                                                 "24:11",
                                                 "20:11",
                                                 "32:11",
                                                 "80:33",
                                                 "18:11",
                                                 "15:11",
                                                 "64:33",
                                                 "160:99",
                                                 "4:3",
                                                 "3:2",
                                                 "2:1"};

// Table E.2
constexpr std::string_view VIDEO_FORMAT[] = {"component", "PAL", "NTSC", "SECAM", "MAC", "unspecified"};

// Table E.3
constexpr std::string_view COLOUR_PRIMARIES[] = {"reserved",
                                                 "BT.709",
                                                 "unspecified",
                                                 "reserved",
                                                 "BT.470 System M",
                                                 "BT.601, 625 lines",
                                                 "BT.601, 525 lines",
                                                 "SMPTE 240M",
                                                 "generic film",
                                                 "BT.2020",
                                                 "CIE 1931 XYZ (SMPTE ST 428-1)",
                                                 "DCI-P3 (SMPTE RP 431-2)",
                                                 "Display P3 (SMPTE EG 432-1)",
                                                 "",
                                                 "",
                                                 "",
                                                 "",
                                                 "",
                                                 "",
                                                 "",
                                                 "",
                                                 "",
                                                 "EBU Tech 3213-E"};

// Table E.4
constexpr std::string_view TRANSFER_CHARACTERISTICS[] = {"reserved",
                                                         "BT.709",
                                                         "unspecified",
                                                         "reserved",
                                                         "gamma 2.2 (BT.470 System M)",
                                                         "gamma 2.8 (BT.470 System B, G)",
                                                         "BT.601",
                                                         "SMPTE 240M",
                                                         "linear",
                                                         "logarithmic, 100:1",
                                                         "logarithmic, 316:1",
                                                         "IEC 61966-2-4",
                                                         "BT.1361",
                                                         "sRGB (IEC 61966-2-1)",
                                                         "BT.2020, 10 bits",
                                                         "BT.2020, 12 bits",
                                                         "PQ (SMPTE ST 2084)",
                                                         "SMPTE ST 428-1",
                                                         "HLG (BT.2100)"};

// Table E.5
constexpr std::string_view MATRIX_COEFFS[] = {"identity (RGB, XYZ)",
                                              "BT.709",
                                              "unspecified",
                                              "reserved",
                                              "FCC",
                                              "BT.601, 625 lines",
                                              "BT.601, 525 lines",
                                              "SMPTE 240M",
                                              "YCgCo",
                                              "BT.2020, non-constant luminance",
                                              "BT.2020, constant luminance",
                                              "Y'D'zD'x (SMPTE ST 2085)",
                                              "chromaticity-derived, non-constant luminance",
                                              "chromaticity-derived, constant luminance",
                                              "ICtCp (BT.2100)"};

constexpr std::string_view CHROMA_FORMAT_IDC[] = {"4:0:0", "4:2:0", "4:2:2", "4:4:4"};

// Figure E.1
constexpr std::string_view CHROMA_SAMPLE_LOC_TYPE[] = {"left", "centre", "top left", "top", "bottom left", "bottom"};

constexpr std::string_view VIDEO_FULL_RANGE_FLAG[] = {"limited range", "full range"};

constexpr std::string_view TIER_FLAG[] = {"Main tier", "High tier"};

constexpr std::string_view PROFILE_IDC[] = {"",
                                            "Main",
                                            "Main 10",
                                            "Main Still Picture",
                                            "Range Extensions",
                                            "High Throughput",
                                            "Multiview Main",
                                            "Scalable Main",
                                            "3D Main",
                                            "Screen Content Coding",
                                            "Scalable Range Extensions",
                                            "High Throughput Screen Content Coding"};

constexpr std::string_view DEFAULT_OUTPUT_LAYER_IDC[] = {"all layers", "the highest layer", "as signalled"};

constexpr std::string_view DEPENDENCY_TYPE[] = {"samples", "motion", "samples and motion"};

constexpr std::string_view CONSTANT_PIC_RATE_IDC[] = {"not constant", "constant", "constant or not"};

struct Element
{
    std::string_view name;
    std::span<const std::string_view> meanings; // by value; what is empty or behind the end is reserved
};

// In alphabetical order, which the search relies on.
constexpr Element ELEMENTS[] = {
    {"aspect_ratio_idc", ASPECT_RATIO_IDC},
    {"chroma_format_idc", CHROMA_FORMAT_IDC},
    {"chroma_format_vps_idc", CHROMA_FORMAT_IDC},
    {"chroma_sample_loc_type_bottom_field", CHROMA_SAMPLE_LOC_TYPE},
    {"chroma_sample_loc_type_top_field", CHROMA_SAMPLE_LOC_TYPE},
    {"colour_primaries", COLOUR_PRIMARIES},
    {"colour_primaries_vps", COLOUR_PRIMARIES},
    {"constant_pic_rate_idc", CONSTANT_PIC_RATE_IDC},
    {"default_output_layer_idc", DEFAULT_OUTPUT_LAYER_IDC},
    {"direct_dependency_all_layers_type", DEPENDENCY_TYPE},
    {"direct_dependency_type", DEPENDENCY_TYPE},
    {"general_profile_idc", PROFILE_IDC},
    {"general_tier_flag", TIER_FLAG},
    {"matrix_coeffs", MATRIX_COEFFS},
    {"matrix_coeffs_vps", MATRIX_COEFFS},
    {"sub_layer_profile_idc", PROFILE_IDC},
    {"sub_layer_tier_flag", TIER_FLAG},
    {"transfer_characteristics", TRANSFER_CHARACTERISTICS},
    {"transfer_characteristics_vps", TRANSFER_CHARACTERISTICS},
    {"video_format", VIDEO_FORMAT},
    {"video_full_range_flag", VIDEO_FULL_RANGE_FLAG},
    {"video_full_range_vps_flag", VIDEO_FULL_RANGE_FLAG},
    {"video_vps_format", VIDEO_FORMAT},
};

// The level numbers of A.4.1, and 8.5.
struct LevelName
{
    unsigned level_idc;
    std::string_view name;
};

constexpr LevelName LEVEL_NAMES[] = {{30, "level 1"},
                                     {60, "level 2"},
                                     {63, "level 2.1"},
                                     {90, "level 3"},
                                     {93, "level 3.1"},
                                     {120, "level 4"},
                                     {123, "level 4.1"},
                                     {150, "level 5"},
                                     {153, "level 5.1"},
                                     {156, "level 5.2"},
                                     {180, "level 6"},
                                     {183, "level 6.1"},
                                     {186, "level 6.2"},
                                     {255, "level 8.5, no limits"}};

constexpr std::int64_t EXTENDED_SAR = 255;

std::string_view levelMeaning(std::int64_t iValue) noexcept
{
    const auto* const position = std::find_if(std::begin(LEVEL_NAMES),
                                              std::end(LEVEL_NAMES),
                                              [&](const LevelName& level) { return level.level_idc == iValue; });
    return position != std::end(LEVEL_NAMES) ? position->name : std::string_view("reserved");
}

} // namespace

std::string_view meaningOf(std::string_view element, std::int64_t iValue) noexcept
{
    if (element == "general_level_idc" || element == "sub_layer_level_idc")
        return levelMeaning(iValue);
    if (element == "aspect_ratio_idc" && iValue == EXTENDED_SAR)
        return "as sar_width and sar_height say";
    const auto* const position = std::lower_bound(
        std::begin(ELEMENTS), std::end(ELEMENTS), element, [](const Element& entry, std::string_view name) {
            return entry.name < name;
        });
    if (position == std::end(ELEMENTS) || position->name != element)
        return {};
    const std::span<const std::string_view> names = position->meanings;
    if (iValue < 0 || static_cast<std::uint64_t>(iValue) >= names.size())
        return "reserved";
    const std::string_view name = names[static_cast<std::size_t>(iValue)];
    return name.empty() ? std::string_view("reserved") : name;
}

} // namespace h265_syntax
