#include "MatrixSource.h"

#include <algorithm>
#include <iterator>

#include "DecParameterSetReader.h"

namespace h265ps {

using namespace h265_codec;

namespace {

bool isDefaultTable(const unsigned char* pCoef)
{
    const unsigned char* const apTables[] = {g_deQuantSLDefault4x4,
                                             g_deQuantSLIntraDefault8x8,
                                             g_deQuantSLInterDefault8x8,
                                             g_deQuantSLIntraDefault16x16,
                                             g_deQuantSLInterDefault16x16,
                                             g_deQuantSLIntraDefault32x32,
                                             g_deQuantSLInterDefault32x32};
    return std::find(std::begin(apTables), std::end(apTables), pCoef) != std::end(apTables);
}

} // namespace

EMatrixSource matrixSource(const ScalingListData& lists, unsigned sizeId, unsigned matrixId, unsigned& matrixIdOfRef)
{
    const auto& aMatrix = lists.aList[sizeId].aMatrix;
    const unsigned char* const pCoef = aMatrix[matrixId].pCoef;
    if (pCoef == nullptr)
        return EMatrixSource::None;
    if (pCoef == aMatrix[matrixId].aucCoef)
        return EMatrixSource::Own;
    if (isDefaultTable(pCoef))
        return EMatrixSource::Default;
    const auto* const pRef =
        std::find_if(std::begin(aMatrix), std::end(aMatrix), [&](const auto& m) { return m.aucCoef == pCoef; });
    matrixIdOfRef = static_cast<unsigned>(pRef - std::begin(aMatrix));
    return EMatrixSource::Ref;
}

} // namespace h265ps
