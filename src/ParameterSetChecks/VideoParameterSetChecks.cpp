#include "VideoParameterSetChecks.h"

#include <algorithm>
#include <bit>
#include <utility>
#include <vector>

#include "HrdChecks.h"
#include "LevelChecks.h"
#include "OrderingInfoChecks.h"
#include "ProfileClaims.h"
#include "ProfileTierLevelChecks.h"
#include "VpsExtensionChecks.h"

namespace h265_syntax {

namespace {

// 7.4.3.1: each layer set has a layer, no more of them than there are, and not those of another. Set 0 is layer 0.
// Of a thousand sets of a crafted VPS the first is told.
void checkLayerSets(const VideoParameterSet& s, CChecks& checks)
{
    if (s.stop) // the sets may not all be there
        return;
    std::vector<std::pair<std::uint64_t, unsigned>> sets{{1, 0}}; // bit m: layer m; and the set's index
    bool bTold = false;
    for (unsigned i = 1; i <= s.vps_num_layer_sets_minus1 && i < s.layer_id_included_flag.size(); ++i) {
        std::uint64_t ulLayers = 0;
        for (unsigned m = 0; m <= s.vps_max_layer_id; ++m)
            ulLayers |= std::uint64_t{s.layer_id_included_flag[i][m]} << m;
        const int iLayers = std::popcount(ulLayers);
        const bool bCount = iLayers >= 1 && iLayers <= s.vps_max_layers_minus1 + 1;
        SHALL(bCount || std::exchange(bTold, true),
              BLAME_2(layer_id_included_flag, i, 0U),
              "7.4.3.1",
              say("1 to ", s.vps_max_layers_minus1 + 1, " layers in a set"),
              "layer set ",
              i,
              " has ",
              iLayers,
              " layers");
        if (iLayers != 0)
            sets.emplace_back(ulLayers, i);
    }
    std::sort(sets.begin(), sets.end());
    for (std::size_t k = 1; k < sets.size() && !bTold; ++k) {
        const unsigned i = sets[k].second;
        bTold = sets[k].first == sets[k - 1].first;
        SHALL(sets[k].first != sets[k - 1].first,
              BLAME_2(layer_id_included_flag, i, 0U),
              "7.4.3.1",
              "layers that no other set has",
              "layer set ",
              i,
              " has the layers of layer set ",
              sets[k - 1].second);
    }
}

// 7.4.3.1
void checkTiming(const VideoParameterSet& s, CChecks& checks)
{
    if (!s.vps_timing_info_present_flag)
        return;
    SHALL(
        s.vps_num_units_in_tick != 0, BLAME(vps_num_units_in_tick), "7.4.3.1", "above 0", "a clock tick has no length");
    SHALL(s.vps_time_scale != 0, BLAME(vps_time_scale), "7.4.3.1", "above 0", "a second has no time units");
    RANGE(vps_num_hrd_parameters, 0, s.vps_num_layer_sets_minus1 + std::int64_t{1}, "7.4.3.1");
    const std::int64_t iFirst = s.vps_base_layer_internal_flag ? 0 : 1;
    const auto uiHrds = static_cast<unsigned>(
        std::min<std::size_t>({s.vps_num_hrd_parameters, s.hrd_layer_set_idx.size(), s.hrd_parameters.size()}));
    for (unsigned i = 0; i < uiHrds; ++i) {
        RANGE_1(hrd_layer_set_idx, i, iFirst, s.vps_num_layer_sets_minus1, "7.4.3.1");
        const auto before = s.hrd_layer_set_idx.begin() + static_cast<std::ptrdiff_t>(i);
        SHALL(std::find(s.hrd_layer_set_idx.begin(), before, *before) == before,
              BLAME_1(hrd_layer_set_idx, i),
              "7.4.3.1",
              "a layer set without an HRD so far",
              "layer set ",
              *before,
              " gets a second HRD");
        checkHrdParameters(s.hrd_parameters[i], s.vps_max_sub_layers_minus1, checks.inside("hrd_parameters", i));
    }
}

// A.3.2 and others: what has one layer has it in the stream; in the first edition the two flags are two reserved bits.
void checkBaseLayer(const VideoParameterSet& s, CChecks& checks)
{
    if (s.vps_max_layers_minus1 != 0)
        return;
    bool bTold = s.vps_base_layer_internal_flag && s.vps_base_layer_available_flag;
    forEachClaim(s.profile_tier_level, [&](const Claim& claim) {
        if (!std::exchange(bTold, true))
            checks.error(!s.vps_base_layer_internal_flag ? BLAME(vps_base_layer_internal_flag)
                                                         : BLAME(vps_base_layer_available_flag),
                         claim.pClause,
                         "1",
                         say("the stream has one layer, of ", claim.name, ", which the VPS says is not in it"));
    });
}

} // namespace

void checkVideoParameterSet(const VideoParameterSet& s, CFindings& findings)
{
    CChecks checks(findings, "");
    RANGE(vps_max_layers_minus1, 0, 62, "7.4.3.1");
    RANGE(vps_max_sub_layers_minus1, 0, 6, "7.4.3.1");
    SHALL(s.vps_max_sub_layers_minus1 != 0 || s.vps_temporal_id_nesting_flag,
          BLAME(vps_temporal_id_nesting_flag),
          "7.4.3.1",
          "1",
          "a stream of one sub-layer has vps_temporal_id_nesting_flag 1");
    if (s.vps_reserved_0xffff_16bits != 0xffff)
        checks.reserved(BLAME(vps_reserved_0xffff_16bits), "7.4.3.1", "65535");
    // F.7.4.3.1: without a base layer in the stream there is nothing that this would be of.
    if (s.vps_base_layer_internal_flag)
        checkProfileTierLevel(s.profile_tier_level, s.vps_max_sub_layers_minus1, checks.inside("profile_tier_level"));
    checkBaseLayer(s, checks);
    checkOrderingInfo(
        s.vps_sub_layer_ordering_info_present_flag,
        s.vps_max_sub_layers_minus1,
        [&s](unsigned i) { return BLAME_1(vps_max_dec_pic_buffering_minus1, i); },
        [&s](unsigned i) { return BLAME_1(vps_max_num_reorder_pics, i); },
        "7.4.3.1",
        checks);
    RANGE(vps_max_layer_id, 0, 62, "7.4.3.1");
    RANGE(vps_num_layer_sets_minus1, 0, 1023, "7.4.3.1");
    checkLayerSets(s, checks);
    checkTiming(s, checks);
    SHALL(s.vps_extension_flag || s.vps_max_layers_minus1 == 0 || s.vps_max_layers_minus1 > 62,
          BLAME(vps_extension_flag),
          "F.7.4.3.1",
          "1",
          "there are ",
          s.vps_max_layers_minus1 + 1,
          " layers, but no vps_extension( ) that says how they depend on each other");
    if (s.vps_extension_flag) {
        const unsigned uiHighest = s.vps_extension->layer_id_in_nuh[s.layers->MaxLayersMinus1];
        SHOULD(s.vps_max_layer_id >= uiHighest || uiHighest > 62, // which is told there
               BLAME(vps_max_layer_id),
               "F.7.4.3.1",
               say("at least ", uiHighest),
               "no NAL unit may have nuh_layer_id ",
               uiHighest,
               ", which the VPS gives to a layer");
        checkVpsExtension(s, checks);
    }
    checkLevelOfVps(s, findings);
}

} // namespace h265_syntax
