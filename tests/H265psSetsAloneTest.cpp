// h265ps --hex, --base64 and session descriptions: sets without pictures.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "H265psProgram.h"
#include "H265psStreams.h"
#include "Json.h"

namespace program_sets_alone_test {

namespace {

class H265psSetsAlone : public H265psFiles
{
protected:
    H265psSetsAlone() : m_sets(parameterSetsOf("deblock_off")) {}

    static std::string hexOf(const std::string& bytes)
    {
        std::string text;
        for (const char c : bytes) {
            text += "0123456789abcdef"[static_cast<unsigned char>(c) >> 4];
            text += "0123456789abcdef"[c & 15];
        }
        return text;
    }
    [[nodiscard]] std::string hex() const { return hexOf(m_sets[0]) + ',' + hexOf(m_sets[1]) + ',' + hexOf(m_sets[2]); }
    // A description with one media section that has the program's own line.
    [[nodiscard]] std::string description() const
    {
        return make("in.sdp",
                    "v=0\r\nm=video 5000 RTP/AVP 96\r\na=rtpmap:96 H265/90000\r\n" +
                        h265ps({"export", "deblock_off.hevc", "--as", "sprop"}).output);
    }

    std::vector<std::string> m_sets; // VPS, SPS, PPS
};

// The sets in a document, without where they stand.
Json contentOfSets(const std::string& json)
{
    Json sets = parseJson(json)["parameter_sets"];
    for (Json& set : sets) {
        for (const char* pKey : {"track", "place", "time", "offset", "findings", "log"})
            set.erase(pKey);
    }
    return sets;
}

TEST_F(H265psSetsAlone, AreShownLikeThoseOfAStream)
{
    const std::string stream = h265ps({"--json", "deblock_off.hevc"}).output;
    const std::vector<std::vector<std::string>> ways = {
        {"--hex", hex()},
        {"--hex=" + hexOf(m_sets[0]), "--hex", hexOf(m_sets[1]) + "," + hexOf(m_sets[2])},
        {"--hex", hexOf(streamOf(m_sets))},
        {description()},
    };
    for (const auto& way : ways) {
        SCOPED_TRACE(way[0].substr(0, 20));
        std::vector<std::string> arguments = {"--json"};
        arguments.insert(arguments.end(), way.begin(), way.end());
        const ChildResult result = h265ps(arguments);
        EXPECT_EQ(result.iExitCode, 0);
        EXPECT_EQ(result.error, "");
        EXPECT_EQ(contentOfSets(result.output), contentOfSets(stream));
    }
}

TEST_F(H265psSetsAlone, HaveTheirPlaces)
{
    const Json text = parseJson(h265ps({"--json", "--hex", hex()}).output);
    EXPECT_EQ(text["file"], "--hex");
    EXPECT_EQ(text["parameter_sets"][1]["place"], "set 2");
    EXPECT_TRUE(text["parameter_sets"][1]["offset"].is_null());
    const Json described = parseJson(h265ps({"--json", description()}).output);
    EXPECT_EQ(described["parameter_sets"][1]["place"], "media 1, sprop-sps");
    EXPECT_EQ(described["parameter_sets"][1]["track"], 1);
    EXPECT_EQ(described["gist"]["codecs"], "hvc1.1.6.L60.90");
    const ChildResult shown = h265ps({description()});
    EXPECT_NE(shown.output.find("media 1, sprop-sps"), std::string::npos) << shown.output.substr(0, 400);
}

TEST_F(H265psSetsAlone, LackNothing)
{
    for (std::size_t i = 0; i < 2; ++i) {
        SCOPED_TRACE(i);
        const ChildResult result = h265ps({"--hex", hexOf(m_sets[i])});
        EXPECT_EQ(result.iExitCode, 0);
        EXPECT_EQ(result.error, "");
        EXPECT_EQ(result.output.find("cannot be decoded"), std::string::npos);
        const ChildResult check = h265ps({"check", "--hex", hexOf(m_sets[i])});
        EXPECT_EQ(check.iExitCode, 0);
        EXPECT_EQ(check.output, "");
    }
}

TEST_F(H265psSetsAlone, AreAnErrorWhereThereIsNone)
{
    const std::string none = make("none.sdp", "v=0\nm=video 1 RTP/AVP 96\na=rtpmap:96 H265/90000\n");
    const struct
    {
        std::vector<std::string> arguments;
        std::string error;
    } aCases[] = {
        {{"--hex", "4e01051a472b"}, "--hex: no parameter set in it\n"},
        {{"--base64", "4e01051a472b"}, "--base64: no parameter set in it: it looks like hexadecimal (--hex)\n"},
        {{none}, none + ": no parameter set in it\n"},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.error);
        for (const char* pVerb : {"show", "check", "trace"}) {
            std::vector<std::string> arguments = {pVerb};
            arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
            const ChildResult result = h265ps(arguments);
            EXPECT_EQ(result.iExitCode, 2) << pVerb;
            EXPECT_EQ(result.error, "h265ps: error: " + c.error);
            EXPECT_EQ(result.output.find("wanted type"), std::string::npos) << result.output;
            EXPECT_EQ(result.output.find("no SPS was read"), std::string::npos) << result.output;
        }
        std::vector<std::string> arguments = {"--json"};
        arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
        const Json document = parseJson(h265ps(arguments).output);
        EXPECT_EQ(document["verdict"], "no parameter set in it");
        EXPECT_EQ(document["exit_code"], 2);
        EXPECT_EQ(document["tracks"][0]["exit_code"], 2);
    }
}

// A description can leave the sets of a section to the stream.
TEST_F(H265psSetsAlone, AreNoErrorWhereAnotherSectionHasSome)
{
    const std::string section = "m=video 1 RTP/AVP 96\na=rtpmap:96 H265/90000\n";
    const std::string file =
        make("two.sdp", "v=0\n" + section + section + h265ps({"export", "deblock_off.hevc", "--as", "sprop"}).output);
    const ChildResult result = h265ps({"--json", file});
    EXPECT_EQ(result.iExitCode, 0) << result.error;
    EXPECT_EQ(parseJson(result.output)["tracks"][0]["verdict"], "no parameter set in it");
}

TEST_F(H265psSetsAlone, AreNotMissedBySlices)
{
    const std::string sets = hex();
    for (const std::string& text : {std::string("26010102"), sets + ",26010102"}) {
        const ChildResult check = h265ps({"check", "--hex", text});
        EXPECT_EQ(check.output.find("has not come"), std::string::npos) << check.output;
        EXPECT_EQ(check.output.find("error"), std::string::npos) << check.output;
        EXPECT_EQ(check.iExitCode, text.size() > 8 ? 0 : 2);
    }
    // A slice of PPS 0 whose SPS is not among the sets.
    EXPECT_EQ(h265ps({"check", "--hex", hexOf(m_sets[2]) + ",2601ac"}).iExitCode, 0);
    // What else slices tell is told.
    const ChildResult beyond = h265ps({"check", "--hex", sets + ",26018083"});
    EXPECT_NE(beyond.output.find("the ids end at 63"), std::string::npos) << beyond.output;
    EXPECT_EQ(beyond.iExitCode, 1);
}

TEST_F(H265psSetsAlone, ShowTheSyntaxOfAPpsWhoseSpsIsMissing)
{
    const ChildResult result = h265ps({"--hex", hexOf(m_sets[2])});
    EXPECT_EQ(result.iExitCode, 0);
    EXPECT_NE(result.output.find("init_qp_minus26"), std::string::npos) << result.output;
    EXPECT_NE(result.error.find("h265ps: warning: --hex: "), std::string::npos) << result.error;
    EXPECT_NE(result.error.find("its syntax is shown alone\n"), std::string::npos) << result.error;
    EXPECT_EQ(result.error.find("error"), std::string::npos) << result.error;
    EXPECT_NE(result.output.find("the decoder's own checks need an SPS"), std::string::npos);
    EXPECT_EQ(h265ps({"check", "--hex", hexOf(m_sets[2])}).iExitCode, 0);
}

TEST_F(H265psSetsAlone, AreTracedAndChecked)
{
    const ChildResult trace = h265ps({"trace", "--hex", hexOf(m_sets[1])});
    EXPECT_EQ(trace.iExitCode, 0);
    EXPECT_NE(trace.output.find("pic_width_in_luma_samples"), std::string::npos);
    EXPECT_EQ(trace.error, "");
    const std::string sets = hexOf(parameterSetsOf("tool_lossless")[1]);
    const ChildResult check = h265ps({"check", "--hex", sets});
    EXPECT_EQ(check.iExitCode, 1);
    EXPECT_NE(check.output.find("profile_tier_level.general_level_idc: level 8.5"), std::string::npos) << check.output;
}

TEST_F(H265psSetsAlone, AreReadFromStandardInput)
{
    ChildSetup setup;
    setup.input = make("sets.txt", hexOf(m_sets[0]) + ",\n" + hexOf(m_sets[1]) + ",\n" + hexOf(m_sets[2]) + "\n");
    const ChildResult result = h265ps({"--hex", "-"}, setup);
    EXPECT_EQ(result.iExitCode, 0) << result.error;
    EXPECT_EQ(result.output, h265ps({"--hex", hex()}).output);
    setup.input = description();
    EXPECT_EQ(h265ps({"-"}, setup).iExitCode, 0);
}

TEST_F(H265psSetsAlone, SayWhatIsWrongWithTheirText)
{
    const struct
    {
        std::vector<std::string> arguments;
        std::string error;
    } aCases[] = {
        {{"--hex", "4401c"},
         "--hex: at byte 5: set 1: an odd number of hexadecimal digits (5): one is missing or too many"},
        {{"--hex", "44 0g"}, "--hex: at byte 4: set 1: 'g' is no hexadecimal digit"},
        {{"--hex", ""}, "--hex: at byte 0: set 1: there are no bytes"},
        {{"--base64", "RA*B"}, "--base64: at byte 2: set 1: '*' is no character of base64"},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.error);
        for (const char* pVerb : {"show", "check", "trace"}) {
            std::vector<std::string> arguments = {pVerb};
            arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
            const ChildResult result = h265ps(arguments);
            EXPECT_EQ(result.iExitCode, 2) << pVerb;
            EXPECT_NE(result.error.find("h265ps: error: " + c.error + "\n"), std::string::npos) << result.error;
        }
    }
    // What is right among it is shown.
    const ChildResult result = h265ps({"--hex", hexOf(m_sets[1]) + ",4401c"});
    EXPECT_EQ(result.iExitCode, 2);
    EXPECT_NE(result.output.find("pic_width_in_luma_samples"), std::string::npos);
}

TEST_F(H265psSetsAlone, AreTracksOfTheirOwnInADescription)
{
    const std::string section = "m=video 1 RTP/AVP 96\na=rtpmap:96 H265/90000\na=fmtp:96 sprop-pps=RAHB\n";
    const std::string file =
        make("three.sdp", "v=0\n" + section + "m=audio 1 RTP/AVP 97\na=rtpmap:97 opus/48000\n" + section);
    const Json document = parseJson(h265ps({"--json", file}).output);
    ASSERT_EQ(document["tracks"].size(), 3U);
    EXPECT_EQ(document["tracks"][1]["codec"], "opus");
    EXPECT_EQ(document["parameter_sets"].size(), 2U);
    EXPECT_EQ(document["parameter_sets"][1]["track"], 3);
    EXPECT_EQ(document["parameter_sets"][0]["place"], "media 1, sprop-pps");
    EXPECT_EQ(document["parameter_sets"][1]["place"], "media 3, sprop-pps");
    const std::string none = make("none.sdp", "v=0\nm=audio 1 RTP/AVP 97\na=rtpmap:97 opus/48000\n");
    const ChildResult result = h265ps({none});
    EXPECT_EQ(result.iExitCode, 2);
    EXPECT_NE(result.error.find("no track of H.265 in it: it has media 1, opus (audio)"), std::string::npos)
        << result.error;
}

} // namespace
} // namespace program_sets_alone_test
