// A decoder's own scan tables in the place of H265ParameterSets::DecoderScanTables.

#include <cstddef>

#include "ScanTables.h"

namespace h265_codec {

namespace {

template <int SIDE>
struct OwnScan
{
    std::int16_t aPositions[SIDE * SIDE] = {};
};

// 6.5.3
template <int SIDE>
consteval OwnScan<SIDE> diagonal()
{
    OwnScan<SIDE> scan;
    std::size_t i = 0;
    for (int iDiagonal = 0; iDiagonal < 2 * SIDE - 1; ++iDiagonal) {
        for (int x = 0; x <= iDiagonal; ++x) {
            const int y = iDiagonal - x;
            if (x < SIDE && y < SIDE)
                scan.aPositions[i++] = static_cast<std::int16_t>(y * SIDE + x);
        }
    }
    return scan;
}

// 6.5.4, and with x and y exchanged 6.5.5
template <int SIDE, bool IS_VERTICAL>
consteval OwnScan<SIDE> rows()
{
    OwnScan<SIDE> scan;
    for (int i = 0; i < SIDE * SIDE; ++i)
        scan.aPositions[i] = static_cast<std::int16_t>(IS_VERTICAL ? i % SIDE * SIDE + i / SIDE : i);
    return scan;
}

template <int SIDE>
constexpr OwnScan<SIDE> g_diagonal = diagonal<SIDE>();
template <int SIDE>
constexpr OwnScan<SIDE> g_horizontal = rows<SIDE, false>();
template <int SIDE>
constexpr OwnScan<SIDE> g_vertical = rows<SIDE, true>();

} // namespace

// Constant-initialised: the module's own tables take pointers from this one while globals are being made.
constinit const std::int16_t* const g_pScanIdx[3][4] = {
    {g_diagonal<4>.aPositions, g_diagonal<8>.aPositions, g_diagonal<16>.aPositions, g_diagonal<32>.aPositions},
    {g_horizontal<4>.aPositions, g_horizontal<8>.aPositions, g_horizontal<16>.aPositions, g_horizontal<32>.aPositions},
    {g_vertical<4>.aPositions, g_vertical<8>.aPositions, g_vertical<16>.aPositions, g_vertical<32>.aPositions},
};

} // namespace h265_codec
