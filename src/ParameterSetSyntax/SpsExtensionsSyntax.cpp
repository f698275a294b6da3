#include "SpsExtensionsSyntax.h"

#include "Description.h"
#include "Descriptions.h"

namespace h265_syntax {

// 7.3.2.2.2
template <class TUse>
void sps_range_extension(TUse& use, Of<TUse, SpsRangeExtension>& s)
{
    const Inside inside(use, "sps_range_extension");
    FLAG(transform_skip_rotation_enabled_flag);
    FLAG(transform_skip_context_enabled_flag);
    FLAG(implicit_rdpcm_enabled_flag);
    FLAG(explicit_rdpcm_enabled_flag);
    FLAG(extended_precision_processing_flag);
    FLAG(intra_smoothing_disabled_flag);
    FLAG(high_precision_offsets_enabled_flag);
    FLAG(persistent_rice_adaptation_enabled_flag);
    FLAG(cabac_bypass_alignment_enabled_flag);
}

// F.7.3.2.2.4
template <class TUse>
void sps_multilayer_extension(TUse& use, Of<TUse, SpsMultilayerExtension>& s)
{
    const Inside inside(use, "sps_multilayer_extension");
    FLAG(inter_view_mv_vert_constraint_flag);
}

// I.7.3.2.2.5
template <class TUse>
void sps_3d_extension(TUse& use, Of<TUse, Sps3dExtension>& s)
{
    const Inside inside(use, "sps_3d_extension");
    for (unsigned d = 0; d <= 1; ++d) {
        FLAG(iv_di_mc_enabled_flag, d);
        FLAG(iv_mv_scal_enabled_flag, d);
        if (d == 0) {
            UE(log2_ivmc_sub_pb_size_minus3, d);
            FLAG(iv_res_pred_enabled_flag, d);
            FLAG(depth_ref_enabled_flag, d);
            FLAG(vsp_mc_enabled_flag, d);
            FLAG(dbbp_enabled_flag, d);
        } else {
            FLAG(tex_mc_enabled_flag, d);
            UE(log2_texmc_sub_pb_size_minus3, d);
            FLAG(intra_contour_enabled_flag, d);
            FLAG(intra_dc_only_wedge_enabled_flag, d);
            FLAG(cqt_cu_part_pred_enabled_flag, d);
            FLAG(inter_dc_only_enabled_flag, d);
            FLAG(skip_intra_enabled_flag, d);
        }
    }
}

// 7.3.2.2.3
template <class TUse>
void sps_scc_extension(TUse& use, Of<TUse, SpsSccExtension>& s, const SequenceParameterSet& sps)
{
    const Inside inside(use, "sps_scc_extension");
    FLAG(sps_curr_pic_ref_enabled_flag);
    FLAG(palette_mode_enabled_flag);
    if (s.palette_mode_enabled_flag) {
        UE(palette_max_size);
        UE(delta_palette_max_predictor_size);
        FLAG(sps_palette_predictor_initializers_present_flag);
        if (s.sps_palette_predictor_initializers_present_flag) {
            UE(sps_num_palette_predictor_initializers_minus1);
            use.needs(sps.bFormatKnown, "sps_palette_predictor_initializer");
            const unsigned numComps = (sps.chroma_format_idc == 0) ? 1 : 3;
            for (unsigned comp = 0; comp < numComps; ++comp) {
                const std::uint64_t BitDepth =
                    std::uint64_t{8} + (comp == 0 ? sps.bit_depth_luma_minus8 : sps.bit_depth_chroma_minus8);
                for (std::uint32_t i = 0;
                     i < use.upTo(s.sps_num_palette_predictor_initializers_minus1 + std::uint64_t{1});
                     ++i) {
                    ROOM_IN(sps_palette_predictor_initializer, i, comp);
                    UV(BitDepth, sps_palette_predictor_initializer, comp, i);
                }
            }
        }
    } else {
        INFER(palette_max_size, 0);                                // 7.4.3.2.3
        INFER(delta_palette_max_predictor_size, 0);                // 7.4.3.2.3
        INFER(sps_palette_predictor_initializers_present_flag, 0); // 7.4.3.2.3
    }
    U(2, motion_vector_resolution_control_idc);
    FLAG(intra_boundary_filtering_disabled_flag);
}

#define INSTANTIATE(TUse)                                                                                              \
    template void sps_range_extension(TUse&, Of<TUse, SpsRangeExtension>&);                                            \
    template void sps_multilayer_extension(TUse&, Of<TUse, SpsMultilayerExtension>&);                                  \
    template void sps_3d_extension(TUse&, Of<TUse, Sps3dExtension>&);                                                  \
    template void sps_scc_extension(TUse&, Of<TUse, SpsSccExtension>&, const SequenceParameterSet&);
H265_FOR_EACH_USE(INSTANTIATE)

} // namespace h265_syntax
