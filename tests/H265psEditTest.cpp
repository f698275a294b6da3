// h265ps edit: files, exit codes and messages. What is written and refused is StreamEditTest's.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "H265psProgram.h"
#include "H265psStreams.h"

namespace program_edit_test {

namespace {

namespace fs = std::filesystem;

class H265psEdit : public H265psFiles
{
protected:
    ChildResult edit(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), "edit");
        ChildSetup setup;
        setup.directory = m_directory.string();
        return h265ps(arguments, setup);
    }
    [[nodiscard]] std::string stream(const std::string& name = "deblock_off") const
    {
        return make("in.hevc", contentOf(CORPUS / (name + ".hevc")));
    }
    // Names of what the directory holds, a temporary file included.
    [[nodiscard]] std::vector<std::string> files() const
    {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(m_directory))
            names.push_back(entry.path().filename());
        std::ranges::sort(names);
        return names;
    }
    [[nodiscard]] std::string content(const std::string& name) const { return contentOf(m_directory / name); }
    [[nodiscard]] mode_t modeOf(const std::string& name) const
    {
        struct stat status = {};
        EXPECT_EQ(::stat((m_directory / name).c_str(), &status), 0);
        return status.st_mode & 07777U;
    }
};

using Names = std::vector<std::string>;

TEST_F(H265psEdit, WritesTheChangedStream)
{
    (void)stream();
    const ChildResult result = edit({"in.hevc", "-o", "out.hevc", "sps.vui.video_full_range_flag=1"});
    EXPECT_EQ(result.iExitCode, 0) << result.error;
    EXPECT_EQ(result.output + result.error, "");
    EXPECT_EQ(files(), (Names{"in.hevc", "out.hevc"}));
    EXPECT_NE(content("out.hevc"), content("in.hevc"));
    const ChildResult diff = h265ps({"diff", (m_directory / "in.hevc").string(), (m_directory / "out.hevc").string()});
    EXPECT_EQ(diff.iExitCode, 1);
    EXPECT_NE(diff.output.find("sps[0].vui_parameters.video_full_range_flag: none -> 1 (full range)\n"),
              std::string::npos)
        << diff.output;
}

TEST_F(H265psEdit, CopiesWithoutASetting)
{
    (void)stream("gop_open_repeat_headers");
    EXPECT_EQ(edit({"in.hevc", "--output", "out.hevc"}).iExitCode, 0);
    EXPECT_EQ(content("out.hevc"), content("in.hevc"));
}

TEST_F(H265psEdit, ReadsStandardInput)
{
    ChildSetup setup;
    setup.input = stream();
    setup.directory = m_directory.string();
    EXPECT_EQ(h265ps({"edit", "-", "-o", "out.hevc"}, setup).iExitCode, 0);
    EXPECT_EQ(content("out.hevc"), content("in.hevc"));
    // It is the input by whatever name.
    const ChildResult same = h265ps({"edit", "-", "-o", "in.hevc"}, setup);
    EXPECT_EQ(same.iExitCode, 2);
    EXPECT_EQ(same.error, "h265ps: error: in.hevc: it is the file that is read; what is written goes to another one\n");
}

TEST_F(H265psEdit, RefusesWithASentenceForEachReason)
{
    (void)stream();
    (void)make("out.hevc", "was here");
    const ChildResult result =
        edit({"in.hevc", "-o", "out.hevc", "sps.pic_width_in_luma_samples=320", "sps.vui.colour_primaries=3"});
    EXPECT_EQ(result.iExitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_NE(
        result.error.find("h265ps: error: in.hevc: at byte 32: sps[0].pic_width_in_luma_samples cannot go from 176 "
                          "to 320: the slices are coded against the picture size (--force does it all the same)\n"),
        std::string::npos)
        << result.error;
    EXPECT_NE(result.error.find("sps[0].vui_parameters.colour_primaries would be an error: "), std::string::npos);
    EXPECT_EQ(content("out.hevc"), "was here");
    EXPECT_EQ(files(), (Names{"in.hevc", "out.hevc"}));
}

TEST_F(H265psEdit, DoesItAllTheSameWhenForced)
{
    (void)stream();
    const ChildResult result = edit({"in.hevc", "-o", "out.hevc", "--force", "sps.pic_width_in_luma_samples=320"});
    EXPECT_EQ(result.iExitCode, 0);
    EXPECT_NE(result.error.find("h265ps: warning: in.hevc: at byte 32: sps[0].pic_width_in_luma_samples cannot"),
              std::string::npos)
        << result.error;
    EXPECT_NE(content("out.hevc"), content("in.hevc"));
}

TEST_F(H265psEdit, OffersNoForceForASetThatCannotBeRead)
{
    (void)stream("malformed_rps_in_sps");
    const ChildResult refused = edit({"in.hevc", "-o", "out.hevc", "sps.vui.video_format=2"});
    EXPECT_EQ(refused.iExitCode, 1);
    EXPECT_NE(refused.error.find("sps[0] cannot be rewritten: "), std::string::npos) << refused.error;
    EXPECT_EQ(refused.error.find("--force"), std::string::npos) << refused.error;
    EXPECT_EQ(files(), Names{"in.hevc"});
    const ChildResult forced = edit({"in.hevc", "-o", "out.hevc", "--force", "sps.vui.video_format=2"});
    EXPECT_EQ(forced.iExitCode, 0);
    EXPECT_NE(forced.error.find("h265ps: warning: in.hevc: no setting changes anything: what is written is a copy\n"),
              std::string::npos)
        << forced.error;
    EXPECT_EQ(content("out.hevc"), content("in.hevc"));
}

TEST_F(H265psEdit, EndsWithTwoForAWrongSettingAndLeavesTheOutputAlone)
{
    (void)stream();
    (void)make("out.hevc", "was here");
    const Names aaCases[] = {
        {"sps.vui.color_primaries=9", "the nearest is vui_parameters.colour_primaries\n"},
        {"sps.vui.colour_primaries=256", "u(8): 0 to 255\n"},
        {"sps.vui.colour_primaries", "a setting is SET.ELEMENT=VALUE"},
        {"sps[4].vui.colour_primaries=9", "the stream has no SPS of id 4\n"},
        {"--force=1", "--force: takes no value"},
    };
    for (const Names& c : aaCases) {
        const ChildResult result = edit({"in.hevc", "-o", "out.hevc", c[0]});
        EXPECT_EQ(result.iExitCode, 2) << c[0];
        EXPECT_NE(result.error.find(c[1]), std::string::npos) << result.error;
        EXPECT_EQ(content("out.hevc"), "was here");
        EXPECT_EQ(files(), (Names{"in.hevc", "out.hevc"}));
    }
}

TEST_F(H265psEdit, NeverWritesOverItsInput)
{
    const std::string before = contentOf(stream());
    fs::create_symlink("in.hevc", m_directory / "soft");
    fs::create_hard_link(m_directory / "in.hevc", m_directory / "hard");
    for (const char* const pName : {"in.hevc", "./in.hevc", "soft", "hard"}) {
        const ChildResult result = edit({"in.hevc", "-o", pName, "sps.vui.video_full_range_flag=1"});
        EXPECT_EQ(result.iExitCode, 2) << pName;
        EXPECT_NE(result.error.find("it is the file that is read"), std::string::npos) << result.error;
        EXPECT_EQ(content("in.hevc"), before);
    }
    EXPECT_EQ(edit({"soft", "-o", "in.hevc"}).iExitCode, 2);
    EXPECT_EQ(files(), (Names{"hard", "in.hevc", "soft"}));
}

TEST_F(H265psEdit, WritesRegularFilesOnly)
{
    (void)stream();
    fs::create_directory(m_directory / "directory");
    fs::create_symlink("nowhere", m_directory / "dangling");
    const Names aaCases[] = {
        {"-", "standard output: what is written goes to a file"},
        {"/dev/null", "/dev/null: it is no regular file"},
        {"directory", "directory: is a directory"},
        {"dangling", "dangling: it is a link to a file that is not there"},
        {"no/out.hevc", "no/out.hevc: no such file or directory"},
        {"in.hevc/out.hevc", "in.hevc/out.hevc: not a directory"},
    };
    for (const Names& c : aaCases) {
        const ChildResult result = edit({"in.hevc", "-o", c[0]});
        EXPECT_EQ(result.iExitCode, 2) << c[0];
        EXPECT_TRUE(result.error.starts_with("h265ps: error: " + c[1])) << result.error;
    }
    EXPECT_EQ(files(), (Names{"dangling", "directory", "in.hevc"}));
}

TEST_F(H265psEdit, FollowsALinkToTheFileThatItReplaces)
{
    (void)stream();
    fs::create_directory(m_directory / "elsewhere");
    (void)make("elsewhere/out.hevc", "was here");
    fs::create_symlink("elsewhere/out.hevc", m_directory / "link");
    EXPECT_EQ(edit({"in.hevc", "-o", "link"}).iExitCode, 0);
    EXPECT_TRUE(fs::is_symlink(m_directory / "link"));
    EXPECT_EQ(content("elsewhere/out.hevc"), content("in.hevc"));
    EXPECT_EQ(files(), (Names{"elsewhere", "in.hevc", "link"}));
}

TEST_F(H265psEdit, KeepsPermissions)
{
    (void)stream();
    ASSERT_EQ(::chmod((m_directory / "in.hevc").c_str(), 0640), 0);
    EXPECT_EQ(edit({"in.hevc", "-o", "new"}).iExitCode, 0);
    EXPECT_EQ(modeOf("new") & 0617U, 0600U); // the input's, less what the process takes away
    (void)make("out.hevc", "was here");
    ASSERT_EQ(::chmod((m_directory / "out.hevc").c_str(), 0604), 0);
    EXPECT_EQ(edit({"in.hevc", "-o", "out.hevc"}).iExitCode, 0);
    EXPECT_EQ(modeOf("out.hevc"), 0604U);
    EXPECT_EQ(content("out.hevc"), content("in.hevc"));
}

TEST_F(H265psEdit, LeavesNothingBehindWhenTheFileMayNotGrow)
{
    (void)make("in.hevc", contentOf(CORPUS / "deblock_off.hevc") + std::string(100000, '\x55'));
    (void)make("out.hevc", "was here");
    ChildSetup setup;
    setup.directory = m_directory.string();
    const ChildResult result =
        runChild("/bin/sh", {"-c", "ulimit -f 8; exec " + PROGRAM + " edit in.hevc -o out.hevc 2>&1"}, setup);
    EXPECT_EQ(result.iExitCode, 2);
    EXPECT_EQ(result.output, "h265ps: error: out.hevc: file too large\n");
    EXPECT_EQ(content("out.hevc"), "was here");
    EXPECT_EQ(files(), (Names{"in.hevc", "out.hevc"}));
}

TEST_F(H265psEdit, LeavesNothingBehindWhenASignalEndsIt)
{
    // The input never ends: the file beside its place is there by the time that the second half comes.
    (void)stream();
    ChildSetup setup;
    setup.directory = m_directory.string();
    const ChildResult result =
        runChild("/bin/sh",
                 {"-c",
                  "mkfifo pipe; " + PROGRAM +
                      " edit pipe -o out.hevc & exec 3>pipe; cat in.hevc >&3; "
                      "until ls -A | grep -q '^[.]h265ps-'; do :; done; kill -TERM $!; wait $!; echo $?"},
                 setup);
    EXPECT_EQ(result.output, "143\n") << result.error; // 128 and SIGTERM
    EXPECT_EQ(files(), (Names{"in.hevc", "pipe"}));
}

TEST_F(H265psEdit, SaysWhatIsNoStream)
{
    (void)make("empty", "");
    (void)make("text", "no stream at all\n");
    (void)make("movie",
               std::string("\0\0\0\x18"
                           "ftypmp42\0\0\0\0mp42isom",
                           24));
    const Names aaCases[] = {
        {"empty", "empty: there is no parameter set in it\n"},
        {"text", "text: there is no parameter set in it\n"},
        {"movie", "movie: there is no parameter set in it\n"},
        {"missing", "missing: no such file or directory\n"},
        {".", ".: is a directory\n"},
    };
    for (const Names& c : aaCases) {
        const ChildResult result = edit({c[0], "-o", "out.hevc"});
        EXPECT_EQ(result.iExitCode, 2) << c[0];
        EXPECT_TRUE(result.error.starts_with("h265ps: error: " + c[1])) << result.error;
        EXPECT_EQ(files(), (Names{"empty", "movie", "text"}));
    }
}

// 1: it is known what they are, and writing them is not done.
TEST_F(H265psEdit, SaysWhatIsNotWritten)
{
    const auto ofContainer = [](const char* pName) { return contentOf(CORPUS.parent_path() / "containers" / pName); };
    (void)make("in.ts", ofContainer("packets188.ts"));
    (void)make("in.sdp", "v=0\nm=video 1 RTP/AVP 96\na=rtpmap:96 H265/90000\n");
    const Names aaCases[] = {{"in.ts", "it looks like an MPEG transport stream (MPEG-TS), which is not written: "},
                             {"in.sdp", "it looks like an SDP session description, which is not written: "}};
    for (const Names& c : aaCases) {
        const ChildResult result = edit({c[0], "-o", "out", "sps.vui.colour_primaries=9"});
        EXPECT_EQ(result.iExitCode, 1);
        EXPECT_TRUE(result.error.starts_with("h265ps: error: " + c[0] + ": " + c[1])) << result.error;
        EXPECT_EQ(files(), (Names{"in.sdp", "in.ts"}));
    }
    for (const char* const pName : {"hvc1.mp4", "ffmpeg.mkv"}) {
        ChildSetup setup;
        setup.directory = m_directory.string();
        const ChildResult result = runChild(
            "/bin/sh",
            {"-c",
             "cat " + (CORPUS.parent_path() / "containers" / pName).string() + " | " + PROGRAM + " edit - -o out"},
            setup);
        EXPECT_EQ(result.iExitCode, 1);
        EXPECT_NE(
            result.error.find(
                "which is read more than once, and standard input and pipes cannot go back: save it as a file first"),
            std::string::npos)
            << result.error;
        EXPECT_EQ(files(), (Names{"in.sdp", "in.ts"}));
    }
}

// What is written and what cannot be is ContainerEditTest's.
TEST_F(H265psEdit, WritesMoviesAndMatroskaFiles)
{
    for (const char* const pName : {"hvc1.mp4", "hev1.mov", "fragmented.mp4", "ffmpeg.mkv", "mkvmerge.mkv"}) {
        (void)make("in", contentOf(CORPUS.parent_path() / "containers" / pName));
        EXPECT_EQ(edit({"in", "-o", "out"}).iExitCode, 0);
        EXPECT_EQ(content("out"), content("in")) << pName;
        const ChildResult result = edit({"in", "-o", "out", "sps.ptl.general_level_idc=90"});
        EXPECT_EQ(result.iExitCode, 0) << result.error;
        EXPECT_EQ(content("out").size(), content("in").size());
        EXPECT_NE(content("out"), content("in")) << pName;
    }
}

TEST_F(H265psEdit, LeavesNothingBehindWhereTheContainerCannotTakeTheSets)
{
    (void)make("in.mp4", contentOf(CORPUS.parent_path() / "containers/hvc1.mp4"));
    for (const Names& force : {Names(), Names{"--force"}}) {
        Names arguments = {"in.mp4", "-o", "out.mp4", "sps.vui.timing=25", "vps.timing=25"};
        arguments.insert(arguments.end(), force.begin(), force.end());
        const ChildResult result = edit(arguments);
        EXPECT_EQ(result.iExitCode, 1);
        EXPECT_NE(result.error.find("h265ps: error: in.mp4: at byte 48: a VPS of track 1, sample 1 at 0 s would have "),
                  std::string::npos)
            << result.error;
        EXPECT_EQ(result.error.find("(--force does it all the same)"), std::string::npos);
        EXPECT_EQ(files(), Names{"in.mp4"});
    }
}

TEST_F(H265psEdit, TellsOfClaimsThatTheNewSetsDoNotBearOut)
{
    (void)make("in.mp4", contentOf(CORPUS.parent_path() / "containers/hvc1.mp4"));
    const ChildResult result = edit({"in.mp4", "-o", "out.mp4", "sps.vui.vui_time_scale=50000"});
    EXPECT_EQ(result.iExitCode, 0) << result.error;
    EXPECT_TRUE(std::regex_search(result.error,
                                  std::regex("h265ps: warning: in.mp4: at byte [0-9]+: stts says 25 frames a second "
                                             "throughout, SPS 0's VUI says 50")))
        << result.error;
}

TEST_F(H265psEdit, SaysHowItIsUsed)
{
    const ChildResult help = edit({"--help"});
    EXPECT_EQ(help.iExitCode, 0);
    for (const char* const pText : {"-o,--output OUT", "--force", "sps.vui.colour_primaries=9", "Exit codes:"})
        EXPECT_NE(help.output.find(pText), std::string::npos) << pText;
    const Names aaCases[] = {
        {}, {"in.hevc"}, {"-o", "out"}, {"in", "-o", "a", "-o", "b"}, {"in", "-o", "out", "--what"}};
    for (const Names& c : aaCases) {
        const ChildResult result = edit(c);
        EXPECT_EQ(result.iExitCode, 2);
        EXPECT_NE(result.error.find("(h265ps edit --help shows the usage)"), std::string::npos) << result.error;
    }
    EXPECT_EQ(files(), Names{});
}

} // namespace
} // namespace program_edit_test
