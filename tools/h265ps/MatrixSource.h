#pragma once

#include "ScalingList.h"

namespace h265ps {

/// Where the coefficients of a scaling matrix are.
enum class EMatrixSource
{
    None,
    Default, // in a default table
    Own,     // in the matrix itself
    Ref      // in another matrix of the same size
};

/// Where matrix [sizeId][matrixId] finds its coefficients; with Ref, matrixIdOfRef is the other one.
EMatrixSource matrixSource(const h265_codec::ScalingListData& lists, unsigned sizeId, unsigned matrixId,
                           unsigned& matrixIdOfRef);

} // namespace h265ps
