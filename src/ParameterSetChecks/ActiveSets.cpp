#include "ActiveSets.h"

#include <algorithm>
#include <bit>
#include <string>
#include <utility>

namespace h265_syntax {

namespace {

// Table 7-1
constexpr unsigned RASL_R = 9; // the last of the slices that begin no sequence
constexpr unsigned BLA_W_LP = 16;
constexpr unsigned IDR_N_LP = 20;
constexpr unsigned CRA_NUT = 21;
constexpr unsigned RSV_IRAP_VCL23 = 23;
constexpr unsigned EOS_NUT = 36;
constexpr unsigned EOB_NUT = 37;

bool isSlice(unsigned nal_unit_type)
{
    return nal_unit_type <= RASL_R || (nal_unit_type >= BLA_W_LP && nal_unit_type <= CRA_NUT);
}

// FNV-1a
std::uint64_t hashOf(std::span<const unsigned char> bytes)
{
    std::uint64_t ulHash = 0xcbf29ce484222325;
    for (const unsigned char c : bytes)
        ulHash = (ulHash ^ c) * 0x100000001b3;
    return ulHash;
}

// Of what tiles_fixed_structure_flag fixes, E.3.1.
std::uint64_t hashOfTiles(const PictureParameterSet& s)
{
    if (s.stop || !s.tiles_enabled_flag)
        return 0;
    std::uint64_t ulHash = 0xcbf29ce484222325;
    const auto add = [&](std::uint64_t ulValue) { ulHash = (ulHash ^ ulValue) * 0x100000001b3; };
    add(s.num_tile_columns_minus1);
    add(s.num_tile_rows_minus1);
    add(s.uniform_spacing_flag ? 1 : 0);
    add(s.loop_filter_across_tiles_enabled_flag ? 1 : 0);
    for (std::size_t i = 0;
         !s.uniform_spacing_flag && i < s.num_tile_columns_minus1 && i < s.column_width_minus1.size();
         ++i)
        add(s.column_width_minus1[i]);
    for (std::size_t i = 0; !s.uniform_spacing_flag && i < s.num_tile_rows_minus1 && i < s.row_height_minus1.size();
         ++i)
        add(s.row_height_minus1[i]);
    return ulHash;
}

const char* nameOf(unsigned nal_unit_type)
{
    return nal_unit_type == VPS_NUT ? "VPS" : nal_unit_type == SPS_NUT ? "SPS" : "PPS";
}

unsigned codeBits(unsigned uiValue)
{
    return 2 * static_cast<unsigned>(std::bit_width(uiValue + 1)) - 1;
}

// The beginning of slice_segment_header( ), 7.3.6.1.
struct SliceStart
{
    bool bWhole = false;
    bool first_slice_segment_in_pic_flag = false;
    std::uint64_t slice_pic_parameter_set_id = 0;
};

SliceStart readSliceStart(std::span<const unsigned char> rbsp, unsigned nal_unit_type)
{
    std::size_t uiPos = 0;
    bool bEnds = false;
    const auto bit = [&]() -> unsigned {
        bEnds = bEnds || uiPos / 8 >= rbsp.size();
        if (bEnds)
            return 0;
        const unsigned uiBit = rbsp[uiPos / 8] >> (7 - uiPos % 8) & 1U;
        ++uiPos;
        return uiBit;
    };
    SliceStart start;
    start.first_slice_segment_in_pic_flag = bit() != 0;
    if (nal_unit_type >= BLA_W_LP && nal_unit_type <= RSV_IRAP_VCL23)
        (void)bit(); // no_output_of_prior_pics_flag
    unsigned leadingZeroBits = 0;
    while (!bEnds && bit() == 0)
        ++leadingZeroBits;
    if (leadingZeroBits > 32)
        return start;
    std::uint64_t ulCode = 1;
    for (unsigned i = 0; i < leadingZeroBits; ++i)
        ulCode = ulCode << 1 | bit();
    start.slice_pic_parameter_set_id = ulCode - 1;
    start.bWhole = !bEnds;
    return start;
}

} // namespace

void CActiveSets::hold(Held& held, const CNalUnit& nalUnit, std::uint64_t ulOffset)
{
    const std::uint64_t ulHash = hashOf(nalUnit.rbsp());
    const bool bOther = held.bThere && (held.ulHash != ulHash || held.uiBytes != nalUnit.rbsp().size());
    if (bOther && !held.bChanged) {
        held.bChanged = true;
        held.ulChangedAt = ulOffset;
    }
    // The same in several layers is as good as that of the lowest.
    const unsigned uiLayer = nalUnit.header().nuh_layer_id;
    held.uiLayer = held.bThere && !bOther ? std::min(held.uiLayer, uiLayer) : uiLayer;
    held.ulVersion += bOther ? 1 : 0;
    held.bThere = true;
    held.bTold = false;
    held.ulHash = ulHash;
    held.uiBytes = nalUnit.rbsp().size();
    held.ulOffset = ulOffset;
}

void CActiveSets::activate(Active& active, unsigned uiId, Held& held)
{
    active = {true, uiId, held.ulVersion};
    held.bChanged = false;
}

void CActiveSets::want(Wanted& wanted, bool bThere, unsigned uiBy, std::uint64_t ulOffset)
{
    if (!bThere && !wanted.bAny)
        wanted = {true, uiBy, ulOffset};
}

void CActiveSets::onSet(const VideoParameterSet& set, const CNalUnit& nalUnit, std::uint64_t ulOffset)
{
    const unsigned uiId = set.vps_video_parameter_set_id & 15U;
    hold(m_aVps[uiId], nalUnit, ulOffset);
    m_aWantedVps[uiId].bAny = false;
}

void CActiveSets::onSet(const SequenceParameterSet& set, const CNalUnit& nalUnit, std::uint64_t ulOffset)
{
    const unsigned uiId = set.sps_seq_parameter_set_id;
    const unsigned uiVps = set.sps_video_parameter_set_id & 15U;
    if (uiId >= VPS_AND_SPS_IDS)
        return;
    hold(m_aSps[uiId], nalUnit, ulOffset);
    m_aSps[uiId].uiRefersTo = uiVps;
    m_aSps[uiId].tiles_fixed_structure_flag = !set.stop && set.vui_parameters_present_flag &&
                                              set.vui_parameters.bitstream_restriction_flag &&
                                              set.vui_parameters.tiles_fixed_structure_flag;
    m_aWantedSps[uiId].bAny = false;
    want(m_aWantedVps[uiVps], m_aVps[uiVps].bThere, uiId, ulOffset);
}

void CActiveSets::onSet(const PictureParameterSet& set, const CNalUnit& nalUnit, std::uint64_t ulOffset)
{
    const unsigned uiId = set.pps_pic_parameter_set_id;
    const unsigned uiSps = set.pps_seq_parameter_set_id;
    if (uiId >= PPS_IDS || uiSps >= VPS_AND_SPS_IDS)
        return;
    hold(m_aPps[uiId], nalUnit, ulOffset);
    m_aPps[uiId].uiRefersTo = uiSps;
    m_aPps[uiId].bParallelismTold = false;
    m_aPps[uiId].parallelism = {
        !set.stop, set.tiles_enabled_flag, set.entropy_coding_sync_enabled_flag, hashOfTiles(set)};
    want(m_aWantedSps[uiSps], m_aSps[uiSps].bThere, uiId, ulOffset);
}

std::optional<PictureSets> CActiveSets::onNalUnit(std::span<const unsigned char> nalUnit, std::uint64_t ulOffset)
{
    if (nalUnit.size() < 2)
        return std::nullopt;
    m_slice.assign(nalUnit.first(std::min(nalUnit.size(), BYTES_OF_SLICE)));
    const NalUnitHeader& header = m_slice.header();
    if (isSlice(header.nal_unit_type))
        return onSlice(header, m_slice.rbsp(), ulOffset);
    if (header.nal_unit_type == EOS_NUT && header.nuh_layer_id != 0)
        m_aLayers[header.nuh_layer_id].bSequenceEnded = true;
    else if (header.nal_unit_type == EOS_NUT || header.nal_unit_type == EOB_NUT)
        for (Layer& layer : m_aLayers)
            layer.bSequenceEnded = true;
    return std::nullopt;
}

std::optional<PictureSets> CActiveSets::onSlice(const NalUnitHeader& header, std::span<const unsigned char> rbsp,
                                                std::uint64_t ulOffset)
{
    const SliceStart start = readSliceStart(rbsp, header.nal_unit_type);
    if (!start.bWhole)
        return std::nullopt; // damaged, or fewer bytes than asked for
    if (start.slice_pic_parameter_set_id >= PPS_IDS) {
        error(PPS_NUT,
              0,
              ulOffset,
              say("a slice names PPS ", start.slice_pic_parameter_set_id, "; the ids end at 63"),
              "7.4.7.1");
        return std::nullopt;
    }
    const auto uiPps = static_cast<unsigned>(start.slice_pic_parameter_set_id);
    Layer& layer = m_aLayers[header.nuh_layer_id];
    if (!start.first_slice_segment_in_pic_flag && layer.pps.bAny) {
        goOn(layer.pps, m_aPps[layer.pps.uiId], PPS_NUT);
        if (uiPps != layer.pps.uiId && m_aPps[uiPps].bThere) {
            error(PPS_NUT,
                  uiPps,
                  ulOffset,
                  say("a slice names PPS ", uiPps, " inside a picture of PPS ", layer.pps.uiId),
                  "7.4.7.1");
            activate(layer.pps, uiPps, m_aPps[uiPps]);
        }
    }
    if (start.first_slice_segment_in_pic_flag || !m_aPps[uiPps].bThere)
        return onPicture(header, uiPps, ulOffset);
    return std::nullopt;
}

// IRAP pictures with NoRaslOutputFlag equal to 1, 8.1.3: what the picture itself does not say follows from what
// stands in front of it. A layer begins anew with the layer that it is coded against.
bool CActiveSets::beginsSequence(const NalUnitHeader& header, const Layer& layer) const
{
    const bool bIdrOrBla = header.nal_unit_type >= BLA_W_LP && header.nal_unit_type <= IDR_N_LP;
    return bIdrOrBla || layer.bSequenceEnded || (header.nuh_layer_id != 0 && layer.ulSequence != m_ulSequence);
}

// The first slice of a picture.
std::optional<PictureSets> CActiveSets::onPicture(const NalUnitHeader& header, unsigned uiPps, std::uint64_t ulOffset)
{
    Layer& layer = m_aLayers[header.nuh_layer_id];
    Held& pps = m_aPps[uiPps];
    layer.pps.bAny = false;
    if (!pps.bThere) {
        if (!std::exchange(pps.bTold, true))
            notCome(PPS_NUT, uiPps, ulOffset, say("a slice names PPS ", uiPps, ", which has not come"));
        return std::nullopt;
    }
    activate(layer.pps, uiPps, pps);
    const unsigned uiSps = pps.uiRefersTo;
    Held& sps = m_aSps[uiSps];
    if (!sps.bThere) {
        if (!std::exchange(sps.bTold, true))
            notCome(SPS_NUT,
                    uiSps,
                    ulOffset,
                    say("a slice needs SPS ", uiSps, " of its PPS ", uiPps, ", which has not come"));
        return std::nullopt;
    }
    checkLayer(header, pps, PPS_NUT, uiPps);
    checkLayer(header, sps, SPS_NUT, uiSps);
    const bool bBegins = beginsSequence(header, layer);
    if (bBegins && header.nuh_layer_id == 0) {
        ++m_ulSequence;
        activate(m_activeVps, sps.uiRefersTo, m_aVps[sps.uiRefersTo]);
    } else if (header.nuh_layer_id == 0 && m_activeVps.bAny) {
        goOn(m_activeVps, m_aVps[m_activeVps.uiId], VPS_NUT);
    }
    layer.ulSequence = m_ulSequence;
    layer.bSequenceEnded = false;
    if (bBegins)
        layer.parallelism = {};
    checkParallelism(layer, uiPps, pps, sps);
    if (bBegins || !layer.sps.bAny)
        activate(layer.sps, uiSps, sps);
    else
        goOnWithSps(layer, uiSps, uiPps, ulOffset);
    return PictureSets{uiSps, uiPps};
}

// What is left when higher layers are taken out of the stream has to have its sets.
void CActiveSets::checkLayer(const NalUnitHeader& header, Held& held, unsigned nal_unit_type, unsigned uiId)
{
    if (held.uiLayer <= header.nuh_layer_id)
        return;
    error(nal_unit_type,
          uiId,
          held.ulOffset,
          say("a picture of layer ",
              header.nuh_layer_id,
              " uses ",
              nameOf(nal_unit_type),
              " ",
              uiId,
              " of layer ",
              held.uiLayer,
              ", which decoders of its layer do not have"),
          "F.7.4.1.4.1");
    held.uiLayer = 0; // told once
}

// Each PPS that is used in a coded video sequence, against the first one.
void CActiveSets::checkParallelism(Layer& layer, unsigned uiPps, Held& pps, const Held& sps)
{
    const Parallelism& first = layer.parallelism;
    const Parallelism& now = pps.parallelism;
    if (!now.bKnown || pps.bParallelismTold)
        return;
    if (!first.bKnown) {
        layer.uiPpsOfSequence = uiPps;
        layer.parallelism = now;
        return;
    }
    const bool bTiles = first.tiles_enabled_flag != now.tiles_enabled_flag;
    const bool bSync = first.entropy_coding_sync_enabled_flag != now.entropy_coding_sync_enabled_flag;
    pps.bParallelismTold = bTiles || bSync || (sps.tiles_fixed_structure_flag && first.ulTiles != now.ulTiles);
    if (bTiles || bSync)
        error(PPS_NUT,
              uiPps,
              pps.ulOffset,
              say("PPS ",
                  uiPps,
                  " and ",
                  layer.uiPpsOfSequence,
                  " of one coded video sequence differ in ",
                  bTiles ? "tiles_enabled_flag" : "entropy_coding_sync_enabled_flag"),
              "7.4.3.3.1");
    else if (pps.bParallelismTold)
        error(PPS_NUT,
              uiPps,
              pps.ulOffset,
              say("PPS ",
                  uiPps,
                  " and ",
                  layer.uiPpsOfSequence,
                  " have other tiles, tiles_fixed_structure_flag of the SPS promises the same in all pictures"),
              "E.3.1");
}

// A picture goes on with the SPS of the one before it.
void CActiveSets::goOnWithSps(Layer& layer, unsigned uiSps, unsigned uiPps, std::uint64_t ulOffset)
{
    goOn(layer.sps, m_aSps[layer.sps.uiId], SPS_NUT);
    if (uiSps == layer.sps.uiId)
        return;
    error(SPS_NUT,
          uiSps,
          ulOffset,
          say("a picture uses SPS ",
              uiSps,
              " (of PPS ",
              uiPps,
              ") inside a coded video sequence of SPS ",
              layer.sps.uiId));
    activate(layer.sps, uiSps, m_aSps[uiSps]);
}

// A set stays in use: it must be what it was.
void CActiveSets::goOn(Active& active, Held& held, unsigned nal_unit_type)
{
    if (held.ulVersion == active.ulVersion)
        return;
    error(nal_unit_type,
          active.uiId,
          held.ulChangedAt,
          say(nameOf(nal_unit_type),
              " ",
              active.uiId,
              nal_unit_type == PPS_NUT ? " is sent with other content inside a picture that uses it"
                                       : " is sent with other content inside the coded video sequence that uses it; a "
                                         "new one begins with an IDR or BLA picture, or behind an end of sequence"));
    activate(active, active.uiId, held);
}

void CActiveSets::onEnd()
{
    for (unsigned i = 0; i < VPS_AND_SPS_IDS; ++i) {
        const Wanted& vps = m_aWantedVps[i];
        if (vps.bAny)
            neverCame(SPS_NUT,
                      vps,
                      Blamed("sps_video_parameter_set_id", i),
                      0,
                      say("SPS ", vps.uiBy, " names VPS ", i, ", which never comes"));
        const Wanted& sps = m_aWantedSps[i];
        if (sps.bAny && !m_aSps[i].bTold)
            neverCame(PPS_NUT,
                      sps,
                      Blamed("pps_seq_parameter_set_id", i),
                      codeBits(sps.uiBy),
                      say("PPS ", sps.uiBy, " names SPS ", i, ", which never comes"));
    }
}

void CActiveSets::neverCame(unsigned nal_unit_type, const Wanted& wanted, const Blamed& blamed, std::uint64_t ulBit,
                            std::string message)
{
    SetFinding found{nal_unit_type, wanted.uiBy, wanted.ulOffset, {}};
    found.finding.clause = "7.4.2.4.2";
    found.finding.element = blamed.pName;
    found.finding.ulBit = ulBit;
    found.finding.iValue = blamed.iValue;
    found.finding.message = std::move(message);
    add(std::move(found));
}

void CActiveSets::notCome(unsigned nal_unit_type, unsigned uiId, std::uint64_t ulOffset, std::string message)
{
    SetFinding found{nal_unit_type, uiId, ulOffset, {}, true};
    found.finding.clause = "7.4.2.4.2";
    found.finding.message = std::move(message);
    add(std::move(found));
}

void CActiveSets::error(unsigned nal_unit_type, unsigned uiId, std::uint64_t ulOffset, std::string message,
                        const char* pClause)
{
    SetFinding found{nal_unit_type, uiId, ulOffset, {}};
    found.finding.clause = pClause;
    found.finding.message = std::move(message);
    add(std::move(found));
}

void CActiveSets::add(SetFinding finding)
{
    if (m_findings.size() < MAX_FINDINGS)
        m_findings.push_back(std::move(finding));
    else
        ++m_uiDropped;
}

} // namespace h265_syntax
