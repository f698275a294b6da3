#include "LevelChecks.h"

#include <algorithm>
#include <cmath>

#include "Levels.h"
#include "ProfileClaims.h"
#include "ProfileTierLevelChecks.h"
#include "SequenceParameterSetChecks.h"

namespace h265_syntax {

namespace {

constexpr std::uint32_t LIMIT_OF_ALL = 16; // pictures in a buffer, of any level: 7.4.3.2.1

// "level 5.1 would do", of the lowest level that fits holds of; empty where none does.
template <class TFits>
std::string lowestThatFits(TFits fits)
{
    const auto all = levels();
    const auto position = std::find_if(all.begin(), all.end(), fits);
    return position != all.end() ? say("; level ", position->pName, " would do") : std::string("; no level does");
}

std::uint64_t PicSizeInSamplesY(const SequenceParameterSet& s)
{
    return std::uint64_t{s.pic_width_in_luma_samples} * s.pic_height_in_luma_samples;
}

bool fitsSize(const SequenceParameterSet& s, const Level& level)
{
    return PicSizeInSamplesY(s) <= level.MaxLumaPs &&
           std::max(s.pic_width_in_luma_samples, s.pic_height_in_luma_samples) <= maxSideLength(level);
}

// A.4.1 a) to c)
void checkSize(const SequenceParameterSet& s, const Level& level, CChecks& checks)
{
    const std::uint64_t ulSize = PicSizeInSamplesY(s);
    const auto fits = [&](const Level& l) { return fitsSize(s, l); };
    SHALL(ulSize <= level.MaxLumaPs,
          BLAME(pic_width_in_luma_samples),
          "A.4.1",
          say("pictures of at most ", level.MaxLumaPs, " samples"),
          "a picture of ",
          s.pic_width_in_luma_samples,
          "x",
          s.pic_height_in_luma_samples,
          " has ",
          ulSize,
          " luma samples, level ",
          level.pName,
          " allows ",
          level.MaxLumaPs,
          lowestThatFits(fits));
    const std::uint32_t uiSide = maxSideLength(level);
    SHALL(s.pic_width_in_luma_samples <= uiSide,
          BLAME(pic_width_in_luma_samples),
          "A.4.1",
          say("at most ", uiSide),
          "the picture is ",
          s.pic_width_in_luma_samples,
          " samples wide, level ",
          level.pName,
          " allows ",
          uiSide,
          lowestThatFits(fits));
    SHALL(s.pic_height_in_luma_samples <= uiSide,
          BLAME(pic_height_in_luma_samples),
          "A.4.1",
          say("at most ", uiSide),
          "the picture is ",
          s.pic_height_in_luma_samples,
          " samples high, level ",
          level.pName,
          " allows ",
          uiSide,
          lowestThatFits(fits));
}

// A.4.2: 7 for profiles that can refer to the current picture, unless one that cannot is claimed as well.
unsigned maxDpbPicBufOf(const ProfileTierLevel& s)
{
    bool bScreen = false;
    bool bOther = false;
    for (unsigned uiProfile = PROFILE_MAIN; uiProfile <= PROFILE_HIGH_THROUGHPUT_SCREEN_EXTENDED; ++uiProfile) {
        if (claims(s, uiProfile))
            (isScreenContent(uiProfile) ? bScreen : bOther) = true;
    }
    return bScreen && !bOther ? 7 : 6;
}

// A.4.2; 7.4.3.2.1 has it of every sub-layer.
void checkDpb(const SequenceParameterSet& s, const Level& level, CChecks& checks)
{
    const unsigned maxDpbPicBuf = maxDpbPicBufOf(s.profile_tier_level);
    const std::uint64_t ulSize = PicSizeInSamplesY(s);
    if (ulSize > level.MaxLumaPs)
        return; // told already
    const unsigned MaxDpbSize = maxDpbSize(ulSize, level.MaxLumaPs, maxDpbPicBuf);
    const unsigned uiHighest = s.sps_max_sub_layers_minus1;
    for (unsigned i = s.sps_sub_layer_ordering_info_present_flag ? 0 : uiHighest; i <= uiHighest; ++i) {
        const std::uint32_t uiNeeded = s.sps_max_dec_pic_buffering_minus1[i];
        if (uiNeeded < MaxDpbSize || uiNeeded >= LIMIT_OF_ALL)
            continue;
        const auto fits = [&](const Level& l) {
            return ulSize <= l.MaxLumaPs && uiNeeded < maxDpbSize(ulSize, l.MaxLumaPs, maxDpbPicBuf);
        };
        checks.error(BLAME_1(sps_max_dec_pic_buffering_minus1, i),
                     "A.4.2",
                     say("0 to ", MaxDpbSize - 1),
                     say("the picture buffer holds ",
                         uiNeeded + 1,
                         " pictures, level ",
                         level.pName,
                         " allows ",
                         MaxDpbSize,
                         " of this size",
                         lowestThatFits(fits)));
        return;
    }
}

// 7.4.3.1: the buffer that the VPS announces is bounded by the size of the pictures, which the SPS tells.
void checkDpbOfVps(const SequenceParameterSet& sps, const VideoParameterSet& s, const Level& level, CChecks& checks)
{
    const std::uint64_t ulSize = PicSizeInSamplesY(sps);
    if (ulSize > level.MaxLumaPs)
        return; // told already
    const unsigned MaxDpbSize = maxDpbSize(ulSize, level.MaxLumaPs, maxDpbPicBufOf(sps.profile_tier_level));
    for (unsigned i = 0; i <= s.vps_max_sub_layers_minus1; ++i) {
        const std::uint32_t uiNeeded = s.vps_max_dec_pic_buffering_minus1[i];
        const bool bAsSps = i <= sps.sps_max_sub_layers_minus1 && uiNeeded <= sps.sps_max_dec_pic_buffering_minus1[i];
        if (uiNeeded < MaxDpbSize || uiNeeded >= LIMIT_OF_ALL || bAsSps)
            continue;
        checks.error("7.4.3.1",
                     say("the VPS announces a picture buffer of ",
                         uiNeeded + 1,
                         " for sub-layer ",
                         i,
                         ", level ",
                         level.pName,
                         " allows ",
                         MaxDpbSize,
                         " of this size"));
        return;
    }
}

// A.4.1, A.4.2: the pictures of a sub-layer are as large as all others, and so is the room they take.
void checkSubLayerLevels(const SequenceParameterSet& sps, CChecks checks)
{
    const ProfileTierLevel& s = sps.profile_tier_level;
    const Level* const pGeneral = findLevel(s.general_level_idc);
    if (sps.stop || (pGeneral != nullptr && !fitsSize(sps, *pGeneral)))
        return; // not all there, or told already
    const unsigned maxDpbPicBuf = maxDpbPicBufOf(s);
    const auto fits = [&](const Level& l, unsigned i) {
        const std::uint32_t uiNeeded = sps.sps_max_dec_pic_buffering_minus1[i];
        return fitsSize(sps, l) &&
               (uiNeeded < maxDpbSize(PicSizeInSamplesY(sps), l.MaxLumaPs, maxDpbPicBuf) || uiNeeded >= LIMIT_OF_ALL);
    };
    for (unsigned i = 0; i < sps.sps_max_sub_layers_minus1; ++i) {
        const Level* const pLevel = s.sub_layer_level_present_flag[i] ? findLevel(s.sub_layer_level_idc[i]) : nullptr;
        const bool bAsGeneral = pGeneral != nullptr && pLevel != nullptr && pLevel->MaxLumaPs >= pGeneral->MaxLumaPs;
        if (pLevel == nullptr || bAsGeneral || fits(*pLevel, i))
            continue;
        const bool bSize = !fitsSize(sps, *pLevel);
        const std::string lowest = lowestThatFits([&](const Level& l) { return fits(l, i); });
        checks.error(BLAME_1(sub_layer_level_idc, i),
                     bSize ? "A.4.1" : "A.4.2",
                     bSize ? "a level for pictures of this size" : "a level with room for these pictures",
                     bSize ? say("pictures of ",
                                 sps.pic_width_in_luma_samples,
                                 "x",
                                 sps.pic_height_in_luma_samples,
                                 " are too large for level ",
                                 pLevel->pName,
                                 " of sub-layer ",
                                 i,
                                 lowest)
                           : say("the picture buffer of sub-layer ",
                                 i,
                                 " holds ",
                                 sps.sps_max_dec_pic_buffering_minus1[i] + std::uint64_t{1},
                                 " pictures, more than its level ",
                                 pLevel->pName,
                                 " allows",
                                 lowest));
    }
}

struct CpbLimits
{
    std::uint64_t ulBitRate; // bits a second
    std::uint64_t ulCpbSize; // bits
};

std::uint64_t BitRate(const HrdParameters& hrd, const SubLayerHrd& s, unsigned i)
{
    return (std::uint64_t{s.bit_rate_value_minus1[i]} + 1) << (6 + hrd.bit_rate_scale);
}

std::uint64_t CpbSize(const HrdParameters& hrd, const SubLayerHrd& s, unsigned i)
{
    return (std::uint64_t{s.cpb_size_value_minus1[i]} + 1) << (4 + hrd.cpb_size_scale);
}

// A.4.1 and A.4.2: one CPB within the limit of sizes is enough, and one within that of bit rates. Who wants to feed a
// decoder needs one that is within both.
void checkCpbs(const HrdParameters& hrd, const SubLayerHrd& s, unsigned CpbCnt, const CpbLimits& limits,
               const std::string& level, CChecks checks)
{
    bool bAnyRate = false;
    bool bAnySize = false;
    for (unsigned i = 0; i < CpbCnt; ++i) {
        const bool bRate = BitRate(hrd, s, i) <= limits.ulBitRate;
        const bool bSize = CpbSize(hrd, s, i) <= limits.ulCpbSize;
        bAnyRate = bAnyRate || bRate;
        bAnySize = bAnySize || bSize;
        if (bRate && bSize)
            return;
    }
    // The first CPB has the lowest bit rate, the last the smallest buffer.
    if (!bAnyRate)
        checks.error(BLAME_1(bit_rate_value_minus1, 0U),
                     "A.4.2",
                     say("at most ", limits.ulBitRate, " bits a second"),
                     say("the lowest bit rate is ",
                         BitRate(hrd, s, 0),
                         " bits a second, ",
                         level,
                         " allows ",
                         limits.ulBitRate));
    if (!bAnySize)
        checks.error(BLAME_1(cpb_size_value_minus1, CpbCnt - 1),
                     "A.4.1",
                     say("at most ", limits.ulCpbSize, " bits"),
                     say("the smallest coded picture buffer holds ",
                         CpbSize(hrd, s, CpbCnt - 1),
                         " bits, ",
                         level,
                         " allows ",
                         limits.ulCpbSize));
    if (bAnyRate && bAnySize)
        checks.warning(BLAME_1(cpb_size_value_minus1, 0U),
                       "A.4.1",
                       say("at most ", limits.ulCpbSize, " bits at a bit rate of at most ", limits.ulBitRate),
                       say("no coded picture buffer is within the size and the bit rate of ", level, " at once"));
}

void checkHrd(const HrdParameters& hrd, unsigned uiSubLayer, const Level& level, bool bHighTier, const Profile& profile,
              const ProfileTierLevel& ptl, const CChecks& checks)
{
    const std::uint64_t MaxBR = level.MaxBR.of(bHighTier);
    const std::uint64_t MaxCPB = level.MaxCPB.of(bHighTier);
    if (MaxBR == 0)
        return; // no such tier, told elsewhere
    const std::uint64_t ulHbr = hbrFactor(profile, ptl.general_lower_bit_rate_constraint_flag);
    const std::string name = say("level ", level.pName, bHighTier ? ", High tier," : ", Main tier,");
    const unsigned CpbCnt = std::min(hrd.cpb_cnt_minus1[uiSubLayer], MAX_CPBS - 1) + 1;
    if (hrd.nal_hrd_parameters_present_flag)
        checkCpbs(hrd,
                  hrd.nal_hrd[uiSubLayer],
                  CpbCnt,
                  {profile.CpbNalFactor * ulHbr * MaxBR, profile.CpbNalFactor * MaxCPB},
                  name,
                  checks.inside("nal_hrd", uiSubLayer));
    if (hrd.vcl_hrd_parameters_present_flag)
        checkCpbs(hrd,
                  hrd.vcl_hrd[uiSubLayer],
                  CpbCnt,
                  {profile.CpbVclFactor * ulHbr * MaxBR, profile.CpbVclFactor * MaxCPB},
                  name,
                  checks.inside("vcl_hrd", uiSubLayer));
}

// The HRD of a set against its levels: that of the highest sub-layer is the set's.
void checkHrds(const HrdParameters& hrd, const ProfileTierLevel& ptl, unsigned uiHighest, const CChecks& checks)
{
    const Profile* const pProfile = profileOf(ptl);
    if (pProfile == nullptr)
        return;
    for (unsigned i = 0; i <= uiHighest; ++i) {
        // 7.4.4: what a sub-layer does not say is that of the next higher one.
        unsigned uiTierOf = i;
        while (uiTierOf < uiHighest && !ptl.sub_layer_profile_present_flag[uiTierOf])
            ++uiTierOf;
        const Level* const pLevel = findLevel(levelOfSubLayer(ptl, i, uiHighest));
        const bool bHighTier = uiTierOf < uiHighest ? ptl.sub_layer_tier_flag[uiTierOf] : ptl.general_tier_flag;
        if (pLevel != nullptr)
            checkHrd(hrd, i, *pLevel, bHighTier, *pProfile, ptl, checks);
    }
}

// E.3.1, E.3.2: pictures a second, as far as the clock tells; 0 where it does not. Without a duration a tick is a
// picture for most, but some have the clock of their system, which ticks faster than the 300 pictures a second that
// A.4.2 gives to any level.
double picturesPerSecond(const SequenceParameterSet& s)
{
    const VuiParameters& vui = s.vui_parameters;
    if (!s.vui_parameters_present_flag || !vui.vui_timing_info_present_flag || vui.vui_num_units_in_tick == 0)
        return 0;
    const double dTicks = static_cast<double>(vui.vui_time_scale) / vui.vui_num_units_in_tick;
    const unsigned uiTop = s.sps_max_sub_layers_minus1;
    if (vui.vui_hrd_parameters_present_flag && vui.hrd_parameters->fixed_pic_rate_within_cvs_flag[uiTop])
        return dTicks / (vui.hrd_parameters->elemental_duration_in_tc_minus1[uiTop] + 1.0);
    if (vui.vui_poc_proportional_to_timing_flag)
        return dTicks / (vui.vui_num_ticks_poc_diff_one_minus1 + 1.0);
    return dTicks <= 300 ? dTicks : 0;
}

// A.4.2: a constant rate is what the removal times follow.
void checkSampleRate(const SequenceParameterSet& s, const Level& level, const CChecks& checks)
{
    const double dPictures = picturesPerSecond(s);
    const double dSamples = dPictures * static_cast<double>(PicSizeInSamplesY(s));
    const auto fits = [&](const Level& l) { return dSamples <= static_cast<double>(l.MaxLumaSr); };
    if (fits(level) || PicSizeInSamplesY(s) > level.MaxLumaPs)
        return;
    CChecks inside = checks.inside("vui_parameters");
    inside.warning(Blamed("vui_time_scale", s.vui_parameters.vui_time_scale),
                   "A.4.2",
                   say("at most ", level.MaxLumaSr, " luma samples a second"),
                   say(std::llround(dPictures),
                       " pictures a second of this size are more than level ",
                       level.pName,
                       " is made for",
                       lowestThatFits(fits)));
}

} // namespace

void checkLevelOfSps(const SequenceParameterSet& s, CFindings& findings)
{
    if (s.MultiLayerExtSpsFlag || s.profile_tier_level.general_profile_space != 0)
        return;
    CChecks checks(findings, "");
    checkSubLayerLevels(s, checks.inside("profile_tier_level"));
    const Level* const pLevel = findLevel(s.profile_tier_level.general_level_idc);
    if (pLevel == nullptr)
        return;
    checkSize(s, *pLevel, checks);
    checkCtbOfLevel(s, s.profile_tier_level.general_level_idc, checks);
    checkDpb(s, *pLevel, checks);
    const VuiParameters& vui = s.vui_parameters;
    if (s.vui_parameters_present_flag && vui.vui_hrd_parameters_present_flag && !s.stop) // all CPBs, or none
        checkHrds(*vui.hrd_parameters,
                  s.profile_tier_level,
                  s.sps_max_sub_layers_minus1,
                  checks.inside("vui_parameters").inside("hrd_parameters"));
    checkSampleRate(s, *pLevel, checks);
}

void checkLevelOfVpsOfSps(const SequenceParameterSet& s, const VideoParameterSet& vps, CFindings& findings)
{
    const ProfileTierLevel& ptl = s.profile_tier_level;
    const Level* const pLevel = ptl.general_profile_space == 0 ? findLevel(ptl.general_level_idc) : nullptr;
    CChecks checks(findings, "");
    if (s.nal_unit_header.nuh_layer_id == 0 && vps.vps_base_layer_internal_flag && pLevel != nullptr)
        checkDpbOfVps(s, vps, *pLevel, checks);
}

void checkLevelOfVps(const VideoParameterSet& s, CFindings& findings)
{
    const CChecks checks(findings, "");
    if (s.profile_tier_level.general_profile_space != 0 || s.stop)
        return;
    const std::size_t uiHrds =
        std::min<std::size_t>({s.vps_num_hrd_parameters, s.hrd_layer_set_idx.size(), s.hrd_parameters.size()});
    for (unsigned i = 0; i < uiHrds; ++i) {
        if (s.hrd_layer_set_idx[i] == 0)
            checkHrds(s.hrd_parameters[i],
                      s.profile_tier_level,
                      s.vps_max_sub_layers_minus1,
                      checks.inside("hrd_parameters", i));
    }
}

void checkLevelOfPps(const PictureParameterSet& s, const SequenceParameterSet& sps, CFindings& findings)
{
    const ProfileTierLevel& ptl = sps.profile_tier_level;
    if (sps.MultiLayerExtSpsFlag || ptl.general_profile_space != 0)
        return;
    CChecks checks(findings, "");
    checkTileCounts(s, ptl.general_level_idc, checks);
}

void checkCtbOfLevel(const SequenceParameterSet& s, unsigned general_level_idc, CChecks& checks)
{
    constexpr unsigned LEVEL_5_IDC = 150;
    const std::uint64_t CtbLog2SizeY = blockSizes(s).CtbLog2SizeY;
    const Level* const pLevel = findLevel(general_level_idc);
    if (pLevel == nullptr || general_level_idc < LEVEL_5_IDC || CtbLog2SizeY < 4)
        return; // smaller ones no profile has
    SHALL(CtbLog2SizeY > 4,
          BLAME(log2_diff_max_min_luma_coding_block_size),
          "A.4.1",
          "a CTB of 32 or 64",
          "the CTB is 16 samples wide, level ",
          pLevel->pName,
          " allows 32 and 64, as every level from 5 on");
}

void checkTileCounts(const PictureParameterSet& s, unsigned general_level_idc, CChecks& checks)
{
    const Level* const pLevel = findLevel(general_level_idc);
    if (pLevel == nullptr || !s.tiles_enabled_flag)
        return;
    const auto fits = [&](const Level& l) {
        return s.num_tile_columns_minus1 < l.MaxTileCols && s.num_tile_rows_minus1 < l.MaxTileRows;
    };
    SHALL(s.num_tile_columns_minus1 < pLevel->MaxTileCols,
          BLAME(num_tile_columns_minus1),
          "A.4.1",
          say("less than ", pLevel->MaxTileCols),
          s.num_tile_columns_minus1 + std::uint64_t{1},
          " tile columns are more than level ",
          pLevel->pName,
          " allows, ",
          pLevel->MaxTileCols,
          lowestThatFits(fits));
    SHALL(s.num_tile_rows_minus1 < pLevel->MaxTileRows,
          BLAME(num_tile_rows_minus1),
          "A.4.1",
          say("less than ", pLevel->MaxTileRows),
          s.num_tile_rows_minus1 + std::uint64_t{1},
          " tile rows are more than level ",
          pLevel->pName,
          " allows, ",
          pLevel->MaxTileRows,
          lowestThatFits(fits));
}

} // namespace h265_syntax
