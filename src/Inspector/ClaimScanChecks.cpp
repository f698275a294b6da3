#include "ClaimScanChecks.h"

#include "ClaimSizeText.h"

namespace h265_inspect {

using namespace h265_syntax;
using namespace h265_container;

namespace {

// Bits of the 48 that begin with general_progressive_source_flag.
constexpr std::uint64_t PROGRESSIVE_SOURCE = std::uint64_t{1} << 47;
constexpr std::uint64_t INTERLACED_SOURCE = std::uint64_t{1} << 46;

const char* scanText(bool bInterlaced)
{
    return bInterlaced ? "interlaced" : "progressive";
}

// An element that says how the pictures are scanned.
struct CodedScan
{
    const char* pStructure;
    const char* pElement;
    bool bInterlaced;
};

// E.3.1, 7.4.4: none where each picture says it for itself, or nothing does.
std::optional<CodedScan> codedScan(const ClaimedSps& sps)
{
    if (sps.gist.bFields)
        return CodedScan{"vui_parameters", "field_seq_flag", true};
    switch (sps.set.profile_tier_level.ulConstraints & (PROGRESSIVE_SOURCE | INTERLACED_SOURCE)) {
    case PROGRESSIVE_SOURCE:
        return CodedScan{"profile_tier_level", "general_progressive_source_flag", false};
    case INTERLACED_SOURCE:
        return CodedScan{"profile_tier_level", "general_interlaced_source_flag", true};
    default:
        return std::nullopt;
    }
}

} // namespace

void checkScan(const Claim<ScanClaim>& claim, const ClaimedSps& sps, CClaimFindings& findings)
{
    const std::optional<CodedScan> coded = codedScan(sps);
    if (!coded)
        return;
    const CBoxChecks checks = CBoxChecks(findings, claim).inside(coded->pStructure);
    SHOULD(claim.value.bInterlaced == coded->bInterlaced,
           Blamed(coded->pElement, 1),
           checks.box() == "fiel" ? "QuickTime fiel" : MATROSKA_CLAUSE,
           "0",
           checks.box(),
           " says ",
           scanText(claim.value.bInterlaced),
           ", ",
           sps.name(),
           " says ",
           scanText(coded->bInterlaced),
           " (",
           coded->pElement,
           " 1); players go by the one or the other");
}

} // namespace h265_inspect
