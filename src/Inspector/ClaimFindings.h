#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ClaimChecks.h"
#include "ContainerClaims.h"
#include "StreamGist.h"
#include "VuiSyntax.h"

namespace h265_inspect {

/// The findings of one track, each once.
class CClaimFindings
{
public:
    void add(ClaimFinding finding);
    std::span<const ClaimFinding> news();

private:
    std::vector<ClaimFinding> m_findings;
    std::set<std::string> m_told;
    std::size_t m_uiAsked = 0;
};

/// The findings about one box: what a check says its lines to, as those of sets do (Finding.h).
class CBoxChecks
{
public:
    template <class T>
    CBoxChecks(CClaimFindings& findings, const h265_container::Claim<T>& claim)
        : m_findings(findings), m_box(claim.box), m_ulOffset(claim.ulOffset)
    {}

    /// The checks of elements of a structure of the set.
    [[nodiscard]] CBoxChecks inside(std::string_view structure) const;

    /// The last name of the box's path: "hvcC".
    [[nodiscard]] std::string_view box() const;

    void error(const h265_syntax::Blamed& blamed, std::string_view clause, std::string allowed,
               std::string message) const;
    void warning(const h265_syntax::Blamed& blamed, std::string_view clause, std::string allowed,
                 std::string message) const;

private:
    void add(h265_syntax::ESeverity eSeverity, const h265_syntax::Blamed& blamed, std::string_view clause,
             std::string allowed, std::string message) const;

    CClaimFindings& m_findings;
    std::string m_box;
    std::optional<std::uint64_t> m_ulOffset;
    std::string m_structure;
};

/// What claims are held against, of profile_tier_level( ).
struct ClaimedProfile
{
    std::uint16_t general_profile_space = 0;
    bool general_tier_flag = false;
    std::uint16_t general_profile_idc = 0;
    std::uint16_t general_level_idc = 0;
    std::uint32_t uiCompatibility = 0; // general_profile_compatibility_flag[0] is bit 31
    std::uint64_t ulConstraints = 0;   // the 48 bits behind them, general_progressive_source_flag is bit 47
};

/// Of an SPS that was read whole. Many of them are kept, and a whole set takes much memory.
struct SpsValues
{
    ClaimedProfile profile_tier_level;
    std::uint32_t sps_seq_parameter_set_id = 0;
    std::uint16_t sps_max_sub_layers_minus1 = 0;
    bool sps_temporal_id_nesting_flag = false;
    std::uint32_t chroma_format_idc = 0;
    std::uint32_t pic_width_in_luma_samples = 0;
    std::uint32_t pic_height_in_luma_samples = 0;
    std::uint32_t bit_depth_luma_minus8 = 0;
    std::uint32_t bit_depth_chroma_minus8 = 0;
    bool vui_parameters_present_flag = false;
    h265_syntax::VuiParameters vui_parameters; // without hrd_parameters( )
    bool sub_pic_hrd_params_present_flag = false;
    std::uint32_t vps_time_scale = 0; // of its VPS
};

/// The values, and what they say together.
struct ClaimedSps
{
    const SpsValues& set;
    const SequenceGist& gist;

    /// "SPS 0"
    [[nodiscard]] std::string name() const;

    /// "SPS 0's VUI", or "the VPS": where the frame rate stands.
    [[nodiscard]] std::string rateHolder() const;

    /// The element that the frame rate comes from, and its structure.
    [[nodiscard]] h265_syntax::Blamed timeScale() const;
    [[nodiscard]] std::string_view timeStructure() const;
};

/// Whether the profile is one that the SPS conforms to: its own, or one that it is compatible with.
bool conformsTo(const ClaimedSps& sps, unsigned general_profile_idc);

/// What several SPSs need, and what all of them keep to.
struct Together
{
    std::uint32_t uiCompatibility = 0xffffffff;
    std::uint64_t ulConstraints = ~std::uint64_t{0};
    unsigned general_level_idc = 0;
    bool general_tier_flag = false;
    unsigned uiSubLayers = 0;
};

Together together(std::span<const ClaimedSps> spss);

/// The clauses that several checks cite.
inline constexpr std::string_view RECORD_CLAUSE = "14496-15 8.3.2.1.1"; // what holds for all sets of a record
inline constexpr std::string_view FIELDS_CLAUSE = "14496-15 8.3.2.1.3"; // what its fields mean
inline constexpr std::string_view ENTRY_CLAUSE = "14496-15 8.4.1.1";    // where a sample entry has its sets

} // namespace h265_inspect
