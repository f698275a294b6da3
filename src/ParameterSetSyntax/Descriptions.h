#pragma once

#include <vector>

#include "Description.h"
#include "PictureParameterSetSyntax.h"
#include "SequenceParameterSetSyntax.h"
#include "VideoParameterSetSyntax.h"

// The descriptions that others contain; each is instantiated in its room for every use.

namespace h265_syntax {

template <class TUse>
void profile_tier_level(TUse& use, Of<TUse, ProfileTierLevel>& s, bool profilePresentFlag,
                        unsigned maxNumSubLayersMinus1);
template <class TUse>
void hrd_parameters(TUse& use, Of<TUse, HrdParameters>& s, bool commonInfPresentFlag, unsigned maxNumSubLayersMinus1,
                    const HrdParameters* pPrevious);
template <class TUse>
void vui_parameters(TUse& use, Of<TUse, VuiParameters>& s, const SequenceParameterSet& sps);
template <class TUse>
void scaling_list_data(TUse& use, Of<TUse, ScalingListDataSyntax>& s);
template <class TUse>
void st_ref_pic_set(TUse& use, Of<TUse, StRefPicSet>& s, unsigned stRpsIdx, unsigned num_short_term_ref_pic_sets,
                    const std::vector<StRefPicSet>& sets);

template <class TUse>
void sps_range_extension(TUse& use, Of<TUse, SpsRangeExtension>& s);
template <class TUse>
void sps_multilayer_extension(TUse& use, Of<TUse, SpsMultilayerExtension>& s);
template <class TUse>
void sps_3d_extension(TUse& use, Of<TUse, Sps3dExtension>& s);
template <class TUse>
void sps_scc_extension(TUse& use, Of<TUse, SpsSccExtension>& s, const SequenceParameterSet& sps);

template <class TUse>
void pps_range_extension(TUse& use, Of<TUse, PpsRangeExtension>& s, bool transform_skip_enabled_flag);
template <class TUse>
void pps_multilayer_extension(TUse& use, Of<TUse, PpsMultilayerExtension>& s);
template <class TUse>
void colour_mapping_table(TUse& use, Of<TUse, ColourMappingTable>& s);
template <class TUse>
void pps_3d_extension(TUse& use, Of<TUse, Pps3dExtension>& s);
template <class TUse>
void delta_lookup_table(TUse& use, Of<TUse, DeltaLookupTable>& s, unsigned i,
                        unsigned pps_bit_depth_for_depth_layers_minus8);
template <class TUse>
void pps_scc_extension(TUse& use, Of<TUse, PpsSccExtension>& s);

template <class TUse>
void vps_extension(TUse& use, Of<TUse, VideoParameterSet>& vps);
template <class TUse>
void rep_format(TUse& use, Of<TUse, RepFormat>& s, unsigned i, const RepFormat* pPrevious);
template <class TUse>
void dpb_size(TUse& use, Of<TUse, DpbSize>& s, const VideoParameterSet& vps);
template <class TUse>
void vps_vui(TUse& use, Of<TUse, VpsVui>& s, const VideoParameterSet& vps);
template <class TUse>
void vps_vui_bsp_hrd_params(TUse& use, Of<TUse, VpsVuiBspHrdParams>& s, const VideoParameterSet& vps);
template <class TUse>
void vps_3d_extension(TUse& use, Of<TUse, Vps3dExtension>& s, unsigned NumViews);

/// The whole sets, without rbsp_trailing_bits( ).
template <class TUse>
void video_parameter_set_rbsp(TUse& use, Of<TUse, VideoParameterSet>& s);
template <class TUse>
void seq_parameter_set_rbsp(TUse& use, Of<TUse, SequenceParameterSet>& s, const Context& context);
template <class TUse>
void pic_parameter_set_rbsp(TUse& use, Of<TUse, PictureParameterSet>& s);

} // namespace h265_syntax
