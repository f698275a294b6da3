#include "LayerSets.h"

#include <algorithm>
#include <bit>

#include "VideoParameterSetSyntax.h"

namespace h265_syntax {

namespace {

constexpr unsigned VIEW_ORDER_INDEX = 1; // Table F.1

constexpr std::uint64_t bitOf(unsigned i)
{
    return std::uint64_t{1} << i;
}

// F.7.4.3.1.1: where the bits of dimension j begin in nuh_layer_id, when it is split.
std::array<unsigned, 17> dimBitOffsets(const VpsExtension& s, unsigned NumScalabilityTypes)
{
    std::array<unsigned, 17> dimBitOffset{};
    for (unsigned j = 1; j < NumScalabilityTypes; ++j)
        dimBitOffset[j] = dimBitOffset[j - 1] + s.dimension_id_len_minus1[j - 1] + 1U;
    if (NumScalabilityTypes > 0)
        dimBitOffset[NumScalabilityTypes] = 6;
    return dimBitOffset;
}

void inferDimensionIds(VpsExtension& s, const LayerVariables& layers)
{
    const std::array<unsigned, 17> dimBitOffset = dimBitOffsets(s, layers.NumScalabilityTypes);
    for (unsigned i = 0; i <= layers.MaxLayersMinus1; ++i) {
        for (unsigned j = 0; j < layers.NumScalabilityTypes; ++j) {
            const unsigned uiBelow = std::min(dimBitOffset[j + 1], 6U);
            const unsigned uiMasked = s.layer_id_in_nuh[i] & ((1U << uiBelow) - 1);
            s.dimension_id[i][j] = static_cast<std::uint16_t>(uiMasked >> std::min(dimBitOffset[j], 6U));
        }
    }
}

// (F-3)
unsigned countViews(const VpsExtension& s, const LayerVariables& layers)
{
    if (!s.scalability_mask_flag[VIEW_ORDER_INDEX])
        return 1;
    const unsigned j = s.scalability_mask_flag[0] ? 1 : 0;
    unsigned NumViews = 1;
    for (unsigned i = 1; i <= layers.MaxLayersMinus1; ++i) {
        bool bNew = true;
        for (unsigned k = 0; k < i; ++k)
            bNew = bNew && s.dimension_id[i][j] != s.dimension_id[k][j];
        NumViews += bNew ? 1 : 0;
    }
    return NumViews;
}

void deriveTreePartitions(LayerVariables& layers, const VpsExtension& s)
{
    std::uint64_t uiListed = 0;
    layers.NumIndependentLayers = 0;
    for (unsigned i = 0; i <= layers.MaxLayersMinus1; ++i) {
        if (layers.NumDirectRefLayers[i] != 0)
            continue;
        if (layers.TreePartitionLayerIdList.size() <= layers.NumIndependentLayers)
            layers.TreePartitionLayerIdList.emplace_back();
        LayerIdList& list = layers.TreePartitionLayerIdList[layers.NumIndependentLayers++];
        list.uiCount = 0;
        list.add(s.layer_id_in_nuh[i]);
        for (unsigned j = 0; j <= layers.MaxLayersMinus1; ++j) {
            if ((layers.DependencyFlag[j] & bitOf(i)) != 0 && (uiListed & bitOf(j)) == 0) {
                list.add(s.layer_id_in_nuh[j]);
                uiListed |= bitOf(j);
            }
        }
    }
}

LayerIdList& newLayerSet(LayerVariables& layers)
{
    if (layers.LayerSetLayerIdList.size() <= layers.NumLayerSets)
        layers.LayerSetLayerIdList.emplace_back();
    LayerIdList& list = layers.LayerSetLayerIdList[layers.NumLayerSets++];
    list.uiCount = 0;
    return list;
}

} // namespace

void deriveLayerIds(VideoParameterSet& vps)
{
    VpsExtension& s = *vps.vps_extension;
    LayerVariables& layers = *vps.layers;
    layers.NumLayerSets = 0;
    layers.NumOutputLayerSets = 0;
    layers.MaxLayersMinus1 = std::min<unsigned>(vps.vps_max_layers_minus1, MAX_LAYERS - 1);
    layers.NumScalabilityTypes =
        static_cast<unsigned>(std::count(std::begin(s.scalability_mask_flag), std::end(s.scalability_mask_flag), true));
    layers.LayerIdxInVps.fill(0);
    for (unsigned i = 0; i <= layers.MaxLayersMinus1; ++i)
        layers.LayerIdxInVps[s.layer_id_in_nuh[i] & 63U] = static_cast<unsigned char>(i);
    if (s.splitting_flag)
        inferDimensionIds(s, layers);
    else
        std::fill(std::begin(s.dimension_id[0]), std::end(s.dimension_id[0]), static_cast<std::uint16_t>(0));
    layers.NumViews = countViews(s, layers);
}

void deriveDependencies(VideoParameterSet& vps)
{
    const VpsExtension& s = *vps.vps_extension;
    LayerVariables& layers = *vps.layers;
    for (unsigned i = 0; i <= layers.MaxLayersMinus1; ++i) {
        std::uint64_t uiDirect = 0;
        for (unsigned j = 0; j < i; ++j)
            uiDirect |= s.direct_dependency_flag[i][j] ? bitOf(j) : 0;
        std::uint64_t uiAll = uiDirect;
        for (unsigned k = 0; k < i; ++k)
            uiAll |= (uiDirect & bitOf(k)) != 0 ? layers.DependencyFlag[k] : 0;
        layers.DirectRefLayers[i] = uiDirect;
        layers.DependencyFlag[i] = uiAll;
        layers.NumDirectRefLayers[i] = static_cast<unsigned char>(std::popcount(uiDirect));
    }
    deriveTreePartitions(layers, s);
}

void deriveLayerSets(VideoParameterSet& vps)
{
    const VpsExtension& s = *vps.vps_extension;
    LayerVariables& layers = *vps.layers;
    layers.NumLayerSets = 0;
    newLayerSet(layers).add(0); // 7.4.3.1
    for (unsigned i = 1; i <= vps.vps_num_layer_sets_minus1 && i < vps.layer_id_included_flag.size(); ++i) {
        LayerIdList& list = newLayerSet(layers);
        for (unsigned m = 0; m <= vps.vps_max_layer_id; ++m) {
            if (vps.layer_id_included_flag[i][m])
                list.add(m);
        }
    }
    for (unsigned i = 0; i < s.num_add_layer_sets && i < s.highest_layer_idx_plus1.size(); ++i) {
        LayerIdList& list = newLayerSet(layers);
        for (unsigned treeIdx = 1; treeIdx < layers.NumIndependentLayers; ++treeIdx) {
            const LayerIdList& tree = layers.TreePartitionLayerIdList[treeIdx];
            const unsigned uiHighest = std::min<unsigned>(s.highest_layer_idx_plus1[i][treeIdx], tree.uiCount);
            for (unsigned layerCnt = 0; layerCnt < uiHighest; ++layerCnt)
                list.add(tree.id[layerCnt]);
        }
    }
}

void deriveSubLayers(VideoParameterSet& vps)
{
    const VpsExtension& s = *vps.vps_extension;
    LayerVariables& layers = *vps.layers;
    layers.MaxSubLayersInLayerSetMinus1.resize(
        std::max<std::size_t>(layers.NumLayerSets, layers.MaxSubLayersInLayerSetMinus1.size()));
    for (unsigned i = 0; i < layers.NumLayerSets; ++i) {
        const LayerIdList& list = layers.LayerSetLayerIdList[i];
        unsigned uiMax = 0;
        for (unsigned k = 0; k < list.uiCount; ++k)
            uiMax = std::max<unsigned>(uiMax, s.sub_layers_vps_max_minus1[layers.LayerIdxInVps[list.id[k]]]);
        layers.MaxSubLayersInLayerSetMinus1[i] = static_cast<unsigned char>(uiMax);
    }
}

void deriveLayersOfOls(VideoParameterSet& vps, unsigned i)
{
    const VpsExtension& s = *vps.vps_extension;
    LayerVariables& layers = *vps.layers;
    if (layers.aOls.size() <= i)
        layers.aOls.resize(i + 1);
    layers.NumOutputLayerSets = i + 1;
    std::uint64_t uiLayerSet = i;
    if (i >= layers.NumLayerSets)
        uiLayerSet =
            i < s.layer_set_idx_for_ols_minus1.size() ? s.layer_set_idx_for_ols_minus1[i] + std::uint64_t{1} : 0;
    layers.aOls[i].OlsIdxToLsIdx =
        static_cast<unsigned>(std::min<std::uint64_t>(uiLayerSet, std::max(layers.NumLayerSets, 1U) - 1));
}

void deriveFirstOls(VideoParameterSet& vps)
{
    deriveLayersOfOls(vps, 0);
    deriveNecessaryLayers(vps, 0);
}

// (F-12), (F-13) and the inference of output_layer_flag
void deriveNecessaryLayers(VideoParameterSet& vps, unsigned i)
{
    const VpsExtension& s = *vps.vps_extension;
    LayerVariables& layers = *vps.layers;
    OutputLayers& ols = layers.aOls[i];
    const LayerIdList& list = layers.LayerSetLayerIdList[ols.OlsIdxToLsIdx];
    const unsigned defaultOutputLayerIdc = std::min<unsigned>(s.default_output_layer_idc, 2);
    ols.uiOutputLayerFlags = 0;
    ols.uiNecessaryLayerFlags = 0;
    ols.OlsHighestOutputLayerId = 0;
    const auto highest = list.uiCount == 0 ? 0 : *std::max_element(list.id.begin(), list.id.begin() + list.uiCount);
    for (unsigned j = 0; j < list.uiCount; ++j) {
        bool bOutput = false;
        if (i == 0)
            bOutput = true; // F.7.4.3.1.1: output_layer_flag[ 0 ][ 0 ]
        else if (i > vps.vps_num_layer_sets_minus1 || defaultOutputLayerIdc == 2)
            bOutput = i < s.output_layer_flag.size() && s.output_layer_flag[i][j];
        else
            bOutput = defaultOutputLayerIdc == 0 || list.id[j] == highest;
        if (!bOutput)
            continue;
        ols.uiOutputLayerFlags |= bitOf(j);
        ols.uiNecessaryLayerFlags |= bitOf(j);
        ols.OlsHighestOutputLayerId = list.id[j];
        const std::uint64_t uiNeeded = layers.DependencyFlag[layers.LayerIdxInVps[list.id[j]]];
        for (unsigned k = 0; k < j; ++k) {
            if ((uiNeeded & bitOf(layers.LayerIdxInVps[list.id[k]])) != 0)
                ols.uiNecessaryLayerFlags |= bitOf(k);
        }
    }
}

} // namespace h265_syntax
