#include "Description.h"
#include "Descriptions.h"
#include "VpsVuiSyntax.h"

namespace h265_syntax {

namespace {

constexpr unsigned MAX_PARTITIONING_SCHEMES = 16; // F.7.4.3.1.6

template <class TUse>
void additionalHrds(TUse& use, Of<TUse, VpsVuiBspHrdParams>& s, const VideoParameterSet& vps)
{
    const std::uint32_t uiFirst = vps.vps_num_hrd_parameters;
    UE_UPTO(1024, vps_num_add_hrd_params);
    for (std::uint32_t i = uiFirst; i < use.upTo(std::uint64_t{uiFirst} + s.vps_num_add_hrd_params); ++i) {
        ROOM(cprms_add_present_flag, i);
        ROOM(num_sub_layer_hrd_minus1, i);
        ROOM(hrd_parameters, i - uiFirst);
        if (i > 0)
            FLAG(cprms_add_present_flag, i);
        else
            INFER(cprms_add_present_flag, 1, i); // F.7.4.3.1.6
        UE_UPTO(MAX_SUB_LAYERS - 1, num_sub_layer_hrd_minus1, i);
        const HrdParameters* pPrevious = nullptr;
        if (i > uiFirst)
            pPrevious = &ENTRY(hrd_parameters, i - uiFirst - 1);
        else if (i > 0)
            pPrevious = &entryOf(vps.hrd_parameters, i - 1);
        if (use.upTo(1) == 0)
            return;
        const Inside inside(use, "hrd_parameters", i);
        hrd_parameters(use,
                       ENTRY(hrd_parameters, i - uiFirst),
                       ENTRY(cprms_add_present_flag, i) != 0,
                       ENTRY(num_sub_layer_hrd_minus1, i),
                       pPrevious);
    }
}

template <class TUse>
void partitioningSchemes(TUse& use, Of<TUse, VpsVuiBspHrdParams>& s, unsigned h, unsigned NumLayersInIdList)
{
    ROOM(num_signalled_partitioning_schemes, h);
    ROOM(num_partitions_in_scheme_minus1, h);
    ROOM(layer_included_in_partition_flag, h);
    UE_UPTO(MAX_PARTITIONING_SCHEMES, num_signalled_partitioning_schemes, h);
    ROOM_IN(num_partitions_in_scheme_minus1, 0, h);
    INFER(num_partitions_in_scheme_minus1, 0, h, 0U); // F.7.4.3.1.6
    for (unsigned j = 1; j < use.upTo(ENTRY(num_signalled_partitioning_schemes, h) + 1); ++j) {
        ROOM_IN(num_partitions_in_scheme_minus1, j, h);
        ROOM_IN(layer_included_in_partition_flag, j, h);
        UE_UPTO(MAX_LAYERS - 1, num_partitions_in_scheme_minus1, h, j);
        for (unsigned k = 0; k < use.upTo(ENTRY(num_partitions_in_scheme_minus1, h, j) + 1); ++k) {
            ROOM_IN(layer_included_in_partition_flag, k, h, j);
            for (unsigned r = 0; r < NumLayersInIdList; ++r) {
                ROOM_IN(layer_included_in_partition_flag, r, h, j, k);
                FLAG(layer_included_in_partition_flag, h, j, k, r);
            }
        }
    }
}

template <class TUse>
void schedules(TUse& use, Of<TUse, VpsVuiBspHrdParams>& s, unsigned h, unsigned i, unsigned t, std::uint64_t uiHrds)
{
    UE_UPTO(MAX_CPBS - 1, num_bsp_schedules_minus1, h, i, t);
    for (unsigned j = 0; j < use.upTo(ENTRY(num_bsp_schedules_minus1, h, i, t) + 1); ++j) {
        ROOM_IN(bsp_hrd_idx, j, h, i, t);
        ROOM_IN(bsp_sched_idx, j, h, i, t);
        for (unsigned k = 0; k < use.upTo(ENTRY(num_partitions_in_scheme_minus1, h, i) + 1); ++k) {
            ROOM_IN(bsp_hrd_idx, k, h, i, t, j);
            ROOM_IN(bsp_sched_idx, k, h, i, t, j);
            if (uiHrds > 1)
                UV(ceilLog2(uiHrds), bsp_hrd_idx, h, i, t, j, k);
            else
                INFER(bsp_hrd_idx, 0, h, i, t, j, k); // F.7.4.3.1.6
            UE(bsp_sched_idx, h, i, t, j, k);
        }
    }
}

} // namespace

// F.7.3.2.1.6; the loop over bsp_hrd_idx takes num_partitions_in_scheme_minus1 of scheme i.
template <class TUse>
void vps_vui_bsp_hrd_params(TUse& use, Of<TUse, VpsVuiBspHrdParams>& s, const VideoParameterSet& vps)
{
    const Inside inside(use, "vps_vui_bsp_hrd_params");
    const LayerVariables& layers = *vps.layers;
    additionalHrds(use, s, vps);
    const std::uint64_t uiHrds = std::uint64_t{vps.vps_num_hrd_parameters} + s.vps_num_add_hrd_params;
    if (uiHrds == 0)
        return;
    for (unsigned h = 1; h < use.upTo(layers.NumOutputLayerSets); ++h) {
        const unsigned OlsIdxToLsIdx = entryOf(layers.aOls, h).OlsIdxToLsIdx;
        partitioningSchemes(use, s, h, entryOf(layers.LayerSetLayerIdList, OlsIdxToLsIdx).uiCount);
        ROOM(num_bsp_schedules_minus1, h);
        ROOM(bsp_hrd_idx, h);
        ROOM(bsp_sched_idx, h);
        for (unsigned i = 0; i < use.upTo(ENTRY(num_signalled_partitioning_schemes, h) + 1); ++i) {
            ROOM_IN(num_bsp_schedules_minus1, i, h);
            ROOM_IN(bsp_hrd_idx, i, h);
            ROOM_IN(bsp_sched_idx, i, h);
            for (unsigned t = 0; t <= entryOf(layers.MaxSubLayersInLayerSetMinus1, OlsIdxToLsIdx); ++t)
                schedules(use, s, h, i, t, uiHrds);
        }
    }
}

#define INSTANTIATE(TUse)                                                                                              \
    template void vps_vui_bsp_hrd_params(TUse&, Of<TUse, VpsVuiBspHrdParams>&, const VideoParameterSet&);
H265_FOR_EACH_USE(INSTANTIATE)

} // namespace h265_syntax
