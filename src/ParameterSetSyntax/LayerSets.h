#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_syntax {

struct VideoParameterSet;

/// A list of layers by nuh_layer_id, of a layer set or a tree partition.
struct LayerIdList
{
    unsigned uiCount = 0;
    std::array<unsigned char, 64> id{};

    void add(unsigned nuh_layer_id)
    {
        if (uiCount < id.size())
            id[uiCount++] = static_cast<unsigned char>(nuh_layer_id);
    }
};

/// The layers of one output layer set, by their place in its layer set: bit j is layer j.
struct OutputLayers
{
    unsigned OlsIdxToLsIdx = 0;
    std::uint64_t uiOutputLayerFlags = 0;
    std::uint64_t uiNecessaryLayerFlags = 0;
    unsigned OlsHighestOutputLayerId = 0;
};

/// The variables of F.7.4.3.1.1 that the syntax of vps_extension( ) itself needs. Layers are numbered as
/// in the VPS; sets of layers are words with bit j for layer j.
struct LayerVariables
{
    unsigned MaxLayersMinus1 = 0;
    unsigned NumScalabilityTypes = 0;
    unsigned NumViews = 1;
    unsigned NumIndependentLayers = 0;
    std::array<unsigned char, 64> LayerIdxInVps{};      // by nuh_layer_id
    std::array<std::uint64_t, 64> DirectRefLayers{};    // direct_dependency_flag[ i ], by layer
    std::array<std::uint64_t, 64> DependencyFlag{};     // with what those refer to, by layer
    std::array<unsigned char, 64> NumDirectRefLayers{}; // by layer
    std::vector<LayerIdList> TreePartitionLayerIdList;  // the first NumIndependentLayers
    unsigned NumLayerSets = 0;
    std::vector<LayerIdList> LayerSetLayerIdList;            // the first NumLayerSets
    std::vector<unsigned char> MaxSubLayersInLayerSetMinus1; // the first NumLayerSets
    unsigned NumOutputLayerSets = 0;
    std::vector<OutputLayers> aOls; // the first NumOutputLayerSets
};

// In the order in which vps_extension( ) needs them; each takes what is known so far.
void deriveLayerIds(VideoParameterSet& vps);
void deriveDependencies(VideoParameterSet& vps);
void deriveLayerSets(VideoParameterSet& vps);
void deriveSubLayers(VideoParameterSet& vps);
void deriveFirstOls(VideoParameterSet& vps);
void deriveLayersOfOls(VideoParameterSet& vps, unsigned i);     // before the flags of output layer set i
void deriveNecessaryLayers(VideoParameterSet& vps, unsigned i); // behind them

} // namespace h265_syntax
