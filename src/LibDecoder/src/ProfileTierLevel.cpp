#include "ProfileTierLevel.h"

#include "SyntaxRead.h"

namespace h265_codec {

using namespace syntax;

namespace {

// 7.3.3, general_profile_space up to general_level_idc.
template <class TReader>
int readGeneral(profile_tile_level* ptl, TReader* pBS) noexcept
{
    CBitWindow<TReader> bits(pBS);
    const int iResult = read(bits,
                             u(2, ptl->general_profile_space),
                             flag(ptl->general_tier_flag),
                             u(5, ptl->general_profile_idc),
                             flags(ptl->general_profile_compatibility_flag),
                             flag(ptl->general_progressive_source_flag),
                             flag(ptl->general_interlaced_source_flag),
                             flag(ptl->general_non_packed_constraint_flag),
                             flag(ptl->general_frame_only_constraint_flag));
    if (iResult != 0)
        return iResult;
    return read(bits,
                dropped(16), // general_reserved_zero_44bits
                dropped(16),
                dropped(12),
                u(8, ptl->general_level_idc));
}

// 7.3.3, the profile of sub-layer i.
template <class TReader>
int readSubLayerProfile(profile_tile_level* ptl, unsigned i, TReader* pBS) noexcept
{
    unsigned char ucDropped = 0;
    bool bDropped = false;
    bool abDropped[32];
    CBitWindow<TReader> bits(pBS);
    const int iResult = read(bits,
                             u(2, entryOr(ptl->sub_layer_profile_space, i, ucDropped)),
                             flag(entryOr(ptl->sub_layer_tier_flag, i, bDropped)),
                             u(5, entryOr(ptl->sub_layer_profile_idc, i, ucDropped)),
                             flags(entryOr(ptl->sub_layer_profile_compatibility_flag, i, abDropped)),
                             flag(entryOr(ptl->sub_layer_progressive_source_flag, i, bDropped)),
                             flag(entryOr(ptl->sub_layer_interlaced_source_flag, i, bDropped)),
                             flag(entryOr(ptl->sub_layer_non_packed_constraint_flag, i, bDropped)),
                             flag(entryOr(ptl->sub_layer_frame_only_constraint_flag, i, bDropped)));
    if (iResult != 0)
        return iResult;
    return read(bits, dropped(22), dropped(22)); // sub_layer_reserved_zero_44bits
}

// 7.3.3, behind general_level_idc.
template <class TReader>
int readSubLayers(profile_tile_level* ptl, unsigned max_sub_layers_minus1, TReader* pBS) noexcept
{
    // The present flags of sub-layers that the record has no room for still steer the reading.
    bool abProfilePresent[8] = {};
    bool abLevelPresent[8] = {};
    for (unsigned i = 0; i < max_sub_layers_minus1; ++i) {
        const int iResult = read(pBS,
                                 flag(entryOr(ptl->sub_layer_profile_present_flag, i, abProfilePresent[i % 8])),
                                 flag(entryOr(ptl->sub_layer_level_present_flag, i, abLevelPresent[i % 8])));
        if (iResult != 0)
            return iResult;
    }

    // reserved_zero_2bits for the sub-layers up to 8; a count above 8 wraps and fails.
    int iResult = read(pBS, dropped(2 * (8 - max_sub_layers_minus1)));
    if (iResult != 0)
        return iResult;

    unsigned char ucDropped = 0;
    for (unsigned i = 0; i < max_sub_layers_minus1; ++i) {
        if (entryOr(ptl->sub_layer_profile_present_flag, i, abProfilePresent[i % 8])) {
            iResult = readSubLayerProfile(ptl, i, pBS);
            if (iResult != 0)
                return iResult;
        }
        if (entryOr(ptl->sub_layer_level_present_flag, i, abLevelPresent[i % 8])) {
            iResult = read(pBS, u(8, entryOr(ptl->sub_layer_level_idc, i, ucDropped)));
            if (iResult != 0)
                return iResult;
        }
    }
    return 0;
}

// 7.3.3
template <class TReader>
int readProfileTierLevel(profile_tile_level* ptl, unsigned char max_sub_layers_minus1, TReader* pBS) noexcept
{
    const int iResult = readGeneral(ptl, pBS);
    if (iResult != 0 || max_sub_layers_minus1 == 0)
        return iResult;
    return readSubLayers(ptl, max_sub_layers_minus1, pBS);
}

} // namespace

int read_profile_tile_level(profile_tile_level* ptl, unsigned char max_sub_layers_minus1,
                            CBitStreamReader* pBS) noexcept
{
    return readProfileTierLevel(ptl, max_sub_layers_minus1, pBS);
}

int read_profile_tile_level(profile_tile_level* ptl, unsigned char max_sub_layers_minus1, CRbspReader* pBS) noexcept
{
    return readProfileTierLevel(ptl, max_sub_layers_minus1, pBS);
}

} // namespace h265_codec
