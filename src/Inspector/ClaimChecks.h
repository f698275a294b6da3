#pragma once

/// \file What a container claims about a track, held against the track's parameter sets.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "ContainerSink.h"
#include "Finding.h"
#include "H265psExport.h"

namespace H265PS_EXPORT h265_inspect {

/// A claim that the sets do not bear out. The finding blames the element of the set and has its value; what the
/// claim leaves it stands in allowed. Where no element of a set answers to it, the field of the claim is blamed.
struct ClaimFinding
{
    h265_syntax::Finding finding;          // clause: with the standard in front, "14496-15 8.3.2.1.1"
    std::string box;                       // path of the box, element or descriptor that claims it
    std::optional<std::uint64_t> ulOffset; // its byte in the file
};

/// Is told the claims and the NAL units of one track, in their order, and compares them. An error is what
/// ISO/IEC 14496-12, 14496-15, 23008-12 and ITU-T H.222.0 forbid, a warning what players take differently. What
/// is wrong with the container alone its reader tells. Sets of layer 0 are looked at that can be read whole.
class CClaimChecks
{
public:
    static constexpr std::size_t MAX_FINDINGS = 1000;

    CClaimChecks();
    ~CClaimChecks();
    CClaimChecks(const CClaimChecks&) = delete;
    CClaimChecks& operator=(const CClaimChecks&) = delete;

    /// Again when they change, and for each sample description.
    void onClaims(const h265_container::ContainerClaims& claims);
    /// Every NAL unit of the track, repeats included.
    void onNalUnit(const h265_container::ContainerUnit& unit);
    /// Nothing more comes: tells what all sets together do not bear out.
    void onEnd();

    /// What was found since this was last asked, each finding once. Beyond MAX_FINDINGS nothing is told.
    std::span<const ClaimFinding> newFindings();

private:
    struct State;
    std::unique_ptr<State> m_pState;
};

} // namespace h265_inspect
