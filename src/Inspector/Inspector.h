#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ActiveSets.h"
#include "Finding.h"
#include "H265psExport.h"
#include "NalUnitFinder.h"
#include "ParameterSetEvent.h"
#include "ParameterSetSyntax.h"
#include "StreamGist.h"

/// A stream's parameter sets with place, record, syntax and findings.
namespace H265PS_EXPORT h265_inspect {

/// What is wanted of the sets.
struct InspectOptions
{
    bool bChecks = true;              // findings
    bool bRepeats = false;            // of sets that came before too; else these have neither syntax nor findings
    bool bAlone = false;              // sets without their stream: none counts as missing
    std::string sampleEntry = "hvc1"; // in front of codec strings: the container's, where there is one
};

/// What a parameter set holds, beside its event. Valid until the next one.
struct InspectedSet
{
    // The one of the set's type, as far as it could be read (stop says why no further); null: a repeat.
    const h265_syntax::VideoParameterSet* vps = nullptr;
    const h265_syntax::SequenceParameterSet* sps = nullptr;
    const h265_syntax::PictureParameterSet* pps = nullptr;
    const h265_syntax::CNalUnit* pNalUnit = nullptr;
    std::span<const h265_syntax::Finding> findings; // in the order of the elements
    std::size_t uiMoreFindings = 0;                 // that are counted only
    const SequenceGist* pGist = nullptr;            // of an SPS whose picture size could be read

    [[nodiscard]] bool hasSyntax() const noexcept { return pNalUnit != nullptr; }
    /// Its id, none where it could not be read.
    [[nodiscard]] std::optional<unsigned> id() const noexcept;
    /// Where reading stopped; of a set with syntax.
    [[nodiscard]] const h265_syntax::Stop& stop() const noexcept;
    /// Tells its elements, in coding order, with their places in the NAL unit; nothing without syntax.
    void trace(h265_syntax::CElementSink& sink) const;
};

/// What a stream holds, as far as it came.
struct StreamCounts
{
    std::uint64_t aulSets[3] = {}; // VPS, SPS, PPS of all layers, repeats left out
    std::uint64_t ulErrors = 0;    // findings
    std::uint64_t ulWarnings = 0;
};

/// Is told the events of one stream, one after another. Sets that were met before are recognised and neither
/// read nor checked again. Memory does not grow with the stream.
class CInspector
{
public:
    explicit CInspector(InspectOptions options);
    ~CInspector();
    CInspector(const CInspector&) = delete;
    CInspector& operator=(const CInspector&) = delete;

    InspectedSet onSet(const h265_stream::ParameterSetEvent& event);
    /// A NAL unit that is no parameter set, or a PPS whose event comes later, in its place between the sets: slices
    /// tell which of them are in use.
    void onOtherUnit(const h265_stream::NalUnit& unit);
    /// Nothing more comes: tells what never came.
    void onEnd();

    /// What was found to be wrong with sets among each other since this was last asked; valid until then.
    std::span<const h265_syntax::SetFinding> newSetFindings();

    [[nodiscard]] const StreamCounts& counts() const noexcept { return m_counts; }

private:
    struct Tables;

    bool isInForce(const h265_stream::ParameterSetEvent& event) const noexcept;
    void noteReading(const h265_stream::ParameterSetEvent& event) noexcept;
    void readVps(InspectedSet& set, const h265_stream::ParameterSetEvent& event, bool bCheck, bool bEnter);
    void readSps(InspectedSet& set, const h265_stream::ParameterSetEvent& event, bool bCheck, bool bEnter);
    void readPps(InspectedSet& set, const h265_stream::ParameterSetEvent& event, bool bCheck, bool bEnter);
    void watch(const InspectedSet& set, std::uint64_t ulOffset);
    void holdAgainstVps(unsigned uiSps);
    void holdAgainstSps(unsigned uiPps);
    void watchPps(const h265_stream::NalUnit& unit);
    void count(const InspectedSet& set, const h265_stream::ParameterSetEvent& event, bool bKnown);

    const InspectOptions m_options;
    std::unique_ptr<Tables> m_pTables;
    h265_syntax::CNalUnit m_nalUnit;
    h265_syntax::CFindings m_findings;
    std::optional<std::uint64_t> m_ulWatched;     // the NAL unit watched last
    std::size_t m_uiTold = 0;                     // findings among sets that were asked for
    std::vector<h265_syntax::SetFinding> m_fresh; // those that were asked for last
    StreamCounts m_counts;
    SequenceGist m_gist; // of the last SPS
};

} // namespace h265_inspect
