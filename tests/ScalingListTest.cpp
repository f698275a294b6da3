#include "ScalingList.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "BitWriter.h"
#include "DamagedPayloads.h"
#include "ExactBits.h"
#include "SyntaxWriters.h"
#include "TestHost.h"

namespace scaling_list_test {

namespace {

using namespace h265_codec;
using namespace h265_test;

constexpr unsigned char UNTOUCHED = 0xcd;

/// A store on the heap, as the pool gives it and the parameter-set readers clear it: null pointers. The
/// coefficients are filled with a mark that shows which of them were written.
std::unique_ptr<ScalingListData> makeStore()
{
    auto pStore = std::make_unique<ScalingListData>();
    std::memset(static_cast<void*>(pStore.get()), 0, sizeof(*pStore));
    for (ScalingList& list : pStore->aList) {
        for (ScalingListMatrix& matrix : list.aMatrix)
            std::memset(matrix.aucCoef, UNTOUCHED, sizeof(matrix.aucCoef));
    }
    return pStore;
}

ScalingListMatrix& matrixOf(const std::unique_ptr<ScalingListData>& pStore, unsigned sizeId, unsigned matrixId)
{
    return pStore->aList[sizeId].aMatrix[matrixId];
}

ScalingMatrixSyntax explicitMatrix(std::vector<std::int64_t> deltas, std::int64_t scaling_list_dc_coef_minus8 = 0)
{
    ScalingMatrixSyntax matrix;
    matrix.scaling_list_pred_mode_flag = true;
    matrix.scaling_list_dc_coef_minus8 = scaling_list_dc_coef_minus8;
    matrix.scaling_list_delta_coef = std::move(deltas);
    return matrix;
}

ScalingMatrixSyntax predictedMatrix(unsigned scaling_list_pred_matrix_id_delta)
{
    ScalingMatrixSyntax matrix;
    matrix.scaling_list_pred_matrix_id_delta = scaling_list_pred_matrix_id_delta;
    return matrix;
}

int readList(ScalingListData* pStore, const CBitWriter& writer)
{
    const CExactBits bits(writer);
    CRbspReader bs = bits.reader<CRbspReader>();
    return readScalingList(pStore, &bs);
}

int readMatrix(ScalingListMatrix& matrix, const CBitWriter& writer, int iSizeId)
{
    const CExactBits bits(writer);
    CRbspReader bs = bits.reader<CRbspReader>();
    return readExplicitScalingList(matrix, &bs, iSizeId);
}

/// x and y of the coded coefficients: 6.5.3, by diagonal, then by column.
std::vector<std::pair<int, int>> codedPositions(int iCodedSide)
{
    std::vector<std::pair<int, int>> order; // diagonal, x
    for (int x = 0; x < iCodedSide; ++x) {
        for (int y = 0; y < iCodedSide; ++y)
            order.emplace_back(x + y, x);
    }
    std::sort(order.begin(), order.end());
    for (auto& [iDiagonal, x] : order) {
        const int y = iDiagonal - x;
        iDiagonal = x;
        x = y;
    }
    return order;
}

/// The matrix of 7.3.4 and 7.4.5, element by element; only the first uiCoefs coefficients are there.
std::vector<int> expectedMatrix(const ScalingMatrixSyntax& s, int sizeId, std::size_t uiCoefs)
{
    const int iSide = 4 << sizeId;
    const int iCodedSide = std::min(iSide, 8);
    const int iRatio = iSide / iCodedSide;
    std::vector<int> matrix(static_cast<std::size_t>(iSide * iSide), UNTOUCHED);
    std::int64_t nextCoef = sizeId > 1 ? s.scaling_list_dc_coef_minus8 + 8 : 8;
    const std::vector<std::pair<int, int>> positions = codedPositions(iCodedSide);
    for (std::size_t i = 0; i < uiCoefs; ++i) {
        const std::int64_t iDelta = i < s.scaling_list_delta_coef.size() ? s.scaling_list_delta_coef[i] : 0;
        nextCoef = ((nextCoef + iDelta) % 256 + 256) % 256;
        const auto [x, y] = positions[i];
        for (int iElement = 0; iElement < iSide * iSide; ++iElement) {
            if (iElement % iSide / iRatio == x && iElement / iSide / iRatio == y)
                matrix[static_cast<std::size_t>(iElement)] = static_cast<int>(nextCoef);
        }
    }
    if (sizeId > 1 && uiCoefs == positions.size())
        matrix[0] = static_cast<int>((s.scaling_list_dc_coef_minus8 + 8) & 255);
    return matrix;
}

std::vector<int> elementsOf(const unsigned char* pCoef, int sizeId)
{
    return std::vector<int>(pCoef, pCoef + g_scalingListSize[sizeId]);
}

ScalingMatrixSyntax randomMatrix(CNumbers& numbers)
{
    ScalingMatrixSyntax matrix = explicitMatrix({}, static_cast<int>(numbers.below(255)) - 7);
    for (unsigned i = 0; i < 64; ++i)
        matrix.scaling_list_delta_coef.push_back(static_cast<int>(numbers.below(256)) - 128);
    return matrix;
}

// ---- defaults

TEST(SetDefaultScalingList, PointsEveryMatrixAtItsDefault)
{
    const auto pStore = makeStore();
    setDefaultScalingList(pStore.get());
    for (unsigned matrixId = 0; matrixId < 6; ++matrixId) {
        SCOPED_TRACE(matrixId);
        const bool bIntra = matrixId < 3;
        EXPECT_EQ(matrixOf(pStore, 0, matrixId).pCoef, g_deQuantSLDefault4x4);
        EXPECT_EQ(matrixOf(pStore, 1, matrixId).pCoef,
                  bIntra ? g_deQuantSLIntraDefault8x8 : g_deQuantSLInterDefault8x8);
        EXPECT_EQ(matrixOf(pStore, 2, matrixId).pCoef,
                  bIntra ? g_deQuantSLIntraDefault16x16 : g_deQuantSLInterDefault16x16);
    }
    EXPECT_EQ(matrixOf(pStore, 3, 0).pCoef, g_deQuantSLIntraDefault32x32);
    EXPECT_EQ(matrixOf(pStore, 3, 1).pCoef, g_deQuantSLInterDefault32x32);
    EXPECT_EQ(matrixOf(pStore, 3, 2).pCoef, nullptr);
    EXPECT_EQ(matrixOf(pStore, 3, 3).pCoef, g_deQuantSLInterDefault32x32);
    EXPECT_EQ(matrixOf(pStore, 3, 4).pCoef, nullptr);
    EXPECT_EQ(matrixOf(pStore, 3, 5).pCoef, nullptr);
}

TEST(SetDefaultScalingList, ReplacesEveryPointerAndNoCoefficient)
{
    const auto pStore = makeStore();
    for (ScalingList& list : pStore->aList) {
        for (ScalingListMatrix& matrix : list.aMatrix)
            matrix.pCoef = matrix.aucCoef;
    }
    setDefaultScalingList(pStore.get());
    for (const ScalingList& list : pStore->aList) {
        for (const ScalingListMatrix& matrix : list.aMatrix) {
            EXPECT_NE(matrix.pCoef, matrix.aucCoef);
            EXPECT_TRUE(std::all_of(std::begin(matrix.aucCoef), std::end(matrix.aucCoef), [](unsigned char ucCoef) {
                return ucCoef == UNTOUCHED;
            }));
        }
    }
}

TEST(ScalingListStore, AlignsCoefficientsTo32Bytes)
{
    EXPECT_EQ(alignof(ScalingListMatrix), 32U);
    EXPECT_EQ(offsetof(ScalingListMatrix, aucCoef) % 32, 0U);
    EXPECT_EQ(sizeof(ScalingListMatrix::aucCoef), 1024U);
}

// ---- what both readers deliver alike: a payload within one cache word

template <class TReader>
class ReadShortScalingList : public testing::Test
{
protected:
    static int read(const std::unique_ptr<ScalingListData>& pStore, const CBitWriter& writer)
    {
        const CExactBits bits(writer);
        TReader bs = bits.reader<TReader>();
        const int iResult = readScalingList(pStore.get(), &bs);
        m_uiBitsLeft = bitsLeft(bs);
        return iResult;
    }

    static std::size_t m_uiBitsLeft;
};
template <class TReader>
std::size_t ReadShortScalingList<TReader>::m_uiBitsLeft = 0;

using Readers = testing::Types<CBitStreamReader, CRbspReader>;
TYPED_TEST_SUITE(ReadShortScalingList, Readers);

TYPED_TEST(ReadShortScalingList, PointsAtTheDefaultsForADeltaOfZero)
{
    const auto pStore = makeStore();
    // 6 4x4, 6 8x8, 6 16x16, 2 32x32
    EXPECT_EQ(this->read(pStore, CBitWriter().bits("010101010101 010101010101 010101010101 0101").bits("1")), 0);
    EXPECT_EQ(this->m_uiBitsLeft, 1U);
    const auto pDefaults = makeStore();
    setDefaultScalingList(pDefaults.get());
    for (unsigned sizeId = 0; sizeId < 4; ++sizeId) {
        for (unsigned matrixId = 0; matrixId < 6; ++matrixId)
            EXPECT_EQ(matrixOf(pStore, sizeId, matrixId).pCoef, matrixOf(pDefaults, sizeId, matrixId).pCoef);
    }
}

TYPED_TEST(ReadShortScalingList, SharesTheMatrixThatADeltaNames)
{
    const auto pStore = makeStore();
    ScalingListDataSyntax s;
    s.matrix[1][3] = predictedMatrix(2);
    s.matrix[3][1] = predictedMatrix(1);
    EXPECT_EQ(this->read(pStore, write(s).bits("1")), 0);
    EXPECT_EQ(matrixOf(pStore, 1, 3).pCoef, matrixOf(pStore, 1, 1).pCoef);
    EXPECT_EQ(matrixOf(pStore, 1, 3).pCoef, g_deQuantSLIntraDefault8x8);
    EXPECT_EQ(matrixOf(pStore, 3, 1).pCoef, g_deQuantSLIntraDefault32x32);
    EXPECT_EQ(matrixOf(pStore, 3, 3).pCoef, g_deQuantSLIntraDefault32x32);
}

TYPED_TEST(ReadShortScalingList, ReadsAFlat4x4Matrix)
{
    ScalingListMatrix matrix = {};
    const CExactBits bits(CBitWriter().bits("00100  111 111 111 111 111").bits("1")); // first delta 2
    TypeParam bs = bits.reader<TypeParam>();
    EXPECT_EQ(readExplicitScalingList(matrix, &bs, 0), 0);
    EXPECT_EQ(matrix.pCoef, matrix.aucCoef);
    EXPECT_EQ(elementsOf(matrix.pCoef, 0), std::vector<int>(16, 10));
    EXPECT_EQ(matrix.aucCoef[16], 0);
}

TYPED_TEST(ReadShortScalingList, RefusesADeltaBeforeTheFirstMatrixWithoutALine)
{
    struct Case
    {
        unsigned sizeId;
        unsigned matrixId;
        unsigned uiDelta;
    };
    const Case aCases[] = {
        {0, 0, 1},
        {0, 0, 255},
        {0, 5, 6},
        {1, 0, 1},
        {1, 3, 4},
        {2, 2, 3},
        {3, 0, 1},
        {3, 1, 2},
        {3, 1, 3},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(testing::Message() << c.sizeId << ' ' << c.matrixId << ' ' << c.uiDelta);
        const CLogCatcher log;
        const auto pStore = makeStore();
        unsigned char ucBefore = 0;
        matrixOf(pStore, c.sizeId, c.matrixId).pCoef = &ucBefore;
        matrixOf(pStore, 3, 3).pCoef = &ucBefore;
        ScalingListDataSyntax s;
        s.matrix[c.sizeId][c.matrixId] = predictedMatrix(c.uiDelta);
        EXPECT_EQ(this->read(pStore, write(s)), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(matrixOf(pStore, c.sizeId, c.matrixId).pCoef, &ucBefore);
        EXPECT_EQ(matrixOf(pStore, 3, 3).pCoef, &ucBefore);
        EXPECT_TRUE(log.lines().empty());
        if (c.matrixId != 0) {
            EXPECT_NE(matrixOf(pStore, c.sizeId, c.matrixId - 1).pCoef, nullptr);
        }
    }
}

TYPED_TEST(ReadShortScalingList, KeepsTheDeltaModulo256)
{
    const auto pStore = makeStore();
    ScalingListDataSyntax s;
    s.matrix[1][3] = predictedMatrix(256);
    EXPECT_EQ(this->read(pStore, write(s)), 0);
    EXPECT_EQ(matrixOf(pStore, 1, 3).pCoef, g_deQuantSLInterDefault8x8);
    s.matrix[1][3] = predictedMatrix(257);
    EXPECT_EQ(this->read(pStore, write(s)), 0);
    EXPECT_EQ(matrixOf(pStore, 1, 3).pCoef, g_deQuantSLIntraDefault8x8);
}

TYPED_TEST(ReadShortScalingList, LeavesTheUnusedThirtyTwosAsTheyWere)
{
    const auto pStore = makeStore();
    unsigned char ucBefore = 0;
    for (const unsigned matrixId : {2U, 4U, 5U})
        matrixOf(pStore, 3, matrixId).pCoef = &ucBefore;
    EXPECT_EQ(this->read(pStore, write(ScalingListDataSyntax())), 0);
    for (const unsigned matrixId : {2U, 4U, 5U})
        EXPECT_EQ(matrixOf(pStore, 3, matrixId).pCoef, &ucBefore);
}

// ---- every bit in order

TEST(ReadScalingList, SharesPredictedMatricesOfEverySize)
{
    for (unsigned sizeId = 0; sizeId < 4; ++sizeId) {
        for (unsigned matrixId = 1; matrixId < static_cast<unsigned>(g_scalingListNum[sizeId]); ++matrixId) {
            for (unsigned uiDelta = 1; uiDelta <= matrixId; ++uiDelta) {
                SCOPED_TRACE(testing::Message() << sizeId << ' ' << matrixId << ' ' << uiDelta);
                ScalingListDataSyntax s;
                s.matrix[sizeId][matrixId - uiDelta] = explicitMatrix({1}, 40);
                s.matrix[sizeId][matrixId] = predictedMatrix(uiDelta);
                const auto pStore = makeStore();
                ASSERT_EQ(readList(pStore.get(), write(s)), 0);
                const ScalingListMatrix& reference = matrixOf(pStore, sizeId, matrixId - uiDelta);
                EXPECT_EQ(reference.pCoef, reference.aucCoef);
                EXPECT_EQ(matrixOf(pStore, sizeId, matrixId).pCoef, reference.aucCoef);
                EXPECT_EQ(matrixOf(pStore, sizeId, matrixId).aucCoef[0], UNTOUCHED);
            }
        }
    }
}

TEST(ReadScalingList, FindsTheInter32x32UnderBothMatrixIds)
{
    ScalingListDataSyntax s;
    s.matrix[3][1] = explicitMatrix({5}, 3);
    const auto pStore = makeStore();
    EXPECT_EQ(readList(pStore.get(), write(s)), 0);
    EXPECT_EQ(matrixOf(pStore, 3, 1).pCoef, matrixOf(pStore, 3, 1).aucCoef);
    EXPECT_EQ(matrixOf(pStore, 3, 3).pCoef, matrixOf(pStore, 3, 1).aucCoef);
}

TEST(ReadScalingList, ReadsListsOverEarlierOnes)
{
    ScalingListDataSyntax s;
    s.matrix[0][2] = explicitMatrix({4});
    const auto pStore = makeStore();
    EXPECT_EQ(readList(pStore.get(), write(s)), 0);
    EXPECT_EQ(matrixOf(pStore, 0, 2).pCoef[0], 12);
    EXPECT_EQ(readList(pStore.get(), write(ScalingListDataSyntax())), 0);
    EXPECT_EQ(matrixOf(pStore, 0, 2).pCoef, g_deQuantSLDefault4x4);
    EXPECT_EQ(matrixOf(pStore, 0, 2).aucCoef[0], 12);
}

TEST(ReadScalingList, ReadsTwentyExplicitMatrices)
{
    CNumbers numbers(3);
    ScalingListDataSyntax s;
    for (std::vector<ScalingMatrixSyntax>& list : s.matrix) {
        for (ScalingMatrixSyntax& matrix : list)
            matrix = randomMatrix(numbers);
    }
    const auto pStore = makeStore();
    ASSERT_EQ(readList(pStore.get(), write(s)), 0);
    for (unsigned sizeId = 0; sizeId < 4; ++sizeId) {
        for (unsigned matrixId = 0; matrixId < s.matrix[sizeId].size(); ++matrixId) {
            const ScalingListMatrix& matrix = matrixOf(pStore, sizeId, matrixId);
            const int iSizeId = static_cast<int>(sizeId);
            EXPECT_EQ(matrix.pCoef, matrix.aucCoef);
            EXPECT_EQ(elementsOf(matrix.pCoef, iSizeId),
                      expectedMatrix(s.matrix[sizeId][matrixId], iSizeId, sizeId == 0 ? 16 : 64));
            for (std::size_t i = static_cast<std::size_t>(g_scalingListSize[sizeId]); i < 1024; ++i)
                ASSERT_EQ(matrix.aucCoef[i], UNTOUCHED);
        }
    }
}

TEST(ReadScalingList, GoesOnBehindAMatrixThatFails)
{
    // 4x4 matrix 0: 15 coefficients and a suffix that is cut; its two bits are matrix 1: the default
    const auto pStore = makeStore();
    const CLogCatcher log;
    EXPECT_EQ(readList(pStore.get(), CBitWriter().bits("1 111111111111111 0001 01")), E_BS_NOT_ENOUGH_BITS);
    const ScalingListMatrix& failed = matrixOf(pStore, 0, 0);
    EXPECT_EQ(failed.pCoef, failed.aucCoef);
    EXPECT_EQ(failed.aucCoef[14], 8);
    EXPECT_EQ(failed.aucCoef[15], UNTOUCHED);
    EXPECT_EQ(matrixOf(pStore, 0, 1).pCoef, g_deQuantSLDefault4x4);
    EXPECT_EQ(matrixOf(pStore, 0, 2).pCoef, nullptr);
    EXPECT_EQ(log.lines(), (std::vector<std::string>{READ_BITS_ERROR, READ_FLAG_ERROR}));
}

TEST(ReadScalingList, PredictsFromAHalfFilledMatrix)
{
    // 4x4 matrix 0: one coefficient of 7 and a suffix that is cut; its bits are matrix 1: delta 1
    const auto pStore = makeStore();
    EXPECT_EQ(readList(pStore.get(), CBitWriter().bits("1 011 000001 0010")), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(matrixOf(pStore, 0, 0).aucCoef[0], 7);
    EXPECT_EQ(matrixOf(pStore, 0, 0).aucCoef[4], UNTOUCHED);
    EXPECT_EQ(matrixOf(pStore, 0, 1).pCoef, matrixOf(pStore, 0, 0).aucCoef);
}

TEST(ReadScalingList, PredictsFromAMatrixThatHasNone)
{
    // 16x16 matrix 0: the suffix of its DC is cut; its bits are matrix 1: delta 1
    const CBitWriter writer = CBitWriter().bits("010101010101 010101010101  1 000001 0010");
    const auto pStore = makeStore();
    unsigned char ucBefore = 0;
    matrixOf(pStore, 2, 1).pCoef = &ucBefore;
    EXPECT_EQ(readList(pStore.get(), writer), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(matrixOf(pStore, 2, 0).pCoef, nullptr);
    EXPECT_EQ(matrixOf(pStore, 2, 1).pCoef, nullptr);
}

TEST(ReadScalingList, SucceedsWhenOnlyTheLastMatrixIsCut)
{
    ScalingListDataSyntax s;
    s.matrix[3][1] = explicitMatrix({}, 4);
    const CBitWriter whole = write(s);
    const std::size_t uiFirstCoef = whole.size() - 64;
    for (const std::size_t uiCoefs : {0U, 1U, 63U}) {
        SCOPED_TRACE(uiCoefs);
        const CLogCatcher log;
        const auto pStore = makeStore();
        EXPECT_EQ(readList(pStore.get(), CBitWriter(whole).cut(uiFirstCoef + uiCoefs)), 0);
        const ScalingListMatrix& matrix = matrixOf(pStore, 3, 1);
        EXPECT_EQ(matrix.pCoef, matrix.aucCoef);
        EXPECT_EQ(elementsOf(matrix.pCoef, 3), expectedMatrix(s.matrix[3][1], 3, uiCoefs));
        EXPECT_EQ(matrixOf(pStore, 3, 3).pCoef, matrix.aucCoef);
        EXPECT_EQ(log.lines(), (std::vector<std::string>{READ_FLAG_ERROR}));
    }
}

// Where an explicit matrix is cut, its reading goes on with what is left of a code, which is never
// enough for the matrices that follow.
TEST(ReadScalingList, FailsAtEveryCut)
{
    CNumbers numbers(5);
    ScalingListDataSyntax s;
    s.matrix[0][1] = randomMatrix(numbers);
    s.matrix[1][3] = predictedMatrix(2);
    s.matrix[1][4] = randomMatrix(numbers);
    s.matrix[2][0] = randomMatrix(numbers);
    s.matrix[3][1] = predictedMatrix(1);
    const CBitWriter whole = write(s);
    forEachCut(whole, [](std::size_t uiBitCount, const CBitWriter& bits) {
        const CLogCatcher log;
        const auto pStore = makeStore();
        unsigned char ucBefore = 0;
        matrixOf(pStore, 3, 1).pCoef = &ucBefore;
        ASSERT_EQ(readList(pStore.get(), bits), E_BS_NOT_ENOUGH_BITS);
        ASSERT_FALSE(log.lines().empty());
        ASSERT_EQ(matrixOf(pStore, 3, 1).pCoef, &ucBefore);
        ASSERT_EQ(matrixOf(pStore, 3, 3).pCoef, nullptr);
        ASSERT_EQ(matrixOf(pStore, 0, 0).pCoef, uiBitCount >= 2 ? g_deQuantSLDefault4x4 : nullptr);
    });
}

TEST(ReadScalingList, FollowsTheRefillsOfTheDecodersReader)
{
    CNumbers numbers(13);
    for (int iRound = 0; iRound < 200; ++iRound) {
        SCOPED_TRACE(iRound);
        CAlikeReaders readers(numbers.bytes(2048));
        // Any first word: the first matrix is explicit, or one of many.
        readers.setFirstWord(std::uint64_t{numbers.below(1U << 31)} << 33 | 0x5555);

        const auto pOne = makeStore();
        const auto pOther = makeStore();
        ASSERT_EQ(readScalingList(pOne.get(), &readers.m_decoders), readScalingList(pOther.get(), &readers.m_plain));
        ASSERT_EQ(bitsLeft(readers.m_decoders), bitsLeft(readers.m_plain));
        for (unsigned sizeId = 0; sizeId < 4; ++sizeId) {
            for (unsigned matrixId = 0; matrixId < 6; ++matrixId) {
                const ScalingListMatrix& one = matrixOf(pOne, sizeId, matrixId);
                const ScalingListMatrix& other = matrixOf(pOther, sizeId, matrixId);
                ASSERT_EQ(std::memcmp(one.aucCoef, other.aucCoef, sizeof(one.aucCoef)), 0);
                ASSERT_EQ(one.pCoef == one.aucCoef, other.pCoef == other.aucCoef);
            }
        }
    }
}

// ---- one explicit matrix

TEST(ReadExplicitScalingList, Fills16x16WithItsDcWhenAllDeltasAreZero)
{
    ScalingListMatrix matrix = {};
    EXPECT_EQ(readMatrix(matrix, writeExplicit(explicitMatrix({}, 4), 2), 2), 0);
    EXPECT_EQ(elementsOf(matrix.pCoef, 2), std::vector<int>(256, 12));
}

TEST(ReadExplicitScalingList, PutsTheDcInElementZeroOf32x32Only)
{
    ScalingListMatrix matrix = {};
    EXPECT_EQ(readMatrix(matrix, writeExplicit(explicitMatrix({1}, 0), 3), 3), 0);
    std::vector<int> expected(1024, 9);
    expected[0] = 8;
    EXPECT_EQ(elementsOf(matrix.pCoef, 3), expected);
}

TEST(ReadExplicitScalingList, StartsSmallMatricesAtEightWithoutADc)
{
    for (const int iSizeId : {0, 1}) {
        ScalingListMatrix matrix = {};
        EXPECT_EQ(readMatrix(matrix, writeExplicit(explicitMatrix({1}), static_cast<unsigned>(iSizeId)), iSizeId), 0);
        EXPECT_EQ(elementsOf(matrix.pCoef, iSizeId),
                  std::vector<int>(static_cast<std::size_t>(g_scalingListSize[iSizeId]), 9));
    }
}

TEST(ReadExplicitScalingList, PlacesEachCoefficientOfEverySize)
{
    CNumbers numbers(1);
    for (int iSizeId = 0; iSizeId < 4; ++iSizeId) {
        for (int iRound = 0; iRound < 8; ++iRound) {
            SCOPED_TRACE(testing::Message() << iSizeId << ' ' << iRound);
            const ScalingMatrixSyntax s = randomMatrix(numbers);
            ScalingListMatrix matrix = {};
            ASSERT_EQ(readMatrix(matrix, writeExplicit(s, static_cast<unsigned>(iSizeId)), iSizeId), 0);
            ASSERT_EQ(matrix.pCoef, matrix.aucCoef);
            ASSERT_EQ(elementsOf(matrix.pCoef, iSizeId), expectedMatrix(s, iSizeId, iSizeId == 0 ? 16 : 64));
        }
    }
}

TEST(ReadExplicitScalingList, WrapsCoefficientsModulo256)
{
    struct Case
    {
        std::vector<std::int64_t> deltas;
        std::vector<int> coefs; // raster elements 0, 4 and 1 of a 4x4 matrix: the first three of its scan
    };
    const Case aCases[] = {
        {{127, 115, 10}, {135, 250, 4}},
        {{-9, 1, -1}, {255, 0, 255}},
        {{300, -300, 0}, {52, 8, 8}},
        {{256, -256, 512}, {8, 8, 8}},
        {{2147483647, 2147483647, -2147483647}, {7, 6, 7}},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.deltas[0]);
        ScalingListMatrix matrix = {};
        EXPECT_EQ(readMatrix(matrix, writeExplicit(explicitMatrix(c.deltas), 0), 0), 0);
        EXPECT_EQ((std::vector<int>{matrix.pCoef[0], matrix.pCoef[4], matrix.pCoef[1]}), c.coefs);
    }
}

TEST(ReadExplicitScalingList, WrapsTheDcModulo256)
{
    struct Case
    {
        std::int64_t scaling_list_dc_coef_minus8;
        int iDc;
    };
    const Case aCases[] = {
        {-7, 1},
        {-8, 0},
        {-9, 255},
        {247, 255},
        {248, 0},
        {300, 52},
        {2147483647, 7},
        {-2147483647, 9},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.scaling_list_dc_coef_minus8);
        for (const int iSizeId : {2, 3}) {
            ScalingListMatrix matrix = {};
            const CBitWriter writer =
                writeExplicit(explicitMatrix({2}, c.scaling_list_dc_coef_minus8), static_cast<unsigned>(iSizeId));
            EXPECT_EQ(readMatrix(matrix, writer, iSizeId), 0);
            EXPECT_EQ(matrix.pCoef[0], c.iDc);
            EXPECT_EQ(matrix.pCoef[1], (c.iDc + 2) & 255);
        }
    }
}

TEST(ReadExplicitScalingList, LeavesThePointerWhenTheDcFails)
{
    for (const int iSizeId : {2, 3}) {
        const CLogCatcher log;
        unsigned char ucBefore = 0;
        ScalingListMatrix matrix = {};
        matrix.pCoef = &ucBefore;
        EXPECT_EQ(readMatrix(matrix, CBitWriter().bits("001 0"), iSizeId), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(matrix.pCoef, &ucBefore);
        EXPECT_EQ(log.lines(), (std::vector<std::string>{READ_BITS_ERROR}));
    }
}

TEST(ReadExplicitScalingList, PointsAtItsOwnStoreBeforeTheFirstCoefficient)
{
    for (int iSizeId = 0; iSizeId < 4; ++iSizeId) {
        unsigned char ucBefore = 0;
        ScalingListMatrix matrix = {};
        matrix.pCoef = &ucBefore;
        EXPECT_EQ(readMatrix(matrix, CBitWriter().bits(iSizeId > 1 ? "00100" : ""), iSizeId), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(matrix.pCoef, matrix.aucCoef);
        EXPECT_EQ(matrix.aucCoef[0], 0);
    }
}

TEST(ReadExplicitScalingList, KeepsTheBlocksWrittenBeforeACut)
{
    CNumbers numbers(9);
    for (int iSizeId = 0; iSizeId < 4; ++iSizeId) {
        const std::size_t uiCoefs = iSizeId == 0 ? 16 : 64;
        const ScalingMatrixSyntax s = randomMatrix(numbers);
        const CBitWriter whole = writeExplicit(s, static_cast<unsigned>(iSizeId));
        CBitWriter dc;
        if (iSizeId > 1)
            dc.se(s.scaling_list_dc_coef_minus8);
        std::size_t uiRead = 0;        // coefficients that are whole before the cut
        std::size_t uiEnd = dc.size(); // where the next one ends
        uiEnd += CBitWriter().se(s.scaling_list_delta_coef[0]).size();
        for (std::size_t uiBitCount = dc.size(); uiBitCount < whole.size(); ++uiBitCount) {
            SCOPED_TRACE(testing::Message() << iSizeId << ' ' << uiBitCount);
            if (uiBitCount == uiEnd)
                uiEnd += CBitWriter().se(s.scaling_list_delta_coef[++uiRead]).size();
            ScalingListMatrix matrix = {};
            std::memset(matrix.aucCoef, UNTOUCHED, sizeof(matrix.aucCoef));
            ASSERT_EQ(readMatrix(matrix, CBitWriter(whole).cut(uiBitCount), iSizeId), E_BS_NOT_ENOUGH_BITS);
            ASSERT_EQ(matrix.pCoef, matrix.aucCoef);
            ASSERT_EQ(elementsOf(matrix.pCoef, iSizeId), expectedMatrix(s, iSizeId, uiRead));
        }
        EXPECT_EQ(uiRead, uiCoefs - 1);
    }
}

} // namespace
} // namespace scaling_list_test
