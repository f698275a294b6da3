#include <algorithm>
#include <bit>

#include "ElementMeanings.h"
#include "HrdChecks.h"
#include "VpsExtensionChecks.h"

namespace h265_syntax {

namespace {

// F.7.4.3.1.5, with the tables of E.3.1.
void checkVideoSignalInfo(const VideoSignalInfo& s, CChecks checks)
{
    const auto check = [&](const Blamed& blamed) {
        if (meaningOf(blamed.pName, blamed.iValue) == "reserved")
            checks.reserved(blamed, "F.7.4.3.1.5", "a value of its table in E.3.1");
    };
    check(BLAME(video_vps_format));
    check(BLAME(colour_primaries_vps));
    check(BLAME(transfer_characteristics_vps));
    check(BLAME(matrix_coeffs_vps));
}

// F.7.4.3.1.4: what the mantissa and the exponent of a rate stand for, in bits a second.
std::uint64_t bitRateBps(std::uint16_t uiRate)
{
    std::uint64_t ulRate = std::uint64_t{uiRate & 0x3fffU} * 100;
    for (unsigned i = uiRate >> 14; i > 0; --i)
        ulRate *= 10;
    return ulRate;
}

void checkBitRates(const VideoParameterSet& vps, CChecks& checks)
{
    const VpsVui& s = *vps.vps_extension->vps_vui;
    const std::size_t uiSets =
        std::min<std::size_t>({vps.layers->NumLayerSets, s.bit_rate_present_flag.size(), s.max_bit_rate.size()});
    for (unsigned i = vps.vps_base_layer_internal_flag ? 0 : 1; i < uiSets; ++i) {
        for (unsigned j = 0; j <= vps.layers->MaxSubLayersInLayerSetMinus1[i]; ++j)
            SHOULD(!s.bit_rate_present_flag[i][j] ||
                       bitRateBps(s.avg_bit_rate[i][j]) <= bitRateBps(s.max_bit_rate[i][j]),
                   BLAME_2(avg_bit_rate, i, j),
                   "F.7.4.3.1.4",
                   "at most max_bit_rate",
                   "the average bit rate, ",
                   bitRateBps(s.avg_bit_rate[i][j]),
                   " bits a second, is above the largest one, ",
                   bitRateBps(s.max_bit_rate[i][j]));
    }
}

// F.7.4.3.1.4
void checkPicRates(const VideoParameterSet& vps, CChecks& checks)
{
    const VpsVui& s = *vps.vps_extension->vps_vui;
    const std::size_t uiSets = std::min<std::size_t>(
        {vps.layers->NumLayerSets, s.pic_rate_present_flag.size(), s.constant_pic_rate_idc.size()});
    for (unsigned i = vps.vps_base_layer_internal_flag ? 0 : 1; i < uiSets; ++i) {
        for (unsigned j = 0; j <= vps.layers->MaxSubLayersInLayerSetMinus1[i]; ++j) {
            if (s.pic_rate_present_flag[i][j] && s.constant_pic_rate_idc[i][j] == 3)
                checks.reserved(BLAME_2(constant_pic_rate_idc, i, j), "F.7.4.3.1.4", "0 to 2");
        }
    }
}

// F.7.4.3.1.6: of a partitioning scheme j of output layer set h, each partition k has a layer, and no layer r
// is in two of them.
void checkPartitions(const VpsVuiBspHrdParams& s, unsigned h, unsigned uiLayersInSet, CChecks& checks)
{
    const auto& schemes = s.layer_included_in_partition_flag[h];
    for (unsigned j = 1; j <= s.num_signalled_partitioning_schemes[h] && j < schemes.size() &&
                         j < s.num_partitions_in_scheme_minus1[h].size();
         ++j) {
        RANGE_2(num_partitions_in_scheme_minus1, h, j, 0, std::int64_t{uiLayersInSet} - 1, "F.7.4.3.1.6");
        std::uint64_t ulSeen = 0;
        for (unsigned k = 0; k <= s.num_partitions_in_scheme_minus1[h][j] && k < schemes[j].size(); ++k) {
            std::uint64_t ulLayers = 0;
            const std::size_t uiFlags = std::min<std::size_t>({uiLayersInSet, schemes[j][k].size(), 64});
            for (unsigned r = 0; r < uiFlags; ++r)
                ulLayers |= std::uint64_t{schemes[j][k][r] != 0} << r;
            const unsigned uiTwice = static_cast<unsigned>(std::countr_zero(ulLayers & ulSeen));
            if (uiTwice < 64)
                checks.error(Blamed("layer_included_in_partition_flag", 1, h, j, k, uiTwice),
                             "F.7.4.3.1.6",
                             "0",
                             say("layer ", uiTwice, " of output layer set ", h, " is in two partitions of a scheme"));
            if (ulLayers == 0 && uiFlags != 0)
                checks.error(Blamed("layer_included_in_partition_flag", 0, h, j, k, 0U),
                             "F.7.4.3.1.6",
                             "a layer at least",
                             say("a partition of output layer set ", h, " has no layer"));
            ulSeen |= ulLayers;
        }
    }
}

// The CPBs that an HRD of the VPS, or one of those added to them, has for a sub-layer; 0 when it is not there.
std::uint32_t cpbCount(const VideoParameterSet& vps, const VpsVuiBspHrdParams& s, std::uint32_t uiHrd, unsigned t)
{
    const auto countIn = [t](const auto& hrds, std::uint32_t i, std::uint32_t uiHighestSubLayer) {
        return i < hrds.size() && t <= uiHighestSubLayer ? hrds[i].cpb_cnt_minus1[t] + 1 : 0;
    };
    if (uiHrd < vps.vps_num_hrd_parameters)
        return countIn(vps.hrd_parameters, uiHrd, vps.vps_max_sub_layers_minus1);
    const std::uint32_t uiAdded = uiHrd - vps.vps_num_hrd_parameters;
    if (uiAdded >= s.vps_num_add_hrd_params || uiHrd >= s.num_sub_layer_hrd_minus1.size())
        return 0;
    return countIn(s.hrd_parameters, uiAdded, s.num_sub_layer_hrd_minus1[uiHrd]);
}

// F.7.4.3.1.6: the delivery schedules t of scheme i of output layer set h.
void checkSchedules(const VideoParameterSet& vps, const VpsVuiBspHrdParams& s, unsigned h, unsigned i, unsigned t,
                    CChecks& checks)
{
    const std::int64_t iHrds = std::int64_t{vps.vps_num_hrd_parameters} + s.vps_num_add_hrd_params;
    const auto& hrds = s.bsp_hrd_idx[h][i][t];
    const auto& scheds = s.bsp_sched_idx[h][i][t];
    for (unsigned j = 0; j <= s.num_bsp_schedules_minus1[h][i][t] && j < hrds.size() && j < scheds.size(); ++j) {
        for (unsigned k = 0; k <= s.num_partitions_in_scheme_minus1[h][i] && k < hrds[j].size(); ++k) {
            if (k >= scheds[j].size())
                break;
            checks.range(Blamed("bsp_hrd_idx", hrds[j][k], h, i, t, j, k), 0, iHrds - 1, "F.7.4.3.1.6");
            const std::uint32_t uiCpbs = cpbCount(vps, s, hrds[j][k], t);
            if (uiCpbs != 0)
                checks.range(
                    Blamed("bsp_sched_idx", scheds[j][k], h, i, t, j, k), 0, std::int64_t{uiCpbs} - 1, "F.7.4.3.1.6");
        }
    }
}

// F.7.4.3.1.6
void checkBspHrds(const VideoParameterSet& vps, const VpsVuiBspHrdParams& s, CChecks checks)
{
    const std::uint32_t uiFirst = vps.vps_num_hrd_parameters;
    RANGE(vps_num_add_hrd_params, 0, 1024 - std::int64_t{uiFirst}, "F.7.4.3.1.6");
    for (std::uint32_t i = uiFirst; i < s.num_sub_layer_hrd_minus1.size() && i - uiFirst < s.hrd_parameters.size() &&
                                    i - uiFirst < s.vps_num_add_hrd_params;
         ++i) {
        RANGE_1(num_sub_layer_hrd_minus1, i, 0, vps.vps_max_sub_layers_minus1, "F.7.4.3.1.6");
        checkHrdParameters(s.hrd_parameters[i - uiFirst],
                           std::min(s.num_sub_layer_hrd_minus1[i], MAX_SUB_LAYERS - 1),
                           checks.inside("hrd_parameters", i));
    }
    const LayerVariables& layers = *vps.layers;
    const std::size_t uiSets = std::min<std::size_t>({layers.NumOutputLayerSets,
                                                      layers.aOls.size(),
                                                      s.num_signalled_partitioning_schemes.size(),
                                                      s.num_bsp_schedules_minus1.size(),
                                                      s.bsp_hrd_idx.size(),
                                                      s.bsp_sched_idx.size()});
    if (uiFirst + std::uint64_t{s.vps_num_add_hrd_params} == 0)
        return;
    for (unsigned h = 1; h < uiSets; ++h) {
        checkPartitions(s, h, layers.LayerSetLayerIdList[layers.aOls[h].OlsIdxToLsIdx].uiCount, checks);
        const std::size_t uiSchemes = std::min<std::size_t>({s.num_signalled_partitioning_schemes[h] + std::size_t{1},
                                                             s.num_partitions_in_scheme_minus1[h].size(),
                                                             s.num_bsp_schedules_minus1[h].size(),
                                                             s.bsp_hrd_idx[h].size(),
                                                             s.bsp_sched_idx[h].size()});
        const unsigned uiHighest = layers.MaxSubLayersInLayerSetMinus1[layers.aOls[h].OlsIdxToLsIdx];
        for (unsigned i = 0; i < uiSchemes; ++i) {
            for (unsigned t = 0; t <= uiHighest; ++t)
                checkSchedules(vps, s, h, i, t, checks);
        }
    }
}

} // namespace

void checkVpsVui(const VideoParameterSet& vps, const CChecks& checksOfExtension)
{
    CChecks checks = checksOfExtension.inside("vps_vui");
    const VpsVui& s = *vps.vps_extension->vps_vui;
    if (s.bit_rate_present_vps_flag)
        checkBitRates(vps, checks);
    if (s.pic_rate_present_vps_flag)
        checkPicRates(vps, checks);
    const unsigned MaxLayersMinus1 = vps.layers->MaxLayersMinus1;
    for (unsigned i = 0; i <= s.vps_num_video_signal_info_minus1 && i <= MaxLayersMinus1; ++i)
        checkVideoSignalInfo(s.video_signal_info[i], checks.inside("video_signal_info", i));
    for (unsigned i = vps.vps_base_layer_internal_flag ? 0 : 1;
         s.video_signal_info_idx_present_flag && s.vps_num_video_signal_info_minus1 > 0 && i <= MaxLayersMinus1;
         ++i)
        RANGE_1(vps_video_signal_info_idx, i, 0, s.vps_num_video_signal_info_minus1, "F.7.4.3.1.4");
    SHALL(s.single_layer_for_non_irap_flag || !s.higher_layer_irap_skip_flag,
          BLAME(higher_layer_irap_skip_flag),
          "F.7.4.3.1.4",
          "0",
          "IRAP pictures of higher layers are only told of as left out with single_layer_for_non_irap_flag 1");
    if (s.vps_vui_bsp_hrd_present_flag)
        checkBspHrds(vps, s.vps_vui_bsp_hrd_params, checks.inside("vps_vui_bsp_hrd_params"));
}

} // namespace h265_syntax
