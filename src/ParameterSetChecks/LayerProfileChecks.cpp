#include <algorithm>
#include <array>
#include <utility>

#include "LevelChecks.h"
#include "Levels.h"
#include "ProfileChecks.h"
#include "SequenceParameterSetChecks.h"

namespace h265_syntax {

namespace {

// F.7.4.3.1.1: profile and tier of an entry that has none of its own are those of the one in front of it, the
// first of which is the VPS's.
ProfileTierLevel effectivePtl(const VideoParameterSet& vps, std::size_t i)
{
    const std::vector<ProfileTierLevel>& entries = vps.vps_extension->profile_tier_level;
    const bool bAbsent = i == 1 && vps.vps_base_layer_internal_flag && vps.vps_max_layers_minus1 == 0;
    if (i == 0 || i >= entries.size() || bAbsent)
        return vps.profile_tier_level;
    const std::size_t uiFirst = vps.vps_base_layer_internal_flag ? 2 : 1; // that can have its own
    std::size_t uiFrom = i;
    while (uiFrom >= uiFirst && !(uiFrom < 64 && vps.vps_extension->vps_profile_present_flag[uiFrom]))
        --uiFrom;
    ProfileTierLevel ptl = uiFrom < uiFirst ? vps.profile_tier_level : entries[uiFrom];
    ptl.general_level_idc = entries[i].general_level_idc;
    return ptl;
}

// Calls check( ptl, nuh_layer_id ) once for each profile_tier_level( ) that a layer has in an output layer set.
template <class TCheck>
void forEachLayer(const VideoParameterSet& vps, TCheck check)
{
    const VpsExtension& s = *vps.vps_extension;
    const LayerVariables& layers = *vps.layers;
    std::array<std::uint64_t, MAX_LAYERS + 1> aulSeen{}; // by nuh_layer_id, bit i: entry i
    const std::size_t uiSets =
        std::min<std::size_t>({layers.NumOutputLayerSets, layers.aOls.size(), s.profile_tier_level_idx.size()});
    for (std::size_t i = 1; i < uiSets; ++i) {
        const OutputLayers& ols = layers.aOls[i];
        if (ols.OlsIdxToLsIdx >= layers.LayerSetLayerIdList.size())
            continue;
        const LayerIdList& list = layers.LayerSetLayerIdList[ols.OlsIdxToLsIdx];
        for (unsigned j = 0; j < list.uiCount; ++j) {
            const unsigned uiEntry = s.profile_tier_level_idx[i][j];
            const unsigned uiLayer = list.id[j] & 63U;
            const bool bNecessary = (ols.uiNecessaryLayerFlags >> j & 1) != 0;
            if (!bNecessary || uiEntry > s.vps_num_profile_tier_level_minus1 || uiEntry > 63 ||
                (aulSeen[uiLayer] >> uiEntry & 1) != 0)
                continue;
            aulSeen[uiLayer] |= std::uint64_t{1} << uiEntry;
            check(effectivePtl(vps, uiEntry), uiLayer);
        }
    }
}

constexpr unsigned LAYER_PROFILES[] = {
    PROFILE_MULTIVIEW_MAIN, PROFILE_SCALABLE_MAIN, PROFILE_3D_MAIN, PROFILE_SCALABLE_RANGE_EXTENSIONS};

// Multilayer profiles, and of the base layer and independent ones those of Annex A.
template <class TCheck>
void forEachClaimOfLayer(const ProfileTierLevel& ptl, unsigned uiLayer, TCheck check)
{
    forEachClaim(ptl, [&](Claim claim) {
        claim.name += say(" of layer ", uiLayer);
        check(claim);
    });
    for (const unsigned uiProfile : LAYER_PROFILES) {
        if (claims(ptl, uiProfile))
            check(Claim{
                ptl, uiProfile, say(profileGroupName(uiProfile), " of layer ", uiLayer), PROFILE_CLAUSES[uiProfile]});
    }
}

bool fits(const RepFormat& s, const Claim& claim)
{
    const unsigned uiMaxDepth = maxBitDepth(claim) - 8;
    return s.chroma_format_vps_idc >= minChromaFormat(claim) && s.chroma_format_vps_idc <= maxChromaFormat(claim) &&
           s.bit_depth_vps_luma_minus8 <= uiMaxDepth && s.bit_depth_vps_chroma_minus8 <= uiMaxDepth;
}

void checkFormat(const RepFormat& s, const Claim& claim, CChecks& checks)
{
    const unsigned uiMin = minChromaFormat(claim);
    const unsigned uiMax = maxChromaFormat(claim);
    SHALL(s.chroma_format_vps_idc >= uiMin && s.chroma_format_vps_idc <= uiMax,
          BLAME(chroma_format_vps_idc),
          claim.pClause,
          uiMin == uiMax ? say(uiMax) : say(uiMin, " to ", uiMax),
          "the pictures are ",
          nameOfChromaFormat(s.chroma_format_vps_idc),
          ", ",
          claim.name,
          " allows ",
          uiMin == uiMax ? "only " : "up to ",
          nameOfChromaFormat(uiMax));
    checkBitDepth(BLAME(bit_depth_vps_luma_minus8), "luma", claim, checks);
    checkBitDepth(BLAME(bit_depth_vps_chroma_minus8), "chroma", claim, checks);
}

bool fits(const RepFormat& s, const Level& level)
{
    return std::uint64_t{s.pic_width_vps_in_luma_samples} * s.pic_height_vps_in_luma_samples <= level.MaxLumaPs &&
           std::max(s.pic_width_vps_in_luma_samples, s.pic_height_vps_in_luma_samples) <= maxSideLength(level);
}

// A.4.1 a) to c), which G.11.2, H.11.2 and I.11.2 ask of each layer.
void checkSize(const RepFormat& s, const Level& level, unsigned uiLayer, CChecks& checks)
{
    const std::uint64_t ulSize = std::uint64_t{s.pic_width_vps_in_luma_samples} * s.pic_height_vps_in_luma_samples;
    SHALL(ulSize <= level.MaxLumaPs,
          BLAME(pic_width_vps_in_luma_samples),
          "A.4.1",
          say("pictures of at most ", level.MaxLumaPs, " samples"),
          "a picture of layer ",
          uiLayer,
          " has ",
          ulSize,
          " luma samples, its level ",
          level.pName,
          " allows ",
          level.MaxLumaPs);
    const auto side = [&](const Blamed& blamed) {
        SHALL(blamed.iValue <= maxSideLength(level),
              blamed,
              "A.4.1",
              say("at most ", maxSideLength(level)),
              "a side of the pictures of layer ",
              uiLayer,
              " has ",
              blamed.iValue,
              " samples, its level ",
              level.pName,
              " allows ",
              maxSideLength(level));
    };
    side(BLAME(pic_width_vps_in_luma_samples));
    side(BLAME(pic_height_vps_in_luma_samples));
}

// Calls check( claim ) with the first profile that a layer claims: for what all profiles ask for.
template <class TCheck>
void withFirstClaimOf(const VideoParameterSet& vps, unsigned nuh_layer_id, TCheck check)
{
    if (!vps.vps_extension_flag || vps.stop)
        return;
    bool bDone = false;
    forEachLayer(vps, [&](const ProfileTierLevel& ptl, unsigned uiLayer) {
        if (uiLayer != nuh_layer_id || bDone)
            return;
        forEachClaimOfLayer(ptl, uiLayer, [&](const Claim& claim) {
            if (!std::exchange(bDone, true))
                check(claim);
        });
    });
}

// H.11.1.2 gives the tools of Scalable Range Extensions by its flags, and otherwise than A.3.5 does.
bool hasKnownTools(const Claim& claim)
{
    return claim.uiProfile != PROFILE_SCALABLE_RANGE_EXTENSIONS;
}

} // namespace

void checkProfilesOfLayers(const VideoParameterSet& vps, const CChecks& checks)
{
    const VpsExtension& s = *vps.vps_extension;
    if (vps.stop)
        return;
    std::array<bool, 256> abFormatTold{}; // a format is told of once, whoever cannot have it
    std::array<bool, 256> abSizeTold{};
    forEachLayer(vps, [&](const ProfileTierLevel& ptl, unsigned uiLayer) {
        const unsigned uiIndex = std::min<unsigned>(vps.layers->LayerIdxInVps[uiLayer], MAX_LAYERS - 1);
        const bool bInferred = uiIndex == 0 && vps.vps_base_layer_internal_flag; // F.7.4.3.1.1: the first
        const unsigned uiFormat = bInferred ? 0 : s.vps_rep_format_idx[uiIndex];
        if (uiFormat > s.vps_num_rep_formats_minus1 || uiFormat >= s.rep_format.size() || uiFormat > 255)
            return;
        CChecks inside = checks.inside("rep_format", uiFormat);
        const RepFormat& format = s.rep_format[uiFormat];
        // F.7.4.3.1.2: what it does not code is that of the one in front of it.
        unsigned uiCoded = uiFormat;
        while (uiCoded > 0 && !s.rep_format[uiCoded].chroma_and_bit_depth_vps_present_flag)
            --uiCoded;
        CChecks insideCoded = checks.inside("rep_format", uiCoded);
        forEachClaimOfLayer(ptl, uiLayer, [&](const Claim& claim) {
            if (!fits(format, claim) && !std::exchange(abFormatTold[uiCoded], true))
                checkFormat(format, claim, insideCoded);
        });
        const Level* const pLevel = ptl.general_profile_space == 0 ? findLevel(ptl.general_level_idc) : nullptr;
        if (pLevel != nullptr && !fits(format, *pLevel) && !std::exchange(abSizeTold[uiFormat], true))
            checkSize(format, *pLevel, uiLayer, inside);
    });
}

void checkProfilesOfLayerSps(const SequenceParameterSet& s, const VideoParameterSet& vps, CFindings& findings)
{
    if (!s.MultiLayerExtSpsFlag)
        return;
    CChecks checks(findings, "");
    withFirstClaimOf(vps, s.nal_unit_header.nuh_layer_id, [&](const Claim& claim) {
        checkCtbOfProfile(s, claim, checks);
        checkCtbOfLevel(s, claim.ptl.general_level_idc, checks);
        if (hasKnownTools(claim))
            checkToolsOfProfile(s, claim, checks);
    });
}

void checkProfilesOfLayerPps(const PictureParameterSet& s, const SequenceParameterSet& sps,
                             const VideoParameterSet& vps, CFindings& findings)
{
    if (!sps.MultiLayerExtSpsFlag || !isFormatKnown(sps))
        return;
    CChecks checks(findings, "");
    withFirstClaimOf(vps, s.nal_unit_header.nuh_layer_id, [&](const Claim& claim) {
        checkParallelismOfProfile(s, sps, claim, checks);
        checkTileCounts(s, claim.ptl.general_level_idc, checks);
        if (hasKnownTools(claim))
            checkToolsOfProfile(s, claim, checks);
    });
}

} // namespace h265_syntax
