#include "Levels.h"

#include <algorithm>
#include <iterator>

namespace h265_syntax {

namespace {

// Tables A.8 and A.9
// clang-format off
constexpr Level LEVELS[] = {
    // idc  name    MaxLumaPs  MaxCPB main, high  segments rows cols  MaxLumaSr      MaxBR main, high
    {  30, "1",        36864, {   350,      0},   16,      1,   1,      552'960, {   128,      0}},
    {  60, "2",       122880, {  1500,      0},   16,      1,   1,    3'686'400, {  1500,      0}},
    {  63, "2.1",     245760, {  3000,      0},   20,      1,   1,    7'372'800, {  3000,      0}},
    {  90, "3",       552960, {  6000,      0},   30,      2,   2,   16'588'800, {  6000,      0}},
    {  93, "3.1",     983040, { 10000,      0},   40,      3,   3,   33'177'600, { 10000,      0}},
    { 120, "4",      2228224, { 12000,  30000},   75,      5,   5,   66'846'720, { 12000,  30000}},
    { 123, "4.1",    2228224, { 20000,  50000},   75,      5,   5,  133'693'440, { 20000,  50000}},
    { 150, "5",      8912896, { 25000, 100000},  200,     11,  10,  267'386'880, { 25000, 100000}},
    { 153, "5.1",    8912896, { 40000, 160000},  200,     11,  10,  534'773'760, { 40000, 160000}},
    { 156, "5.2",    8912896, { 60000, 240000},  200,     11,  10, 1'069'547'520, { 60000, 240000}},
    { 180, "6",     35651584, { 60000, 240000},  600,     22,  20, 1'069'547'520, { 60000, 240000}},
    { 183, "6.1",   35651584, {120000, 480000},  600,     22,  20, 2'139'095'040, {120000, 480000}},
    { 186, "6.2",   35651584, {240000, 800000},  600,     22,  20, 4'278'190'080, {240000, 800000}},
};
// clang-format on

} // namespace

std::span<const Level> levels() noexcept
{
    return LEVELS;
}

const Level* findLevel(unsigned level_idc) noexcept
{
    const auto* const position = std::find_if(
        std::begin(LEVELS), std::end(LEVELS), [&](const Level& l) { return l.general_level_idc == level_idc; });
    return position != std::end(LEVELS) ? position : nullptr;
}

std::uint32_t maxSideLength(const Level& level) noexcept
{
    const std::uint64_t ulSquare = std::uint64_t{level.MaxLumaPs} * 8;
    std::uint64_t ulSide = 0;
    for (std::uint64_t ulBit = std::uint64_t{1} << 16; ulBit != 0; ulBit >>= 1) {
        if ((ulSide + ulBit) * (ulSide + ulBit) <= ulSquare)
            ulSide += ulBit;
    }
    return static_cast<std::uint32_t>(ulSide);
}

// A.4.2: each step is "at most".
unsigned maxDpbSize(std::uint64_t PicSizeInSamplesY, std::uint64_t MaxLumaPs, unsigned maxDpbPicBuf) noexcept
{
    constexpr unsigned DPB_LIMIT = 16;
    if (PicSizeInSamplesY <= MaxLumaPs >> 2)
        return std::min(4 * maxDpbPicBuf, DPB_LIMIT);
    if (PicSizeInSamplesY <= MaxLumaPs >> 1)
        return std::min(2 * maxDpbPicBuf, DPB_LIMIT);
    if (PicSizeInSamplesY <= (3 * MaxLumaPs) >> 2)
        return std::min(4 * maxDpbPicBuf / 3, DPB_LIMIT);
    return maxDpbPicBuf;
}

} // namespace h265_syntax
