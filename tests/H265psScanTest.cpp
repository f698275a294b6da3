// h265ps scan: many files and folders, a line for each stream.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "H265psProgram.h"
#include "H265psStreams.h"
#include "Json.h"
#include "PipedChild.h"

namespace program_scan_test {

namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

const fs::path CONTAINERS = CORPUS.parent_path() / "containers";

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

class H265psScan : public H265psFiles
{
protected:
    ChildResult scan(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), "scan");
        ChildSetup setup;
        setup.directory = m_directory.string();
        return h265ps(arguments, setup);
    }
    // The files that have a line, in its order.
    [[nodiscard]] Names filesOf(const std::vector<std::string>& arguments) const
    {
        Names files;
        std::vector<std::string> all = {"--json"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        for (const std::string& line : linesOf(scan(all).output))
            files.push_back(parseJson(line)["file"]);
        return files;
    }
    void addStream(const std::string& path, const std::string& name = "deblock_off") const
    {
        fs::create_directories((m_directory / path).parent_path());
        fs::copy_file(CORPUS / (name + ".hevc"), m_directory / path);
    }
};

TEST_F(H265psScan, WritesALineOfFixedColumnsForEachStream)
{
    addStream("a.hevc");
    addStream("b.hevc", "hm_tiles_explicit_4x3");
    addStream("c.hevc", "level_5_1_high");
    const ChildResult result = scan({"a.hevc", "b.hevc", "c.hevc"});
    EXPECT_EQ(result.iExitCode, 0);
    EXPECT_EQ(result.error, "");
    const std::vector<std::string> lines = linesOf(result.output);
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_TRUE(lines[0].starts_with("SIZE        RATE    PROFILE        LEVEL    CODECS "));
    EXPECT_TRUE(lines[1].starts_with("176x144     25      Main           2        hvc1.1.6.L60.90        8-bit 4:2:0 "))
        << lines[1];
    for (const std::string& line : lines)
        EXPECT_EQ(line.rfind(' '), lines[0].rfind(' ')) << "the names stand below each other";
    EXPECT_NE(lines[2].find(" 4x3 "), std::string::npos) << lines[2];
    EXPECT_NE(lines[3].find(" 5.1 High "), std::string::npos) << lines[3];
}

TEST_F(H265psScan, WritesJsonWithTheKeysOfTheGist)
{
    const std::string sound = (CONTAINERS / "with_sound.mp4").string();
    addStream("tiles.hevc", "hm_tiles_explicit_4x3");
    const ChildResult result = scan({"--json", sound, "tiles.hevc"});
    EXPECT_EQ(result.iExitCode, 0);
    const std::vector<std::string> lines = linesOf(result.output);
    ASSERT_EQ(lines.size(), 2U);
    const Json movie = parseJson(lines[0]);
    EXPECT_EQ(movie["file"], sound);
    EXPECT_EQ(movie["track"], 1);
    EXPECT_EQ(movie["codecs"], "hvc1.1.6.L60.90");
    EXPECT_EQ(movie["sets"], (Json{{"VPS", 1}, {"SPS", 1}, {"PPS", 1}}));
    EXPECT_EQ(movie["errors"], 0);
    EXPECT_EQ(movie["warnings"], 0);
    EXPECT_EQ(movie["verdict"], "the decoder's own checks pass");
    EXPECT_TRUE(movie["tiles"].is_null());
    const Json tiles = parseJson(lines[1]);
    EXPECT_TRUE(tiles["track"].is_null()) << "a byte stream has no tracks";
    EXPECT_EQ(tiles["tiles"], (Json{{"columns", 4}, {"rows", 3}}));
    // The gist's keys are those that show --json has, at the same places.
    const Json shown = parseJson(h265ps({"--json", (m_directory / "tiles.hevc").string()}).output)["gist"];
    Names keys;
    for (const auto& [key, value] : tiles.items())
        keys.push_back(key);
    Names expected = {"file", "track"};
    for (const auto& [key, value] : shown.items()) {
        if (key == "sets")
            expected.emplace_back("tiles");
        expected.push_back(key);
        EXPECT_EQ(tiles[key], value) << key;
    }
    for (const char* pKey : {"errors", "warnings", "verdict"})
        expected.emplace_back(pKey);
    EXPECT_EQ(keys, expected);
}

TEST_F(H265psScan, HasNullWhereNoSpsWasRead)
{
    (void)make("vps.hevc", streamOf({parameterSetsOf("deblock_off")[0]}));
    const Json line = parseJson(scan({"--json", "vps.hevc"}).output);
    EXPECT_TRUE(line["codecs"].is_null());
    EXPECT_TRUE(line["width"].is_null());
    EXPECT_EQ(line["sets"]["VPS"], 1);
    EXPECT_EQ(line["verdict"], "cannot be decoded: no SPS and no PPS");
    EXPECT_NE(scan({"vps.hevc"}).output.find("1/0/0"), std::string::npos);
}

TEST_F(H265psScan, WritesTheSameBytesForEveryNumberOfJobs)
{
    const ChildResult one = scan({"--jobs", "1", CORPUS.string(), CONTAINERS.string(), "none"});
    EXPECT_EQ(one.iExitCode, 2);
    EXPECT_GT(linesOf(one.output).size(), 100U);
    for (const char* pJobs : {"2", "3", "16"}) {
        SCOPED_TRACE(pJobs);
        const ChildResult many = scan({"--jobs", pJobs, CORPUS.string(), CONTAINERS.string(), "none"});
        EXPECT_EQ(many.output, one.output);
        EXPECT_EQ(many.error, one.error);
        EXPECT_EQ(many.iExitCode, 2);
    }
}

TEST_F(H265psScan, GoesThroughFoldersByName)
{
    for (const char* pPath : {"z.hevc", "f/b.hevc", "f/a.hevc", "f/c/deep/x.hevc", "f/B.hevc", "a.hevc"})
        addStream(pPath);
    EXPECT_EQ(filesOf({"z.hevc", "f", "a.hevc"}),
              (Names{"z.hevc", "f/B.hevc", "f/a.hevc", "f/b.hevc", "f/c/deep/x.hevc", "a.hevc"}));
    EXPECT_EQ(filesOf({"f/", "f"}).size(), 8U) << "what is named twice is read twice";
}

TEST_F(H265psScan, IsNotHeldUpByLinksFifosSocketsAndDevices)
{
    addStream("f/a.hevc");
    addStream("elsewhere/b.hevc");
    const fs::path folder = m_directory / "f";
    fs::create_directory_symlink("..", folder / "loop");
    fs::create_directory_symlink(".", folder / "self");
    fs::create_symlink("nowhere", folder / "dangling");
    fs::create_symlink("circle", folder / "circle");
    fs::create_symlink("a.hevc", folder / "link.hevc");
    fs::create_symlink("/dev/zero", folder / "zero");
    ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
    const int iSocket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::string path = (folder / "socket").string();
    ASSERT_LT(path.size(), sizeof(address.sun_path));
    std::copy(path.begin(), path.end(), address.sun_path);
    ASSERT_EQ(::bind(iSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    const ChildResult result = scan({"--json", "f"});
    ::close(iSocket);
    EXPECT_EQ(result.iExitCode, 0) << result.error;
    EXPECT_EQ(result.error, "h265ps: passed over: 5 that are neither file nor folder\n");
    Names files;
    for (const std::string& line : linesOf(result.output))
        files.push_back(parseJson(line)["file"]);
    // The folder above is reached by a link, once; f, which is in it, was gone through.
    EXPECT_EQ(files, (Names{"f/a.hevc", "f/link.hevc", "f/loop/elsewhere/b.hevc"}));
    EXPECT_EQ(scan({"f/fifo"}).error, "h265ps: passed over: 1 that is neither file nor folder\n");
}

TEST_F(H265psScan, NamesOnceInTheEndWhatIsNoH265)
{
    addStream("f/b.hevc");
    (void)make("f/a.txt", "just text\n");
    (void)make("f/empty", "");
    (void)make("f/z.png", "\x89PNG\r\n\x1a\n 1234567890");
    const ChildResult result = scan({"f"});
    EXPECT_EQ(result.iExitCode, 0);
    EXPECT_EQ(linesOf(result.output).size(), 2U);
    const std::vector<std::string> errors = linesOf(result.error);
    ASSERT_EQ(errors.size(), 3U) << result.error;
    EXPECT_TRUE(errors[0].starts_with("h265ps: no H.265: f/a.txt: ")) << errors[0];
    EXPECT_EQ(errors[1], "h265ps: no H.265: f/empty: the file is empty");
    EXPECT_NE(errors[2].find("f/z.png: at byte 0: "), std::string::npos) << errors[2];
    EXPECT_NE(errors[2].find("it looks like a PNG image"), std::string::npos) << errors[2];
}

TEST_F(H265psScan, TellsOfAFileThatEndsBeforeItSaysWhatItHolds)
{
    addStream("f/d.hevc");
    const std::string whole = contentOf(CONTAINERS / "with_sound.mp4");
    (void)make("f/a.mp4", whole.substr(0, whole.find("moov") - 4));
    (void)make("f/b.mp4", whole.substr(0, whole.find("hvc1") - 4));
    const std::string matroska = contentOf(CONTAINERS / "live.mkv");
    (void)make("f/c.mkv", matroska.substr(0, matroska.find("\x16\x54\xae\x6b")));
    const ChildResult result = scan({"f"});
    EXPECT_EQ(result.iExitCode, 2);
    EXPECT_EQ(linesOf(result.output).size(), 2U) << result.output;
    EXPECT_NE(result.error.find("h265ps: error: f/a.mp4: "), std::string::npos) << result.error;
    EXPECT_NE(result.error.find("h265ps: error: f/b.mp4: "), std::string::npos) << result.error;
    EXPECT_NE(result.error.find("h265ps: error: f/c.mkv: "), std::string::npos) << result.error;
    EXPECT_EQ(result.error.find("no H.265"), std::string::npos) << result.error;

    // What is known to be something else, is that.
    std::string other = whole.substr(0, whole.find("mp4a") + 100);
    other.replace(other.find("hvc1"), 4, "avc1");
    (void)make("other.mp4", other);
    EXPECT_EQ(scan({"other.mp4"}).error.find("h265ps: error: "), std::string::npos) << scan({"other.mp4"}).error;
}

TEST_F(H265psScan, GoesOnBehindWhatCannotBeRead)
{
    addStream("a.hevc");
    addStream("b.hevc");
    const ChildResult result = scan({"a.hevc", "none", "b.hevc"});
    EXPECT_EQ(result.iExitCode, 2);
    EXPECT_EQ(linesOf(result.output).size(), 3U);
    EXPECT_EQ(result.error, "h265ps: error: none: no such file or directory\n");
    EXPECT_EQ(scan({"none"}).output, "");
}

TEST_F(H265psScan, TakesNamesOfAnyBytes)
{
    addStream("f/line\nbreak\xff\x1b[31m\"\\.hevc");
    addStream("f/\xc3\xa4.hevc");
    const std::vector<std::string> lines = linesOf(scan({"--json", "f"}).output);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(parseJson(lines[0])["file"], "f/line\nbreak\xef\xbf\xbd\x1b[31m\"\\.hevc");
    EXPECT_EQ(parseJson(lines[1])["file"], "f/\xc3\xa4.hevc");
    const ChildResult table = scan({"f"});
    EXPECT_EQ(linesOf(table.output).size(), 3U) << "no name makes lines of its own";
    EXPECT_EQ(table.output.find('\x1b'), std::string::npos);
}

TEST_F(H265psScan, SurvivesTheEndOfAWorker)
{
    addStream("a.hevc");
    addStream("b.hevc");
    CPipedChild child(
        H265PS_PROGRAM,
        {"scan", "--jobs", "1", (m_directory / "a.hevc").string(), "-", (m_directory / "b.hevc").string()});
    child.send("what is read for ever");
    ASSERT_TRUE(child.hasReadAll());
    std::ifstream children("/proc/" + std::to_string(child.process()) + "/task/" + std::to_string(child.process()) +
                           "/children");
    pid_t iWorker = 0;
    if (!(children >> iWorker))
        GTEST_SKIP() << "this system does not tell the children of a process";
    ASSERT_EQ(::kill(iWorker, SIGKILL), 0);
    const int iStatus = child.end();
    ASSERT_TRUE(WIFEXITED(iStatus));
    EXPECT_EQ(WEXITSTATUS(iStatus), 2);
    EXPECT_EQ(child.m_error, "h265ps: error: -: a signal ended the process that read it: Killed\n");
    EXPECT_EQ(linesOf(child.m_output).size(), 3U) << child.m_output;
}

TEST_F(H265psScan, EndsAsTheSignalDoesBehindAWholeLine)
{
    addStream("a.hevc");
    for (const int iSignal : {SIGINT, SIGTERM, SIGHUP}) {
        SCOPED_TRACE(iSignal);
        CPipedChild child(H265PS_PROGRAM, {"scan", "--json", (m_directory / "a.hevc").string(), "-"});
        child.send("what is read for ever");
        ASSERT_TRUE(child.hasReadAll());
        child.kill(iSignal);
        const int iStatus = child.end();
        ASSERT_TRUE(WIFSIGNALED(iStatus)) << child.m_error;
        EXPECT_EQ(WTERMSIG(iStatus), iSignal);
        EXPECT_EQ(child.m_error, "");
        for (const std::string& line : linesOf(child.m_output))
            EXPECT_TRUE(Json::accept(line)) << line;
        EXPECT_TRUE(child.m_output.empty() || child.m_output.ends_with('\n'));
    }
}

// As nohup starts it, or a shell in the background.
TEST_F(H265psScan, IgnoresTheSignalsThatItWasStartedToIgnore)
{
    CPipedChild child("/bin/sh", {"-c", "trap '' HUP INT TERM; exec \"$0\" scan --json -", H265PS_PROGRAM});
    child.send("what is read ");
    ASSERT_TRUE(child.hasReadAll());
    for (const int iSignal : {SIGINT, SIGTERM, SIGHUP})
        child.kill(iSignal);
    child.send("to its end");
    const int iStatus = child.end();
    ASSERT_TRUE(WIFEXITED(iStatus)) << child.m_error;
    EXPECT_TRUE(child.m_error.starts_with("h265ps: no H.265: -: at byte 23: no start code in it")) << child.m_error;
}

TEST_F(H265psScan, EndsQuietlyWhenNobodyReadsOn)
{
    ChildSetup setup;
    setup.eOutput = EChildOutput::ClosedPipe;
    const ChildResult result = h265ps({"scan", "--json", "deblock_off.hevc"}, setup);
    EXPECT_EQ(result.error, "");
    setup.eOutput = EChildOutput::FullDevice;
    const ChildResult full = h265ps({"scan", "deblock_off.hevc"}, setup);
    EXPECT_EQ(full.iExitCode, 2);
    EXPECT_NE(full.error.find("standard output: "), std::string::npos);
}

TEST_F(H265psScan, RefusesWrongUsage)
{
    EXPECT_EQ(scan({}).error, "h265ps: error: no file is given (h265ps scan --help shows the usage)\n");
    for (const char* pJobs : {"0", "-1", "x", "1025"})
        EXPECT_EQ(scan({"--jobs", pJobs, "."}).iExitCode, 2) << pJobs;
    const ChildResult help = scan({"--help"});
    EXPECT_EQ(help.iExitCode, 0);
    EXPECT_NE(help.output.find("h265ps scan --json movies"), std::string::npos);
}

// A bar for who looks on; it comes after a second, and goes.
TEST_F(H265psScan, ShowsHowFarItIsOnATerminalOnly)
{
    if (!hasPseudoTerminals())
        GTEST_SKIP() << "no pseudo-terminals";
    const int iTerminal = ::posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(iTerminal, 0);
    ASSERT_EQ(::grantpt(iTerminal), 0);
    ASSERT_EQ(::unlockpt(iTerminal), 0);
    const std::string other = ::ptsname(iTerminal);
    int aiInput[2];
    ASSERT_EQ(::pipe(aiInput), 0);
    const pid_t iChild = ::fork();
    if (iChild == 0) {
        const int iError = ::open(other.c_str(), O_WRONLY | O_NOCTTY);
        const int iNull = ::open("/dev/null", O_WRONLY);
        ::dup2(aiInput[0], 0);
        ::dup2(iNull, 1);
        ::dup2(iError, 2);
        ::close(aiInput[1]);
        ::execl(H265PS_PROGRAM, "h265ps", "scan", "-", nullptr);
        ::_exit(127);
    }
    ::close(aiInput[0]);
    std::string text;
    char acPiece[4096];
    while (text.find("[                              ] 0 of 1 files") == std::string::npos) {
        const ssize_t iRead = ::read(iTerminal, acPiece, sizeof(acPiece));
        ASSERT_GT(iRead, 0) << text;
        text.append(acPiece, static_cast<std::size_t>(iRead));
    }
    ::close(aiInput[1]);
    int iStatus = 0;
    ::waitpid(iChild, &iStatus, 0);
    for (ssize_t iRead = 1; iRead > 0;) {
        iRead = ::read(iTerminal, acPiece, sizeof(acPiece));
        text.append(acPiece, static_cast<std::size_t>(std::max<ssize_t>(iRead, 0)));
    }
    ::close(iTerminal);
    EXPECT_NE(text.rfind("\r\x1b[K"), std::string::npos);
    EXPECT_GT(text.rfind("\r\x1b[K"), text.rfind("0 of 1 files")) << "it is gone in the end";
}

} // namespace
} // namespace program_scan_test
