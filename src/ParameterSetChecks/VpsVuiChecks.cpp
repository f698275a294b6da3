#include <algorithm>

#include "ElementMeanings.h"
#include "HrdChecks.h"
#include "VpsExtensionChecks.h"

namespace h265_syntax {

namespace {

// F.7.4.3.1.5, with the tables of E.3.1.
void checkVideoSignalInfo(const VideoSignalInfo& s, CChecks checks)
{
    const auto check = [&](const Blamed& blamed) {
        if (meaningOf(blamed.pName, blamed.iValue) == "reserved")
            checks.reserved(blamed, "F.7.4.3.1.5", "a value of its table in E.3.1");
    };
    check(BLAME(video_vps_format));
    check(BLAME(colour_primaries_vps));
    check(BLAME(transfer_characteristics_vps));
    check(BLAME(matrix_coeffs_vps));
}

// F.7.4.3.1.4
void checkPicRates(const VideoParameterSet& vps, CChecks& checks)
{
    const VpsVui& s = *vps.vps_extension->vps_vui;
    const std::size_t uiSets = std::min<std::size_t>(
        {vps.layers->NumLayerSets, s.pic_rate_present_flag.size(), s.constant_pic_rate_idc.size()});
    for (unsigned i = 0; i < uiSets; ++i) {
        for (unsigned j = 0; j < 8; ++j) {
            if (s.pic_rate_present_flag[i][j] && s.constant_pic_rate_idc[i][j] == 3)
                checks.reserved(BLAME_2(constant_pic_rate_idc, i, j), "F.7.4.3.1.4", "0 to 2");
        }
    }
}

} // namespace

void checkVpsVui(const VideoParameterSet& vps, CChecks checksOfExtension)
{
    CChecks checks = checksOfExtension.inside("vps_vui");
    const VpsVui& s = *vps.vps_extension->vps_vui;
    if (s.pic_rate_present_vps_flag)
        checkPicRates(vps, checks);
    const unsigned MaxLayersMinus1 = vps.layers->MaxLayersMinus1;
    for (unsigned i = 0; i <= s.vps_num_video_signal_info_minus1 && i <= MaxLayersMinus1; ++i)
        checkVideoSignalInfo(s.video_signal_info[i], checks.inside("video_signal_info", i));
    for (unsigned i = vps.vps_base_layer_internal_flag ? 0 : 1;
         s.video_signal_info_idx_present_flag && s.vps_num_video_signal_info_minus1 > 0 && i <= MaxLayersMinus1;
         ++i)
        RANGE_1(vps_video_signal_info_idx, i, 0, s.vps_num_video_signal_info_minus1, "F.7.4.3.1.4");
    if (!s.vps_vui_bsp_hrd_present_flag)
        return;
    const VpsVuiBspHrdParams& hrds = s.vps_vui_bsp_hrd_params;
    for (unsigned i = vps.vps_num_hrd_parameters;
         i < hrds.hrd_parameters.size() && i < hrds.num_sub_layer_hrd_minus1.size() &&
         i - vps.vps_num_hrd_parameters < hrds.vps_num_add_hrd_params;
         ++i)
        checkHrdParameters(hrds.hrd_parameters[i],
                           std::min(hrds.num_sub_layer_hrd_minus1[i], 7U),
                           checks.inside("vps_vui_bsp_hrd_params").inside("hrd_parameters", i));
}

} // namespace h265_syntax
