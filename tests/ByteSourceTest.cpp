#include "ByteSource.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "NalUnitWriter.h"
#include "ParameterSetStream.h"
#include "SyntaxWriters.h"

namespace byte_source_test {

using namespace h265_stream;
using namespace h265_test;

namespace {

// A directory of its own for each test, removed at the end.
class ByteSource : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string pattern = testing::TempDir() + "byte_source_XXXXXX";
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        m_directory = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(m_directory); }

    [[nodiscard]] std::string path(const std::string& name) const { return m_directory / name; }

    std::string writeFile(const std::string& name, const Bytes& bytes) const
    {
        std::ofstream file(path(name), std::ios::binary);
        file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return path(name);
    }

    std::filesystem::path m_directory;
};

// Stands in for standard input while it lives.
class CStandardInput
{
public:
    explicit CStandardInput(int iFd) : m_iBefore(::dup(STDIN_FILENO))
    {
        ::dup2(iFd, STDIN_FILENO);
        ::close(iFd);
    }
    ~CStandardInput()
    {
        ::dup2(m_iBefore, STDIN_FILENO);
        ::close(m_iBefore);
    }
    CStandardInput(const CStandardInput&) = delete;
    CStandardInput& operator=(const CStandardInput&) = delete;

private:
    int m_iBefore;
};

Bytes readAll(CByteSource& source)
{
    Bytes result;
    for (auto piece = source.next(); !piece.empty(); piece = source.next())
        result.insert(result.end(), piece.begin(), piece.end());
    return result;
}

Bytes patternOf(std::size_t uiSize)
{
    Bytes bytes(uiSize);
    for (std::size_t i = 0; i < uiSize; ++i)
        bytes[i] = static_cast<unsigned char>(i * 2654435761U >> 13);
    return bytes;
}

std::string reasonFor(const std::string& path)
{
    try {
        openByteSource(path);
    } catch (const CSourceError& error) {
        EXPECT_EQ(error.offset(), 0U);
        return error.what();
    }
    return "";
}

void writeInPieces(int iFd, const Bytes& bytes, std::size_t uiPiece)
{
    for (std::size_t i = 0; i < bytes.size();) {
        const ssize_t iWritten = ::write(iFd, bytes.data() + i, std::min(uiPiece, bytes.size() - i));
        if (iWritten <= 0)
            break;
        i += static_cast<std::size_t>(iWritten);
    }
    ::close(iFd);
}

long peakMemoryInKiB()
{
    rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

TEST_F(ByteSource, SaysWhyAFileCannotBeOpened)
{
    EXPECT_EQ(reasonFor(path("missing")), "No such file or directory");
    EXPECT_EQ(reasonFor(m_directory), "Is a directory");
    EXPECT_EQ(reasonFor(writeFile("file", {1}) + "/below"), "Not a directory");
    EXPECT_EQ(reasonFor(""), "No such file or directory");
}

TEST_F(ByteSource, SaysThatAFileMayNotBeRead)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "the superuser may read every file";
    ASSERT_EQ(::chmod(writeFile("secret", {1}).c_str(), 0), 0);
    EXPECT_EQ(reasonFor(path("secret")), "Permission denied");
}

TEST_F(ByteSource, SaysThatStandardInputIsADirectory)
{
    const CStandardInput input(::open(m_directory.c_str(), O_RDONLY));
    EXPECT_EQ(reasonFor("-"), "Is a directory");
}

TEST_F(ByteSource, DeliversFilesOfAnySize)
{
    for (const std::size_t uiSize : {0U, 1U, 4095U, 4096U, 4097U, 262144U, 262145U, 1000000U}) {
        SCOPED_TRACE(uiSize);
        const Bytes bytes = patternOf(uiSize);
        EXPECT_EQ(readAll(*openByteSource(writeFile("file", bytes))), bytes);
    }
}

TEST_F(ByteSource, KeepsDeliveringNothingAtTheEnd)
{
    const auto pFile = openByteSource(writeFile("file", {1, 2, 3}));
    const auto pEmpty = openByteSource(writeFile("empty", {}));
    const auto pMemory = makeByteSource({});
    EXPECT_EQ(pFile->next().size(), 3U);
    for (unsigned i = 0; i < 3; ++i) {
        EXPECT_TRUE(pFile->next().empty());
        EXPECT_TRUE(pEmpty->next().empty());
        EXPECT_TRUE(pMemory->next().empty());
    }
}

TEST_F(ByteSource, ShowsTheHeadWithoutMoving)
{
    for (const std::size_t uiSize : {0U, 10U, 4096U, 5000U, 600000U}) {
        SCOPED_TRACE(uiSize);
        const Bytes bytes = patternOf(uiSize);
        const Bytes head(bytes.begin(),
                         bytes.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(uiSize, 4096)));
        const auto pFile = openByteSource(writeFile("file", bytes));
        const auto pMemory = makeByteSource(bytes);
        for (CByteSource* const pSource : {pFile.get(), pMemory.get()}) {
            const auto before = pSource->head();
            EXPECT_TRUE(std::ranges::equal(before, head));
            EXPECT_EQ(readAll(*pSource), bytes);
            const auto after = pSource->head();
            EXPECT_TRUE(std::ranges::equal(after, head));
        }
    }
}

TEST_F(ByteSource, ReadsStandardInputFromAPipe)
{
    const Bytes bytes = patternOf(300000);
    for (const std::size_t uiPiece : {100U, 4096U, 300000U}) {
        SCOPED_TRACE(uiPiece);
        int aiPipe[2] = {};
        ASSERT_EQ(::pipe(aiPipe), 0);
        const CStandardInput input(aiPipe[0]);
        std::thread writer(writeInPieces, aiPipe[1], std::cref(bytes), uiPiece);
        const auto pSource = openByteSource("-");
        while (pSource->growHead()) {
        }
        const auto head = pSource->head();
        EXPECT_TRUE(std::ranges::equal(head, std::span(bytes).first(4096)));
        EXPECT_EQ(readAll(*pSource), bytes);
        writer.join();
    }
}

// A pipe that is standard input, and that the test writes to.
class StalledPipe : public testing::Test
{
protected:
    void SetUp() override
    {
        int aiPipe[2] = {};
        ASSERT_EQ(::pipe(aiPipe), 0);
        m_pInput.reset();
        m_pInput.emplace(aiPipe[0]);
        m_iOurEnd = aiPipe[1];
        m_pSource = openByteSource("-");
    }
    void TearDown() override { close(); }

    void send(const Bytes& bytes) const
    {
        ASSERT_EQ(::write(m_iOurEnd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    void close()
    {
        if (m_iOurEnd >= 0)
            ::close(m_iOurEnd);
        m_iOurEnd = -1;
    }
    Bytes next() const
    {
        const auto piece = m_pSource->next();
        return {piece.begin(), piece.end()};
    }
    Bytes head() const
    {
        const auto piece = m_pSource->head();
        return {piece.begin(), piece.end()};
    }

    std::optional<CStandardInput> m_pInput;
    int m_iOurEnd = -1;
    std::unique_ptr<CByteSource> m_pSource;
};

TEST_F(StalledPipe, ShowsTheHeadThatIsThereAndMoreOfItOnDemand)
{
    send({1, 2, 3});
    EXPECT_EQ(head(), (Bytes{1, 2, 3}));
    send({4});
    EXPECT_EQ(head(), (Bytes{1, 2, 3})); // it does not move by itself
    EXPECT_TRUE(m_pSource->growHead());
    EXPECT_EQ(head(), (Bytes{1, 2, 3, 4}));
    send({5});
    EXPECT_EQ(next(), (Bytes{1, 2, 3, 4, 5}));
    EXPECT_FALSE(m_pSource->growHead());
    EXPECT_EQ(head(), (Bytes{1, 2, 3, 4, 5}));
    send({6});
    EXPECT_EQ(next(), (Bytes{6}));
    EXPECT_EQ(head(), (Bytes{1, 2, 3, 4, 5}));
}

TEST_F(StalledPipe, TheHeadEndsWithTheStreamOrAt4096Bytes)
{
    send({1});
    close();
    EXPECT_EQ(head(), (Bytes{1}));
    EXPECT_FALSE(m_pSource->growHead());
    EXPECT_EQ(next(), (Bytes{1}));
    EXPECT_EQ(next(), Bytes());
    SetUp();
    send(patternOf(4095));
    EXPECT_EQ(head().size(), 4095U);
    send(patternOf(10));
    EXPECT_TRUE(m_pSource->growHead());
    EXPECT_EQ(head().size(), 4096U);
    EXPECT_FALSE(m_pSource->growHead());
    EXPECT_EQ(next().size(), 4105U);
}

TEST_F(StalledPipe, StallsWhenItHasNoBytesAndHasNotEnded)
{
    EXPECT_TRUE(m_pSource->stalls());
    send({1, 2});
    EXPECT_FALSE(m_pSource->stalls());
    EXPECT_EQ(head(), (Bytes{1, 2}));
    EXPECT_FALSE(m_pSource->stalls()); // the head waits to be handed out
    EXPECT_EQ(next(), (Bytes{1, 2}));
    EXPECT_TRUE(m_pSource->stalls());
    close();
    EXPECT_FALSE(m_pSource->stalls());
    EXPECT_EQ(next(), Bytes());
    EXPECT_FALSE(m_pSource->stalls());
}

TEST_F(StalledPipe, ItsSmallWritesBecomeOnePiece)
{
    for (unsigned char i = 0; i < 100; ++i)
        send({i});
    EXPECT_EQ(next().size(), 100U);
    for (unsigned char i = 0; i < 100; ++i)
        send({i});
    EXPECT_EQ(next().size(), 100U);
    close();
    EXPECT_EQ(next(), Bytes());
}

TEST_F(ByteSource, AFileNeverStalls)
{
    const auto pSource = openByteSource(writeFile("file", patternOf(300000)));
    do
        EXPECT_FALSE(pSource->stalls());
    while (!pSource->next().empty());
    EXPECT_FALSE(pSource->stalls());
    const Bytes bytes = patternOf(10);
    const auto pMemory = makeByteSource(bytes);
    EXPECT_FALSE(pMemory->stalls());
    EXPECT_FALSE(pMemory->growHead());
}

TEST_F(ByteSource, ReadsStandardInputThatDoesNotBlock)
{
    const Bytes bytes = patternOf(300000);
    int aiPipe[2] = {};
    ASSERT_EQ(::pipe(aiPipe), 0);
    ASSERT_EQ(::fcntl(aiPipe[0], F_SETFL, O_NONBLOCK), 0);
    const CStandardInput input(aiPipe[0]);
    std::thread writer(writeInPieces, aiPipe[1], std::cref(bytes), std::size_t{50});
    EXPECT_EQ(readAll(*openByteSource("-")), bytes);
    writer.join();
}

TEST_F(ByteSource, ReadsStandardInputFromWhereItStands)
{
    const int iFd = ::open(writeFile("file", {1, 2, 3, 4, 5}).c_str(), O_RDONLY);
    ASSERT_EQ(::lseek(iFd, 2, SEEK_SET), 2);
    const CStandardInput input(iFd);
    EXPECT_EQ(readAll(*openByteSource("-")), (Bytes{3, 4, 5}));
}

TEST_F(ByteSource, TellsTheSizeOfWhatIsThereToBeRead)
{
    const std::string name = writeFile("file", patternOf(70000));
    EXPECT_EQ(openByteSource(name)->size(), 70000U);
    EXPECT_EQ(makeByteSource(patternOf(10))->size(), 10U);
    EXPECT_EQ(openByteSource("/dev/null")->size(), std::nullopt);
    EXPECT_EQ(openByteSource("/proc/self/status")->size(), std::nullopt);
    const int iFd = ::open(name.c_str(), O_RDONLY);
    ASSERT_EQ(::lseek(iFd, 65000, SEEK_SET), 65000);
    const CStandardInput input(iFd);
    EXPECT_EQ(openByteSource("-")->size(), 5000U);
}

TEST_F(ByteSource, ReadsANamedPipe)
{
    const Bytes bytes = patternOf(100000);
    ASSERT_EQ(::mkfifo(path("fifo").c_str(), 0600), 0);
    std::thread writer([&] { writeInPieces(::open(path("fifo").c_str(), O_WRONLY), bytes, 3000); });
    EXPECT_EQ(readAll(*openByteSource(path("fifo"))), bytes);
    writer.join();
}

TEST_F(ByteSource, SaysThatItsFileWasCut)
{
    const std::string name = writeFile("file", patternOf(2000000));
    const auto pSource = openByteSource(name);
    const std::size_t uiFirst = pSource->next().size();
    EXPECT_GT(uiFirst, 0U);
    std::filesystem::resize_file(name, 10);
    for (unsigned i = 0; i < 2; ++i) {
        try {
            (void)pSource->next();
            ADD_FAILURE() << "no error";
        } catch (const CSourceError& error) {
            EXPECT_STREQ(error.what(), "the file was cut while it was read: it had 2000000 bytes, now 10");
            EXPECT_EQ(error.offset(), uiFirst);
        }
    }
}

TEST_F(ByteSource, AFileCutToWhereTheReadingStandsIsCutToo)
{
    const std::string name = writeFile("file", patternOf(2000000));
    const auto pSource = openByteSource(name);
    const std::size_t uiFirst = pSource->next().size();
    std::filesystem::resize_file(name, uiFirst);
    EXPECT_THROW((void)pSource->next(), CSourceError);
}

TEST_F(ByteSource, AFileCutBehindItsLastByteReadIsWhole)
{
    const std::string name = writeFile("file", patternOf(1000));
    const auto pSource = openByteSource(name);
    EXPECT_EQ(pSource->next().size(), 1000U);
    std::filesystem::resize_file(name, 10);
    EXPECT_TRUE(pSource->next().empty());
}

TEST_F(ByteSource, AFileThatGrowsIsReadToItsEnd)
{
    const std::string name = writeFile("file", patternOf(1000));
    const auto pSource = openByteSource(name);
    std::size_t uiRead = pSource->next().size();
    std::ofstream(name, std::ios::binary | std::ios::app) << std::string(500, 'x');
    uiRead += readAll(*pSource).size();
    EXPECT_EQ(uiRead, 1500U);
}

// The kernel says 4096 bytes of each of these files, whatever they hold.
TEST_F(ByteSource, AFileThatTellsTooLargeASizeEndsWhereItEnds)
{
    const std::string name = "/sys/kernel/mm/transparent_hugepage/enabled";
    std::error_code error;
    if (std::filesystem::file_size(name, error) != 4096U || error)
        GTEST_SKIP() << "no such file here";
    EXPECT_LT(readAll(*openByteSource(name)).size(), 4096U);
}

// The hole is four gibibytes of zeros: the search must not slow down on them, nothing be kept, and no offset
// be cut to 32 bits.
TEST_F(ByteSource, IsReadInConstantMemory)
{
    constexpr std::uint64_t HOLE_END = std::uint64_t{4} << 30;
    constexpr long GROWTH_IN_KIB = 8192;
    const Bytes front = byteStream({nalUnit(VPS_NUT, write(VpsSyntax{})), nalUnit(SPS_NUT, write(SpsSyntax{}))});
    const Bytes back = byteStream({nalUnit(PPS_NUT, write(PpsSyntax{}))});
    writeFile("sparse", front);
    {
        std::fstream file(path("sparse"), std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(static_cast<std::streamoff>(HOLE_END));
        file.write(reinterpret_cast<const char*>(back.data()), static_cast<std::streamsize>(back.size()));
        ASSERT_TRUE(file.good());
    }
    const long iBefore = peakMemoryInKiB();
    std::vector<std::uint64_t> offsets;
    CParameterSetStream reader({});
    const StreamSummary summary = reader.read(*openByteSource(path("sparse")), [&](const ParameterSetEvent& event) {
        EXPECT_EQ(event.iRead, 0);
        offsets.push_back(event.ulOffset);
        return true;
    });
    EXPECT_EQ(summary.ulBytes, HOLE_END + back.size());
    EXPECT_EQ(summary.ulNalUnits, 3U);
    ASSERT_EQ(offsets.size(), 3U);
    EXPECT_EQ(offsets[2], HOLE_END + 4);
    EXPECT_LT(peakMemoryInKiB() - iBefore, GROWTH_IN_KIB);
}

} // namespace
} // namespace byte_source_test
