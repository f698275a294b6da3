#include "ProfileTierLevelChecks.h"

#include <algorithm>
#include <iterator>

#include "Levels.h"
#include "ProfileClaims.h"

namespace h265_syntax {

namespace {

constexpr unsigned HIGHEST_PROFILE = PROFILE_HIGH_THROUGHPUT_SCREEN_EXTENDED;

// A.3.2 to A.3.4: what decodes the wider profile decodes the narrower one, and a stream should say so.
void checkAdvisedCompatibility(const ProfileTierLevel& s, CChecks& checks)
{
    const bool* const aFlags = s.general_profile_compatibility_flag;
    SHOULD(!aFlags[PROFILE_MAIN] || aFlags[PROFILE_MAIN_10],
           BLAME_1(general_profile_compatibility_flag, PROFILE_MAIN_10),
           "A.3.2",
           "1",
           "what conforms to Main conforms to Main 10, which compatibility flag 2 should say");
    SHOULD(!aFlags[PROFILE_MAIN_STILL_PICTURE] || aFlags[PROFILE_MAIN],
           BLAME_1(general_profile_compatibility_flag, PROFILE_MAIN),
           "A.3.4",
           "1",
           "what conforms to Main Still Picture conforms to Main, which compatibility flag 1 should say");
}

// A.3.5 to A.3.8: the flags of each claimed profile that flags tell apart name one of its kind. Some encoders add a
// flag to one that does.
void checkFlags(const ProfileTierLevel& s, CChecks& checks)
{
    for (unsigned uiProfile = PROFILE_RANGE_EXTENSIONS; uiProfile <= HIGHEST_PROFILE; ++uiProfile) {
        if (!isByFlags(uiProfile) || !isOfOneLayer(uiProfile) || !claims(s, uiProfile))
            continue;
        const bool bOwn = s.general_profile_idc == uiProfile;
        const char* const pClause = PROFILE_CLAUSES[uiProfile];
        const Profile* const pProfile = findProfile(uiProfile, constraintFlags(s));
        SHALL(pProfile != nullptr,
              bOwn ? BLAME(general_profile_idc) : BLAME_1(general_profile_compatibility_flag, uiProfile),
              pClause,
              bOwn ? "flags of a profile" : "0 with these constraint flags",
              "the constraint flags name none of the profiles of ",
              profileGroupName(uiProfile));
        SHOULD(!bOwn || pProfile == nullptr || isListed(uiProfile, constraintFlags(s)),
               BLAME(general_profile_idc),
               pClause,
               "flags of a profile",
               "the constraint flags ask for more than ",
               pProfile->pName,
               " does, a combination that is reserved for later editions of H.265");
    }
}

bool isReserved(unsigned profile_idc)
{
    return profile_idc == 0 || profile_idc > HIGHEST_PROFILE;
}

void checkGeneralProfile(const ProfileTierLevel& s, CChecks& checks)
{
    if (s.general_profile_space != 0)
        return checks.reserved(BLAME(general_profile_space), "7.4.4", "0");
    if (isReserved(s.general_profile_idc))
        checks.reserved(BLAME(general_profile_idc), "7.4.4", say("1 to ", HIGHEST_PROFILE));
    else
        SHALL(s.general_profile_compatibility_flag[s.general_profile_idc],
              BLAME_1(general_profile_compatibility_flag, s.general_profile_idc),
              "7.4.4",
              "1",
              "the set does not claim to be compatible with its own profile, general_profile_idc ",
              s.general_profile_idc);
    for (unsigned j = 0; j < 32; ++j) {
        if (isReserved(j) && s.general_profile_compatibility_flag[j] && j != s.general_profile_idc)
            checks.reserved(BLAME_1(general_profile_compatibility_flag, j), "7.4.4", "0");
    }
    checkAdvisedCompatibility(s, checks);
    checkFlags(s, checks);
    const auto zero = [&](const Blamed& blamed) {
        if (blamed.iValue != 0)
            checks.reserved(blamed, "7.4.4", "0");
    };
    zero(BLAME(general_reserved_zero_33bits));
    zero(BLAME(general_reserved_zero_34bits));
    zero(BLAME(general_reserved_zero_7bits));
    zero(BLAME(general_reserved_zero_35bits));
    zero(BLAME(general_reserved_zero_43bits));
    zero(BLAME(general_reserved_zero_bit));
}

void checkSubLayerProfile(const ProfileTierLevel& s, unsigned i, CChecks& checks)
{
    if (s.sub_layer_profile_space[i] != 0)
        return checks.reserved(BLAME_1(sub_layer_profile_space, i), "7.4.4", "0");
    const unsigned uiProfile = s.sub_layer_profile_idc[i];
    if (isReserved(uiProfile))
        checks.reserved(BLAME_1(sub_layer_profile_idc, i), "7.4.4", say("1 to ", HIGHEST_PROFILE));
    else
        SHALL(s.sub_layer_profile_compatibility_flag[i][uiProfile],
              BLAME_2(sub_layer_profile_compatibility_flag, i, uiProfile),
              "7.4.4",
              "1",
              "sub-layer ",
              i,
              " does not claim to be compatible with its own profile, sub_layer_profile_idc ",
              uiProfile);
    for (unsigned j = 0; j < 32; ++j) {
        if (isReserved(j) && s.sub_layer_profile_compatibility_flag[i][j] && j != uiProfile)
            checks.reserved(BLAME_2(sub_layer_profile_compatibility_flag, i, j), "7.4.4", "0");
    }
    if (isByFlags(uiProfile) && isOfOneLayer(uiProfile))
        SHALL(profileOf(ofSubLayer(s, i)) != nullptr,
              BLAME_1(sub_layer_profile_idc, i),
              PROFILE_CLAUSES[uiProfile],
              "flags of a profile",
              "the constraint flags of sub-layer ",
              i,
              " name none of the profiles of ",
              profileGroupName(uiProfile));
    // Their names have no index in the table.
    const auto zero = [&](const Blamed& blamed) {
        if (blamed.iValue != 0)
            checks.reserved(blamed, "7.4.4", "0");
    };
    zero(Blamed("sub_layer_reserved_zero_33bits", static_cast<std::int64_t>(s.sub_layer_reserved_zero_33bits[i])));
    zero(Blamed("sub_layer_reserved_zero_34bits", static_cast<std::int64_t>(s.sub_layer_reserved_zero_34bits[i])));
    zero(Blamed("sub_layer_reserved_zero_7bits", static_cast<std::int64_t>(s.sub_layer_reserved_zero_7bits[i])));
    zero(Blamed("sub_layer_reserved_zero_35bits", static_cast<std::int64_t>(s.sub_layer_reserved_zero_35bits[i])));
    zero(Blamed("sub_layer_reserved_zero_43bits", static_cast<std::int64_t>(s.sub_layer_reserved_zero_43bits[i])));
    zero(Blamed("sub_layer_reserved_zero_bit", static_cast<std::int64_t>(s.sub_layer_reserved_zero_bit[i])));
}

bool isLevel(unsigned level_idc)
{
    return level_idc == LEVEL_8_5_IDC || findLevel(level_idc) != nullptr;
}

void checkLevels(const ProfileTierLevel& s, unsigned uiMaxSubLayersMinus1, CChecks& checks)
{
    if (!isLevel(s.general_level_idc))
        checks.reserved(BLAME(general_level_idc), "A.4.1", "30 times a level number, 30 to 186, or 255");
    const Level* const pLevel = findLevel(s.general_level_idc);
    SHALL(pLevel == nullptr || !s.general_tier_flag || pLevel->MaxBR.uiHigh != 0,
          BLAME(general_tier_flag),
          "A.4.1",
          "0",
          "level ",
          pLevel->pName,
          " has no High tier, which begins with level 4");
    for (unsigned i = 0; i < uiMaxSubLayersMinus1; ++i) {
        const Level* const pOwn = findLevel(levelOfSubLayer(s, i, uiMaxSubLayersMinus1));
        SHALL(pOwn == nullptr || !s.sub_layer_profile_present_flag[i] || !s.sub_layer_tier_flag[i] ||
                  pOwn->MaxBR.uiHigh != 0,
              BLAME_1(sub_layer_tier_flag, i),
              "A.4.1",
              "0",
              "level ",
              pOwn->pName,
              " of sub-layer ",
              i,
              " has no High tier, which begins with level 4");
        if (!s.sub_layer_level_present_flag[i])
            continue;
        const Blamed blamed = BLAME_1(sub_layer_level_idc, i);
        if (!isLevel(s.sub_layer_level_idc[i]))
            checks.reserved(blamed, "A.4.1", "30 times a level number, 30 to 186, or 255");
        SHOULD(s.sub_layer_level_idc[i] <= s.general_level_idc,
               blamed,
               "7.4.4",
               say("at most ", s.general_level_idc),
               "sub-layer ",
               i,
               " needs a higher level than the whole stream");
    }
}

} // namespace

void checkProfileTierLevel(const ProfileTierLevel& s, unsigned uiMaxSubLayersMinus1, CChecks checks,
                           bool bProfilePresent)
{
    if (bProfilePresent)
        checkGeneralProfile(s, checks);
    for (unsigned i = 0; i < uiMaxSubLayersMinus1; ++i) {
        SHALL(bProfilePresent || !s.sub_layer_profile_present_flag[i],
              BLAME_1(sub_layer_profile_present_flag, i),
              "7.4.4",
              "0",
              "sub-layer ",
              i,
              " has a profile of its own, where the whole has none");
        if (s.sub_layer_profile_present_flag[i])
            checkSubLayerProfile(s, i, checks);
    }
    if (!bProfilePresent || s.general_profile_space == 0)
        checkLevels(s, uiMaxSubLayersMinus1, checks);
    for (unsigned i = uiMaxSubLayersMinus1; uiMaxSubLayersMinus1 != 0 && i < 8; ++i) {
        if (s.reserved_zero_2bits[i] != 0)
            checks.reserved(BLAME_1(reserved_zero_2bits, i), "7.4.4", "0");
    }
}

bool isMax14Bit(const ProfileTierLevel& s) noexcept
{
    const auto isOneOf = [&](auto... profiles) {
        return ((s.general_profile_idc == profiles || s.general_profile_compatibility_flag[profiles]) || ...);
    };
    return s.general_max_14bit_constraint_flag && isOneOf(5U, 9U, 10U, 11U);
}

ConstraintFlags constraintFlags(const ProfileTierLevel& s) noexcept
{
    const auto flag = [](bool b) { return b ? '1' : '0'; };
    return {{flag(isMax14Bit(s)),
             flag(s.general_max_12bit_constraint_flag),
             flag(s.general_max_10bit_constraint_flag),
             flag(s.general_max_8bit_constraint_flag),
             flag(s.general_max_422chroma_constraint_flag),
             flag(s.general_max_420chroma_constraint_flag),
             flag(s.general_max_monochrome_constraint_flag),
             flag(s.general_intra_constraint_flag),
             flag(s.general_one_picture_only_constraint_flag),
             flag(s.general_lower_bit_rate_constraint_flag)}};
}

const Profile* profileOf(const ProfileTierLevel& s) noexcept
{
    return s.general_profile_space == 0 ? findProfile(s.general_profile_idc, constraintFlags(s)) : nullptr;
}

ProfileTierLevel ofSubLayer(const ProfileTierLevel& s, unsigned i) noexcept
{
    ProfileTierLevel own;
    own.general_profile_space = s.sub_layer_profile_space[i];
    own.general_profile_idc = s.sub_layer_profile_idc[i];
    std::copy(std::begin(s.sub_layer_profile_compatibility_flag[i]),
              std::end(s.sub_layer_profile_compatibility_flag[i]),
              own.general_profile_compatibility_flag);
    own.general_max_14bit_constraint_flag = s.sub_layer_max_14bit_constraint_flag[i];
    own.general_max_12bit_constraint_flag = s.sub_layer_max_12bit_constraint_flag[i];
    own.general_max_10bit_constraint_flag = s.sub_layer_max_10bit_constraint_flag[i];
    own.general_max_8bit_constraint_flag = s.sub_layer_max_8bit_constraint_flag[i];
    own.general_max_422chroma_constraint_flag = s.sub_layer_max_422chroma_constraint_flag[i];
    own.general_max_420chroma_constraint_flag = s.sub_layer_max_420chroma_constraint_flag[i];
    own.general_max_monochrome_constraint_flag = s.sub_layer_max_monochrome_constraint_flag[i];
    own.general_intra_constraint_flag = s.sub_layer_intra_constraint_flag[i];
    own.general_one_picture_only_constraint_flag = s.sub_layer_one_picture_only_constraint_flag[i];
    own.general_lower_bit_rate_constraint_flag = s.sub_layer_lower_bit_rate_constraint_flag[i];
    return own;
}

unsigned levelOfSubLayer(const ProfileTierLevel& s, unsigned i, unsigned uiMaxSubLayersMinus1) noexcept
{
    while (i < uiMaxSubLayersMinus1 && !s.sub_layer_level_present_flag[i])
        ++i;
    return i < uiMaxSubLayersMinus1 ? s.sub_layer_level_idc[i] : s.general_level_idc;
}

bool claims(const ProfileTierLevel& s, unsigned uiProfile) noexcept
{
    return s.general_profile_space == 0 &&
           (s.general_profile_idc == uiProfile || s.general_profile_compatibility_flag[uiProfile]);
}

} // namespace h265_syntax
