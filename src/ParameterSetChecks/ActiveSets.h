#pragma once

/// \file The parameter sets of a stream among each other: which are active, and which are missing.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "Finding.h"
#include "H265psExport.h"
#include "ParameterSetSyntax.h"

namespace H265PS_EXPORT h265_syntax {

/// What is wrong with a set in its stream.
struct SetFinding
{
    unsigned nal_unit_type = 0; // VPS_NUT, SPS_NUT or PPS_NUT
    unsigned uiId = 0;          // of the set
    std::uint64_t ulOffset = 0; // of its NAL unit; of the slice that needs a set that is not there
    Finding finding;
    bool bNotCome = false; // a slice needs the set, and it has not come
};

/// The ids of what a picture uses.
struct PictureSets
{
    unsigned uiSps = 0;
    unsigned uiPps = 0;
};

/// 7.4.2.4.2: a parameter set becomes active with the picture that first uses it, and while it is no other
/// content may be sent under its id: a PPS stays to the end of its picture, SPS and VPS to the end of the
/// coded video sequence. This is told the NAL units of a stream one after another, and keeps ids and hashes
/// only: its memory does not grow with the stream.
class CActiveSets
{
public:
    static constexpr std::size_t MAX_FINDINGS = 1000;

    /// A set whose ids were read, with its NAL unit. Ids that no set may have are passed over.
    void onSet(const VideoParameterSet& set, const CNalUnit& nalUnit, std::uint64_t ulOffset);
    void onSet(const SequenceParameterSet& set, const CNalUnit& nalUnit, std::uint64_t ulOffset);
    void onSet(const PictureParameterSet& set, const CNalUnit& nalUnit, std::uint64_t ulOffset);

    /// Any other NAL unit, or its first bytes: of slices BYTES_OF_SLICE tell enough. The sets of the picture that
    /// begins with it; none where none begins, or its sets are not there.
    std::optional<PictureSets> onNalUnit(std::span<const unsigned char> nalUnit, std::uint64_t ulOffset);
    static constexpr std::size_t BYTES_OF_SLICE = 16;

    /// The stream ends: tells which sets name others that never came.
    void onEnd();

    /// What else is found about sets among each other.
    void add(SetFinding finding);

    /// In the order in which they were found. What exceeds MAX_FINDINGS is counted only.
    [[nodiscard]] const std::vector<SetFinding>& findings() const noexcept { return m_findings; }
    [[nodiscard]] std::size_t dropped() const noexcept { return m_uiDropped; }

private:
    static constexpr unsigned LAYERS = 64;
    static constexpr unsigned VPS_AND_SPS_IDS = 16;
    static constexpr unsigned PPS_IDS = 64;

    // What the PPS of a coded video sequence have in common: 7.4.3.3.1, and E.3.1 for the tiles themselves.
    struct Parallelism
    {
        bool bKnown = false;
        bool tiles_enabled_flag = false;
        bool entropy_coding_sync_enabled_flag = false;
        std::uint64_t ulTiles = 0; // hash of the tiles
    };

    // A set by its id. Its version counts the changes of its content.
    struct Held
    {
        bool bThere = false;
        bool bTold = false;       // that it is missing
        bool bChanged = false;    // since it was activated last
        unsigned uiRefersTo = 0;  // the VPS of an SPS, the SPS of a PPS
        unsigned uiLayer = 0;     // nuh_layer_id
        std::uint64_t ulHash = 0; // of its content
        std::size_t uiBytes = 0;  // of its content
        std::uint64_t ulOffset = 0;
        std::uint64_t ulChangedAt = 0; // the first change since then
        std::uint64_t ulVersion = 0;
        Parallelism parallelism;                 // of a PPS
        bool bParallelismTold = false;           // that it is not what the others have
        bool tiles_fixed_structure_flag = false; // of an SPS
    };

    // A set that is in use.
    struct Active
    {
        bool bAny = false;
        unsigned uiId = 0;
        std::uint64_t ulVersion = 0;
    };

    struct Layer
    {
        Active sps;
        Active pps;
        unsigned uiPpsOfSequence = 0;
        Parallelism parallelism;      // of that PPS, the first of the coded video sequence
        bool bSequenceEnded = true;   // the next picture of it is the first, or the first behind an end
        std::uint64_t ulSequence = 0; // the coded video sequence that its last picture was in
    };

    // The first set that names one which has not come.
    struct Wanted
    {
        bool bAny = false;
        unsigned uiBy = 0;
        std::uint64_t ulOffset = 0;
    };

    static void hold(Held& held, const CNalUnit& nalUnit, std::uint64_t ulOffset);
    static void activate(Active& active, unsigned uiId, Held& held);
    static void want(Wanted& wanted, bool bThere, unsigned uiBy, std::uint64_t ulOffset);
    std::optional<PictureSets> onSlice(const NalUnitHeader& header, std::span<const unsigned char> rbsp,
                                       std::uint64_t ulOffset);
    std::optional<PictureSets> onPicture(const NalUnitHeader& header, unsigned uiPps, std::uint64_t ulOffset);
    bool beginsSequence(const NalUnitHeader& header, const Layer& layer) const;
    void checkLayer(const NalUnitHeader& header, Held& held, unsigned nal_unit_type, unsigned uiId);
    void checkParallelism(Layer& layer, unsigned uiPps, Held& pps, const Held& sps);
    void goOn(Active& active, Held& held, unsigned nal_unit_type);
    void goOnWithSps(Layer& layer, unsigned uiSps, unsigned uiPps, std::uint64_t ulOffset);
    void error(unsigned nal_unit_type, unsigned uiId, std::uint64_t ulOffset, std::string message,
               const char* pClause = "7.4.2.4.2");
    void notCome(unsigned nal_unit_type, unsigned uiId, std::uint64_t ulOffset, std::string message);
    void neverCame(unsigned nal_unit_type, const Wanted& wanted, const Blamed& blamed, std::uint64_t ulBit,
                   std::string message);

    std::array<Held, VPS_AND_SPS_IDS> m_aVps;
    std::array<Held, VPS_AND_SPS_IDS> m_aSps;
    std::array<Held, PPS_IDS> m_aPps;
    std::array<Wanted, VPS_AND_SPS_IDS> m_aWantedVps;
    std::array<Wanted, VPS_AND_SPS_IDS> m_aWantedSps;
    std::array<Layer, LAYERS> m_aLayers;
    Active m_activeVps;
    std::uint64_t m_ulSequence = 0;
    CNalUnit m_slice;
    std::vector<SetFinding> m_findings;
    std::size_t m_uiDropped = 0;
};

} // namespace h265_syntax
