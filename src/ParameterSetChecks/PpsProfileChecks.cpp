#include "PictureParameterSetChecks.h"
#include "ProfileChecks.h"
#include "ProfileClaims.h"
#include "SequenceParameterSetChecks.h"

namespace h265_syntax {

namespace {

// The tiles of a picture in one direction.
struct TileSizes
{
    bool uniform_spacing_flag;
    const std::vector<std::uint32_t>& sizes_minus1;
    std::uint64_t ulTiles;
    std::uint64_t ulPicCtbs;
    std::uint64_t CtbLog2SizeY;
    std::uint64_t ulLeast; // luma samples
};

// The first tile column or row that is too small, with its size in samples; none: ulTiles. The sizes count whole
// CTBs, also where the picture ends inside one.
std::pair<std::uint64_t, std::uint64_t> firstTooSmall(const TileSizes& tiles)
{
    // Even tiles begin with one of the smallest, 6.5.1 (6-3).
    const std::uint64_t ulLookedAt = tiles.uniform_spacing_flag ? 1 : tiles.ulTiles;
    for (std::uint64_t i = 0; i < ulLookedAt; ++i) {
        const std::uint64_t ulSize =
            tileSize(tiles.uniform_spacing_flag, tiles.sizes_minus1, tiles.ulTiles, tiles.ulPicCtbs, i)
            << tiles.CtbLog2SizeY;
        if (ulSize < tiles.ulLeast && ulSize != 0)
            return {i, ulSize};
    }
    return {tiles.ulTiles, 0};
}

// A.3.2 and others: of all columns and rows, also where there is one only.
void checkTileSizes(const PictureParameterSet& s, const SequenceParameterSet& sps, const Claim& claim, CChecks& checks)
{
    constexpr std::uint64_t MIN_WIDTH = 256;
    constexpr std::uint64_t MIN_HEIGHT = 64;
    const std::uint64_t CtbLog2SizeY = blockSizes(sps).CtbLog2SizeY;
    const auto [PicWidthInCtbsY, PicHeightInCtbsY] = pictureInCtbs(sps);
    const std::uint64_t ulColumns = std::uint64_t{s.num_tile_columns_minus1} + 1;
    const std::uint64_t ulRows = std::uint64_t{s.num_tile_rows_minus1} + 1;
    if ((s.stop && !s.uniform_spacing_flag) || CtbLog2SizeY > 6 || ulColumns > PicWidthInCtbsY ||
        ulRows > PicHeightInCtbsY)
        return; // told elsewhere, or not all there
    const auto [ulColumn, ulWidth] = firstTooSmall(
        {s.uniform_spacing_flag, s.column_width_minus1, ulColumns, PicWidthInCtbsY, CtbLog2SizeY, MIN_WIDTH});
    if (ulColumn < ulColumns)
        checks.error(s.uniform_spacing_flag || ulColumn + 1 == ulColumns
                         ? BLAME(num_tile_columns_minus1)
                         : BLAME_1(column_width_minus1, static_cast<unsigned>(ulColumn)),
                     claim.pClause,
                     "tile columns of at least 256 samples",
                     say("tile column ",
                         ulColumn,
                         " is ",
                         ulWidth,
                         " samples wide, ",
                         claim.name,
                         " asks for at least 256 when tiles are enabled"));
    const auto [ulRow, ulHeight] = firstTooSmall(
        {s.uniform_spacing_flag, s.row_height_minus1, ulRows, PicHeightInCtbsY, CtbLog2SizeY, MIN_HEIGHT});
    if (ulRow < ulRows)
        checks.error(s.uniform_spacing_flag || ulRow + 1 == ulRows
                         ? BLAME(num_tile_rows_minus1)
                         : BLAME_1(row_height_minus1, static_cast<unsigned>(ulRow)),
                     claim.pClause,
                     "tile rows of at least 64 samples",
                     say("tile row ",
                         ulRow,
                         " is ",
                         ulHeight,
                         " samples high, ",
                         claim.name,
                         " asks for at least 64 when tiles are enabled"));
}

// Most profiles have tiles or wavefronts; those of High Throughput have both, and below 16 bits wavefronts always.
void checkParallelism(const PictureParameterSet& s, const Claim& claim, CChecks& checks)
{
    if (!isHighThroughput(claim.uiProfile)) {
        SHALL(!s.tiles_enabled_flag || !s.entropy_coding_sync_enabled_flag,
              BLAME(entropy_coding_sync_enabled_flag),
              claim.pClause,
              "0 with tiles",
              claim.name,
              " does not allow tiles and wavefronts together");
        return;
    }
    SHOULD(s.entropy_coding_sync_enabled_flag || maxBitDepth(claim) == 16,
           BLAME(entropy_coding_sync_enabled_flag),
           claim.pClause,
           "1",
           "pictures of ",
           claim.name,
           " below 16 bits are coded in wavefronts");
}

} // namespace

// Chroma QP offset lists are those of 4:2:2 and 4:4:4.
void checkToolsOfProfile(const PictureParameterSet& pps, const Claim& claim, const CChecks& checks)
{
    const auto forbid = [&](CChecks inside, const Blamed& blamed) {
        if (blamed.iValue != 0)
            inside.error(
                blamed, claim.pClause, "0", say(blamed.pName, " is a tool that ", claim.name, " does not have"));
    };
    if (pps.pps_range_extension_flag) {
        const PpsRangeExtension& s = pps.pps_range_extension;
        const CChecks inside = checks.inside("pps_range_extension");
        if (!hasGeneralRangeTools(claim))
            forbid(inside, BLAME(log2_max_transform_skip_block_size_minus2));
        if (!hasRangeTools(claim.uiProfile) ||
            (claim.uiProfile == PROFILE_RANGE_EXTENSIONS && maxChromaFormat(claim) == 1))
            forbid(inside, BLAME(chroma_qp_offset_list_enabled_flag));
    }
    if (pps.pps_scc_extension_flag && !isScreenContent(claim.uiProfile)) {
        const PpsSccExtension& s = pps.pps_scc_extension;
        const CChecks inside = checks.inside("pps_scc_extension");
        forbid(inside, BLAME(pps_curr_pic_ref_enabled_flag));
        forbid(inside, BLAME(residual_adaptive_colour_transform_enabled_flag));
    }
}

void checkParallelismOfProfile(const PictureParameterSet& s, const SequenceParameterSet& sps, const Claim& claim,
                               CChecks& checks)
{
    checkParallelism(s, claim, checks);
    if (s.tiles_enabled_flag)
        checkTileSizes(s, sps, claim, checks);
}

void checkProfilesOfPps(const PictureParameterSet& s, const SequenceParameterSet& sps, CFindings& findings)
{
    if (sps.MultiLayerExtSpsFlag)
        return;
    CChecks checks(findings, "");
    forEachClaim(sps.profile_tier_level, [&](const Claim& claim) {
        checkParallelismOfProfile(s, sps, claim, checks);
        checkToolsOfProfile(s, claim, checks);
    });
}

} // namespace h265_syntax
