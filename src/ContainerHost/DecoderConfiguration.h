#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_container {

/// How much a finding weighs: an error where a standard says shall, a warning where players differ.
enum class ESeverity
{
    Note,
    Warning,
    Error
};

/// Which of the two records of ISO/IEC 14496-15 a box holds.
enum class EConfigurationBox
{
    HvcC, // 8.3.2.1 HEVCDecoderConfigurationRecord; Matroska's CodecPrivate too
    LhvC  // 9.5.3.1 LHEVCDecoderConfigurationRecord: no profile, chroma format and frame rate
};

/// One array of NAL units of a record.
struct ConfigurationArray
{
    bool array_completeness;
    unsigned char NAL_unit_type; // 0 … 63
    std::uint16_t numNalus;
    std::size_t uiOffset; // of its first byte in the record
};

/// One NAL unit of an array. The bytes lie in the content that was read.
struct ConfigurationUnit
{
    std::size_t uiArray;
    std::size_t uiOffset;                 // of its header in the record
    std::span<const unsigned char> bytes; // without zero bytes at the end, which are no part of a NAL unit
    std::size_t uiStrippedZeros;
    std::size_t uiStartCode = 0; // bytes of one that stands in front of the header, counted by the length
};

/// What is wrong with a record.
struct ConfigurationFinding
{
    ESeverity eSeverity;
    std::size_t uiOffset; // in the record
    std::string message;
};

/// A decoder configuration record, ISO/IEC 14496-15 8.3.2.1.2 and 9.5.3.1.2. Fields that the content is too
/// short for, or that lhvC does not have, are 0.
struct DecoderConfiguration
{
    EConfigurationBox eBox = EConfigurationBox::HvcC;
    unsigned char configurationVersion = 0; // 1
    unsigned char general_profile_space = 0;
    bool general_tier_flag = false;
    unsigned char general_profile_idc = 0;
    std::uint32_t general_profile_compatibility_flags = 0; // flag 0 is bit 31
    std::uint64_t general_constraint_indicator_flags = 0;  // 48 bits
    unsigned char general_level_idc = 0;
    std::uint16_t min_spatial_segmentation_idc = 0;
    unsigned char parallelismType = 0;
    unsigned char chroma_format_idc = 0;
    unsigned char bit_depth_luma_minus8 = 0;
    unsigned char bit_depth_chroma_minus8 = 0;
    std::uint16_t avgFrameRate = 0; // pictures in 256 seconds
    unsigned char constantFrameRate = 0;
    unsigned char numTemporalLayers = 0;
    bool temporalIdNested = false;
    unsigned char lengthSizeMinusOne = 3; // 4-byte lengths where nothing says otherwise
    unsigned char numOfArrays = 0;

    std::size_t uiFieldBits = 0; // that the content has of the fields above
    std::vector<ConfigurationArray> arrays;
    std::vector<ConfigurationUnit> units;
    std::vector<ConfigurationFinding> findings;
};

/// One field with its place.
struct ConfigurationField
{
    const char* pName;
    std::size_t uiBit; // of its first bit in the record
    unsigned uiWidth;  // bits
    std::uint64_t ulValue;
};

/// Bytes of a record that are read; none comes near it.
inline constexpr std::size_t MAX_CONFIGURATION_BYTES = std::size_t{1} << 20;

/// Reads a record, as far as it goes: what is wrong stands in its findings. The units point into content.
DecoderConfiguration readDecoderConfiguration(std::span<const unsigned char> content, EConfigurationBox eBox);

/// The fields that the content had, in their order.
std::vector<ConfigurationField> configurationFields(const DecoderConfiguration& configuration);

/// The record as bytes: fields, arrays and their units as they stand; numOfArrays and each numNalus are
/// counted.
std::vector<unsigned char> writeDecoderConfiguration(const DecoderConfiguration& configuration);

/// What a record takes from an SPS.
struct SpsForConfiguration
{
    unsigned char general_profile_space = 0;
    bool general_tier_flag = false;
    unsigned char general_profile_idc = 0;
    std::uint32_t general_profile_compatibility_flags = 0;
    std::uint64_t general_constraint_indicator_flags = 0;
    unsigned char general_level_idc = 0;
    unsigned char chroma_format_idc = 0;
    unsigned char bit_depth_luma_minus8 = 0;
    unsigned char bit_depth_chroma_minus8 = 0;
    unsigned char sps_max_sub_layers_minus1 = 0;
    bool sps_temporal_id_nesting_flag = false;
    std::uint16_t min_spatial_segmentation_idc = 0; // of its VUI, 0 without
};

/// What a record takes from a PPS.
struct PpsForConfiguration
{
    bool tiles_enabled_flag = false;
    bool entropy_coding_sync_enabled_flag = false;
};

/// The NAL units of one type for a record.
struct UnitsForConfiguration
{
    unsigned char NAL_unit_type;
    bool array_completeness;
    std::vector<std::span<const unsigned char>> units;
};

/// The record that is right for the sets, with 4-byte lengths: what all SPSs are compatible with, the highest
/// tier and level, the lowest min_spatial_segmentation_idc. Or why there is none: sets that one record
/// cannot speak for (14496-15 8.3.2.1.1), or a unit of more than 65535 bytes.
std::variant<DecoderConfiguration, std::string> makeDecoderConfiguration(std::span<const SpsForConfiguration> spss,
                                                                         std::span<const PpsForConfiguration> ppss,
                                                                         std::span<const UnitsForConfiguration> units);

} // namespace h265_container
