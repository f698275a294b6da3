#include "StartCodeScan.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace start_code_scan_test {

using namespace h265_stream;

namespace {

using Bytes = std::vector<unsigned char>;

// The definitions, byte by byte.
std::size_t referenceFind(const Bytes& bytes, bool bUnitEnd)
{
    for (std::size_t i = 0; i + 2 < bytes.size(); ++i) {
        if (bytes[i] == 0 && bytes[i + 1] == 0 && (bytes[i + 2] == 1 || (bUnitEnd && bytes[i + 2] == 0)))
            return i;
    }
    return bytes.size();
}

Bytes referenceRemoval(const Bytes& bytes)
{
    Bytes result;
    unsigned uiZeros = 0;
    for (const unsigned char ucByte : bytes) {
        if (uiZeros >= 2 && ucByte == 3) {
            uiZeros = 0;
            continue;
        }
        uiZeros = ucByte == 0 ? uiZeros + 1 : 0;
        result.push_back(ucByte);
    }
    return result;
}

// Runs the form on a copy that begins uiAlignment bytes into a heap block and fills it to its end, so
// that the sanitizers see a read past the bytes.
void expectAgreement(const ScanForm& form, const Bytes& bytes, std::size_t uiAlignment)
{
    SCOPED_TRACE(std::string(form.pName) + ", " + std::to_string(bytes.size()) + " bytes, alignment " +
                 std::to_string(uiAlignment));
    const auto pBlock = std::make_unique<unsigned char[]>(uiAlignment + bytes.size());
    unsigned char* const pBegin = pBlock.get() + uiAlignment;
    std::ranges::copy(bytes, pBegin);
    const unsigned char* const pEnd = pBegin + bytes.size();
    ASSERT_EQ(form.findStartCode(pBegin, pEnd) - pBegin, static_cast<std::ptrdiff_t>(referenceFind(bytes, false)));
    ASSERT_EQ(form.findUnitEnd(pBegin, pEnd) - pBegin, static_cast<std::ptrdiff_t>(referenceFind(bytes, true)));

    const auto pTo = std::make_unique<unsigned char[]>(bytes.size());
    const unsigned char* const pToEnd = form.removeEmulationPrevention(pBegin, pEnd, pTo.get());
    ASSERT_EQ(Bytes(static_cast<const unsigned char*>(pTo.get()), pToEnd), referenceRemoval(bytes));
}

void expectAgreementOfAllForms(const Bytes& bytes, std::size_t uiAlignment)
{
    for (const ScanForm& form : availableScanForms())
        expectAgreement(form, bytes, uiAlignment);
}

TEST(StartCodeScan, HasThePlainFormOnEveryProcessor)
{
    EXPECT_STREQ(availableScanForms().front().pName, "plain");
    EXPECT_EQ(&fastestScanForm(), &availableScanForms().back());
}

TEST(StartCodeScan, FindsAPatternAtEveryOffset)
{
    for (unsigned char ucThird = 0; ucThird <= 3; ++ucThird) {
        for (std::size_t uiOffset = 0; uiOffset < 300; ++uiOffset) {
            Bytes bytes(uiOffset, 0x55);
            bytes.insert(bytes.end(), {0, 0, ucThird, 0xff});
            expectAgreementOfAllForms(bytes, 0);
            bytes.resize(400, 0xaa);
            expectAgreementOfAllForms(bytes, uiOffset % 64);
        }
    }
}

TEST(StartCodeScan, AgreesAtEveryAlignment)
{
    for (std::size_t uiAlignment = 0; uiAlignment < 64; ++uiAlignment) {
        for (std::size_t uiOffset = 60; uiOffset < 200; uiOffset += 3) {
            Bytes bytes(331, 0xff);
            bytes[uiOffset] = 0;
            bytes[uiOffset + 1] = 0;
            bytes[uiOffset + 2] = 1;
            expectAgreementOfAllForms(bytes, uiAlignment);
        }
    }
}

TEST(StartCodeScan, PassesZeroPairsThatBeginNothing)
{
    for (std::size_t uiSize = 0; uiSize < 700; uiSize += uiSize < 160 ? 1 : 53) {
        Bytes bytes(uiSize);
        for (std::size_t i = 0; i < uiSize; ++i)
            bytes[i] = i % 3 == 2 ? 2 : 0;
        expectAgreementOfAllForms(bytes, 1);
        bytes.insert(bytes.end(), {0, 0, 1});
        expectAgreementOfAllForms(bytes, 1);
    }
}

TEST(StartCodeScan, PassesZerosWithoutAStartCode)
{
    for (std::size_t uiSize = 0; uiSize < 300; ++uiSize) {
        Bytes bytes(uiSize, 0);
        expectAgreementOfAllForms(bytes, uiSize % 32);
        bytes.push_back(1);
        expectAgreementOfAllForms(bytes, uiSize % 32);
    }
}

TEST(StartCodeScan, RemovesNeighbouringEmulationPrevention)
{
    for (std::size_t uiOffset = 0; uiOffset < 140; ++uiOffset) {
        Bytes bytes(uiOffset, 0x55);
        for (unsigned i = 0; i < 20; ++i)
            bytes.insert(bytes.end(), {0, 0, 3});
        bytes.insert(bytes.end(), {3, 0, 3, 0, 0, 3});
        expectAgreementOfAllForms(bytes, 0);
    }
}

// Few values, so that every pattern comes often and in every neighbourhood.
TEST(StartCodeScan, AgreesOnRandomBytes)
{
    std::mt19937 random(265);
    for (unsigned i = 0; i < 6000; ++i) {
        Bytes bytes(random() % 600);
        const std::size_t uiValues = 2 + random() % 40;
        for (unsigned char& ucByte : bytes)
            ucByte = static_cast<unsigned char>(random() % uiValues);
        expectAgreementOfAllForms(bytes, random() % 64);
    }
}

} // namespace
} // namespace start_code_scan_test
