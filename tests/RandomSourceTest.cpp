#include "RandomSource.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "NalUnitWriter.h"

namespace random_source_test {

using namespace h265_container;
using h265_test::Bytes;

namespace {

Bytes pattern(std::size_t uiSize)
{
    Bytes bytes(uiSize);
    for (std::size_t i = 0; i < uiSize; ++i)
        bytes[i] = static_cast<unsigned char>(i * 7 + i / 251);
    return bytes;
}

Bytes part(const Bytes& bytes, std::size_t uiOffset, std::size_t uiSize)
{
    const std::size_t uiBegin = std::min(uiOffset, bytes.size());
    const std::size_t uiEnd = std::min(uiBegin + uiSize, bytes.size());
    return {bytes.begin() + static_cast<std::ptrdiff_t>(uiBegin), bytes.begin() + static_cast<std::ptrdiff_t>(uiEnd)};
}

Bytes readFrom(CRandomSource& source, std::uint64_t ulOffset, std::size_t uiSize)
{
    Bytes bytes(uiSize);
    bytes.resize(source.read(ulOffset, bytes));
    return bytes;
}

class RandomSource : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string name = testing::TempDir() + "random_source_XXXXXX";
        ASSERT_NE(::mkdtemp(name.data()), nullptr);
        m_directory = name;
    }
    void TearDown() override { std::filesystem::remove_all(m_directory); }

    std::string writeFile(const Bytes& bytes) const
    {
        const std::string path = m_directory / "file";
        std::ofstream file(path, std::ios::binary);
        file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return path;
    }

    std::filesystem::path m_directory;
};

constexpr std::size_t SIZE = 300000;

void expectReadsAnywhere(CRandomSource& source, const Bytes& bytes)
{
    ASSERT_EQ(source.size(), bytes.size());
    EXPECT_FALSE(source.isForwardOnly());
    EXPECT_TRUE(source.hold(0, 1));
    std::size_t uiOffset = 1;
    for (const std::size_t uiSize : {1U, 8U, 4096U, 4097U, 100U, 20000U, 3U}) {
        for (unsigned i = 0; i < 50; ++i) {
            uiOffset = (uiOffset * 48271 + i) % (SIZE + 10);
            EXPECT_EQ(readFrom(source, uiOffset, uiSize), part(bytes, uiOffset, uiSize)) << uiOffset;
        }
    }
    EXPECT_EQ(readFrom(source, SIZE - 2, 10), part(bytes, SIZE - 2, 10));
    EXPECT_TRUE(readFrom(source, SIZE, 10).empty());
    EXPECT_TRUE(readFrom(source, ~std::uint64_t{0} - 3, 10).empty());
    EXPECT_TRUE(readFrom(source, 5, 0).empty());
}

TEST_F(RandomSource, ReadsAFileAnywhere)
{
    const Bytes bytes = pattern(SIZE);
    expectReadsAnywhere(*openRandomSource(writeFile(bytes)), bytes);
}

TEST_F(RandomSource, ReadsMemoryAnywhere)
{
    const Bytes bytes = pattern(SIZE);
    expectReadsAnywhere(*makeRandomSource(bytes), bytes);
}

// Tables that are read entry by entry, samples far from one another, and going back.
TEST_F(RandomSource, ReadsAFileInAnyOrder)
{
    const Bytes bytes = pattern(SIZE);
    const auto pSource = openRandomSource(writeFile(bytes));
    std::minstd_rand random;
    std::size_t uiTable = 0;
    std::size_t uiSample = 1000;
    for (unsigned i = 0; i < 50000; ++i) {
        const std::size_t uiSize = random() % 3 == 0 ? random() % 700 : random() % 13;
        std::size_t uiOffset = random() % SIZE;
        switch (random() % 4) {
        case 0:
            uiOffset = uiTable = (uiTable + 4) % SIZE;
            break;
        case 1:
            uiOffset = uiSample = (uiSample + random() % 9000) % SIZE;
            break;
        case 2:
            uiOffset = uiSample - std::min<std::size_t>(uiSample, random() % 300);
            break;
        default:
            break;
        }
        ASSERT_EQ(readFrom(*pSource, uiOffset, uiSize), part(bytes, uiOffset, uiSize)) << uiOffset << ' ' << uiSize;
    }
}

// read(2) and the like of this process so far, as the system counts them; 0 where it does not.
std::uint64_t readCalls()
{
    std::ifstream file("/proc/self/io");
    std::string name;
    std::uint64_t ulValue = 0;
    while (file >> name >> ulValue) {
        if (name == "syscr:")
            return ulValue;
    }
    return 0;
}

// Samples far from one another, whose sizes and places two tables have.
TEST_F(RandomSource, ReadsTablesAndSamplesWithOneCallASample)
{
    constexpr std::size_t SAMPLES = 1000;
    constexpr std::size_t FAR = 100000;
    const std::string path = writeFile(pattern(SIZE));
    std::filesystem::resize_file(path, (SAMPLES + 1) * FAR);
    const auto pSource = openRandomSource(path);
    const std::uint64_t ulBefore = readCalls();
    if (ulBefore == 0)
        GTEST_SKIP() << "calls are not counted here";
    for (std::size_t i = 0; i < SAMPLES; ++i) {
        (void)readFrom(*pSource, 4 * i, 4);
        (void)readFrom(*pSource, 10000 + 8 * i, 8);
        (void)readFrom(*pSource, (i + 1) * FAR, 36);
    }
    EXPECT_LT(readCalls() - ulBefore, SAMPLES + 20);
}

TEST_F(RandomSource, ThrowsWhenAFileIsCutWhileItIsRead)
{
    const std::string path = writeFile(pattern(SIZE));
    const auto pSource = openRandomSource(path);
    std::filesystem::resize_file(path, 5000);
    EXPECT_EQ(readFrom(*pSource, 100, 100).size(), 100U);
    try {
        (void)readFrom(*pSource, 9000, 10);
        FAIL() << "it was read";
    } catch (const h265_stream::CSourceError& error) {
        EXPECT_NE(std::string(error.what()).find("was cut while it was read"), std::string::npos);
        EXPECT_EQ(error.offset(), 9000U);
    }
    EXPECT_THROW((void)readFrom(*pSource, 4000, 100000), h265_stream::CSourceError);
    EXPECT_EQ(readFrom(*pSource, 100, 100), part(pattern(SIZE), 100, 100));
}

TEST_F(RandomSource, KeepsNothingOfWhatItCouldNotRead)
{
    const Bytes bytes = pattern(SIZE);
    const std::string path = writeFile(bytes);
    const auto pSource = openRandomSource(path);
    const auto expectAll = [&] {
        for (std::size_t uiOffset = 0; uiOffset < 130000; uiOffset += 4500)
            EXPECT_EQ(readFrom(*pSource, uiOffset, 20), part(bytes, uiOffset, 20)) << uiOffset;
    };
    expectAll();
    std::filesystem::resize_file(path, 290000);
    for (unsigned i = 0; i < 100; ++i)
        EXPECT_THROW((void)readFrom(*pSource, 289900 + i, 101), h265_stream::CSourceError);
    expectAll();
}

TEST_F(RandomSource, ThrowsWhatCannotBeOpened)
{
    EXPECT_THROW((void)openRandomSource(m_directory / "none"), h265_stream::CSourceError);
    EXPECT_THROW((void)openRandomSource(m_directory), h265_stream::CSourceError);
}

TEST_F(RandomSource, ReadsAPipeForward)
{
    const std::string path = m_directory / "pipe";
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    const int iFd = ::open(path.c_str(), O_RDWR);
    ASSERT_GE(iFd, 0);
    const Bytes bytes = pattern(1000);
    ASSERT_EQ(::write(iFd, bytes.data(), bytes.size()), 1000);
    const auto pSource = openRandomSource(path);
    EXPECT_TRUE(pSource->isForwardOnly());
    EXPECT_EQ(readFrom(*pSource, 200, 100), part(bytes, 200, 100));
    // The writer is still there: more than what has come is not waited for.
    Bytes some(5000);
    EXPECT_EQ(pSource->readSome(400, some), 600U);
    ::close(iFd);
    EXPECT_TRUE(readFrom(*pSource, 1000, 10).empty());
    EXPECT_EQ(pSource->size(), 1000U);
}

// A source of pieces, as a pipe gives them.
class CPieces : public h265_stream::CByteSource
{
public:
    CPieces(const Bytes& bytes, std::size_t uiPiece) : m_bytes(bytes), m_uiPiece(uiPiece) {}
    std::span<const unsigned char> next() override
    {
        const std::size_t uiBegin = m_uiPosition;
        m_uiPosition = std::min(m_uiPosition + m_uiPiece, m_bytes.size());
        return std::span(m_bytes).subspan(uiBegin, m_uiPosition - uiBegin);
    }
    std::span<const unsigned char> head() override { return {}; }

private:
    const Bytes& m_bytes;
    const std::size_t m_uiPiece;
    std::size_t m_uiPosition = 0;
};

TEST(ForwardSource, KeepsAWindowBehindItself)
{
    const Bytes bytes = pattern(4 * FORWARD_WINDOW_BYTES);
    const auto pSource = makeForwardSource(std::make_unique<CPieces>(bytes, 1000));
    EXPECT_EQ(pSource->size(), std::nullopt);
    EXPECT_EQ(readFrom(*pSource, 2 * FORWARD_WINDOW_BYTES, 100), part(bytes, 2 * FORWARD_WINDOW_BYTES, 100));
    EXPECT_EQ(readFrom(*pSource, FORWARD_WINDOW_BYTES + 2000, 100), part(bytes, FORWARD_WINDOW_BYTES + 2000, 100));
    EXPECT_THROW((void)readFrom(*pSource, 0, 1), h265_stream::CSourceError);
    EXPECT_TRUE(readFrom(*pSource, bytes.size() + 5, 1).empty());
    EXPECT_EQ(pSource->size(), bytes.size());
}

TEST(ForwardSource, HoldsWhatIsWantedAgain)
{
    const Bytes bytes = pattern(4 * FORWARD_WINDOW_BYTES);
    const auto pSource = makeForwardSource(std::make_unique<CPieces>(bytes, 70000));
    ASSERT_TRUE(pSource->hold(10, 5000));
    (void)readFrom(*pSource, 3 * FORWARD_WINDOW_BYTES, 1);
    EXPECT_EQ(readFrom(*pSource, 10, 5000), part(bytes, 10, 5000));
    EXPECT_EQ(readFrom(*pSource, 4000, 10), part(bytes, 4000, 10));
    EXPECT_THROW((void)readFrom(*pSource, 5005, 10), h265_stream::CSourceError);
    EXPECT_FALSE(pSource->hold(10, 100)); // gone from the window
    EXPECT_FALSE(pSource->hold(3 * FORWARD_WINDOW_BYTES, MAX_HELD_BYTES + 1));
    // As much as there is.
    EXPECT_TRUE(pSource->hold(4 * FORWARD_WINDOW_BYTES - 5, 100));
    EXPECT_EQ(readFrom(*pSource, 4 * FORWARD_WINDOW_BYTES - 5, 100).size(), 5U);
}

} // namespace
} // namespace random_source_test
