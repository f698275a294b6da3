#include "VideoParameterSet.h"

#include "ModuleServices.h"
#include "SyntaxRead.h"

namespace h265_codec {

using namespace syntax;

namespace {

// 7.3.2.1, behind profile_tier_level( ). The base layer needs nothing behind vps_num_layer_sets_minus1:
// layer sets, timing and HRD information are not parsed, so the last two flags are right only when
// those are absent.
template <class TReader>
int readBehindProfile(VPS* vps, TReader* pBS) noexcept
{
    CBitWindow<TReader> bits(pBS);
    int iResult = read(bits, flag(vps->vps_sub_layer_ordering_info_present_flag));
    if (iResult != 0)
        return iResult;

    const unsigned uiHighest = vps->vps_max_sub_layers_minus1;
    unsigned uiDropped = 0;
    for (unsigned i = vps->vps_sub_layer_ordering_info_present_flag ? 0 : uiHighest; i <= uiHighest; ++i) {
        iResult = read(bits,
                       uePlus<unsigned>(entryOr(vps->vps_max_dec_pic_buffering, i, uiDropped), 1),
                       ue(entryOr(vps->vps_max_num_reorder_pics, i, uiDropped)),
                       ue(entryOr(vps->vps_max_latency_increase_plus1, i, uiDropped)));
        if (iResult != 0)
            return iResult;
    }
    return read(bits,
                u(6, vps->vps_max_layer_id),
                ue(vps->vps_num_layer_sets_minus1),
                flag(vps->vps_timing_info_present_flag),
                flag(vps->vps_extension_flag));
}

// 7.3.2.1
template <class TReader>
int readVideoParameterSet(VPS* vps, TReader* pBS) noexcept
{
    int iResult = read(pBS,
                       u(4, vps->vps_video_parameter_set_id),
                       u(2, vps->vps_reserved_three_2bits),
                       u(6, vps->vps_max_layers_minus1),
                       u(3, vps->vps_max_sub_layers_minus1),
                       flag(vps->vps_temporal_id_nesting_flag),
                       u(16, vps->vps_reserved_0xffff_16bits));
    if (iResult != 0)
        return iResult;

    // Ignored on purpose: reading goes on from wherever a payload that ends in there leaves the reader.
    (void)read_profile_tile_level(&vps->ptl, vps->vps_max_sub_layers_minus1, pBS);

    iResult = readBehindProfile(vps, pBS);
    if (iResult != 0)
        return iResult;
    pBS->readTailing();
    return 0;
}

} // namespace

int readVPS(VPS* vps, CBitStreamReader* pBS) noexcept
{
    return readVideoParameterSet(vps, pBS);
}

int readVPS(VPS* vps, CRbspReader* pBS) noexcept
{
    return readVideoParameterSet(vps, pBS);
}

int verifyVPS(VPS* vps) noexcept
{
    if (vps->vps_max_layers_minus1 != 0) {
        logError("vps_max_layers_minus should be zero");
        return E_BS_NOT_ENOUGH_BITS;
    }
    return 0;
}

} // namespace h265_codec
