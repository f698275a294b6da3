#include "ScalingListText.h"

#include <algorithm>

#include "FormattedText.h"
#include "MatrixSource.h"

namespace h265ps {

using namespace h265_codec;

namespace {

// Matrices of each size as they are coded; the 32x32 inter matrix is there twice.
const char* matrixName(unsigned sizeId, unsigned matrixId)
{
    constexpr const char* aNames[] = {"intra Y", "intra Cb", "intra Cr", "inter Y", "inter Cb", "inter Cr"};
    return sizeId == 3 && matrixId == 1 ? "inter Y" : aNames[matrixId];
}

// A matrix as it is coded: up to 8x8 values, each standing for a square of coefficients. Element 0 of
// the large ones holds the DC, so the first value is taken from its neighbour.
std::string ownValues(const unsigned char* pCoef, unsigned sizeId, unsigned uiIndent)
{
    const unsigned uiSide = 4U << sizeId;
    const unsigned uiCodedSide = std::min(uiSide, 8U);
    const unsigned uiRatio = uiSide / uiCodedSide;
    const auto value = [&](unsigned y, unsigned x) {
        return pCoef[(y * uiRatio * uiSide) + (x * uiRatio) + (uiRatio > 1 ? uiSide + 1 : 0)];
    };
    bool bFlat = true;
    std::string rows;
    for (unsigned y = 0; y < uiCodedSide; ++y) {
        rows += formatted("{:{}}", "", uiIndent);
        for (unsigned x = 0; x < uiCodedSide; ++x) {
            bFlat = bFlat && value(y, x) == value(0, 0);
            rows += formatted("{:>4}", value(y, x));
        }
        rows += '\n';
    }
    const std::string dc = sizeId > 1 ? formatted(", DC {}", pCoef[0]) : "";
    if (bFlat)
        return formatted("own: all {}{}\n", value(0, 0), dc);
    if (uiRatio == 1)
        return formatted("own\n{}", rows);
    return formatted("own{}, each value for {}x{}\n{}", dc, uiRatio, uiRatio, rows);
}

bool areAllDefault(const ScalingListData& lists, unsigned sizeId)
{
    unsigned matrixIdOfRef = 0;
    for (unsigned matrixId = 0; matrixId < 6; ++matrixId) {
        const EMatrixSource eSource = matrixSource(lists, sizeId, matrixId, matrixIdOfRef);
        if (eSource != EMatrixSource::Default && eSource != EMatrixSource::None)
            return false;
    }
    return true;
}

std::string matrixText(const ScalingListData& lists, unsigned sizeId, unsigned matrixId, unsigned uiIndent)
{
    unsigned matrixIdOfRef = 0;
    switch (matrixSource(lists, sizeId, matrixId, matrixIdOfRef)) {
    case EMatrixSource::None:
        return "none\n";
    case EMatrixSource::Default:
        return "default\n";
    case EMatrixSource::Ref:
        return formatted("same as {} {}\n", matrixIdOfRef, matrixName(sizeId, matrixIdOfRef));
    case EMatrixSource::Own:
        break;
    }
    return ownValues(lists.aList[sizeId].aMatrix[matrixId].pCoef, sizeId, uiIndent);
}

} // namespace

std::string scalingListText(const ScalingListData& lists, unsigned uiIndent)
{
    std::string text;
    for (unsigned sizeId = 0; sizeId < 4; ++sizeId) {
        const std::string size = formatted("{0}x{0}", 4U << sizeId);
        if (areAllDefault(lists, sizeId)) {
            appendFormatted(text, "{:{}}{:<6} all default\n", "", uiIndent, size);
            continue;
        }
        for (unsigned matrixId = 0; matrixId < static_cast<unsigned>(g_scalingListNum[sizeId]); ++matrixId)
            appendFormatted(text,
                            "{:{}}{:<6} {} {:<9} {}",
                            "",
                            uiIndent,
                            matrixId == 0 ? size : "",
                            matrixId,
                            matrixName(sizeId, matrixId),
                            matrixText(lists, sizeId, matrixId, uiIndent + 8));
    }
    return text;
}

} // namespace h265ps
