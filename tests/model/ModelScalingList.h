#pragma once

#include <array>
#include <vector>

#include "ModelBits.h"

namespace h265_model {

/// The default tables of Tables 7-5 and 7-6 at each size.
enum class DefaultTable
{
    Flat4x4,
    Intra8x8,
    Inter8x8,
    Intra16x16,
    Inter16x16,
    Intra32x32,
    Inter32x32
};

/// What a matrix's pointer stands at.
struct MatrixSource
{
    enum class Kind
    {
        Null,
        Default,
        Own
    } kind = Kind::Null;
    DefaultTable table = DefaultTable::Flat4x4; // of a default
    unsigned uiSizeId = 0;                      // of the matrix whose own store it is
    unsigned uiMatrixId = 0;
};

/// One matrix: where its pointer stands, and its own store.
struct ModelMatrix
{
    MatrixSource source;
    std::vector<unsigned char> own = std::vector<unsigned char>(1024);
};

/// The store of an SPS or a PPS.
struct ModelScalingLists
{
    std::array<std::array<ModelMatrix, 6>, 4> matrices;
};

/// A default table's coefficients in raster order.
std::vector<unsigned char> modelDefaultTable(DefaultTable table);

/// Where a matrix stands that is predicted from no other.
MatrixSource modelDefaultSource(unsigned uiSizeId, unsigned uiMatrixId);

/// Puts each coefficient at the positions that its index serves.
void modelPlace(std::vector<unsigned char>& own, unsigned uiSizeId, const std::vector<unsigned char>& coefficients);

/// The model's setDefaultScalingList, readScalingList and readExplicitScalingList.
void modelSetDefaults(ModelScalingLists& lists);
int modelReadScalingLists(ModelScalingLists& lists, CModelBits& bits);
int modelReadExplicitMatrix(ModelScalingLists& lists, unsigned uiSizeId, unsigned uiMatrixId, CModelBits& bits);

} // namespace h265_model
