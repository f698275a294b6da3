#include "ActiveSets.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "SyntaxCorpus.h"

namespace active_sets_test {

using namespace h265_syntax;
using namespace h265_test;

namespace {

constexpr unsigned char TRAIL_R = 1;
constexpr unsigned char IDR_W_RADL = 19;
constexpr unsigned char CRA = 21;
constexpr unsigned char EOS = 36;
constexpr unsigned char EOB = 37;
constexpr unsigned char AUD = 35;

// A stream, told NAL unit by NAL unit; the offset of each is its number.
class CStream
{
public:
    CStream& vps(unsigned uiId, unsigned char ucContent = 0, unsigned char ucLayer = 0)
    {
        VideoParameterSet set;
        set.vps_video_parameter_set_id = static_cast<std::uint16_t>(uiId);
        m_sets.onSet(set, content(VPS_NUT, ucContent, ucLayer), m_ulOffset++);
        return *this;
    }
    CStream& sps(unsigned uiId, unsigned uiVps, unsigned char ucContent = 0, unsigned char ucLayer = 0)
    {
        SequenceParameterSet set;
        set.sps_seq_parameter_set_id = uiId;
        set.sps_video_parameter_set_id = static_cast<std::uint16_t>(uiVps);
        m_sets.onSet(set, content(SPS_NUT, ucContent, ucLayer), m_ulOffset++);
        return *this;
    }
    CStream& pps(unsigned uiId, unsigned uiSps, unsigned char ucContent = 0, unsigned char ucLayer = 0)
    {
        PictureParameterSet set;
        set.pps_pic_parameter_set_id = uiId;
        set.pps_seq_parameter_set_id = uiSps;
        m_sets.onSet(set, content(PPS_NUT, ucContent, ucLayer), m_ulOffset++);
        return *this;
    }
    // Of SPS 0, with that many tile columns and wavefronts or not.
    CStream& ppsOf(unsigned uiId, unsigned uiColumns, bool bSync)
    {
        PictureParameterSet set;
        set.pps_pic_parameter_set_id = uiId;
        set.tiles_enabled_flag = uiColumns > 1;
        set.num_tile_columns_minus1 = uiColumns - 1;
        set.uniform_spacing_flag = true;
        set.entropy_coding_sync_enabled_flag = bSync;
        m_sets.onSet(set, content(PPS_NUT, static_cast<unsigned char>(2 * uiColumns + bSync), 0), m_ulOffset++);
        return *this;
    }
    CStream& fixedTiles()
    {
        SequenceParameterSet set;
        set.vui_parameters_present_flag = true;
        set.vui_parameters.bitstream_restriction_flag = true;
        set.vui_parameters.tiles_fixed_structure_flag = true;
        m_sets.onSet(set, content(SPS_NUT, 9, 0), m_ulOffset++);
        return *this;
    }
    CStream& picture(unsigned char ucType, unsigned uiPps, unsigned char ucLayer = 0)
    {
        return slice(ucType, uiPps, true, ucLayer);
    }
    CStream& slice(unsigned char ucType, unsigned uiPps, bool bFirst = false, unsigned char ucLayer = 0)
    {
        const bool bIrap = ucType >= 16 && ucType <= 23;
        std::string bits = std::string(bFirst ? "1" : "0") + (bIrap ? "0" : "");
        unsigned uiLength = 0;
        while (((uiPps + 1) >> (uiLength + 1)) != 0)
            ++uiLength;
        bits.append(uiLength, '0');
        for (unsigned i = uiLength + 1; i-- > 0;)
            bits += ((uiPps + 1) >> i & 1U) != 0 ? '1' : '0';
        bits += "1";
        return unit(ucType, bits, ucLayer);
    }
    CStream& unit(unsigned char ucType, const std::string& bits = "", unsigned char ucLayer = 0)
    {
        std::vector<unsigned char> bytes((bits.size() + 7) / 8);
        for (std::size_t i = 0; i < bits.size(); ++i)
            bytes[i / 8] = static_cast<unsigned char>(bytes[i / 8] | (bits[i] == '1' ? 0x80U >> i % 8 : 0U));
        std::vector<unsigned char> nalUnit;
        NalUnitHeader header;
        header.nal_unit_type = ucType;
        header.nuh_layer_id = ucLayer;
        appendNalUnit(nalUnit, header, bytes);
        m_sets.onNalUnit(nalUnit, m_ulOffset++);
        return *this;
    }
    CStream& begin() { return vps(0).sps(0, 0).pps(0, 0).picture(IDR_W_RADL, 0); } // 0 to 3

    // "SPS 0 at 4", one behind the other.
    std::string told()
    {
        m_sets.onEnd();
        std::string text;
        for (const SetFinding& found : m_sets.findings()) {
            EXPECT_EQ(found.finding.eSeverity, ESeverity::Error);
            EXPECT_FALSE(found.finding.message.empty());
            EXPECT_FALSE(found.finding.clause.empty());
            EXPECT_EQ(found.finding.element.empty(), !found.finding.ulBit);
            const char* const aNames[] = {"VPS ", "SPS ", "PPS "};
            text += (text.empty() ? "" : ", ") + std::string(aNames[found.nal_unit_type - VPS_NUT]) +
                    std::to_string(found.uiId) + " at " + std::to_string(found.ulOffset);
        }
        return text;
    }
    CActiveSets& sets() { return m_sets; }

private:
    static CNalUnit content(unsigned nal_unit_type, unsigned char ucContent, unsigned char ucLayer)
    {
        std::vector<unsigned char> nalUnit;
        NalUnitHeader header;
        header.nal_unit_type = static_cast<std::uint16_t>(nal_unit_type);
        header.nuh_layer_id = ucLayer;
        appendNalUnit(nalUnit, header, std::vector<unsigned char>{ucContent, 0x80});
        return CNalUnit(nalUnit);
    }

    CActiveSets m_sets;
    std::uint64_t m_ulOffset = 0;
};

struct Case
{
    const char* pName;
    void (*pTell)(CStream& s);
    const char* pTold;
};

// The stream of begin( ) takes the offsets 0 to 3; what follows begins at 4.
// clang-format off
const Case CASES[] = {
    {"sets that come once", [](CStream& s) { s.begin().picture(TRAIL_R, 0).picture(TRAIL_R, 0); }, ""},
    {"sets that are repeated",
     [](CStream& s) { s.begin().vps(0).sps(0, 0).pps(0, 0).picture(TRAIL_R, 0).slice(TRAIL_R, 0); }, ""},
    {"slices of one picture with one PPS", [](CStream& s) { s.begin().pps(1, 0).picture(TRAIL_R, 1).slice(TRAIL_R, 1); }, ""},
    {"slices of one picture with two PPS", [](CStream& s) { s.begin().pps(1, 0).picture(TRAIL_R, 0).slice(TRAIL_R, 1); }, "PPS 1 at 6"},
    {"a sequence with other tiles", [](CStream& s) { s.begin().ppsOf(1, 2, false).ppsOf(2, 3, false).picture(IDR_W_RADL, 1).picture(TRAIL_R, 2); }, ""},
    {"a sequence with tiles and without",
     [](CStream& s) { s.begin().ppsOf(1, 2, false).picture(TRAIL_R, 1).picture(TRAIL_R, 0).picture(TRAIL_R, 1); }, "PPS 1 at 4"},
    {"a sequence with wavefronts and without", [](CStream& s) { s.begin().ppsOf(1, 1, true).picture(TRAIL_R, 1); }, "PPS 1 at 4"},
    {"a new sequence with wavefronts", [](CStream& s) { s.begin().ppsOf(1, 1, true).picture(IDR_W_RADL, 1).picture(TRAIL_R, 1); }, ""},
    {"fixed tiles that stay",
     [](CStream& s) { s.vps(0).fixedTiles().ppsOf(0, 2, false).ppsOf(1, 2, false).picture(IDR_W_RADL, 0).picture(TRAIL_R, 1); }, ""},
    {"fixed tiles that change",
     [](CStream& s) { s.vps(0).fixedTiles().ppsOf(0, 2, false).ppsOf(1, 3, false).picture(IDR_W_RADL, 0).picture(TRAIL_R, 1); }, "PPS 1 at 3"},
    {"another SPS in front of an IDR picture",
     [](CStream& s) { s.begin().sps(0, 0, 1).picture(IDR_W_RADL, 0); }, ""},
    {"another SPS in front of a BLA picture", [](CStream& s) { s.begin().sps(0, 0, 1).picture(16, 0); }, ""},
    {"another SPS in front of a trailing picture",
     [](CStream& s) { s.begin().sps(0, 0, 1).picture(TRAIL_R, 0); }, "SPS 0 at 4"},
    {"another SPS in front of a CRA picture", [](CStream& s) { s.begin().sps(0, 0, 1).picture(CRA, 0); }, "SPS 0 at 4"},
    {"another SPS behind an end of sequence",
     [](CStream& s) { s.begin().unit(EOS).sps(0, 0, 1).picture(CRA, 0); }, ""},
    {"another SPS behind an end of the stream",
     [](CStream& s) { s.begin().unit(EOB).sps(0, 0, 1).picture(CRA, 0); }, ""},
    {"an access unit delimiter ends nothing",
     [](CStream& s) { s.begin().unit(AUD).sps(0, 0, 1).picture(CRA, 0); }, "SPS 0 at 5"},
    {"an end of sequence of another layer ends nothing here",
     [](CStream& s) { s.begin().unit(EOS, "", 1).sps(0, 0, 1).picture(CRA, 0); }, "SPS 0 at 5"},
    {"the first picture is a CRA picture",
     [](CStream& s) { s.vps(0).sps(0, 0).sps(0, 0, 1).pps(0, 0).picture(CRA, 0); }, ""},
    {"another SPS and back again",
     [](CStream& s) { s.begin().sps(0, 0, 1).sps(0, 0, 0).picture(TRAIL_R, 0); }, "SPS 0 at 4"},
    {"another SPS is told once",
     [](CStream& s) { s.begin().sps(0, 0, 1).picture(TRAIL_R, 0).picture(TRAIL_R, 0); }, "SPS 0 at 4"},
    {"another SPS that is not in use", [](CStream& s) { s.begin().sps(1, 0).sps(1, 0, 1).picture(TRAIL_R, 0); }, ""},
    {"another SPS at the end", [](CStream& s) { s.begin().sps(0, 0, 1); }, ""},
    {"another VPS in front of an IDR picture", [](CStream& s) { s.begin().vps(0, 1).picture(IDR_W_RADL, 0); }, ""},
    {"another VPS in front of a trailing picture",
     [](CStream& s) { s.begin().vps(0, 1).picture(TRAIL_R, 0); }, "VPS 0 at 4"},
    {"another VPS that is not in use", [](CStream& s) { s.begin().vps(1).vps(1, 1).picture(TRAIL_R, 0); }, ""},
    {"another PPS between pictures", [](CStream& s) { s.begin().pps(0, 0, 1).picture(TRAIL_R, 0); }, ""},
    {"another PPS inside a picture", [](CStream& s) { s.begin().pps(0, 0, 1).slice(IDR_W_RADL, 0); }, "PPS 0 at 4"},
    {"another PPS that the picture does not use",
     [](CStream& s) { s.begin().pps(1, 0).pps(1, 0, 1).slice(IDR_W_RADL, 0); }, ""},
    {"a picture of another SPS inside a sequence",
     [](CStream& s) { s.begin().sps(1, 0).pps(1, 1).picture(TRAIL_R, 1); }, "SPS 1 at 6"},
    {"a picture of another SPS that begins a sequence",
     [](CStream& s) { s.begin().sps(1, 0).pps(1, 1).picture(IDR_W_RADL, 1); }, ""},
    {"a PPS that is not there", [](CStream& s) { s.begin().picture(TRAIL_R, 63); }, "PPS 63 at 4"},
    {"a PPS that is not there is told once",
     [](CStream& s) { s.begin().picture(TRAIL_R, 5).slice(TRAIL_R, 5).picture(TRAIL_R, 5); }, "PPS 5 at 4"},
    {"a PPS that is not there, comes and goes on",
     [](CStream& s) { s.begin().picture(TRAIL_R, 5).pps(5, 0).picture(TRAIL_R, 5); }, "PPS 5 at 4"},
    {"a PPS id that no PPS has", [](CStream& s) { s.begin().picture(TRAIL_R, 64); }, "PPS 0 at 4"},
    {"an SPS that is not there", [](CStream& s) { s.begin().pps(1, 7).picture(IDR_W_RADL, 1); }, "SPS 7 at 5"},
    {"an SPS that comes late",
     [](CStream& s) { s.vps(0).pps(0, 0).sps(0, 0).picture(IDR_W_RADL, 0); }, ""},
    {"a PPS whose SPS never comes", [](CStream& s) { s.begin().pps(1, 7); }, "PPS 1 at 4"},
    {"an SPS whose VPS never comes", [](CStream& s) { s.begin().sps(1, 9); }, "SPS 1 at 4"},
    {"an SPS whose VPS comes late",
     [](CStream& s) { s.sps(0, 3).pps(0, 0).vps(3).picture(IDR_W_RADL, 0); }, ""},
    {"ids that no set has", [](CStream& s) { s.begin().sps(16, 0).pps(64, 0).pps(1, 16); }, ""},
    {"slices that are cut", [](CStream& s) { s.begin().unit(TRAIL_R).unit(TRAIL_R, "00000000"); }, ""},
    {"an id of 33 zero bits", [](CStream& s) { s.begin().unit(TRAIL_R, "1" + std::string(33, '0') + "11111111"); }, ""},
    {"reserved slices are passed over", [](CStream& s) { s.begin().picture(10, 9).picture(22, 9).picture(23, 9); }, ""},
    {"an SPS of another layer in front of its IDR picture",
     [](CStream& s) { s.begin().sps(1, 0, 0, 1).pps(1, 1, 0, 1).picture(IDR_W_RADL, 1, 1).picture(TRAIL_R, 0)
                       .sps(1, 0, 1, 1).picture(IDR_W_RADL, 1, 1); }, ""},
    {"an SPS of another layer in front of a trailing picture",
     [](CStream& s) { s.begin().sps(1, 0, 0, 1).pps(1, 1, 0, 1).picture(IDR_W_RADL, 1, 1).picture(TRAIL_R, 0)
                       .sps(1, 0, 1, 1).picture(TRAIL_R, 1, 1); }, "SPS 1 at 8"},
    {"a layer begins anew with the base layer",
     [](CStream& s) { s.begin().sps(1, 0, 0, 1).pps(1, 1, 0, 1).picture(IDR_W_RADL, 1, 1).picture(IDR_W_RADL, 0)
                       .sps(1, 0, 1, 1).picture(TRAIL_R, 1, 1); }, ""},
    {"a picture of a PPS of a higher layer", [](CStream& s) { s.begin().pps(1, 0, 0, 1).picture(TRAIL_R, 1).picture(TRAIL_R, 1); }, "PPS 1 at 4"},
    {"a picture of an SPS of a higher layer", [](CStream& s) { s.begin().sps(1, 0, 0, 1).pps(1, 1).picture(IDR_W_RADL, 1); }, "SPS 1 at 4"},
    {"a PPS of two layers", [](CStream& s) { s.begin().pps(0, 0, 0, 1).picture(TRAIL_R, 0).pps(1, 0, 0, 1).pps(1, 0).picture(TRAIL_R, 1); }, ""},
    {"another PPS of a higher layer", [](CStream& s) { s.begin().pps(0, 0, 1, 1).picture(TRAIL_R, 0); }, "PPS 0 at 4"},
    {"a PPS in use by another layer's picture",
     [](CStream& s) { s.begin().picture(IDR_W_RADL, 0, 1).pps(0, 0, 1).slice(IDR_W_RADL, 0, false, 1); }, "PPS 0 at 5"},
};
// clang-format on

TEST(ActiveSets, AreWatchedFromPictureToPicture)
{
    for (const Case& c : CASES) {
        SCOPED_TRACE(c.pName);
        CStream stream;
        c.pTell(stream);
        EXPECT_EQ(stream.told(), c.pTold);
    }
}

TEST(ActiveSets, NameTheElementThatNamesWhatNeverComes)
{
    CStream stream;
    stream.begin().sps(3, 9).pps(5, 7);
    ASSERT_EQ(stream.told(), "PPS 5 at 5, SPS 3 at 4");
    const Finding& pps = stream.sets().findings()[0].finding;
    EXPECT_EQ(pps.element, "pps_seq_parameter_set_id");
    EXPECT_EQ(pps.iValue, 7);
    EXPECT_EQ(pps.ulBit, 5U); // behind ue( 5 )
    const Finding& sps = stream.sets().findings()[1].finding;
    EXPECT_EQ(sps.element, "sps_video_parameter_set_id");
    EXPECT_EQ(sps.iValue, 9);
    EXPECT_EQ(sps.ulBit, 0U);
}

TEST(ActiveSets, CountWhatExceedsTheirRoom)
{
    CStream stream;
    stream.begin();
    for (unsigned i = 0; i < CActiveSets::MAX_FINDINGS + 5; ++i)
        stream.picture(TRAIL_R, 64);
    EXPECT_EQ(stream.sets().findings().size(), CActiveSets::MAX_FINDINGS);
    EXPECT_EQ(stream.sets().dropped(), 5U);
}

// 4.2: NAL units between start codes.
template <class TTake>
void forEachNalUnit(std::span<const unsigned char> bytes, TTake take)
{
    const auto startCode = [&](std::size_t i) {
        while (i + 3 <= bytes.size() && (bytes[i] != 0 || bytes[i + 1] != 0 || bytes[i + 2] != 1))
            ++i;
        return i + 3 <= bytes.size() ? i : bytes.size();
    };
    for (std::size_t i = startCode(0); i < bytes.size();) {
        const std::size_t uiBegin = i + 3;
        i = startCode(uiBegin);
        std::size_t uiEnd = i;
        while (uiEnd > uiBegin && bytes[uiEnd - 1] == 0)
            --uiEnd;
        take(bytes.subspan(uiBegin, uiEnd - uiBegin), uiBegin);
    }
}

TEST(ActiveSets, FindNothingInStreamsOfEncoders)
{
    for (const std::string& name : syntaxStreamNames()) {
        SCOPED_TRACE(name);
        if (name.starts_with("malformed") || name.starts_with("syn_"))
            continue;
        const SyntaxStream stream = syntaxStream(name);
        CActiveSets sets;
        unsigned uiSlices = 0;
        forEachNalUnit(stream.bytes, [&](std::span<const unsigned char> bytes, std::uint64_t ulOffset) {
            const CNalUnit nalUnit(bytes);
            VideoParameterSet vps;
            SequenceParameterSet sps;
            PictureParameterSet pps;
            switch (nalUnit.header().nal_unit_type) {
            case VPS_NUT:
                read(vps, nalUnit);
                return sets.onSet(vps, nalUnit, ulOffset);
            case SPS_NUT:
                read(sps, nalUnit);
                return sets.onSet(sps, nalUnit, ulOffset);
            case PPS_NUT:
                read(pps, nalUnit);
                return sets.onSet(pps, nalUnit, ulOffset);
            default:
                uiSlices += nalUnit.header().nal_unit_type < 32 ? 1 : 0;
                sets.onNalUnit(bytes, ulOffset);
            }
        });
        sets.onEnd();
        EXPECT_GT(uiSlices, 0U);
        for (const SetFinding& found : sets.findings())
            ADD_FAILURE() << found.ulOffset << ": " << found.finding.message;
    }
}

} // namespace
} // namespace active_sets_test
