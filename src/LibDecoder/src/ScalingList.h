#pragma once

#include <cstddef>
#include <type_traits>

#include "H265psExport.h"
#include "ScalingListTables.h"

namespace H265PS_EXPORT h265_codec {

class CBitStreamReader;
class CRbspReader;

/// One matrix in raster order, side 4 << sizeId.
struct ScalingListMatrix
{
    const unsigned char* pCoef;              // in force: a default, another matrix's, aucCoef below, or null
    alignas(32) unsigned char aucCoef[1024]; // an explicitly coded matrix; element 0 holds the DC of 16x16 and 32x32
};

/// The matrices of one block size, indexed by matrixId.
struct ScalingList
{
    ScalingListMatrix aMatrix[6];
};

/// The scaling matrices of an SPS or a PPS, indexed by sizeId. The inter 32x32 matrix stands at
/// matrixId 1 and 3; 32x32 matrices 2, 4 and 5 are null. Must not be copied: pCoef may point inside.
struct ScalingListData
{
    ScalingList aList[4];
};
static_assert(std::is_trivially_copyable_v<ScalingListData> && std::is_standard_layout_v<ScalingListData>);
static_assert(offsetof(ScalingListMatrix, aucCoef) == 32 && sizeof(ScalingListMatrix) == 1056);
static_assert(sizeof(ScalingListData) == 25344 && alignof(ScalingListData) == 32);

/// Points every matrix of the store at its default (Tables 7-5 and 7-6).
void setDefaultScalingList(ScalingListData* pSLD) noexcept;

/// Reads 7.3.4 scaling_list_data( ) into the store. Predicted and default matrices are pointed to,
/// not copied; a matrix whose coefficients run out stays half-filled and reading goes on. Returns 0,
/// or E_BS_NOT_ENOUGH_BITS when a mode flag or a matrix delta runs out or a delta points before the
/// first matrix (then no log line and the matrix unchanged).
int readScalingList(ScalingListData* pSLD, CBitStreamReader* pBS) noexcept;
int readScalingList(ScalingListData* pSLD, CRbspReader* pBS) noexcept;

/// Reads one explicitly coded matrix of sizeId iSizeId (0 … 3) into slMat at its full size. Returns 0,
/// or the failing read's result with the coefficients before it written.
int readExplicitScalingList(ScalingListMatrix& slMat, CBitStreamReader* pBS, int iSizeId) noexcept;
int readExplicitScalingList(ScalingListMatrix& slMat, CRbspReader* pBS, int iSizeId) noexcept;

} // namespace h265_codec
