#include "SetExport.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <map>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>

#include "ConfigurationSets.h"
#include "DecoderConfiguration.h"
#include "ParameterSetSyntax.h"

namespace h265_inspect {

using namespace h265_container;
using namespace h265_syntax;

namespace {

constexpr std::array<unsigned char, 3> SET_TYPES = {VPS_NUT, SPS_NUT, PPS_NUT};
constexpr std::array<const char*, 3> SET_NAMES = {"VPS", "SPS", "PPS"};

std::string hexOf(std::span<const unsigned char> bytes)
{
    constexpr std::string_view DIGITS = "0123456789abcdef";
    std::string text;
    for (const unsigned char ucByte : bytes) {
        text += DIGITS[ucByte >> 4];
        text += DIGITS[ucByte & 15];
    }
    return text;
}

// RFC 4648 clause 4.
std::string base64Of(std::span<const unsigned char> bytes)
{
    constexpr std::string_view DIGITS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t uiBits = 0;
        for (std::size_t j = i; j < i + 3; ++j)
            uiBits = uiBits << 8 | (j < bytes.size() ? bytes[j] : 0U);
        for (std::size_t j = 0; j < 4; ++j)
            text += i + j <= bytes.size() ? DIGITS[uiBits >> (18 - 6 * j) & 0x3f] : '=';
    }
    return text;
}

// The sets that a record or a line speaks for, and what it has to say of them.
class CBaseLayer
{
public:
    explicit CBaseLayer(ExportedSets& exported) : m_exported(exported)
    {
        for (const unsigned char nal_unit_type : SET_TYPES)
            m_units.push_back({nal_unit_type, true, {}});
    }

    void add(const KeptSet& set)
    {
        if (set.nuh_layer_id != 0) {
            if (std::exchange(m_bLayers, true))
                return;
            m_exported.warnings.push_back(
                "sets of layers above 0 are left out: what is written speaks for the base layer (" + set.place +
                " is the first)");
            return;
        }
        m_nalUnit.assign(set.bytes);
        const std::optional<std::uint32_t> uiId = read(set);
        if (!uiId)
            return;
        UnitsForConfiguration& units = m_units[set.nal_unit_type - VPS_NUT];
        const std::pair key(set.nal_unit_type, *uiId);
        const std::string name = SET_NAMES[set.nal_unit_type - VPS_NUT] + (' ' + std::to_string(*uiId));
        if (!m_first.emplace(key, set.place).second) {
            units.array_completeness = false;
            m_exported.warnings.push_back(name + " changes at " + set.place + ": the first one is written (" +
                                          m_first[key] + "), the stream needs the others too");
            return;
        }
        take();
        units.units.emplace_back(set.bytes);
    }

    // Only those that there are.
    [[nodiscard]] std::vector<UnitsForConfiguration> arrays() const
    {
        std::vector<UnitsForConfiguration> arrays;
        std::ranges::copy_if(m_units, std::back_inserter(arrays), [](const auto& one) { return !one.units.empty(); });
        return arrays;
    }

    std::vector<SpsForConfiguration> m_spss;
    std::vector<PpsForConfiguration> m_ppss;
    std::vector<UnitsForConfiguration> m_units; // VPS, SPS, PPS

private:
    // Whether the set could be read whole.
    template <class TSet>
    bool readAs(const KeptSet& set, TSet& to)
    {
        const bool bWhole = h265_syntax::read(to, m_nalUnit);
        if (!bWhole)
            m_exported.errors.push_back("the " + std::string(SET_NAMES[set.nal_unit_type - VPS_NUT]) + " at " +
                                        set.place + " cannot be read whole: " + to.stop.message());
        return bWhole;
    }

    // The set's id.
    std::optional<std::uint32_t> read(const KeptSet& set)
    {
        m_uiType = set.nal_unit_type;
        switch (m_uiType) {
        case VPS_NUT:
            return readAs(set, m_vps) ? std::optional<std::uint32_t>(m_vps.vps_video_parameter_set_id) : std::nullopt;
        case SPS_NUT:
            return readAs(set, m_sps) ? std::optional(m_sps.sps_seq_parameter_set_id) : std::nullopt;
        default:
            return readAs(set, m_pps) ? std::optional(m_pps.pps_pic_parameter_set_id) : std::nullopt;
        }
    }

    void take()
    {
        if (m_uiType == SPS_NUT)
            m_spss.push_back(forConfiguration(m_sps, m_nalUnit));
        if (m_uiType == PPS_NUT)
            m_ppss.push_back(forConfiguration(m_pps));
    }

    ExportedSets& m_exported;
    CNalUnit m_nalUnit;
    VideoParameterSet m_vps;
    SequenceParameterSet m_sps;
    PictureParameterSet m_pps;
    unsigned m_uiType = 0;                                                  // of the set read last
    bool m_bLayers = false;                                                 // sets of others were left out
    std::map<std::pair<unsigned char, std::uint32_t>, std::string> m_first; // places of what is taken, by type and id
};

void appendText(std::vector<unsigned char>& bytes, std::string_view text)
{
    bytes.insert(bytes.end(), text.begin(), text.end());
}

// The record; none with an error.
std::optional<DecoderConfiguration> configurationOf(ExportedSets& exported, std::span<const SpsForConfiguration> spss,
                                                    std::span<const PpsForConfiguration> ppss,
                                                    std::span<const UnitsForConfiguration> units)
{
    if (!exported.errors.empty())
        return std::nullopt;
    auto made = makeDecoderConfiguration(spss, ppss, units);
    if (auto* const pRecord = std::get_if<DecoderConfiguration>(&made))
        return std::move(*pRecord);
    exported.errors.push_back(std::get<std::string>(made));
    return std::nullopt;
}

void exportHvcC(const CBaseLayer& layer, ExportedSets& exported)
{
    const std::vector<UnitsForConfiguration> arrays = layer.arrays();
    if (const auto record = configurationOf(exported, layer.m_spss, layer.m_ppss, arrays))
        exported.bytes = writeDecoderConfiguration(*record);
}

// RFC 7798 7.1. The profile is that of all SPSs, whose formats may differ here.
void exportSprop(const CBaseLayer& layer, ExportedSets& exported)
{
    std::vector<SpsForConfiguration> spss = layer.m_spss;
    for (SpsForConfiguration& sps : spss)
        sps.chroma_format_idc = sps.bit_depth_luma_minus8 = sps.bit_depth_chroma_minus8 = 0;
    const auto record = configurationOf(exported, spss, {}, {});
    if (!record)
        return;
    std::array<char, 256> text{};
    std::snprintf(text.data(),
                  text.size(),
                  "a=fmtp:96 profile-space=%u; profile-id=%u; tier-flag=%u; level-id=%u; interop-constraints=%012llX; "
                  "profile-compatibility-indicator=%08lX",
                  unsigned{record->general_profile_space},
                  unsigned{record->general_profile_idc},
                  unsigned{record->general_tier_flag},
                  unsigned{record->general_level_idc},
                  static_cast<unsigned long long>(record->general_constraint_indicator_flags),
                  static_cast<unsigned long>(record->general_profile_compatibility_flags));
    appendText(exported.bytes, text.data());
    constexpr std::array<const char*, 3> PARAMETERS = {"; sprop-vps=", "; sprop-sps=", "; sprop-pps="};
    for (const UnitsForConfiguration& array : layer.arrays()) {
        const char* pFront = PARAMETERS[array.NAL_unit_type - VPS_NUT];
        for (const auto unit : array.units) {
            appendText(exported.bytes, pFront);
            appendText(exported.bytes, base64Of(unit));
            pFront = ",";
        }
    }
    exported.bytes.push_back('\n');
}

void exportAll(std::span<const KeptSet> sets, EExportForm eForm, ExportedSets& exported)
{
    for (const KeptSet& set : sets) {
        if (eForm == EExportForm::AnnexB) {
            exported.bytes.insert(exported.bytes.end(), {0, 0, 0, 1});
            exported.bytes.insert(exported.bytes.end(), set.bytes.begin(), set.bytes.end());
        } else {
            appendText(exported.bytes, hexOf(set.bytes));
            appendText(exported.bytes, &set == &sets.back() ? "\n" : ",\n");
        }
    }
}

// 7.4.2.1: what has no emulation prevention is written with it, as it was read; start codes would end it elsewhere.
std::vector<KeptSet> withEmulationPrevention(std::span<const KeptSet> given, ExportedSets& exported)
{
    std::vector<KeptSet> sets(given.begin(), given.end());
    for (KeptSet& set : sets) {
        const CNalUnit nalUnit(set.bytes);
        if (!nalUnit.forbiddenByte())
            continue;
        set.bytes.clear();
        appendNalUnit(set.bytes, nalUnit.header(), nalUnit.rbsp());
        exported.warnings.push_back("the " + std::string(SET_NAMES[set.nal_unit_type - VPS_NUT]) + " at " + set.place +
                                    " lacks emulation prevention bytes: it is written with them");
    }
    return sets;
}

} // namespace

ExportedSets exportSets(std::span<const KeptSet> sets, EExportForm eForm)
{
    ExportedSets exported;
    const std::vector<KeptSet> whole = withEmulationPrevention(sets, exported);
    if (eForm == EExportForm::AnnexB || eForm == EExportForm::Hex) {
        exportAll(whole, eForm, exported);
        return exported;
    }
    CBaseLayer layer(exported);
    for (const KeptSet& set : whole)
        layer.add(set);
    if (eForm == EExportForm::HvcC)
        exportHvcC(layer, exported);
    else
        exportSprop(layer, exported);
    return exported;
}

} // namespace h265_inspect
