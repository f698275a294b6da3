// h265ps export: files, tracks, exit codes and messages. What is written is SetExportTest's.

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "H265psProgram.h"
#include "H265psStreams.h"

namespace program_export_test {

namespace {

namespace fs = std::filesystem;

const fs::path CONTAINERS = CORPUS.parent_path() / "containers";

class H265psExport : public H265psFiles
{
protected:
    ChildResult run(std::vector<std::string> arguments, const std::string& input = "") const
    {
        arguments.insert(arguments.begin(), "export");
        ChildSetup setup;
        setup.directory = m_directory.string();
        if (!input.empty())
            setup.input = input;
        return h265ps(arguments, setup);
    }
    [[nodiscard]] std::string stream(const std::string& name = "deblock_off") const
    {
        return make("in.hevc", contentOf(CORPUS / (name + ".hevc")));
    }
    [[nodiscard]] std::string content(const std::string& name) const { return contentOf(m_directory / name); }
    [[nodiscard]] std::size_t files() const
    {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(m_directory), {}));
    }
};

TEST_F(H265psExport, WritesTheSetsOfAStreamToStandardOutput)
{
    for (const char* pStream : {"deblock_off", "profile_main12", "hm_tiles_explicit_4x3"}) {
        SCOPED_TRACE(pStream);
        (void)stream(pStream);
        const ChildResult result = run({"in.hevc", "--as", "annexb"});
        EXPECT_EQ(result.iExitCode, 0) << result.error;
        EXPECT_EQ(result.error, "");
        EXPECT_EQ(result.output, streamOf(parameterSetsOf(pStream)));
    }
}

TEST_F(H265psExport, SaysTheSameOfAStreamInMp4MatroskaAndTransportStreams)
{
    const std::string text = run({(CONTAINERS / "hvc1.mp4").string(), "--as", "hex"}).output;
    EXPECT_TRUE(text.starts_with("40010c01ffff0160")) << text;
    for (const char* pFile : {"faststart.mp4", "with_sound.mp4", "ffmpeg.mkv", "packets188.ts"}) {
        SCOPED_TRACE(pFile);
        const ChildResult result = run({(CONTAINERS / pFile).string(), "--as", "hex"});
        EXPECT_EQ(result.iExitCode, 0) << result.error;
        EXPECT_EQ(result.output, text);
    }
    const ChildResult image = run({(CONTAINERS / "single.heic").string(), "--as", "sprop"});
    EXPECT_TRUE(image.output.starts_with("a=fmtp:96 profile-space=0; profile-id=3;")) << image.output;
}

TEST_F(H265psExport, ReadsItsOwnLineInASessionDescription)
{
    (void)stream();
    const ChildResult line = run({"in.hevc", "--as", "sprop"});
    (void)make("in.sdp", "v=0\r\nm=video 5000 RTP/AVP 96\r\na=rtpmap:96 H265/90000\r\n" + line.output);
    EXPECT_EQ(run({"in.sdp", "--as", "annexb"}).output, run({"in.hevc", "--as", "annexb"}).output);
}

TEST_F(H265psExport, WritesAFileAsAWholeOrNotAtAll)
{
    const std::string path = stream();
    (void)make("out", "was here");
    EXPECT_EQ(run({"in.hevc", "--as", "hvcc", "-o", "out"}).iExitCode, 0);
    EXPECT_EQ(content("out"), run({"in.hevc", "--as", "hvcc"}).output);
    const std::string before = content("out");
    const ChildResult same = run({"in.hevc", "--as", "hvcc", "-o", "in.hevc"});
    EXPECT_EQ(same.iExitCode, 2);
    EXPECT_EQ(same.error, "h265ps: error: in.hevc: it is the file that is read; what is written goes to another one\n");
    EXPECT_EQ(content("in.hevc"), contentOf(CORPUS / "deblock_off.hevc"));
    EXPECT_EQ(run({"in.hevc", "--as", "hvcc", "-o", "no/such"}).error,
              "h265ps: error: no/such: no such file or directory\n");
    (void)make("pps.hevc", std::string("\0\0\1\x44\1\xc1\x72\xb4\x74\x90", 10));
    EXPECT_EQ(run({"pps.hevc", "--as", "hvcc", "-o", "out"}).iExitCode, 1);
    EXPECT_EQ(content("out"), before);
    EXPECT_EQ(files(), 3U) << "nothing is left behind";
    EXPECT_EQ(run({"in.hevc", "--as", "hvcc", "-o", "-"}).output, before);
}

TEST_F(H265psExport, ReadsStandardInput)
{
    const std::string path = stream();
    EXPECT_EQ(run({"-", "--as", "hex"}, path).output, run({"in.hevc", "--as", "hex"}).output);
    EXPECT_EQ(run({"-", "--as", "hex"}, (CONTAINERS / "packets188.ts").string()).output,
              run({(CONTAINERS / "packets188.ts").string(), "--as", "hex"}).output);
}

TEST_F(H265psExport, WantsToKnowWhichOfSeveralTracks)
{
    const std::string head = "v=0\nm=video 1 RTP/AVP 96\na=rtpmap:96 H265/90000\na=fmtp:96 sprop-pps=RAHB\nm=audio 1 "
                             "RTP/AVP 0\nm=video 1 RTP/AVP 96\na=rtpmap:96 H265/90000\na=fmtp:96 sprop-pps=";
    (void)make("two.sdp", head + "RAHC\n");
    const ChildResult result = run({"two.sdp", "--as", "hex"});
    EXPECT_EQ(result.iExitCode, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.error, "h265ps: error: two.sdp: 2 tracks of H.265 are in it (1, 3): --track N says which\n");
    EXPECT_EQ(run({"two.sdp", "--as", "hex", "--track", "3"}).output, "4401c2\n");
    EXPECT_EQ(run({"two.sdp", "--as", "hex", "--track=1"}).output, "4401c1\n");
    EXPECT_EQ(run({"two.sdp", "--as", "hex", "--track", "2"}).error,
              "h265ps: error: two.sdp: there is no track 2 of H.265 in it: there is 1, 3\n");
    (void)make("same.sdp", head + "RAHB\n");
    EXPECT_EQ(run({"same.sdp", "--as", "hex"}).output, "4401c1\n") << "what they have is the same";
    (void)stream();
    EXPECT_EQ(run({"in.hevc", "--as", "hex", "--track", "1"}).error,
              "h265ps: error: in.hevc: there is no track 1 of H.265 in it: it is a byte stream\n");
}

TEST_F(H265psExport, SaysWhatIsMissing)
{
    (void)stream();
    (void)make("empty.hevc", "");
    (void)make("slice.hevc", std::string("\0\0\1\x26\1\xaf", 6));
    (void)make("other.sdp", "v=0\nm=audio 1 RTP/AVP 0\n");
    (void)make("text", "no stream at all\n");
    const struct
    {
        std::vector<std::string> arguments;
        std::string error;
    } aCases[] = {
        {{"in.hevc", "--as", "hex", "-o", "a", "-o", "b"},
         "--output: may be given once only (h265ps export --help shows the usage)"},
        {{"in.hevc"}, "--as is required (h265ps export --help shows the usage)"},
        {{"--as", "hex"}, "no file is given (h265ps export --help shows the usage)"},
        {{"none", "--as", "hex"}, "none: no such file or directory"},
        {{"empty.hevc", "--as", "hex"}, "empty.hevc: there is no parameter set in it"},
        {{"slice.hevc", "--as", "hvcc"}, "slice.hevc: there is no parameter set in it"},
        {{"text", "--as", "hvcc"}, "text: there is no parameter set in it"},
        {{"other.sdp", "--as", "hvcc"}, "other.sdp: there is no track of H.265 in it"},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.error);
        const ChildResult result = run(c.arguments);
        EXPECT_EQ(result.iExitCode, 2);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.error, "h265ps: error: " + c.error + "\n");
    }
    EXPECT_EQ(run({"in.hevc", "--as", "flac"}).iExitCode, 2);
    const ChildResult foreign = run({"x.avi", "--as", "hex"});
    EXPECT_EQ(foreign.iExitCode, 2);
}

TEST_F(H265psExport, WarnsOfWhatIsDamagedAndLeftOut)
{
    (void)make("bad.sdp",
               "v=0\nm=video 1 RTP/AVP 96\na=rtpmap:96 H265/90000\na=fmtp:96 sprop-sps=Q*EB;sprop-pps=RAHB\n");
    const ChildResult result = run({"bad.sdp", "--as", "hex"});
    EXPECT_EQ(result.iExitCode, 0);
    EXPECT_EQ(result.output, "4401c1\n");
    EXPECT_EQ(result.error,
              "h265ps: warning: bad.sdp: at byte 69: media 1, sprop-sps: '*' is no character of base64\n");
}

TEST_F(H265psExport, HasAHelpOfItsOwn)
{
    const ChildResult help = run({"--help"});
    EXPECT_EQ(help.iExitCode, 0);
    EXPECT_NE(help.output.find("h265ps export movie.mp4 --as sprop"), std::string::npos);
    EXPECT_NE(help.output.find("Exit codes:"), std::string::npos);
}

} // namespace
} // namespace program_export_test
