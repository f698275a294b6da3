#include "ScanTables.h"

#include <array>
#include <cstddef>

namespace h265_codec {

namespace {

template <int SIDE>
using ScanTable = std::array<std::int16_t, static_cast<std::size_t>(SIDE) * SIDE>;

// 6.5.3, up-right diagonal: each diagonal from its lower left to its upper right.
template <int SIDE>
consteval ScanTable<SIDE> makeDiagonalScan() noexcept
{
    ScanTable<SIDE> scan{};
    std::size_t i = 0;
    for (int iDiagonal = 0; iDiagonal < 2 * SIDE - 1; ++iDiagonal) {
        for (int x = 0; x <= iDiagonal; ++x) {
            const int y = iDiagonal - x;
            if (x < SIDE && y < SIDE)
                scan[i++] = static_cast<std::int16_t>(y * SIDE + x);
        }
    }
    return scan;
}

// 6.5.4, horizontal
template <int SIDE>
consteval ScanTable<SIDE> makeHorizontalScan() noexcept
{
    ScanTable<SIDE> scan{};
    for (std::size_t i = 0; i < scan.size(); ++i)
        scan[i] = static_cast<std::int16_t>(i);
    return scan;
}

// 6.5.5, vertical
template <int SIDE>
consteval ScanTable<SIDE> makeVerticalScan() noexcept
{
    ScanTable<SIDE> scan{};
    for (std::size_t i = 0; i < scan.size(); ++i)
        scan[i] = static_cast<std::int16_t>(i % SIDE * SIDE + i / SIDE);
    return scan;
}

template <int SIDE>
constexpr ScanTable<SIDE> g_diagonal = makeDiagonalScan<SIDE>();
template <int SIDE>
constexpr ScanTable<SIDE> g_horizontal = makeHorizontalScan<SIDE>();
template <int SIDE>
constexpr ScanTable<SIDE> g_vertical = makeVerticalScan<SIDE>();

} // namespace

constinit const std::int16_t* const g_pScanIdx[3][4] = {
    {g_diagonal<4>.data(), g_diagonal<8>.data(), g_diagonal<16>.data(), g_diagonal<32>.data()},
    {g_horizontal<4>.data(), g_horizontal<8>.data(), g_horizontal<16>.data(), g_horizontal<32>.data()},
    {g_vertical<4>.data(), g_vertical<8>.data(), g_vertical<16>.data(), g_vertical<32>.data()},
};

} // namespace h265_codec
