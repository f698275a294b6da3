#include "ClaimProfileText.h"

#include "ClaimFindings.h"
#include "Levels.h"

namespace h265_inspect {

using namespace h265_syntax;

namespace {

constexpr unsigned CONSTRAINT_BITS = 48;

} // namespace

std::string tierText(bool bHigh)
{
    return bHigh ? "High tier" : "Main tier";
}

std::string flagsText(std::uint32_t uiFlags)
{
    std::string text;
    for (unsigned j = 0; j < 32; ++j) {
        if ((uiFlags >> (31 - j) & 1) != 0)
            text += text.empty() ? say("general_profile_compatibility_flag[", j, "]") : say(", [", j, "]");
    }
    return text;
}

unsigned firstFlag(std::uint32_t uiFlags)
{
    unsigned j = 0;
    while (j < 31 && (uiFlags >> (31 - j) & 1) == 0)
        ++j;
    return j;
}

Blamed blamedFlag(std::uint32_t uiFlags, bool bValue)
{
    return {"general_profile_compatibility_flag", bValue ? 1 : 0, firstFlag(uiFlags)};
}

Blamed blamedConstraint(std::uint64_t ulFlags, bool bValue)
{
    const int iValue = bValue ? 1 : 0;
    const auto has = [&](unsigned i) { return (ulFlags >> (CONSTRAINT_BITS - 1 - i) & 1) != 0; };
    if (has(0))
        return {"general_progressive_source_flag", iValue};
    if (has(1))
        return {"general_interlaced_source_flag", iValue};
    if (has(2))
        return {"general_non_packed_constraint_flag", iValue};
    if (has(3))
        return {"general_frame_only_constraint_flag", iValue};
    return {"general_constraint_indicator_flags", iValue};
}

std::string constraintsText(std::uint64_t ulFlags)
{
    return hexText(ulFlags, CONSTRAINT_BITS / 4);
}

std::string levelText(unsigned general_level_idc)
{
    const Level* const pLevel = findLevel(general_level_idc);
    return pLevel == nullptr ? say("level_idc ", general_level_idc)
                             : say("level ", pLevel->pName, " (general_level_idc ", general_level_idc, ")");
}

std::string hexText(std::uint64_t ulValue, unsigned uiDigits)
{
    std::string text = "0x";
    while (uiDigits-- != 0)
        text += "0123456789abcdef"[ulValue >> 4 * uiDigits & 15];
    return text;
}

} // namespace h265_inspect
