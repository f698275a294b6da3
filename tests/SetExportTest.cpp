#include "SetExport.h"

#include <map>
#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "ContainerFiles.h"
#include "DecoderConfiguration.h"
#include "ParameterSetSyntax.h"

namespace set_export_test {

using namespace h265_container;
using namespace h265_inspect;
using namespace h265_test;

namespace {

KeptTrack setsOfStream(const std::string& name)
{
    const Bytes bytes = fileBytes(std::string(H265_TEST_CORPUS) + '/' + name + ".hevc");
    const auto pSource = h265_stream::makeByteSource(bytes);
    KeptSets kept = keepSets(*pSource);
    EXPECT_EQ(kept.warnings, std::vector<std::string>{});
    return kept.tracks.at(0);
}

std::map<std::string, std::uint64_t> fieldsOf(const ExportedSets& exported)
{
    const DecoderConfiguration record = readDecoderConfiguration(exported.bytes, EConfigurationBox::HvcC);
    EXPECT_TRUE(record.findings.empty());
    std::map<std::string, std::uint64_t> fields;
    for (const ConfigurationField& field : configurationFields(record))
        fields[field.pName] = field.ulValue;
    return fields;
}

std::string textOf(const ExportedSets& exported)
{
    return {exported.bytes.begin(), exported.bytes.end()};
}

TEST(ExportSets, MakesARecordOfWhatTheSetsSay)
{
    const struct
    {
        const char* pStream;
        std::map<std::string, std::uint64_t> fields;
    } aCases[] = {
        {"profile_main422_10",
         {{"general_profile_idc", 4},
          {"chroma_format_idc", 2},
          {"bit_depth_luma_minus8", 2},
          {"bit_depth_chroma_minus8", 2},
          {"parallelismType", 0}}},
        {"level_5_1_high", {{"general_tier_flag", 1}, {"general_level_idc", 153}}},
        {"layers_temporal_b3", {{"numTemporalLayers", 2}}},
        {"hm_vui_everything", {{"lengthSizeMinusOne", 3}, {"configurationVersion", 1}, {"numOfArrays", 3}}},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pStream);
        const KeptTrack track = setsOfStream(c.pStream);
        const ExportedSets exported = exportSets(track.sets, EExportForm::HvcC);
        EXPECT_EQ(exported.errors, std::vector<std::string>{});
        auto fields = fieldsOf(exported);
        for (const auto& [name, ulValue] : c.fields)
            EXPECT_EQ(fields[name], ulValue) << name;
        const DecoderConfiguration record = readDecoderConfiguration(exported.bytes, EConfigurationBox::HvcC);
        ASSERT_EQ(record.units.size(), track.sets.size());
        for (std::size_t i = 0; i < record.units.size(); ++i)
            EXPECT_EQ(Bytes(record.units[i].bytes.begin(), record.units[i].bytes.end()), track.sets[i].bytes);
    }
}

// An SPS without VUI behind one that promises segments: the record promises none.
TEST(ExportSets, TakesNothingFromTheSpsBefore)
{
    KeptTrack track = setsOfStream("profile_main422_10");
    ASSERT_EQ(track.sets.at(1).nal_unit_type, h265_syntax::SPS_NUT);
    KeptSet& first = track.sets[1];
    KeptSet second = first;
    h265_syntax::SequenceParameterSet sps;
    ASSERT_TRUE(read(sps, h265_syntax::CNalUnit(first.bytes)));
    ASSERT_TRUE(assign(sps, "vui_parameters_present_flag", 1));
    ASSERT_TRUE(assign(sps, "vui_parameters.bitstream_restriction_flag", 1));
    ASSERT_TRUE(assign(sps, "vui_parameters.min_spatial_segmentation_idc", 100));
    first.bytes.clear();
    ASSERT_FALSE(write(sps, first.bytes));
    EXPECT_EQ(fieldsOf(exportSets(track.sets, EExportForm::HvcC))["min_spatial_segmentation_idc"], 100U);
    ASSERT_TRUE(assign(sps, "vui_parameters_present_flag", 0));
    ASSERT_TRUE(assign(sps, "sps_seq_parameter_set_id", 1));
    second.bytes.clear();
    ASSERT_FALSE(write(sps, second.bytes));
    track.sets.insert(track.sets.begin() + 2, second);
    EXPECT_EQ(fieldsOf(exportSets(track.sets, EExportForm::HvcC))["min_spatial_segmentation_idc"], 0U);
}

// What a muxer wrote into its hvcC for the same sets is the same, but for a zero byte that it counts as part of the
// PPS.
TEST(ExportSets, MakesTheRecordThatAMuxerMakes)
{
    for (const char* pFile : {"hvc1.mp4", "faststart.mp4", "fragmented.mp4", "with_sound.mp4"}) {
        SCOPED_TRACE(pFile);
        const Bytes file = containerFile(pFile);
        CContainerRecord record;
        const auto pFirst = makeRandomSource(file);
        const KeptSets kept = keepSets(EFileKind::IsoBaseMedia, *pFirst);
        ASSERT_EQ(kept.tracks.size(), 1U);
        const auto made = fieldsOf(exportSets(kept.tracks[0].sets, EExportForm::HvcC));
        // The box in the file, by its type.
        const std::string text(file.begin(), file.end());
        const std::size_t uiContent = text.find("hvcC") + 4;
        const DecoderConfiguration theirs =
            readDecoderConfiguration(std::span(file).subspan(uiContent, 512), EConfigurationBox::HvcC);
        for (const ConfigurationField& field : configurationFields(theirs))
            EXPECT_EQ(made.at(field.pName), field.ulValue) << field.pName;
    }
}

TEST(ExportSets, WritesEverySetAsByteStreamAndAsText)
{
    const KeptTrack track = setsOfStream("joined_cif_then_qcif");
    ASSERT_GT(track.sets.size(), 3U);
    const ExportedSets stream = exportSets(track.sets, EExportForm::AnnexB);
    const auto pSource = h265_stream::makeByteSource(stream.bytes);
    const KeptSets again = keepSets(*pSource);
    ASSERT_EQ(again.tracks.at(0).sets.size(), track.sets.size());
    const ExportedSets text = exportSets(track.sets, EExportForm::Hex);
    const KeptSets ofText = keepSets(textOf(text), ETextForm::Hex);
    ASSERT_EQ(ofText.tracks.at(0).sets.size(), track.sets.size());
    for (std::size_t i = 0; i < track.sets.size(); ++i) {
        EXPECT_EQ(again.tracks[0].sets[i].bytes, track.sets[i].bytes);
        EXPECT_EQ(ofText.tracks[0].sets[i].bytes, track.sets[i].bytes);
    }
    EXPECT_EQ(ofText.tracks[0].sets[0].place, "set 1");
}

TEST(ExportSets, WritesOneLineThatASessionDescriptionTakes)
{
    for (const char* pStream : {"hm_tiles_explicit_4x3", "hm_ids_15_15_63", "profile_main12", "hm_slist_pps"}) {
        SCOPED_TRACE(pStream);
        const KeptTrack track = setsOfStream(pStream);
        const ExportedSets exported = exportSets(track.sets, EExportForm::Sprop);
        EXPECT_EQ(exported.errors, std::vector<std::string>{});
        const std::string line = textOf(exported);
        EXPECT_EQ(line.find('\n'), line.size() - 1);
        const std::string text = "v=0\nm=video 5000 RTP/AVP 96\na=rtpmap:96 H265/90000\n" + line;
        const Bytes file(text.begin(), text.end());
        const auto pSource = makeRandomSource(file);
        const KeptSets again = keepSets(EFileKind::SessionDescription, *pSource);
        EXPECT_EQ(again.warnings, std::vector<std::string>{});
        ASSERT_EQ(again.tracks.size(), 1U);
        ASSERT_EQ(again.tracks[0].sets.size(), track.sets.size());
        for (std::size_t i = 0; i < track.sets.size(); ++i)
            EXPECT_EQ(again.tracks[0].sets[i].bytes, track.sets[i].bytes);
    }
    EXPECT_TRUE(textOf(exportSets(setsOfStream("level_5_1_high").sets, EExportForm::Sprop))
                    .starts_with("a=fmtp:96 profile-space=0; profile-id=1; tier-flag=1; level-id=153; "
                                 "interop-constraints=900000000000; profile-compatibility-indicator=60000000; "
                                 "sprop-vps=QAEMAf"));
}

TEST(ExportSets, KeepsTheFirstOfEachIdAndSaysSo)
{
    const KeptTrack track = setsOfStream("joined_cif_then_qcif");
    const ExportedSets exported = exportSets(track.sets, EExportForm::HvcC);
    ASSERT_FALSE(exported.warnings.empty());
    EXPECT_NE(exported.warnings.back().find(" changes at byte "), std::string::npos);
    EXPECT_NE(exported.warnings.back().find(": the first one is written (byte "), std::string::npos);
    const DecoderConfiguration record = readDecoderConfiguration(exported.bytes, EConfigurationBox::HvcC);
    std::size_t uiChanges = 0;
    for (const ConfigurationArray& array : record.arrays) {
        EXPECT_EQ(array.numNalus, 1U);
        constexpr const char* NAMES[] = {"VPS 0 changes", "SPS 0 changes", "PPS 0 changes"};
        const bool bChanges = std::ranges::any_of(exported.warnings, [&](const std::string& warning) {
            return warning.starts_with(NAMES[array.NAL_unit_type - 32]);
        });
        uiChanges += bChanges ? 1 : 0;
        EXPECT_EQ(array.array_completeness, !bChanges) << "others are in the stream";
    }
    EXPECT_EQ(uiChanges, exported.warnings.size());
}

TEST(ExportSets, SpeaksForTheBaseLayer)
{
    const KeptTrack track = setsOfStream("mv_2view");
    const ExportedSets exported = exportSets(track.sets, EExportForm::HvcC);
    EXPECT_EQ(exported.errors, std::vector<std::string>{});
    ASSERT_EQ(exported.warnings.size(), 1U);
    EXPECT_NE(exported.warnings[0].find("sets of layers above 0 are left out"), std::string::npos);
    const DecoderConfiguration record = readDecoderConfiguration(exported.bytes, EConfigurationBox::HvcC);
    for (const ConfigurationUnit& unit : record.units)
        EXPECT_EQ(unit.bytes[1] >> 3, 0);
    EXPECT_LT(record.units.size(), track.sets.size());
}

// 7.4.2.1: where lengths say how long a set is, some leave it out; behind start codes the set would end early.
TEST(ExportSets, WritesEmulationPreventionThatIsMissing)
{
    const KeptTrack track = setsOfStream("size_352x288");
    std::vector<KeptSet> bare = track.sets;
    for (KeptSet& set : bare) {
        const h265_syntax::CNalUnit nalUnit(set.bytes);
        set.bytes.resize(2);
        set.bytes.insert(set.bytes.end(), nalUnit.rbsp().begin(), nalUnit.rbsp().end());
    }
    for (const EExportForm eForm : {EExportForm::AnnexB, EExportForm::Hex, EExportForm::HvcC, EExportForm::Sprop}) {
        const ExportedSets exported = exportSets(bare, eForm);
        EXPECT_EQ(exported.bytes, exportSets(track.sets, eForm).bytes);
        EXPECT_EQ(
            exported.warnings,
            (std::vector<std::string>{"the VPS at byte 4 lacks emulation prevention bytes: it is written with them",
                                      "the SPS at byte 32 lacks emulation prevention bytes: it is written with them"}));
    }
}

TEST(ExportSets, SaysWhyThereIsNoRecord)
{
    const auto errorsOf = [](const std::vector<KeptSet>& sets, EExportForm eForm) {
        const ExportedSets exported = exportSets(sets, eForm);
        EXPECT_TRUE(exported.bytes.empty());
        return exported.errors;
    };
    KeptTrack track = setsOfStream("deblock_off");
    const std::vector<KeptSet> ppsAlone(track.sets.begin() + 2, track.sets.begin() + 3);
    for (const EExportForm eForm : {EExportForm::HvcC, EExportForm::Sprop})
        EXPECT_EQ(errorsOf(ppsAlone, eForm), std::vector<std::string>{"there is no SPS"});
    track.sets[1].bytes.resize(20);
    const std::vector<std::string> errors = errorsOf(track.sets, EExportForm::HvcC);
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_TRUE(errors[0].starts_with("the SPS at byte 32 cannot be read whole: ")) << errors[0];
    EXPECT_FALSE(exportSets(track.sets, EExportForm::Hex).bytes.empty()) << "bytes are bytes";
    // Two SPSs of different formats.
    std::vector<KeptSet> sets = setsOfStream("hm_ids_15_15_63").sets;
    const std::vector<KeptSet> others = setsOfStream("profile_main12").sets;
    sets.insert(sets.end(), others.begin(), others.end());
    EXPECT_EQ(errorsOf(sets, EExportForm::HvcC),
              std::vector<std::string>{
                  "the SPSs differ in bit_depth_luma_minus8, which one record has to state for all of them"});
}

TEST(KeepSets, LeavesOutWhatIsNoSetAndSaysSo)
{
    const Bytes stream = byteStream({{0x42, 1}, {0xc2, 1, 5}, {0x44, 1, 0xc1}, {0x44, 1, 0xc1}, {0x26, 1, 0xaf}});
    const auto pSource = h265_stream::makeByteSource(stream);
    const KeptSets kept = keepSets(*pSource);
    ASSERT_EQ(kept.tracks.size(), 1U);
    ASSERT_EQ(kept.tracks[0].sets.size(), 1U) << "a repeat is the same set";
    EXPECT_EQ(kept.tracks[0].sets[0].place, "byte 17");
    EXPECT_EQ(kept.warnings,
              (std::vector<std::string>{"byte 4: a damaged parameter set is left out",
                                        "byte 10: a damaged parameter set is left out"}));
}

TEST(KeepSets, IsBounded)
{
    Bytes stream;
    for (unsigned i = 0; i < 3; ++i) {
        const Bytes set =
            joined({{0, 0, 0, 1, 0x44, 1, static_cast<unsigned char>(i + 1)}, Bytes(std::size_t{15} << 20, 7)});
        stream.insert(stream.end(), set.begin(), set.end());
    }
    const auto pSource = h265_stream::makeByteSource(stream);
    const KeptSets kept = keepSets(*pSource);
    EXPECT_EQ(kept.tracks[0].sets.size(), 2U);
    ASSERT_EQ(kept.warnings.size(), 1U);
    EXPECT_NE(kept.warnings[0].find("a parameter set of 15728643 bytes is left out: it is too large"),
              std::string::npos)
        << kept.warnings[0];
    const std::string bad(100, ',');
    EXPECT_EQ(keepSets(bad, ETextForm::Hex).warnings.size(), 20U);
}

} // namespace
} // namespace set_export_test
