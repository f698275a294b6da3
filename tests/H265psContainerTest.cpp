#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "EbmlWriter.h"
#include "H265psStreams.h"
#include "Json.h"
#include "MovieWriter.h"
#include "PipedChild.h"

// Files of every kind, as people have them.

namespace program_container_test {

namespace {

using namespace h265_test;

const std::filesystem::path CONTAINERS = H265PS_CONTAINERS;

ChildSetup withInput(const std::string& file)
{
    ChildSetup setup;
    setup.input = file;
    return setup;
}

class H265psContainer : public H265psFiles
{
protected:
    [[nodiscard]] std::string makeFile(const std::string& name, const Bytes& bytes) const
    {
        return make(name, std::string(bytes.begin(), bytes.end()));
    }
};

std::string container(const char* pName)
{
    return (CONTAINERS / pName).string();
}

Json document(const ChildResult& result)
{
    EXPECT_EQ(countOf(result.output, "\n"), 1U) << result.error;
    return parseJson(result.output);
}

// The parameter sets and a picture of a stream, as NAL units.
std::vector<Bytes> setsOf(const char* pStream)
{
    std::vector<Bytes> units;
    for (const std::string& set : parameterSetsOf(pStream))
        units.emplace_back(set.begin(), set.end());
    units.resize(3);
    return units;
}

const Bytes SLICE = {0x26, 0x01, 0xaf, 0x10, 0x80};
const Bytes FTYP = box("ftyp", {text("isom"), be(4, 0)});

Bytes entry(const std::vector<Bytes>& units, std::string_view type = "hvc1")
{
    return visualEntry(type, {box("hvcC", {hvcCContent(units)})});
}

// ftyp, mdat, moov: each track has one sample of SLICE.
Bytes movie(std::vector<TrackSyntax> tracks, const Bytes& sample = prefixed({SLICE}))
{
    for (TrackSyntax& track : tracks) {
        track.sizes = {static_cast<std::uint32_t>(sample.size())};
        track.chunks = {FTYP.size() + 8};
    }
    Bytes all;
    for (const TrackSyntax& track : tracks)
        all = joined({all, trak(track)});
    return joined({FTYP, box("mdat", {sample}), box("moov", {all})});
}

TrackSyntax track(std::uint32_t uiTrack, const Bytes& entry, std::string_view handler = "vide")
{
    TrackSyntax syntax;
    syntax.uiTrack = uiTrack;
    syntax.handler = handler;
    syntax.entries = {entry};
    return syntax;
}

TEST_F(H265psContainer, EveryKindOfFileIsReadAndItsSetsStandWhereTheySay)
{
    const struct
    {
        const char* pFile;
        const char* pTrack;
        const char* pPlace; // of the first set
        const char* pCodecs;
        bool bOffset;
    } aCases[] = {
        {"hvc1.mp4", "1", "track 1, hvcC", "hvc1.", true},
        {"faststart.mp4", "1", "track 1, hvcC", "hev1.", true},
        {"hev1.mov", "1", "track 1, hvcC", "hev1.", true},
        {"fragmented.mp4", "1", "track 1, hvcC", "hvc1.", true},
        {"with_sound.mp4", "1", "track 1, hvcC", "hvc1.", true},
        {"packets188.ts", "256", "PID 256, packet 4 at 1.4 s, byte 601 of the file", "hvc1.", true},
        {"packets192.m2ts", "4113", "PID 4113, packet", "hvc1.", true},
        {"ffmpeg.mkv", "1", "track 1, CodecPrivate", "hvc1.", true},
        {"live.mkv", "1", "track 1, CodecPrivate", "hvc1.", true},
        {"mkvmerge.mkv", "1", "track 1, CodecPrivate", "hvc1.", true},
        {"zlib.mkv", "1", "track 1, CodecPrivate", "hvc1.", true},
        {"single.heic", "1", "item 1, hvcC", "hvc1.", true},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pFile);
        const ChildResult result = h265ps({"--json", container(c.pFile)});
        EXPECT_EQ(result.iExitCode, 0) << result.error;
        const Json json = document(result);
        const Json& first = json["parameter_sets"][0];
        EXPECT_EQ(first["track"].dump(), c.pTrack);
        EXPECT_TRUE(first["place"].get<std::string>().starts_with(c.pPlace)) << first["place"];
        EXPECT_TRUE(json["gist"]["codecs"].get<std::string>().starts_with(c.pCodecs)) << json["gist"]["codecs"];
        EXPECT_EQ(json["exit_code"], 0);
        EXPECT_EQ(json["tracks"][0]["exit_code"], 0);
        EXPECT_EQ(json["verdict"], json["tracks"][0]["verdict"]);
        const std::string file = contentOf(CONTAINERS / c.pFile);
        EXPECT_EQ(json["bytes"], file.size());
        std::size_t uiThere = 0;
        for (const Json& set : json["parameter_sets"]) {
            if (set["offset"].is_null())
                continue;
            ++uiThere;
            const unsigned uiFirst = static_cast<unsigned char>(file.at(set["offset"].get<std::size_t>()));
            EXPECT_EQ(uiFirst >> 1, set["nal_unit_type"].get<unsigned>()) << set["place"];
        }
        EXPECT_NE(uiThere, 0U);
        EXPECT_EQ(h265ps({container(c.pFile)}).iExitCode, 0);
        EXPECT_EQ(h265ps({"trace", container(c.pFile)}).iExitCode, 0);
    }
}

TEST_F(H265psContainer, ASetThatCannotBePointedAtHasNoOffsetAndTheSameSetIsNamedByItsPlace)
{
#ifndef H265PS_WITH_ZLIB
    GTEST_SKIP() << "packed frames are read with zlib";
#endif
    const Json json = document(h265ps({"--json", container("zlib.mkv")}));
    const Json& repeat = json["parameter_sets"][3]; // in the first frame, which is packed
    EXPECT_EQ(repeat["offset"], nullptr);
    EXPECT_EQ(repeat["place"], "track 1, frame 1 at 0 s");
    EXPECT_EQ(repeat["time"], 0);
    EXPECT_EQ(repeat["same_as"], json["parameter_sets"][0]["offset"]);
    EXPECT_EQ(repeat["same_as_place"], "track 1, CodecPrivate");
    EXPECT_EQ(repeat["record"], nullptr);
}

TEST_F(H265psContainer, OtherTracksAreNamedAndPassedOver)
{
    const ChildResult text = h265ps({container("with_sound.mp4")});
    EXPECT_TRUE(contains(firstLines(text.output, 7), "passed over: track 2, mp4a (audio: it is no H.265)\n"))
        << text.output;
    const Json tracks = document(h265ps({"--json", container("with_sound.mp4")}))["tracks"];
    ASSERT_EQ(tracks.size(), 2U);
    EXPECT_EQ(tracks[1].dump(),
              R"({"track":2,"kind":"audio","codec":"mp4a","verdict":"passed over: it is no H.265","exit_code":null})");
}

TEST_F(H265psContainer, EachTrackIsAStreamOfItsOwnAndTheWorstOneCounts)
{
    // The second has no PPS: what the first one has does not stand in for it.
    const std::vector<Bytes> good = setsOf("hm_ldb");
    const std::vector<Bytes> bad = {good[0], good[1]};
    const std::string file = makeFile("two.mp4", movie({track(1, entry(good)), track(7, entry(bad, "hev1"))}));
    const ChildResult result = h265ps({"--json", file});
    EXPECT_EQ(result.iExitCode, 1);
    EXPECT_TRUE(contains(result.error, "error: " + file + ": track 7: cannot be decoded: no PPS\n")) << result.error;
    const Json json = document(result);
    EXPECT_EQ(json["exit_code"], 1);
    EXPECT_EQ(json["verdict"], "cannot be decoded: no PPS");
    ASSERT_EQ(json["tracks"].size(), 2U);
    EXPECT_EQ(json["tracks"][0]["exit_code"], 0);
    EXPECT_EQ(json["tracks"][1]["track"], 7);
    EXPECT_EQ(json["tracks"][1]["codec"], "hev1");
    EXPECT_EQ(json["tracks"][1]["exit_code"], 1);
    for (const Json& set : json["parameter_sets"])
        EXPECT_EQ(set["same_as_place"], nullptr) << set["place"];

    const std::string head = firstLines(h265ps({file}).output, 8);
    EXPECT_TRUE(contains(head, "track 1, hvc1:\n  208x120")) << head;
    EXPECT_TRUE(contains(head, "track 7, hev1:\n  208x120")) << head;
    EXPECT_TRUE(contains(head, "\n  cannot be decoded: no PPS\n")) << head;
}

TEST_F(H265psContainer, AFileWithoutATrackOfH265IsAnErrorThatNamesWhatItHas)
{
    const std::string file =
        makeFile("avc.mp4", movie({track(1, visualEntry("avc1", {})), track(2, visualEntry("mp4a", {}), "soun")}));
    for (const char* pVerb : {"show", "check", "trace"}) {
        const ChildResult result = h265ps({pVerb, file});
        EXPECT_EQ(result.iExitCode, 2);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.error,
                  "h265ps: error: " + file +
                      ": no track of H.265 in it: it has track 1, avc1 (video); track 2, mp4a (audio)\n");
    }
}

TEST_F(H265psContainer, ATrackWithoutSetsIsAStreamThatLacksThem)
{
    const std::string file = makeFile("none.mp4", movie({track(1, entry({}))}));
    const ChildResult result = h265ps({"--json", file});
    EXPECT_EQ(result.iExitCode, 1);
    EXPECT_TRUE(contains(result.error, "track 1: cannot be decoded: no VPS, SPS or PPS of layer 0")) << result.error;
    EXPECT_EQ(document(result)["parameter_sets"].size(), 0U);
}

TEST_F(H265psContainer, WhatIsInFrontOfTheEndOfACutFileIsShown)
{
    const std::string whole = contentOf(CONTAINERS / "faststart.mp4");
    const std::string file = make("cut.mp4", whole.substr(0, whole.size() - 400));
    const std::string end = std::to_string(whole.size() - 400);
    const ChildResult result = h265ps({"--json", file});
    EXPECT_EQ(result.iExitCode, 2);
    EXPECT_TRUE(contains(result.error, "h265ps: error: " + file + ": at byte ")) << result.error;
    EXPECT_TRUE(contains(result.error, "the file ends early")) << result.error;
    const Json json = document(result);
    EXPECT_EQ(json["parameter_sets"].size(), 6U);
    EXPECT_EQ(json["exit_code"], 2);
    EXPECT_TRUE(json["verdict"].get<std::string>().starts_with("not read to its end: ")) << json["verdict"];
    EXPECT_TRUE(contains(json["findings"].dump(), "end of the file at " + end)) << json["findings"];

    const ChildResult text = h265ps({file});
    EXPECT_EQ(text.iExitCode, 2);
    EXPECT_TRUE(contains(text.output, "SPS 0 in track 1, hvcC"));
    EXPECT_EQ(h265ps({"check", file}).iExitCode, 2);
}

TEST_F(H265psContainer, EveryCutOfAFileEndsWithACodeAndSaysWhy)
{
    for (const char* pName : {"hvc1.mp4", "fragmented.mp4", "ffmpeg.mkv", "single.heic"}) {
        const std::string whole = contentOf(CONTAINERS / pName);
        for (std::size_t i = 16; i < whole.size(); i += 1 + whole.size() / 60) {
            SCOPED_TRACE(std::string(pName) + " cut at " + std::to_string(i));
            const ChildResult result = h265ps({"--json", make("cut", whole.substr(0, i))});
            EXPECT_TRUE(result.iExitCode == 1 || result.iExitCode == 2) << result.iExitCode;
            EXPECT_NE(result.error, "");
            if (!result.output.empty()) {
                EXPECT_NE(document(result)["exit_code"], 0);
            }
        }
    }
}

TEST_F(H265psContainer, WhatIsWrongWithTheContainerIsAFindingWithItsBox)
{
    const std::string file = container("hvc1.mp4");
    const Json json = document(h265ps({"--json", file}));
    ASSERT_EQ(json["findings"].size(), 2U); // and one of its claims
    const Json& finding = json["findings"][0];
    EXPECT_EQ(finding["box"], "moov/trak/mdia/minf/stbl/stsd/hvc1/hvcC");
    EXPECT_EQ(finding["severity"], "warning");
    EXPECT_EQ(finding["element"], nullptr);
    const std::string place = finding["offset"].dump();
    const std::string sentence = "moov/trak/mdia/minf/stbl/stsd/hvc1/hvcC: " + finding["message"].get<std::string>();

    const ChildResult check = h265ps({"check", file});
    EXPECT_TRUE(check.output.starts_with(file + ":" + place + ": warning: " + sentence + "\n")) << check.output;
    EXPECT_EQ(check.iExitCode, 0);
    EXPECT_EQ(document(h265ps({"check", "--json", file}))["findings"], json["findings"]);

    const std::string text = h265ps({file}).output;
    EXPECT_TRUE(contains(firstLines(text, 2), "1 VPS, 1 SPS, 1 PPS; no problems found in the sets\n"));
    EXPECT_TRUE(contains(firstLines(text, 4), "the container: 2 warnings found\n"));
    EXPECT_TRUE(contains(firstLines(text, 6), "at byte " + place + ": warning: " + sentence));
    EXPECT_EQ(countOf(text, "at byte " + place + ": warning: " + sentence), 2U); // in front, and behind the sets
}

TEST_F(H265psContainer, AClaimThatTheSetsDoNotBearOutIsAFindingWithBoxAndElement)
{
    // general_level_idc, the 13th byte of the record: below that of the SPS.
    std::string bytes = contentOf(CONTAINERS / "hvc1.mp4");
    bytes.at(bytes.find("hvcC") + 4 + 12) = 30;
    const std::string file = make("low.mp4", bytes);
    const ChildResult check = h265ps({"check", file});
    EXPECT_EQ(check.iExitCode, 1);
    EXPECT_TRUE(contains(check.output, ": error: moov/trak/mdia/minf/stbl/stsd/hvc1/hvcC: ")) << check.output;
    EXPECT_TRUE(contains(check.output, "general_level_idc")) << check.output;
    const Json json = document(h265ps({"--json", file}));
    EXPECT_TRUE(contains(json["findings"].dump(), "general_level_idc")) << json["findings"];
    EXPECT_EQ(h265ps({file}).iExitCode, 0); // as what H.265 forbids
}

TEST_F(H265psContainer, AFileIsComparedWithAStream)
{
    const std::string stream = (CORPUS / "gop_b3_pyramid.hevc").string();
    for (const char* pName : {"hvc1.mp4", "zlib.mkv", "packets188.ts"}) {
        const ChildResult same = h265ps({"diff", container(pName), stream});
        EXPECT_EQ(same.iExitCode, 0) << pName << same.error;
        EXPECT_EQ(same.output, "");
    }
    EXPECT_EQ(h265ps({"diff", container("hvc1.mp4"), (CORPUS / "hm_ldb.hevc").string()}).iExitCode, 1);
    EXPECT_EQ(h265ps({"diff", container("hvc1.mp4") + "#sps0", stream + "#sps0"}).iExitCode, 0);

    const ChildResult offset = h265ps({"diff", container("hvc1.mp4") + "@900", stream});
    EXPECT_EQ(offset.iExitCode, 2);
    EXPECT_TRUE(contains(offset.error, "at an offset are told of byte streams only")) << offset.error;
    const std::string two =
        makeFile("two.mp4", movie({track(1, entry(setsOf("hm_ldb"))), track(2, entry(setsOf("gop_b3_pyramid")))}));
    const ChildResult several = h265ps({"diff", two, stream});
    EXPECT_EQ(several.iExitCode, 2);
    EXPECT_TRUE(contains(several.error, "2 tracks of H.265 are in it")) << several.error;
}

TEST_F(H265psContainer, AFindingOfASetIsToldWithItsTrackAndByte)
{
    const std::string file = container("single.heic");
    const ChildResult check = h265ps({"check", file});
    EXPECT_EQ(check.iExitCode, 1);
    const Json json = document(h265ps({"--json", file}));
    const Json& sps = json["parameter_sets"][1];
    EXPECT_EQ(sps["findings"][0]["track"], 1);
    EXPECT_EQ(sps["findings"][0]["offset"], sps["offset"]);
    EXPECT_EQ(sps["findings"][0]["box"], nullptr);
    EXPECT_TRUE(contains(check.output, file + ":" + sps["offset"].dump() + ".143: error: ")) << check.output;
}

TEST_F(H265psContainer, StandardInputIsReadWhereTheFormatGoesForward)
{
    for (const char* pName :
         {"faststart.mp4", "fragmented.mp4", "packets188.ts", "ffmpeg.mkv", "live.mkv", "single.heic"}) {
        SCOPED_TRACE(pName);
        const Json file = document(h265ps({"--json", container(pName)}));
        CPipedChild child(PROGRAM, {"--json", "-"});
        child.send(contentOf(CONTAINERS / pName));
        EXPECT_EQ(child.end(), 0);
        const Json piped = parseJson(child.m_output);
        EXPECT_EQ(piped["parameter_sets"], file["parameter_sets"]);
        EXPECT_EQ(piped["tracks"], file["tracks"]);
        // A file that is standard input can be read anywhere.
        const ChildResult redirected = h265ps({"--json", "-"}, withInput(container(pName)));
        EXPECT_EQ(document(redirected)["parameter_sets"], file["parameter_sets"]);
    }
    EXPECT_EQ(h265ps({"-"}, withInput(container("hvc1.mp4"))).iExitCode, 0);
}

TEST_F(H265psContainer, WhatStandardInputCannotGiveIsAnErrorThatSaysSo)
{
    CPipedChild child(PROGRAM, {"--json", "-"});
    child.send(contentOf(CONTAINERS / "hvc1.mp4"));
    EXPECT_EQ(WEXITSTATUS(child.end()), 2);
    EXPECT_EQ(child.m_output, "");
    EXPECT_TRUE(contains(child.m_error,
                         "mdat: stands in front of the moov, and a stream cannot be read backwards; "
                         "save it as a file first"))
        << child.m_error;
}

TEST_F(H265psContainer, MediaSegmentsAreReadWithTheirInitialisationSegment)
{
    const std::string whole = contentOf(CONTAINERS / "fragmented.mp4");
    const std::size_t uiMoof = whole.find("moof") - 4;
    const std::string init = make("init.mp4", whole.substr(0, uiMoof));
    const std::string media = make("media.m4s", whole.substr(uiMoof));

    const ChildResult alone = h265ps({media});
    EXPECT_EQ(alone.iExitCode, 2);
    EXPECT_TRUE(contains(alone.error,
                         "moof: media segments without the moov of their initialisation segment; "
                         "give it with --init FILE"))
        << alone.error;

    const ChildResult with = h265ps({"--json", "--init", init, media});
    EXPECT_EQ(with.iExitCode, 0) << with.error;
    const Json json = document(with);
    EXPECT_EQ(json["parameter_sets"][0]["place"], "track 1, hvcC");
    EXPECT_EQ(json["parameter_sets"][0]["offset"], nullptr); // it stands in another file
    EXPECT_TRUE(contains(json["parameter_sets"].dump(), "track 1, sample 1 at 0 s, byte "));
    EXPECT_EQ(h265ps({"check", "--init", init, media}).iExitCode, 0);
    EXPECT_EQ(h265ps({"trace", "--init", init, media}).iExitCode, 0);

    const ChildResult missing = h265ps({"--init", "/nowhere", media});
    EXPECT_EQ(missing.iExitCode, 2);
    EXPECT_TRUE(contains(missing.error, media + ": --init /nowhere: ")) << missing.error;
    const std::pair<std::string, std::string> noInits[] = {
        {(CORPUS / "hm_ldb.hevc").string(), "is no initialisation segment (MP4): it looks like "},
        {make("empty", ""), "the file is empty"},
        {make("zeros", std::string(100, '\0')), "is no initialisation segment (MP4)\n"}};
    for (const auto& [noInit, why] : noInits) {
        const ChildResult wrong = h265ps({"--init", noInit, media});
        EXPECT_EQ(wrong.iExitCode, 2);
        EXPECT_EQ(wrong.output, "");
        EXPECT_TRUE(contains(wrong.error, media + ": --init " + noInit + ": " + why)) << wrong.error;
    }

    // What is wrong there has no place in this file.
    std::string level = whole.substr(0, uiMoof);
    level[level.find("hvcC") + 16] = 30;
    const ChildResult claimed = h265ps({"check", "--init", make("level.mp4", level), media});
    EXPECT_TRUE(contains(claimed.output, media + ": error: initialisation segment: moov/")) << claimed.output;
    for (const std::string& other : {container("ffmpeg.mkv"), (CORPUS / "hm_ldb.hevc").string()}) {
        const ChildResult wrong = h265ps({"--init", init, other});
        EXPECT_EQ(wrong.iExitCode, 2);
        EXPECT_TRUE(contains(wrong.error, "--init is for media segments (MP4)")) << wrong.error;
    }
}

TEST_F(H265psContainer, HeadStopsAtTheFirstPicture)
{
    // Behind the first picture are sets that head does not show.
    const std::vector<Bytes> sets = setsOf("hm_ldb");
    const Bytes later = prefixed({SLICE, sets[0], sets[1], sets[2]});
    const std::string mp4 = makeFile("later.mp4", movie({track(1, entry(sets, "hev1"))}, later));
    std::vector<std::string> units = parameterSetsOf("hm_ldb");
    units.resize(3);
    const std::vector<std::string> first = units;
    units.emplace_back(SLICE.begin(), SLICE.end());
    units.insert(units.end(), first.begin(), first.end());
    const std::string hevc = make("later.hevc", streamOf(units));
    for (const std::string& file : {mp4, hevc}) {
        EXPECT_EQ(document(h265ps({"--json", file}))["parameter_sets"].size(), 6U);
        const ChildResult head = h265ps({"--json", "--head", file});
        EXPECT_EQ(head.iExitCode, 0) << head.error;
        EXPECT_EQ(document(head)["parameter_sets"].size(), 3U);
        EXPECT_EQ(countOf(h265ps({"trace", "--head", "--all", file}).output, "SPS 0 "), 1U);
    }
}

TEST_F(H265psContainer, HeadAnswersWhileAPipeIsStillOpen)
{
    // A slice that has begun, and nothing that says where it ends.
    std::vector<std::string> units = parameterSetsOf("hm_ldb");
    units.resize(3);
    const std::string hevc = streamOf(units) + std::string("\0\0\1\x26\x01\xaf", 6) + std::string(8000, 'x');
    const std::string ts = contentOf(CONTAINERS / "packets188.ts") + contentOf(CONTAINERS / "packets188.ts");
    const std::string mkv = contentOf(CONTAINERS / "live.mkv");
    for (const std::string& sent : {hevc, ts, mkv}) {
        CPipedChild child(PROGRAM, {"--json", "--head", "-"});
        child.send(sent);
        EXPECT_TRUE(child.shows("}\n")); // its input is open
        EXPECT_EQ(parseJson(child.m_output)["exit_code"], 0);
        EXPECT_EQ(child.end(), 0);
    }
}

TEST_F(H265psContainer, PiecesOfAnImageShareTheirSetsAndAreShownOnce)
{
    const std::string text = h265ps({container("single.heic")}).output;
    EXPECT_EQ(countOf(text, "\nSPS 0 in item 1, hvcC"), 1U);
    EXPECT_TRUE(contains(text, "passed over: item 2, grid (image: it is made of 1 other items)\n"));
}

// Packed with bzlib, which is not read.
TEST_F(H265psContainer, H265ThatIsNotReadIsNotCalledAnotherCodec)
{
    const Bytes packed =
        element(0x6d80, {element(0x6240, {element(0x5034, {element(0x4254, {be(1, 1)})})})}); // ContentCompAlgo
    const std::string file =
        makeFile("packed.mkv", joined({ebmlHeader(), segment({tracks({trackEntry({}, packed, "V_MPEGH/ISO/HEVC")})})}));
    const ChildResult result = h265ps({file});
    EXPECT_EQ(result.iExitCode, 2);
    EXPECT_EQ(result.error,
              "h265ps: error: " + file +
                  ": no track of H.265 in it that can be read: track 1: it is H.265, packed with bzlib, which is not "
                  "read; zlib and header stripping are\n");
    const ChildResult scanned = h265ps({"scan", file});
    EXPECT_EQ(scanned.error.find("no H.265: "), std::string::npos) << scanned.error;
    EXPECT_TRUE(contains(scanned.error, "packed with bzlib")) << scanned.error;
}

// Two images with one hvcC.
Bytes imagesOf(const Bytes& record)
{
    const auto infe = [](unsigned uiItem) {
        return fullBox("infe", 2, 0, {be(2, uiItem), be(2, 0), text("hvc1"), be(1, 0)});
    };
    const Bytes picture = prefixed({SLICE});
    const auto place = [&](unsigned uiItem) {
        return joined({be(2, uiItem), be(2, 1), be(2, 0), be(2, 1), be(4, 0), be(4, picture.size())});
    };
    const Bytes properties = box(
        "iprp",
        {box("ipco", {box("hvcC", {record})}), fullBox("ipma", 0, 0, {be(4, 2), {0, 1, 1, 0x81}, {0, 2, 1, 0x81}})});
    return joined({FTYP,
                   box("meta",
                       {zeros(4),
                        fullBox("iloc", 1, 0, {be(2, 0x4400), be(2, 2), place(1), place(2)}),
                        fullBox("iinf", 0, 0, {be(2, 2), infe(1), infe(2)}),
                        properties,
                        box("idat", {picture})})});
}

TEST_F(H265psContainer, WhatIsWrongWithASharedRecordIsToldOnce)
{
    Bytes record = hvcCContent(setsOf("tool_lossless")); // an SPS with an error
    record[12] = 30;                                     // general_level_idc
    const std::string file = makeFile("two.heic", imagesOf(record));
    for (const char* pFinding : {"level 8.5 is for intra", "hvcC says level 1 "}) {
        SCOPED_TRACE(pFinding);
        const ChildResult check = h265ps({"check", file});
        EXPECT_EQ(check.iExitCode, 1);
        EXPECT_EQ(countOf(check.output, pFinding), 1U) << check.output;
        const std::string shown = h265ps({file}).output;
        const std::string problems = shown.substr(shown.find("\nproblems\n"));
        EXPECT_EQ(countOf(problems.substr(0, problems.find("\n\n")), pFinding), 1U) << problems;
        EXPECT_FALSE(contains(problems, " more (h265ps check lists them)")) << problems;
        EXPECT_TRUE(contains(problems, "the container: 1 error ")) << problems;
        // A document has each with its track.
        EXPECT_EQ(countOf(h265ps({"check", "--json", file}).output, pFinding), 2U);
    }
}

TEST_F(H265psContainer, NamesInAFileCannotForgeLines)
{
    Bytes forged = visualEntry("avc1", {});
    forged[4] = '\n';
    forged[5] = 0x1b;
    const ChildResult result = h265ps({makeFile("forged.mp4", movie({track(1, forged)}))});
    EXPECT_EQ(result.iExitCode, 2);
    EXPECT_EQ(countOf(result.error, "\n"), 1U);
    EXPECT_FALSE(contains(result.error, "\x1b"));

    const Bytes mkv = joined({ebmlHeader(), segment({tracks({trackEntry({}, {}, "V_\n\x1b[1m")})})});
    const ChildResult matroska = h265ps({makeFile("forged.mkv", mkv)});
    EXPECT_EQ(matroska.iExitCode, 2);
    EXPECT_EQ(countOf(matroska.error, "\n"), 1U) << matroska.error;
    EXPECT_FALSE(contains(matroska.error, "\x1b"));
}

} // namespace
} // namespace program_container_test
