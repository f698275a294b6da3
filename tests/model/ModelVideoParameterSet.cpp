#include "ModelVideoParameterSet.h"

namespace h265_model {

namespace {

// Where the values of sub-layers go that the record has no place for.
Value s_dropped;

Value& entry(ModelPtl::PerSubLayer& values, unsigned i)
{
    return i < 5 ? values[i] : s_dropped;
}

void readGeneral(ModelPtl& ptl, CModelBits& bits)
{
    bits.u(2, ptl.general_profile_space);
    bits.flag(ptl.general_tier_flag);
    bits.u(5, ptl.general_profile_idc);
    for (Value& compatibility : ptl.general_profile_compatibility_flag)
        bits.flag(compatibility);
    bits.flag(ptl.general_progressive_source_flag);
    bits.flag(ptl.general_interlaced_source_flag);
    bits.flag(ptl.general_non_packed_constraint_flag);
    bits.flag(ptl.general_frame_only_constraint_flag);
    bits.u(16);
    bits.u(16);
    bits.u(12);
    bits.u(8, ptl.general_level_idc);
}

void readSubLayerProfile(ModelPtl& ptl, unsigned i, CModelBits& bits)
{
    bits.u(2, entry(ptl.sub_layer_profile_space, i));
    bits.flag(entry(ptl.sub_layer_tier_flag, i));
    bits.u(5, entry(ptl.sub_layer_profile_idc, i));
    for (unsigned j = 0; j < 32; ++j)
        bits.flag(i < 5 ? ptl.sub_layer_profile_compatibility_flag[i][j] : s_dropped);
    bits.flag(entry(ptl.sub_layer_progressive_source_flag, i));
    bits.flag(entry(ptl.sub_layer_interlaced_source_flag, i));
    bits.flag(entry(ptl.sub_layer_non_packed_constraint_flag, i));
    bits.flag(entry(ptl.sub_layer_frame_only_constraint_flag, i));
    bits.u(22);
    bits.u(22);
}

void readPtl(ModelPtl& ptl, unsigned max_sub_layers_minus1, CModelBits& bits)
{
    readGeneral(ptl, bits);
    if (max_sub_layers_minus1 == 0)
        return;
    std::array<Value, 256> profilePresent{};
    std::array<Value, 256> levelPresent{};
    for (unsigned i = 0; i < max_sub_layers_minus1; ++i) {
        bits.flag(i < 5 ? ptl.sub_layer_profile_present_flag[i] : profilePresent[i]);
        if (i < 5)
            profilePresent[i] = ptl.sub_layer_profile_present_flag[i];
        bits.flag(i < 5 ? ptl.sub_layer_level_present_flag[i] : levelPresent[i]);
        if (i < 5)
            levelPresent[i] = ptl.sub_layer_level_present_flag[i];
    }
    bits.u(max_sub_layers_minus1 > 8 ? 65 : 16 - 2 * max_sub_layers_minus1);
    for (unsigned i = 0; i < max_sub_layers_minus1; ++i) {
        if (profilePresent[i] != 0)
            readSubLayerProfile(ptl, i, bits);
        if (levelPresent[i] != 0)
            bits.u(8, entry(ptl.sub_layer_level_idc, i));
    }
}

void readVps(ModelVps& vps, CModelBits& bits)
{
    bits.u(4, vps.vps_video_parameter_set_id);
    bits.u(2, vps.vps_reserved_three_2bits);
    bits.u(6, vps.vps_max_layers_minus1);
    bits.u(3, vps.vps_max_sub_layers_minus1);
    bits.flag(vps.vps_temporal_id_nesting_flag);
    bits.u(16, vps.vps_reserved_0xffff_16bits);
    const unsigned uiHighest = static_cast<unsigned>(vps.vps_max_sub_layers_minus1);
    modelReadPtl(vps.ptl, uiHighest, bits);
    bits.flag(vps.vps_sub_layer_ordering_info_present_flag);
    for (unsigned i = vps.vps_sub_layer_ordering_info_present_flag != 0 ? 0 : uiHighest; i <= uiHighest; ++i) {
        entry(vps.vps_max_dec_pic_buffering, i) = (bits.ue() + 1) % 0x100000000;
        entry(vps.vps_max_num_reorder_pics, i) = bits.ue();
        entry(vps.vps_max_latency_increase_plus1, i) = bits.ue();
    }
    bits.u(6, vps.vps_max_layer_id);
    vps.vps_num_layer_sets_minus1 = bits.ue();
    bits.flag(vps.vps_timing_info_present_flag);
    bits.flag(vps.vps_extension_flag);
    bits.readTailing();
}

} // namespace

int modelReadPtl(ModelPtl& ptl, unsigned max_sub_layers_minus1, CModelBits& bits)
{
    try {
        readPtl(ptl, max_sub_layers_minus1, bits);
    } catch (const Stop& stop) {
        return stop.iResult;
    }
    return 0;
}

int modelReadVps(ModelVps& vps, CModelBits& bits)
{
    try {
        readVps(vps, bits);
    } catch (const Stop& stop) {
        return stop.iResult;
    }
    return 0;
}

int modelVerifyVps(const ModelVps& vps, CModelHost& host)
{
    if (vps.vps_max_layers_minus1 == 0)
        return 0;
    host.error("vps_max_layers_minus should be zero");
    return NOT_ENOUGH_BITS;
}

} // namespace h265_model
