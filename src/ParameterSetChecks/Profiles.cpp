#include "Profiles.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>

namespace h265_syntax {

namespace {

constexpr const char* NO_FLAGS = nullptr;

// A.3.2 to A.3.7, Tables A.2, A.3 and A.5 for the flags, A.10 for the factors; G.11, H.11, I.11.
// clang-format off
constexpr Profile PROFILES[] = {
    //                                                                        flags         bits  chroma   CPB VCL, NAL
    {PROFILE_MAIN,                    "Main",                                 NO_FLAGS,      8,  1, 1,  1000, 1100},
    {PROFILE_MAIN_10,                 "Main 10",                              NO_FLAGS,     10,  1, 1,  1000, 1100},
    {PROFILE_MAIN_STILL_PICTURE,      "Main Still Picture",                   NO_FLAGS,      8,  1, 1,  1000, 1100},
    {PROFILE_RANGE_EXTENSIONS,        "Monochrome",                           "-111111001",  8,  0, 0,   667,  733},
    {PROFILE_RANGE_EXTENSIONS,        "Monochrome 10",                        "-110111001", 10,  0, 0,   833,  917},
    {PROFILE_RANGE_EXTENSIONS,        "Monochrome 12",                        "-100111001", 12,  0, 0,  1000, 1100},
    {PROFILE_RANGE_EXTENSIONS,        "Monochrome 16",                        "-000111001", 16,  0, 0,  1333, 1467},
    {PROFILE_RANGE_EXTENSIONS,        "Main 12",                              "-100110001", 12,  1, 0,  1500, 1650},
    {PROFILE_RANGE_EXTENSIONS,        "Main 4:2:2 10",                        "-110100001", 10,  2, 0,  1667, 1833},
    {PROFILE_RANGE_EXTENSIONS,        "Main 4:2:2 12",                        "-100100001", 12,  2, 0,  2000, 2200},
    {PROFILE_RANGE_EXTENSIONS,        "Main 4:4:4",                           "-111000001",  8,  3, 0,  2000, 2200},
    {PROFILE_RANGE_EXTENSIONS,        "Main 4:4:4 10",                        "-110000001", 10,  3, 0,  2500, 2750},
    {PROFILE_RANGE_EXTENSIONS,        "Main 4:4:4 12",                        "-100000001", 12,  3, 0,  3000, 3300},
    {PROFILE_RANGE_EXTENSIONS,        "Main Intra",                           "-11111010-",  8,  1, 0,  1000, 1100},
    {PROFILE_RANGE_EXTENSIONS,        "Main 10 Intra",                        "-11011010-", 10,  1, 0,  1000, 1100},
    {PROFILE_RANGE_EXTENSIONS,        "Main 12 Intra",                        "-10011010-", 12,  1, 0,  1500, 1650},
    {PROFILE_RANGE_EXTENSIONS,        "Main 4:2:2 10 Intra",                  "-11010010-", 10,  2, 0,  1667, 1833},
    {PROFILE_RANGE_EXTENSIONS,        "Main 4:2:2 12 Intra",                  "-10010010-", 12,  2, 0,  2000, 2200},
    {PROFILE_RANGE_EXTENSIONS,        "Main 4:4:4 Intra",                     "-11100010-",  8,  3, 0,  2000, 2200},
    {PROFILE_RANGE_EXTENSIONS,        "Main 4:4:4 10 Intra",                  "-11000010-", 10,  3, 0,  2500, 2750},
    {PROFILE_RANGE_EXTENSIONS,        "Main 4:4:4 12 Intra",                  "-10000010-", 12,  3, 0,  3000, 3300},
    {PROFILE_RANGE_EXTENSIONS,        "Main 4:4:4 16 Intra",                  "-00000010-", 16,  3, 0,  4000, 4400},
    {PROFILE_RANGE_EXTENSIONS,        "Main 4:4:4 Still Picture",             "-11100011-",  8,  3, 0,  2000, 2200},
    {PROFILE_RANGE_EXTENSIONS,        "Main 4:4:4 16 Still Picture",          "-00000011-", 16,  3, 0,  4000, 4400},
    {PROFILE_HIGH_THROUGHPUT,         "High Throughput 4:4:4",                "1111000001",  8,  3, 0,  2000, 2200},
    {PROFILE_HIGH_THROUGHPUT,         "High Throughput 4:4:4 10",             "1110000001", 10,  3, 0,  2500, 2750},
    {PROFILE_HIGH_THROUGHPUT,         "High Throughput 4:4:4 14",             "1000000001", 14,  3, 0,  3500, 3850},
    {PROFILE_HIGH_THROUGHPUT,         "High Throughput 4:4:4 16 Intra",       "000000010-", 16,  3, 0,  4000, 4400},
    {PROFILE_MULTIVIEW_MAIN,          "Multiview Main",                       NO_FLAGS,      8,  1, 1,  1000, 1100},
    {PROFILE_SCALABLE_MAIN,           "Scalable Main",                        "-111110001",  8,  1, 1,  1000, 1100},
    {PROFILE_SCALABLE_MAIN,           "Scalable Main 10",                     "-110110001", 10,  1, 1,  1000, 1100},
    {PROFILE_3D_MAIN,                 "3D Main",                              NO_FLAGS,      8,  1, 0,  1000, 1100},
    {PROFILE_SCREEN_EXTENDED,         "Screen-Extended Main",                 "1111110001",  8,  1, 0,  1000, 1100},
    {PROFILE_SCREEN_EXTENDED,         "Screen-Extended Main 10",              "1110110001", 10,  1, 0,  1000, 1100},
    {PROFILE_SCREEN_EXTENDED,         "Screen-Extended Main 4:4:4",           "1111000001",  8,  3, 0,  2000, 2200},
    {PROFILE_SCREEN_EXTENDED,         "Screen-Extended Main 4:4:4 10",        "1110000001", 10,  3, 0,  2500, 2750},
    {PROFILE_SCALABLE_RANGE_EXTENSIONS, "Scalable Monochrome",                "-111111001",  8,  0, 0,   667,  733},
    {PROFILE_SCALABLE_RANGE_EXTENSIONS, "Scalable Monochrome 12",             "-100111001", 12,  0, 0,  1000, 1100},
    {PROFILE_SCALABLE_RANGE_EXTENSIONS, "Scalable Monochrome 16",             "-000111001", 16,  0, 0,  1333, 1467},
    {PROFILE_SCALABLE_RANGE_EXTENSIONS, "Scalable Main 4:4:4",                "-111000001",  8,  3, 0,  2000, 2200},
    {PROFILE_HIGH_THROUGHPUT_SCREEN_EXTENDED, "Screen-Extended High Throughput 4:4:4",    "1111000001",  8, 3, 0, 2000, 2200},
    {PROFILE_HIGH_THROUGHPUT_SCREEN_EXTENDED, "Screen-Extended High Throughput 4:4:4 10", "1110000001", 10, 3, 0, 2500, 2750},
    {PROFILE_HIGH_THROUGHPUT_SCREEN_EXTENDED, "Screen-Extended High Throughput 4:4:4 14", "1000000001", 14, 3, 0, 3500, 3850},
};
// clang-format on

// A stream that keeps to more than a profile asks for conforms to it as well.
bool matches(const Profile& profile, const ConstraintFlags& flags) noexcept
{
    if (profile.pFlags == nullptr)
        return true;
    const std::string_view pattern = profile.pFlags;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == '1' && flags.aFlags[i] == '0')
            return false;
    }
    return true;
}

} // namespace

std::span<const Profile> profiles() noexcept
{
    return PROFILES;
}

const Profile* findProfile(unsigned general_profile_idc, const ConstraintFlags& flags) noexcept
{
    const auto* const position = std::find_if(std::begin(PROFILES), std::end(PROFILES), [&](const Profile& profile) {
        return profile.general_profile_idc == general_profile_idc && matches(profile, flags);
    });
    return position != std::end(PROFILES) ? position : nullptr;
}

bool isListed(unsigned general_profile_idc, const ConstraintFlags& flags) noexcept
{
    return std::any_of(std::begin(PROFILES), std::end(PROFILES), [&](const Profile& profile) {
        if (profile.general_profile_idc != general_profile_idc)
            return false;
        const std::string_view pattern = profile.pFlags != nullptr ? profile.pFlags : std::string_view();
        for (std::size_t i = 0; i < pattern.size(); ++i) {
            if (pattern[i] != '-' && pattern[i] != flags.aFlags[i])
                return false;
        }
        return true;
    });
}

const char* profileGroupName(unsigned general_profile_idc) noexcept
{
    constexpr const char* NAMES[] = {nullptr,
                                     "Main",
                                     "Main 10",
                                     "Main Still Picture",
                                     "Range Extensions",
                                     "High Throughput",
                                     "Multiview Main",
                                     "Scalable Main",
                                     "3D Main",
                                     "Screen Content Coding",
                                     "Scalable Range Extensions",
                                     "High Throughput Screen Content Coding"};
    return general_profile_idc < std::size(NAMES) ? NAMES[general_profile_idc] : nullptr;
}

unsigned hbrFactor(const Profile& profile, bool general_lower_bit_rate_constraint_flag) noexcept
{
    const unsigned uiLower = general_lower_bit_rate_constraint_flag ? 1 : 0;
    switch (profile.general_profile_idc) {
    case PROFILE_RANGE_EXTENSIONS:
    case PROFILE_SCALABLE_RANGE_EXTENSIONS:
        return 2 - uiLower;
    case PROFILE_HIGH_THROUGHPUT:
    case PROFILE_HIGH_THROUGHPUT_SCREEN_EXTENDED:
        return profile.uiMaxBitDepth == 16 ? 24 - 12 * uiLower : 6;
    default:
        return 1;
    }
}

} // namespace h265_syntax
