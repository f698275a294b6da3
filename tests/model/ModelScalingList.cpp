#include "ModelScalingList.h"

namespace h265_model {

namespace {

// Table 7-6, ScalingFactor by coefficient index i, as printed.
// clang-format off
constexpr unsigned char INTRA_BY_INDEX[64] = {
    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 17, 16, 17, 16, 17, 18,
    17, 18, 18, 17, 18, 21, 19, 20, 21, 20, 19, 21, 24, 22, 22, 24,
    24, 22, 22, 24, 25, 25, 27, 30, 27, 25, 25, 29, 31, 35, 35, 31,
    29, 36, 41, 44, 41, 36, 47, 54, 54, 47, 65, 70, 65, 88, 88, 115};
constexpr unsigned char INTER_BY_INDEX[64] = {
    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 17, 17, 17, 17, 17, 18,
    18, 18, 18, 18, 18, 20, 20, 20, 20, 20, 20, 20, 24, 24, 24, 24,
    24, 24, 24, 24, 25, 25, 25, 25, 25, 25, 25, 28, 28, 28, 28, 28,
    28, 33, 33, 33, 33, 33, 41, 41, 41, 41, 54, 54, 54, 71, 71, 91};
// clang-format on

// 6.5.3 the other way round: how many positions of the block come before (x, y). Positions go by
// anti-diagonal, within one from the bottom left to the top right.
unsigned diagonalIndex(unsigned x, unsigned y, unsigned uiSide)
{
    unsigned uiBefore = 0;
    for (unsigned uiOtherY = 0; uiOtherY < uiSide; ++uiOtherY) {
        for (unsigned uiOtherX = 0; uiOtherX < uiSide; ++uiOtherX) {
            const unsigned uiOther = uiOtherX + uiOtherY;
            if (uiOther < x + y || (uiOther == x + y && uiOtherX < x))
                ++uiBefore;
        }
    }
    return uiBefore;
}

// The coefficient index that serves each raster position of a matrix.
std::vector<unsigned> indexOfPosition(unsigned uiSizeId)
{
    const unsigned uiSide = 4U << uiSizeId;
    const unsigned uiCodedSide = uiSizeId == 0 ? 4 : 8;
    const unsigned uiRatio = uiSide / uiCodedSide;
    std::vector<unsigned> result;
    for (unsigned y = 0; y < uiSide; ++y) {
        for (unsigned x = 0; x < uiSide; ++x)
            result.push_back(diagonalIndex(x / uiRatio, y / uiRatio, uiCodedSide));
    }
    return result;
}

const std::vector<unsigned>& cachedIndexOfPosition(unsigned uiSizeId)
{
    static const std::array<std::vector<unsigned>, 4> maps = {
        indexOfPosition(0), indexOfPosition(1), indexOfPosition(2), indexOfPosition(3)};
    return maps.at(uiSizeId);
}

void readExplicit(ModelScalingLists& lists, unsigned uiSizeId, unsigned uiMatrixId, CModelBits& bits)
{
    ModelMatrix& matrix = lists.matrices.at(uiSizeId).at(uiMatrixId);
    Value nextCoef = 8;
    if (uiSizeId > 1)
        nextCoef = bits.se() + 8;
    const Value dc = nextCoef;
    matrix.source = {MatrixSource::Kind::Own, DefaultTable::Flat4x4, uiSizeId, uiMatrixId};
    std::vector<unsigned char> coefficients;
    int iResult = 0;
    while (coefficients.size() < (uiSizeId == 0 ? 16U : 64U)) {
        Value scaling_list_delta_coef = 0;
        iResult = bits.readSe(scaling_list_delta_coef);
        if (iResult != 0)
            break;
        nextCoef = ((nextCoef + scaling_list_delta_coef) % 256 + 256) % 256;
        coefficients.push_back(static_cast<unsigned char>(nextCoef));
    }
    modelPlace(matrix.own, uiSizeId, coefficients);
    if (iResult != 0)
        throw Stop{iResult};
    if (uiSizeId > 1)
        matrix.own[0] = static_cast<unsigned char>((dc % 256 + 256) % 256);
}

void readAll(ModelScalingLists& lists, CModelBits& bits)
{
    for (unsigned uiSizeId = 0; uiSizeId < 4; ++uiSizeId) {
        for (unsigned uiMatrixId = 0; uiMatrixId < (uiSizeId == 3 ? 2U : 6U); ++uiMatrixId) {
            Value scaling_list_pred_mode_flag = 0;
            bits.flag(scaling_list_pred_mode_flag);
            if (scaling_list_pred_mode_flag != 0) {
                (void)modelReadExplicitMatrix(lists, uiSizeId, uiMatrixId, bits); // a matrix may stay half-read
                continue;
            }
            const unsigned uiDelta = static_cast<unsigned>(bits.ue() % 256);
            if (uiDelta > uiMatrixId)
                throw Stop{NOT_ENOUGH_BITS};
            auto& row = lists.matrices[uiSizeId];
            row[uiMatrixId].source =
                uiDelta == 0 ? modelDefaultSource(uiSizeId, uiMatrixId) : row[uiMatrixId - uiDelta].source;
        }
    }
    lists.matrices[3][3].source = lists.matrices[3][1].source;
}

} // namespace

MatrixSource modelDefaultSource(unsigned uiSizeId, unsigned uiMatrixId)
{
    const bool bInter = uiSizeId == 3 ? uiMatrixId == 1 || uiMatrixId == 3 : uiMatrixId >= 3;
    MatrixSource source{MatrixSource::Kind::Default, DefaultTable::Flat4x4, 0, 0};
    if (uiSizeId == 3 && !bInter && uiMatrixId != 0)
        source.kind = MatrixSource::Kind::Null;
    if (uiSizeId == 1)
        source.table = bInter ? DefaultTable::Inter8x8 : DefaultTable::Intra8x8;
    if (uiSizeId == 2)
        source.table = bInter ? DefaultTable::Inter16x16 : DefaultTable::Intra16x16;
    if (uiSizeId == 3)
        source.table = bInter ? DefaultTable::Inter32x32 : DefaultTable::Intra32x32;
    return source;
}

void modelPlace(std::vector<unsigned char>& own, unsigned uiSizeId, const std::vector<unsigned char>& coefficients)
{
    const std::vector<unsigned>& indices = cachedIndexOfPosition(uiSizeId);
    for (std::size_t i = 0; i < indices.size(); ++i) {
        if (indices[i] < coefficients.size())
            own[i] = coefficients[indices[i]];
    }
}

std::vector<unsigned char> modelDefaultTable(DefaultTable table)
{
    if (table == DefaultTable::Flat4x4)
        return std::vector<unsigned char>(16, 16);
    const bool bIntra =
        table == DefaultTable::Intra8x8 || table == DefaultTable::Intra16x16 || table == DefaultTable::Intra32x32;
    const bool b8x8 = table == DefaultTable::Intra8x8 || table == DefaultTable::Inter8x8;
    const bool b16x16 = table == DefaultTable::Intra16x16 || table == DefaultTable::Inter16x16;
    std::vector<unsigned char> result;
    for (const unsigned uiIndex : cachedIndexOfPosition(b8x8 ? 1 : b16x16 ? 2 : 3))
        result.push_back(bIntra ? INTRA_BY_INDEX[uiIndex] : INTER_BY_INDEX[uiIndex]);
    return result;
}

void modelSetDefaults(ModelScalingLists& lists)
{
    for (unsigned uiSizeId = 0; uiSizeId < 4; ++uiSizeId) {
        for (unsigned uiMatrixId = 0; uiMatrixId < 6; ++uiMatrixId)
            lists.matrices[uiSizeId][uiMatrixId].source = modelDefaultSource(uiSizeId, uiMatrixId);
    }
}

int modelReadScalingLists(ModelScalingLists& lists, CModelBits& bits)
{
    try {
        readAll(lists, bits);
    } catch (const Stop& stop) {
        return stop.iResult;
    }
    return 0;
}

int modelReadExplicitMatrix(ModelScalingLists& lists, unsigned uiSizeId, unsigned uiMatrixId, CModelBits& bits)
{
    try {
        readExplicit(lists, uiSizeId, uiMatrixId, bits);
    } catch (const Stop& stop) {
        return stop.iResult;
    }
    return 0;
}

} // namespace h265_model
