// Movies and Matroska files with changed parameter sets: what is written, and what cannot be.

#include "ContainerEdit.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ContainerFiles.h"
#include "EbmlWriter.h"
#include "EditSettings.h"
#include "EditedFile.h"
#include "IsoBaseMedia.h"
#include "Matroska.h"
#include "MovieWriter.h"
#include "ParameterSetSyntax.h"
#include "RecordEdit.h"

namespace container_edit_test {

using namespace h265_container;
using namespace h265_inspect;
using namespace h265_test;

namespace {

using Settings = std::vector<std::string>;

CContainerRecord recordOf(const Bytes& file)
{
    CContainerRecord record;
    const auto pSource = makeRandomSource(file);
    if (kindOf(file) == EFileKind::Matroska)
        readMatroska(*pSource, {}, record);
    else
        readIsoBaseMedia(*pSource, {}, record);
    return record;
}

std::string reasonOf(const Bytes& file, const Settings& settings)
{
    const CEditedFile after = editedFile(file, settings);
    EXPECT_TRUE(after.outcome.refusals.empty());
    return after.outcome.impossible.empty() ? "it is written" : after.outcome.impossible.front().text;
}

class FilesOfMuxers : public testing::TestWithParam<const char*>
{};

TEST_P(FilesOfMuxers, StayAsTheyAreWithoutASetting)
{
    const Bytes file = containerFile(GetParam());
    const CEditedFile after = editedFile(file, {});
    EXPECT_EQ(after.bytes, file);
    EXPECT_GT(after.outcome.ulParameterSets, 0U);
    EXPECT_EQ(after.outcome.ulChanged, 0U);
    EXPECT_TRUE(after.outcome.warnings.empty());
}

// Every set as long as before: nothing else changes.
TEST_P(FilesOfMuxers, TakeSetsOfTheSameSizeInPlace)
{
    const Bytes file = containerFile(GetParam());
    const CEditedFile after = editedFile(file, {"sps.ptl.general_level_idc=90"});
    if (std::string(GetParam()) == "zlib.mkv") { // its frames are packed
        ASSERT_EQ(after.outcome.impossible.size(), 1U);
        EXPECT_NE(after.outcome.impossible.front().text.find("packed"), std::string::npos);
        return;
    }
    ASSERT_TRUE(after.outcome.impossible.empty()) << after.outcome.impossible.front().text;
    ASSERT_EQ(after.bytes.size(), file.size());
    const CContainerRecord before = recordOf(file);
    const CContainerRecord record = recordOf(after.bytes);
    EXPECT_EQ(record.findings(), before.findings());
    EXPECT_EQ(slicesOf(record), slicesOf(before));
    ASSERT_TRUE(record.m_claims.front().hvcC);
    EXPECT_EQ(record.m_claims.front().hvcC->value.general_level_idc, 90);
    for (const Bytes& set : setsOf(record)) {
        h265_syntax::SequenceParameterSet sps;
        if ((set[0] >> 1 & 0x3f) == h265_syntax::SPS_NUT && h265_syntax::read(sps, h265_syntax::CNalUnit(set))) {
            EXPECT_EQ(sps.profile_tier_level.general_level_idc, 90);
        }
    }
    // A byte for each SPS, the record's level, and the four of each CRC-32.
    std::size_t uiChanged = 0;
    for (std::size_t i = 0; i < file.size(); ++i)
        uiChanged += file[i] == after.bytes[i] ? 0 : 1;
    EXPECT_LE(uiChanged, 1 + after.outcome.ulChanged + 8);
}

INSTANTIATE_TEST_SUITE_P(, FilesOfMuxers,
                         testing::Values("hvc1.mp4", "faststart.mp4", "hev1.mov", "fragmented.mp4", "with_sound.mp4",
                                         "ffmpeg.mkv", "live.mkv", "mkvmerge.mkv"));
#ifdef H265PS_WITH_ZLIB
INSTANTIATE_TEST_SUITE_P(Packed, FilesOfMuxers, testing::Values("zlib.mkv"));
#endif

// Sets of a real stream, for an hvcC.
std::vector<Bytes> streamSets()
{
    return differentOnes(StreamUnits("gop_b3_pyramid").m_sets);
}

const Bytes SLICE_1{0x26, 0x01, 0x80, 1, 2, 3};
const Bytes SLICE_2{0x02, 0x01, 0x80, 4, 5};

Bytes samples()
{
    return joined({prefixed({SLICE_1}), prefixed({SLICE_2})});
}

Bytes moovOf(std::uint64_t ulSamples, bool bLarge = false)
{
    TrackSyntax track;
    track.entries = {visualEntry("hvc1", {box("hvcC", {hvcCContent(streamSets())})}, 176, 144)};
    track.sizes = {10, 9};
    track.chunks = {ulSamples};
    track.runs = {{1, 2, 1}};
    track.bLarge = bLarge;
    return box("moov", {fullBox("mvhd", 0, 0, {zeros(96)}), trak(track)});
}

const Bytes FTYP = box("ftyp", {text("isom"), zeros(4)});

// moov in front of what: its samples are the content of the mdat, which begins so far behind moov.
Bytes moovFirst(const Bytes& behind, std::size_t uiToSamples)
{
    const std::size_t uiMoov = moovOf(0).size();
    return joined({FTYP, moovOf(FTYP.size() + uiMoov + uiToSamples), behind});
}

// The sets grow by the timing.
const Settings GROW{"sps.vui.timing=25", "vps.timing=25"};
const Settings SHRINK{"vps.vps_timing_info_present_flag=0"};

// The slices of an edited file are where its tables say; its SPS has the timing, and nothing is wrong.
void expectTiming(const Bytes& file)
{
    const CContainerRecord record = recordOf(file);
    EXPECT_EQ(record.findings(), "");
    EXPECT_TRUE(standWhereTheySay(record, file));
    std::vector<Bytes> slices;
    bool bTiming = false;
    for (const auto& unit : record.m_units) {
        if (unit.nal_unit_type < 32)
            slices.push_back(unit.bytes);
        h265_syntax::SequenceParameterSet sps;
        if (unit.nal_unit_type == h265_syntax::SPS_NUT && h265_syntax::read(sps, h265_syntax::CNalUnit(unit.bytes)))
            bTiming = sps.vui_parameters.vui_time_scale == 25;
    }
    EXPECT_TRUE(bTiming);
    EXPECT_EQ(slices, (std::vector<Bytes>{SLICE_1, SLICE_2}));
}

Bytes part(const Bytes& bytes, std::size_t uiBegin, std::size_t uiEnd)
{
    return {bytes.begin() + static_cast<std::ptrdiff_t>(uiBegin), bytes.begin() + static_cast<std::ptrdiff_t>(uiEnd)};
}

std::string typeAt(const Bytes& file, std::size_t uiOffset)
{
    const Bytes type = part(file, uiOffset + 4, uiOffset + 8);
    return {type.begin(), type.end()};
}

TEST(MovieEdit, GrowsMoovInPlaceAtTheEnd)
{
    const Bytes front = joined({FTYP, box("mdat", {samples()})});
    const Bytes file = joined({front, moovOf(FTYP.size() + 8)});
    const CEditedFile after = editedFile(file, GROW);
    ASSERT_GT(after.bytes.size(), file.size());
    EXPECT_EQ(part(after.bytes, 0, front.size()), front);
    expectTiming(after.bytes);
}

TEST(MovieEdit, MovesMoovToTheEndAndLeavesFreeSpace)
{
    for (const bool bToTheEnd : {false, true}) {
        Bytes mdat = box("mdat", {samples()});
        if (bToTheEnd)
            std::fill_n(mdat.begin(), 4, 0); // nothing can follow it: its size is written
        const Bytes file = moovFirst(mdat, 8);
        const CEditedFile after = editedFile(file, GROW);
        ASSERT_TRUE(after.outcome.impossible.empty());
        ASSERT_GT(after.bytes.size(), file.size());
        EXPECT_EQ(typeAt(after.bytes, FTYP.size()), "free");
        EXPECT_EQ(typeAt(after.bytes, file.size()), "moov");
        const std::size_t uiMdat = FTYP.size() + moovOf(0).size();
        EXPECT_EQ(part(after.bytes, 0, FTYP.size() + 4), part(file, 0, FTYP.size() + 4));
        EXPECT_EQ(part(after.bytes, uiMdat, file.size()),
                  part(moovFirst(box("mdat", {samples()}), 8), uiMdat, file.size()));
        expectTiming(after.bytes);
    }
}

TEST(MovieEdit, GrowsIntoFreeSpaceBehindMoov)
{
    const Bytes file = moovFirst(joined({box("free", {zeros(100)}), box("mdat", {samples()})}), 116);
    const CEditedFile after = editedFile(file, GROW);
    ASSERT_EQ(after.bytes.size(), file.size());
    EXPECT_EQ(typeAt(after.bytes, FTYP.size()), "moov");
    EXPECT_EQ(part(after.bytes, file.size() - 27, file.size()), part(file, file.size() - 27, file.size()));
    expectTiming(after.bytes);

    // As much as it grows by: the free space is used up.
    const Bytes end = joined({FTYP, box("mdat", {samples()}), moovOf(FTYP.size() + 8)});
    const std::size_t uiGrowth = editedFile(end, GROW).bytes.size() - end.size();
    ASSERT_GE(uiGrowth, 8U);
    const Bytes exact = moovFirst(joined({box("free", {zeros(uiGrowth - 8)}), box("mdat", {samples()})}), uiGrowth + 8);
    const CEditedFile used = editedFile(exact, GROW);
    EXPECT_EQ(used.bytes.size(), exact.size());
    expectTiming(used.bytes);
}

TEST(MovieEdit, LeavesFreeSpaceWhereMoovShrinks)
{
    const Bytes file =
        editedFile(moovFirst(joined({box("free", {zeros(100)}), box("mdat", {samples()})}), 116), GROW).bytes;
    const CEditedFile into = editedFile(file, SHRINK);
    EXPECT_EQ(into.bytes.size(), file.size());
    EXPECT_TRUE(standWhereTheySay(recordOf(into.bytes), into.bytes));
    EXPECT_EQ(recordOf(into.bytes).findings(), "");
    // Without free space there is some behind it.
    const Bytes moved = editedFile(moovFirst(box("mdat", {samples()}), 8), GROW).bytes;
    const Bytes more = joined({moved, box("uuid", {zeros(16)})});
    const CEditedFile shrunk = editedFile(more, SHRINK);
    EXPECT_EQ(shrunk.bytes.size(), more.size());
    EXPECT_EQ(recordOf(shrunk.bytes).findings(), "");
    EXPECT_EQ(slicesOf(recordOf(shrunk.bytes)), slicesOf(recordOf(more)));
}

// A moov for fragments, and one fragment: with offsets from moof, or from the beginning of the file.
Bytes fragments(bool bAbsolute)
{
    TrackSyntax track;
    track.entries = {visualEntry("hvc1", {box("hvcC", {hvcCContent(streamSets())})}, 176, 144)};
    track.runs = {};
    track.stts = fullBox("stts", 0, 0, {be(4, 0)});
    const Bytes trex = fullBox("trex", 0, 0, {be(4, 1), be(4, 1), be(4, 4), be(4, 0), be(4, 0)});
    const Bytes moov = box("moov", {fullBox("mvhd", 0, 0, {zeros(96)}), trak(track), box("mvex", {trex})});
    const std::uint64_t ulMoof = FTYP.size() + moov.size();
    const auto moof = [&](std::uint64_t ulData) {
        const Bytes tfhd =
            bAbsolute ? fullBox("tfhd", 0, 1, {be(4, 1), be(8, ulMoof)}) : fullBox("tfhd", 0, 0x20000, {be(4, 1)});
        const Bytes trun = fullBox("trun", 0, 0x201, {be(4, 2), be(4, ulData), be(4, 10), be(4, 9)});
        return box("moof", {fullBox("mfhd", 0, 0, {be(4, 1)}), box("traf", {tfhd, trun})});
    };
    const Bytes tfra =
        fullBox("tfra", 0, 0, {be(4, 1), be(4, 0), be(4, 1), be(4, 0), be(4, ulMoof), be(1, 1), be(1, 1), be(1, 1)});
    return joined({FTYP, moov, moof(moof(0).size() + 8), box("mdat", {samples()}), box("mfra", {tfra})});
}

TEST(MovieEdit, MovesFragmentsWithTheirOffsets)
{
    for (const bool bAbsolute : {false, true}) {
        const Bytes file = fragments(bAbsolute);
        expectTiming(editedFile(file, GROW).bytes);
        const CEditedFile after = editedFile(file, GROW);
        const std::size_t uiGrowth = after.bytes.size() - file.size();
        ASSERT_GT(uiGrowth, 0U);
        EXPECT_EQ(typeAt(after.bytes, FTYP.size()), "moov");
        // The offset in tfra is that of moof.
        const Bytes entry = part(after.bytes, after.bytes.size() - 7, after.bytes.size() - 3);
        std::size_t uiOffset = 0;
        for (const unsigned char ucByte : entry)
            uiOffset = uiOffset << 8 | ucByte;
        EXPECT_EQ(typeAt(after.bytes, uiOffset), "moof");
    }
}

TEST(MovieEdit, SaysWhyItCannot)
{
    const Bytes front = joined({FTYP, box("mdat", {samples()})});
    Bytes cut = joined({front, moovOf(FTYP.size() + 8), box("free", {zeros(20)})});
    cut.pop_back();
    EXPECT_EQ(reasonOf(cut, GROW), "the boxes of the file do not reach its end: it ends early or is damaged");
    EXPECT_EQ(reasonOf(joined({box("sidx", {zeros(20)}), fragments(false)}), GROW),
              "moov has to stay in front of its fragments, and an index (sidx) in front of it counts over it");
    EXPECT_EQ(reasonOf(joined({fragments(false), fullBox("meta", 0, 0, {})}), GROW),
              "moov has to stay in front of its fragments, and items (meta) count from the file's beginning");
    EXPECT_EQ(
        reasonOf(containerFile("single.heic"), {"sps.ptl.general_level_idc=120"}),
        "the sets stand where they cannot be replaced: only the tracks of movies and of Matroska files are written, no "
        "image items");
    const std::string reason = reasonOf(containerFile("hvc1.mp4"), GROW);
    EXPECT_NE(reason.find("a VPS of track 1, sample 1 at 0 s would have "), std::string::npos) << reason;
    EXPECT_NE(reason.find("among the samples a set can only be replaced by one of the same size"), std::string::npos);
}

TEST(MovieEdit, LeavesAFileThatEndsEarlyAsLongAsItIs)
{
    Bytes shorter = samples();
    shorter.pop_back();
    const Bytes inFront = moovFirst(box("mdat", {shorter}), 8);
    const Bytes atTheEnd = joined({FTYP, box("mdat", {samples()}), moovOf(1000000)});
    for (const Bytes& file : {inFront, atTheEnd}) {
        const std::string reason = reasonOf(file, GROW);
        EXPECT_TRUE(reason.ends_with("; only a whole file is changed")) << reason;
        // Where nothing moves, it is written.
        EXPECT_EQ(reasonOf(file, {"sps.ptl.general_level_idc=90"}), "it is written");
    }
    EXPECT_EQ(reasonOf(moovFirst(joined({box("free", {zeros(100)}), box("mdat", {shorter})}), 116), GROW),
              "it is written");
}

TEST(MovieEdit, MovesNothingInJoinedFiles)
{
    const Bytes first = moovFirst(box("mdat", {samples()}), 8);
    const Bytes other = joined({FTYP, box("mdat", {zeros(20)})});
    EXPECT_EQ(reasonOf(joined({first, other}), GROW),
              "moov would have to move, and another file is joined on, whose offsets count from its own beginning");
    EXPECT_EQ(reasonOf(joined({first, other}), {"sps.ptl.general_level_idc=90"}), "it is written");
    // At the end it can grow.
    EXPECT_EQ(reasonOf(joined({other, FTYP, box("mdat", {samples()}), moovOf(0)}), {"sps.ptl.general_level_idc=90"}),
              "it is written");
}

TEST(MovieEdit, TellsOfClaimsThatTheNewSetsDoNotBearOut)
{
    const Bytes file = joined({FTYP, box("mdat", {samples()}), moovOf(FTYP.size() + 8)});
    const CEditedFile after = editedFile(file, {"sps.conformance_window_flag=1", "sps.conf_win_right_offset=8"});
    ASSERT_FALSE(after.outcome.warnings.empty());
    EXPECT_EQ(after.outcome.warnings.front().text,
              "the sample entry hvc1 says 176x144, SPS 0's pictures are 160x144 (cropped from 176x144)");
}

TEST(MovieEdit, RefusesWhatTheSlicesAreCodedAgainst)
{
    const Bytes file = joined({FTYP, box("mdat", {samples()}), moovOf(FTYP.size() + 8)});
    const CEditedFile after = editedFile(file, {"sps.pic_width_in_luma_samples=184"});
    EXPECT_FALSE(after.outcome.refusals.empty());
    EXPECT_TRUE(after.bytes.empty());
    EXPECT_THROW((void)editedFile(file, {"pps[5].init_qp_minus26=1"}), CSettingError);
}

// A Matroska file whose frames have no sets, with so many bytes of Void behind Tracks, or a SeekHead and so many in
// front of it.
Bytes matroska(std::optional<std::size_t> uiVoid, std::optional<std::size_t> uiFront = std::nullopt,
               const Bytes& codecPrivate = hvcCContent(streamSets()))
{
    const Bytes video = element(0xe0, {element(0xb0, {be(2, 176)}), element(0xba, {be(2, 144)})});
    const Bytes entry = element(0xae,
                                {element(0xd7, {be(1, 1)}),
                                 element(0x83, {be(1, 1)}),
                                 element(0x86, {text("V_MPEGH/ISO/HEVC")}),
                                 video,
                                 element(0x63a2, {codecPrivate})});
    const Bytes cluster = element(0x1f43b675,
                                  {element(0xe7, {be(1, 0)}),
                                   element(0xa3, {be(1, 0x81), be(2, 0), be(1, 0x80), prefixed({SLICE_1})}),
                                   element(0xa3, {be(1, 0x81), be(2, 40), be(1, 0), prefixed({SLICE_2})})});
    Bytes front;
    if (uiFront) {
        const auto seek = [](std::uint32_t uiId, std::size_t uiPosition) {
            return element(0x4dbb, {element(0x53ab, {be(4, uiId)}), element(0x53ac, {be(2, uiPosition)})});
        };
        const Bytes space = element(0xec, {zeros(*uiFront)});
        const std::size_t uiInfo = 8 + 2 * seek(0, 0).size() + space.size();
        front = joined({element(0x114d9b74, {seek(0x1549a966, uiInfo), seek(0x1654ae6b, uiInfo + 8 + 10)}), space});
    }
    return joined({element(0x1a45dfa3, {element(0x4282, {text("matroska")})}),
                   element(0x18538067,
                           {front,
                            element(0x1549a966, {element(0x2ad7b1, {be(3, 1000000)})}),
                            element(0x1654ae6b, {entry}),
                            uiVoid ? element(0xec, {zeros(*uiVoid)}) : Bytes(),
                            cluster})});
}

TEST(MatroskaEdit, TakesTheSpaceFromAVoid)
{
    for (const std::size_t uiVoid : {40U, 120U, 300U, 20000U}) {
        const Bytes file = matroska(uiVoid);
        const CEditedFile after = editedFile(file, GROW);
        ASSERT_TRUE(after.outcome.impossible.empty()) << after.outcome.impossible.front().text;
        ASSERT_EQ(after.bytes.size(), file.size());
        expectTiming(after.bytes);
        EXPECT_EQ(part(after.bytes, file.size() - 60, file.size()), part(file, file.size() - 60, file.size()));
        // And gives it back.
        const CEditedFile back = editedFile(after.bytes, SHRINK);
        ASSERT_EQ(back.bytes.size(), file.size());
        EXPECT_EQ(recordOf(back.bytes).findings(), "");
    }
}

// Sizes of four bytes where one or two will do.
TEST(MatroskaEdit, TakesTheSpaceOutOfLongSizes)
{
    const Bytes file = matroska(std::nullopt);
    const CEditedFile after = editedFile(file, {"sps.vui.timing=25"});
    ASSERT_TRUE(after.outcome.impossible.empty()) << after.outcome.impossible.front().text;
    EXPECT_EQ(after.bytes.size(), file.size());
    expectTiming(after.bytes);
}

TEST(MatroskaEdit, TakesTheSpaceFromAVoidInFront)
{
    const Bytes file = matroska(std::nullopt, 60);
    const CEditedFile after = editedFile(file, GROW);
    ASSERT_TRUE(after.outcome.impossible.empty()) << after.outcome.impossible.front().text;
    ASSERT_EQ(after.bytes.size(), file.size());
    expectTiming(after.bytes);
    EXPECT_EQ(part(after.bytes, file.size() - 60, file.size()), part(file, file.size() - 60, file.size()));
    // Info and Tracks are where SeekHead says.
    std::size_t uiSegment = 0;
    while (part(after.bytes, uiSegment, uiSegment + 4) != be(4, 0x18538067))
        ++uiSegment;
    uiSegment += 8;
    const auto seeked = [&](std::size_t uiSeek) {
        const std::size_t uiAt = uiSegment + 8 + uiSeek * 24 + 22;
        const std::size_t uiTarget =
            uiSegment + static_cast<std::size_t>(after.bytes[uiAt] << 8 | after.bytes[uiAt + 1]);
        return part(after.bytes, uiTarget, uiTarget + 4);
    };
    EXPECT_EQ(seeked(0), be(4, 0x1549a966));
    EXPECT_EQ(seeked(1), be(4, 0x1654ae6b));
}

TEST(MatroskaEdit, SaysWhyItCannot)
{
    EXPECT_NE(reasonOf(matroska(std::nullopt), GROW).find("there is no free space (Void) around Tracks for that"),
              std::string::npos);
    // Nothing of it has to do with images.
    Bytes stream;
    for (const Bytes& set : streamSets())
        stream = joined({stream, be(4, 1), set});
    EXPECT_EQ(reasonOf(matroska(40, std::nullopt, stream), {"sps.ptl.general_level_idc=90"}),
              "CodecPrivate is no hvcC record: its sets cannot be replaced");
    Bytes cut = matroska(40);
    cut.resize(cut.size() - 3);
    const std::string reason = reasonOf(cut, {"sps.ptl.general_level_idc=90"});
    EXPECT_TRUE(reason.starts_with("the file ends early: ")) << reason;
    EXPECT_TRUE(reason.ends_with("; only a whole file is changed")) << reason;
}

TEST(RecordEdit, WritesASetWithoutTheStartCodeInFrontOfIt)
{
    const Bytes pps{0x44, 1, 0xc1};
    const Bytes changed{0x44, 1, 0xc0, 7};
    const Bytes content = hvcCContent({joined({pps, {0}}), joined({{0, 0, 0, 1}, pps, {0}}), pps});
    const DecoderConfiguration record = readDecoderConfiguration(content, EConfigurationBox::HvcC);
    const EditedRecord edited =
        editRecord(content, EConfigurationBox::HvcC, 1000, {{1000 + record.units.at(1).uiOffset, changed}});
    EXPECT_EQ(edited.uiReplaced, 1U);
    EXPECT_EQ(edited.reason, "");
    Bytes expected = hvcCContent({joined({pps, {0}}), changed, pps});
    expected[record.arrays.at(1).uiOffset] = content[record.arrays.at(1).uiOffset];
    EXPECT_EQ(edited.content, expected);
}

TEST(ContainerEdit, EndsWellOfDamagedFiles)
{
    const Bytes movie = moovFirst(box("mdat", {samples()}), 8);
    for (const Bytes& file : {movie, fragments(true), matroska(300)}) {
        damageInEveryWay(file, 500, [](const Bytes& damaged) {
            if (!isEditedAsContainer(kindOf(damaged)))
                return;
            try {
                (void)editedFile(damaged, {"sps.vui.timing=25"});
            } catch (const CSettingError&) { // there is no SPS left
            } catch (const h265_stream::CSourceError&) {
            }
        });
    }
}

} // namespace
} // namespace container_edit_test
