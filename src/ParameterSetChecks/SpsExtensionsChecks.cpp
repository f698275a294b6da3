#include "SpsExtensionsChecks.h"

#include "SequenceParameterSetChecks.h"

namespace h265_syntax {

namespace {

// I.7.4.3.2.5: sub-blocks of motion compensation lie between the smallest coding block and the CTB.
void check3d(const SequenceParameterSet& sps, CChecks checks)
{
    const Sps3dExtension& s = sps.sps_3d_extension;
    const BlockSizes sizes = blockSizes(sps);
    const auto iMin = static_cast<std::int64_t>(sizes.MinCbLog2SizeY) - 3;
    const auto iMax = static_cast<std::int64_t>(sizes.CtbLog2SizeY) - 3;
    RANGE_1(log2_ivmc_sub_pb_size_minus3, 0U, iMin, iMax, "I.7.4.3.2.5");
    RANGE_1(log2_texmc_sub_pb_size_minus3, 1U, iMin, iMax, "I.7.4.3.2.5");
}

// 7.4.3.2.3
void checkScc(const SpsSccExtension& s, CChecks checks)
{
    if (s.palette_mode_enabled_flag) {
        SHALL(s.palette_max_size != 0 || s.delta_palette_max_predictor_size == 0,
              BLAME(delta_palette_max_predictor_size),
              "7.4.3.2.3",
              "0",
              "a palette of no entries has no predictor");
        SHALL(s.palette_max_size != 0 || !s.sps_palette_predictor_initializers_present_flag,
              BLAME(sps_palette_predictor_initializers_present_flag),
              "7.4.3.2.3",
              "0",
              "a palette of no entries has no initial ones");
        const std::uint64_t ulMost = PaletteMaxPredictorSize(s);
        SHALL(s.palette_max_size == 0 || !s.sps_palette_predictor_initializers_present_flag ||
                  s.sps_num_palette_predictor_initializers_minus1 < ulMost,
              BLAME(sps_num_palette_predictor_initializers_minus1),
              "7.4.3.2.3",
              say("less than ", ulMost),
              "there are more initial palette entries than the predictor has room for, ",
              ulMost);
    }
    if (s.motion_vector_resolution_control_idc == 3)
        checks.reserved(BLAME(motion_vector_resolution_control_idc), "7.4.3.2.3", "0 to 2");
}

} // namespace

std::uint64_t PaletteMaxPredictorSize(const SpsSccExtension& s) noexcept
{
    return std::uint64_t{s.palette_max_size} + s.delta_palette_max_predictor_size;
}

void checkSpsExtensions(const SequenceParameterSet& sps, const CChecks& checks)
{
    if (sps.sps_3d_extension_flag)
        check3d(sps, checks.inside("sps_3d_extension"));
    if (sps.sps_scc_extension_flag)
        checkScc(sps.sps_scc_extension, checks.inside("sps_scc_extension"));
}

} // namespace h265_syntax
