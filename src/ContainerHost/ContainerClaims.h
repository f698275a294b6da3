#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "DecoderConfiguration.h"
#include "H265psExport.h"

namespace H265PS_EXPORT h265_container {

/// One thing that a container says of its stream, with its place.
template <class T>
struct Claim
{
    T value;
    std::string box;                       // path of the box, element or descriptor
    std::optional<std::uint64_t> ulOffset; // byte of the file; none where the bytes do not stand so in it
};

struct SizeClaim
{
    double width; // pixels; tkhd counts in 1/65536
    double height;
    bool bShapeOnly = false; // of tkhd: the one to the other, in no unit
};

/// pasp, or the shape of a pixel.
struct RatioClaim
{
    std::uint32_t uiHorizontal;
    std::uint32_t uiVertical;
};

/// ISO/IEC 14496-12 12.1.4.2 clap: numerators and denominators.
struct CleanApertureClaim
{
    std::uint32_t uiWidthN, uiWidthD, uiHeightN, uiHeightD;
    std::int32_t iHorizOffN;
    std::uint32_t uiHorizOffD;
    std::int32_t iVertOffN;
    std::uint32_t uiVertOffD;
};

/// colr nclx and nclc, or Matroska's Colour: the code points of ISO/IEC 23091-2; what is not stated is none.
struct ColourClaim
{
    std::string type; // nclx, nclc, prof, rICC, Colour
    std::optional<unsigned> uiPrimaries;
    std::optional<unsigned> uiTransfer;
    std::optional<unsigned> uiMatrix;
    std::optional<bool> bFullRange;
};

/// Matroska's Video master element, as far as it concerns the picture. What is absent is none.
struct MatroskaVideoClaim
{
    std::optional<std::uint64_t> ulPixelWidth, ulPixelHeight;
    std::optional<std::uint64_t> ulPixelCropLeft, ulPixelCropRight, ulPixelCropTop, ulPixelCropBottom;
    std::optional<std::uint64_t> ulDisplayWidth, ulDisplayHeight, ulDisplayUnit;
    std::optional<std::uint64_t> ulStereoMode;
    std::optional<std::uint64_t> ulBitsPerChannel, ulChromaSubsamplingHorz, ulChromaSubsamplingVert;
    std::optional<std::uint64_t> ulMaxCLL, ulMaxFALL;
};

/// ITU-T H.222.0 2.6.95, HEVC video descriptor.
struct HevcDescriptorClaim
{
    unsigned char profile_space;
    bool tier_flag;
    unsigned char profile_idc;
    std::uint32_t profile_compatibility_indication;
    bool progressive_source_flag, interlaced_source_flag, non_packed_constraint_flag, frame_only_constraint_flag;
    std::uint64_t copied_44bits;
    unsigned char level_idc;
    bool temporal_layer_subset_flag;
    bool HEVC_still_present_flag;
    bool HEVC_24hr_picture_present_flag;
    bool sub_pic_hrd_params_not_present_flag;
    unsigned char HDR_WCG_idc;
    unsigned char temporal_id_min; // 0 without the subset flag
    unsigned char temporal_id_max;
};

/// RFC 7798 7.1, what an a=fmtp line says of the stream beside its sets.
struct SessionClaim
{
    std::optional<std::uint64_t> profile_space, profile_id, tier_flag, level_id;
    std::optional<std::uint64_t> profile_compatibility_indicator; // 32 bits
    std::optional<std::uint64_t> interop_constraints;             // 48 bits
};

/// fiel, or Matroska's FlagInterlaced, where they say the one or the other.
struct ScanClaim
{
    bool bInterlaced; // else progressive
};

/// A frame rate that is stated as constant.
struct FrameRateClaim
{
    std::uint64_t ulPictures;
    std::uint64_t ulSeconds; // for so many pictures
};

/// Everything that a container claims about one stream, or one sample description of it.
struct ContainerClaims
{
    std::uint64_t ulTrack = 0;
    unsigned uiDescription = 0; // sample description from 1; 0 where there is one only
    std::string codec; // hvc1, V_MPEGH/ISO/HEVC, stream type 0x24 …; of a protected entry its original format
    std::optional<Claim<DecoderConfiguration>> hvcC; // its units are not kept: they are delivered as NAL units
    std::optional<Claim<DecoderConfiguration>> lhvC;
    std::optional<Claim<SizeClaim>> entrySize;   // of the sample entry
    std::optional<Claim<SizeClaim>> trackSize;   // tkhd
    std::optional<Claim<SizeClaim>> imageSize;   // ispe
    std::optional<Claim<RatioClaim>> pixelShape; // pasp
    std::optional<Claim<CleanApertureClaim>> cleanAperture;
    std::vector<Claim<ColourClaim>> colours;                 // colr, in their order
    std::optional<Claim<std::vector<unsigned>>> pixelDepths; // pixi
    std::optional<Claim<MatroskaVideoClaim>> matroskaVideo;
    std::optional<Claim<HevcDescriptorClaim>> hevcDescriptor;
    std::optional<Claim<SessionClaim>> session;
    std::optional<Claim<ScanClaim>> scan;
    std::optional<Claim<FrameRateClaim>> constantFrameRate;
};

} // namespace h265_container
