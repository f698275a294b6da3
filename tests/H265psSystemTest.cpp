#include <algorithm>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "H265psProgram.h"
#include "PipedChild.h"

// The program and the system around it: pipes that stall, streams that are closed, limits, signals.

namespace program_system_test {

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

// Runs the program with redirections and limits that a shell makes, in a directory of its own.
class H265psSystem : public testing::Test
{
protected:
    H265psSystem()
    {
        std::string pattern = (fs::temp_directory_path() / "h265ps-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("no temporary directory");
        m_directory = pattern;
        fs::copy_file(CORPUS / "size_176x144.hevc", m_directory / "good.hevc");
    }
    ~H265psSystem() override { fs::remove_all(m_directory); }

    ChildResult shell(const std::string& commands) const
    {
        ChildSetup setup;
        setup.directory = m_directory;
        setup.environment = {"PROGRAM=" + PROGRAM};
        return runChild("/bin/sh", {"-c", commands}, setup);
    }
    [[nodiscard]] std::string fileNamed(const std::string& name) const { return contentOf(m_directory / name); }

    fs::path m_directory;
};

const std::string SETS = contentOf(CORPUS / "size_176x144.hevc").substr(0, 250);

TEST(H265psPipe, WhatWasReadIsShownWhenTheInputStalls)
{
    CPipedChild child(PROGRAM, {"-"});
    child.send(SETS); // the sets, and a slice behind them
    EXPECT_TRUE(child.shows("pps_pic_parameter_set_id")) << child.m_output;
    EXPECT_EQ(child.end(), 0);
}

// From the first parameter set on: what the head says so far depends on when the pipe stalls.
std::string withoutHead(const std::string& output)
{
    std::size_t uiBegin = output.size();
    for (const char* const pType : {"\nVPS", "\nSPS", "\nPPS"})
        uiBegin = std::min(uiBegin, output.find(pType));
    return output.substr(uiBegin);
}

ChildResult readSlowly(const std::string& stream, const std::vector<std::string>& arguments, std::size_t uiPiece)
{
    CPipedChild child(PROGRAM, arguments);
    for (std::size_t i = 0; i < stream.size() && child.hasReadAll(); i += uiPiece) {
        std::signal(SIGPIPE, SIG_IGN);
        try {
            child.send(std::string_view(stream).substr(i, uiPiece));
        } catch (const std::exception&) {
            break; // a foreign file is not read to its end
        }
    }
    const int iStatus = child.end();
    return {WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1, withoutHead(child.m_output), child.m_error};
}

// Packets of a transport stream, whose first one holds what begins like a stream of H.265.
std::string transportStream()
{
    std::string packets;
    for (unsigned i = 0; i < 4; ++i) {
        std::string packet = "\x47\x40\x11\x10" + SETS;
        packet.resize(188);
        packets += packet;
    }
    return packets;
}

std::string lengthPrefixed()
{
    const std::string unit = "\x40\x01\0\0\1\x40\1\0\0\1\x42\1xxxxxxxxxxxxxxxx"s;
    std::string stream;
    for (unsigned i = 0; i < 4; ++i)
        stream += "\0\0\0"s + static_cast<char>(unit.size()) + unit;
    return stream;
}

TEST(H265psPipe, AByteAtATimeGivesWhatTheFileGives)
{
    const std::string streams[] = {
        SETS,
        contentOf(CORPUS / "malformed_vui_cut.hevc").substr(0, 300),
        "\x47"s + SETS,
        std::string(50, '\0') + SETS,
        "\0\0\1\x46\1\x50"s + SETS,
        transportStream(),
        lengthPrefixed(),
        "\0\0\1\x67\x64\x00\x1f"s + SETS.substr(0, 200),
        "\0\0\1\x41\x11\x22\0\0\1\x41\x33"s + SETS.substr(0, 300),
        "\0\0\1\x41\x11\x22\0\0\1\x41\x33\0\0\1\x41\x33"s,
        "no stream at all, but text\n",
        "\x1a\x45\xdf\xa3 a Matroska file"s,
        "RIFF1234AVI LIST"s,
        ""s,
    };
    for (const std::string& stream : streams) {
        SCOPED_TRACE(testing::PrintToString(stream.substr(0, 20)));
        const ChildResult fast = readSlowly(stream, {"--all", "-"}, stream.size());
        const ChildResult slow = readSlowly(stream, {"--all", "-"}, 1);
        EXPECT_EQ(slow.iExitCode, fast.iExitCode);
        EXPECT_TRUE(slow.output == fast.output) << slow.output.substr(0, 500);
        EXPECT_EQ(slow.error, fast.error);
    }
}

// From the middle of a stream of MPEG-2, whose slices have the start codes of sets of layer 32.
TEST(H265psPipe, AHeaderOfMpegVideoIsSeenWhereverThePiecesEnd)
{
    const std::string header = "\0\0\1\xb3\x78\x04\x38\x33\xff\xff\xe0"s; // 1920x1080 at 25 pictures a second
    std::string slices;
    while (slices.size() < 5000) // behind the bytes that tell most formats
        slices += "\0\0\1\x41\x2b\x91"s + std::string(200, 'x');
    for (const std::string& end : {""s, slices}) {
        for (std::size_t i = 0; i < header.size(); ++i) {
            SCOPED_TRACE(i);
            CPipedChild child(PROGRAM, {"-"});
            child.send(slices + header.substr(0, i));
            EXPECT_TRUE(child.hasReadAll());
            child.send(header.substr(i) + end);
            const int iStatus = child.end();
            EXPECT_EQ(WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1, 2);
            EXPECT_TRUE(contains(child.m_error, "it looks like MPEG-1 or MPEG-2 video\n")) << child.m_error;
            EXPECT_EQ(child.m_output, "");
        }
    }
}

TEST(H265psPipe, AnInterruptEndsItAsTheSignalDoes)
{
    CPipedChild child(PROGRAM, {"-"});
    child.send(SETS);
    ASSERT_TRUE(child.shows("pps_pic_parameter_set_id")) << child.m_output;
    child.kill(SIGINT);
    const int iStatus = child.end();
    EXPECT_TRUE(WIFSIGNALED(iStatus));
    EXPECT_EQ(WTERMSIG(iStatus), SIGINT);
    EXPECT_EQ(child.m_error, "");
}

// Each closed stream, alone and with the others: no file gets its number.
TEST_F(H265psSystem, AClosedStreamNeverBecomesAFile)
{
    const std::string file = fileNamed("good.hevc");
    const ChildResult open = shell("$PROGRAM good.hevc missing.hevc");
    EXPECT_EQ(open.iExitCode, 2);
    ChildResult result = shell("$PROGRAM good.hevc missing.hevc <&-");
    EXPECT_EQ(result.output, open.output);
    EXPECT_EQ(result.error, open.error);
    EXPECT_EQ(result.iExitCode, 2);
    result = shell("$PROGRAM good.hevc missing.hevc 2>&-");
    EXPECT_EQ(result.output, open.output);
    EXPECT_EQ(result.iExitCode, 2);
    for (const char* const pClosed : {">&-", "<&- >&-", "<&- >&- 2>&-", ">&- 2>&-", "<&- 2>&-"}) {
        SCOPED_TRACE(pClosed);
        for (const char* const pMode : {"", "--json "}) {
            result = shell("$PROGRAM "s + pMode + "good.hevc missing.hevc good.hevc " + pClosed);
            EXPECT_EQ(result.iExitCode, 2);
            EXPECT_EQ(fileNamed("good.hevc"), file);
        }
    }
}

TEST_F(H265psSystem, OutputThatIsClosedIsAnError)
{
    const ChildResult result = shell("$PROGRAM good.hevc >&-");
    EXPECT_EQ(result.iExitCode, 2);
    EXPECT_EQ(result.error, "h265ps: error: standard output: bad file descriptor\n");
}

TEST_F(H265psSystem, InputThatIsClosedIsAnError)
{
    const ChildResult result = shell("$PROGRAM - <&-");
    EXPECT_EQ(result.iExitCode, 2);
    EXPECT_EQ(result.error, "h265ps: error: -: at byte 0: bad file descriptor\n");
}

TEST_F(H265psSystem, AFileSizeLimitIsAnErrorOfTheOutput)
{
    for (const char* const pMode : {"", "--json "}) {
        const ChildResult result = shell("ulimit -f 1; $PROGRAM "s + pMode + "good.hevc good.hevc good.hevc > limited");
        EXPECT_EQ(result.iExitCode, 2);
        EXPECT_EQ(result.error, "h265ps: error: standard output: file too large\n");
        EXPECT_EQ(fileNamed("limited").size() % 512, 0U);
        EXPECT_GT(fileNamed("limited").size(), 0U);
    }
}

TEST_F(H265psSystem, FilesAreClosedOneAfterAnother)
{
    std::string files;
    for (unsigned i = 0; i < 40; ++i)
        files += i % 4 == 3 ? " . " : i % 4 == 2 ? " text " : " good.hevc ";
    std::ofstream(m_directory / "text") << "text\n";
    const ChildResult result = shell("ulimit -n 16; $PROGRAM --json" + files);
    EXPECT_EQ(result.iExitCode, 2);
    EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 20);
    EXPECT_FALSE(contains(result.error, "Too many open files")) << result.error;
}

// A file whose reading stands still behind its first piece as long as the output is not taken: that is larger
// than the pipe and the program's buffer.
class H265psChangingFile : public H265psSystem
{
protected:
    H265psChangingFile()
    {
        std::string stream;
        while (stream.size() < (std::size_t{100} << 10))
            stream += SETS.substr(0, 120);
        stream.resize(std::size_t{2} << 20, 'x');
        m_ulSize = stream.size();
        std::ofstream(m_name, std::ios::binary) << stream;
        m_pChild.emplace(PROGRAM, std::vector<std::string>{"--all", m_name});
        EXPECT_TRUE(m_pChild->shows("SPS"));
    }

    std::string m_name = m_directory / "large.hevc";
    std::uint64_t m_ulSize = 0;
    std::optional<CPipedChild> m_pChild;
};

TEST_F(H265psChangingFile, ThatIsCutIsAnError)
{
    fs::resize_file(m_name, 1000);
    const int iStatus = m_pChild->end();
    ASSERT_TRUE(WIFEXITED(iStatus));
    EXPECT_EQ(WEXITSTATUS(iStatus), 2);
    EXPECT_EQ(m_pChild->m_error,
              "h265ps: error: " + m_name +
                  ": at byte 262144: the file was cut while it was read: it had 2097152 bytes, now 1000\n");
}

TEST_F(H265psChangingFile, ThatGrowsIsReadToItsEnd)
{
    std::ofstream(m_name, std::ios::binary | std::ios::app) << "\0\0\1\x44\1\xff"s;
    (void)m_pChild->end();
    EXPECT_TRUE(contains(m_pChild->m_output, "PPS 0 at byte 2097155, 3 bytes")) << m_pChild->m_error;
}

} // namespace
} // namespace program_system_test
