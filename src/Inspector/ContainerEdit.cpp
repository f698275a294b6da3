#include "ContainerEdit.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>
#include <utility>

#include "ClaimChecks.h"
#include "EditedSets.h"
#include "IsoBaseMedia.h"
#include "Matroska.h"
#include "MatroskaEdit.h"
#include "MovieEdit.h"
#include "NalUnitFinder.h"
#include "RecordEdit.h"

namespace h265_inspect {

using namespace h265_container;

namespace {

using Bytes = std::vector<unsigned char>;

std::string setName(const ContainerUnit& unit)
{
    constexpr const char* NAMES[] = {"a VPS", "an SPS", "a PPS"};
    return NAMES[unit.header.nal_unit_type - h265_stream::VPS_NUT];
}

// What the file holds: its sets as they become, and where records stand.
class CSetsOfFile : public CContainerSink
{
public:
    CSetsOfFile(const EditOptions& options, EditOutcome& outcome) : m_sets(options, outcome), m_outcome(outcome) {}

    void onTrack(const ContainerTrack& track) override
    {
        m_uiTracks += track.bIsH265 ? 1 : 0;
        m_bImage = m_bImage || (track.bIsH265 && track.eKind == ETrackKind::Image);
    }
    void onClaims(const ContainerClaims& claims) override
    {
        for (const auto* const pClaim : {&claims.hvcC, &claims.lhvC}) {
            if (*pClaim && (*pClaim)->ulOffset)
                m_records.emplace(*(*pClaim)->ulOffset, (*pClaim)->value.eBox);
        }
    }
    bool onNalUnit(const ContainerUnit& unit) override
    {
        if (h265_stream::isParameterSet(unit.header.nal_unit_type))
            take(unit);
        return true;
    }
    void onFinding(const ContainerFinding& finding) override
    {
        if (finding.bUnread && m_unread.empty())
            m_unread = finding.message;
    }

    void finish() const { m_sets.finish(); }

    unsigned m_uiTracks = 0;
    bool m_bImage = false;                                // the H.265 is an item's
    std::string m_unread;                                 // why the file is not read to its end
    std::map<std::uint64_t, EConfigurationBox> m_records; // by the offset of their content
    EditedUnits m_inRecords;
    EditedUnits m_inSamples; // of the size that they have

private:
    // Sets that cannot be written are told a few times.
    static constexpr std::size_t MAX_TOLD = 8;

    void take(const ContainerUnit& unit)
    {
        const std::uint64_t ulOffset = unit.ulOffset.value_or(0);
        const auto bytes = m_sets.take({unit.header, ulOffset, unit.ulSize, unit.bytes}, true);
        if (std::ranges::equal(bytes, unit.bytes))
            return;
        if (!unit.ulOffset)
            cannot(0,
                   setName(unit) + " of " + placeText(unit.place) +
                       " cannot be replaced: its bytes do not stand so in the file, but packed");
        else if (!unit.place.configuration.empty())
            m_inRecords[ulOffset].assign(bytes.begin(), bytes.end());
        else if (bytes.size() != unit.ulSize)
            cannot(ulOffset,
                   setName(unit) + " of " + placeText(unit.place) + " would have " + std::to_string(bytes.size()) +
                       " bytes instead of " + std::to_string(unit.ulSize) +
                       "; among the samples a set can only be replaced by one of the same size");
        else
            m_inSamples[ulOffset].assign(bytes.begin(), bytes.end());
    }

    void cannot(std::uint64_t ulOffset, std::string text)
    {
        if (m_outcome.impossible.size() < MAX_TOLD)
            m_outcome.impossible.push_back({ulOffset, std::move(text)});
    }

    CEditedSets m_sets;
    EditOutcome& m_outcome;
};

// The claims and what they are held against, as they were and as they become.
class CClaimsOfFile : public CContainerSink
{
public:
    CClaimsOfFile(const CSetsOfFile& sets, const std::map<std::uint64_t, Bytes>& records)
        : m_sets(sets), m_records(records)
    {}

    void onTrack(const ContainerTrack& /*track*/) override {}
    void onClaims(const ContainerClaims& claims) override
    {
        m_before.onClaims(claims);
        ContainerClaims after = claims;
        for (auto* const pClaim : {&after.hvcC, &after.lhvC}) {
            if (!*pClaim || !(*pClaim)->ulOffset)
                continue;
            const auto found = m_records.find(*(*pClaim)->ulOffset);
            if (found == m_records.end())
                continue;
            (*pClaim)->value = readDecoderConfiguration(found->second, (*pClaim)->value.eBox);
            (*pClaim)->value.units.clear();
        }
        m_after.onClaims(after);
    }
    bool onNalUnit(const ContainerUnit& unit) override
    {
        m_before.onNalUnit(unit);
        const Bytes* const pBytes = editedBytes(unit);
        if (pBytes == nullptr)
            m_after.onNalUnit(unit);
        else
            m_after.onNalUnit({unit.place, unit.header, unit.ulOffset, pBytes->size(), *pBytes});
        return true;
    }
    void onFinding(const ContainerFinding& /*finding*/) override {}

    /// What is found of the new file only.
    void tell(EditOutcome& outcome)
    {
        m_before.onEnd();
        m_after.onEnd();
        std::set<std::pair<std::string, std::string>> known;
        for (const ClaimFinding& found : m_before.newFindings())
            known.emplace(found.box, found.finding.element);
        for (const ClaimFinding& found : m_after.newFindings()) {
            if (!known.contains({found.box, found.finding.element}))
                outcome.warnings.push_back({found.ulOffset.value_or(0), found.finding.message});
        }
    }

private:
    [[nodiscard]] const Bytes* editedBytes(const ContainerUnit& unit) const
    {
        if (!unit.ulOffset || !h265_stream::isParameterSet(unit.header.nal_unit_type))
            return nullptr;
        const EditedUnits& units = unit.place.configuration.empty() ? m_sets.m_inSamples : m_sets.m_inRecords;
        const auto found = units.find(*unit.ulOffset);
        return found == units.end() ? nullptr : &found->second;
    }

    const CSetsOfFile& m_sets;
    const std::map<std::uint64_t, Bytes>& m_records;
    CClaimChecks m_before;
    CClaimChecks m_after;
};

void readFile(EFileKind eKind, CRandomSource& source, CContainerSink& sink)
{
    if (eKind == EFileKind::Matroska)
        readMatroska(source, {}, sink);
    else
        readIsoBaseMedia(source, {}, sink);
}

constexpr const char* WHOLE_ONLY = "; only a whole file is changed";

// Why sets that stand in a record, or in its place, are not found there again.
std::string lostReason(EFileKind eKind, const CSetsOfFile& sets)
{
    if (sets.m_bImage)
        return "the sets stand where they cannot be replaced: only the tracks of movies and of Matroska files are "
               "written, no image items";
    if (!sets.m_unread.empty())
        return sets.m_unread + WHOLE_ONLY;
    if (eKind == EFileKind::Matroska && sets.m_records.empty())
        return "CodecPrivate is no hvcC record: its sets cannot be replaced";
    return "the record that holds the sets cannot be found again, or is damaged";
}

// Plans a file: the records, whose content is kept for the claims.
template <class TEdit>
std::string planFile(EFileKind eKind, TEdit& edit, const CSetsOfFile& sets, std::map<std::uint64_t, Bytes>& contents,
                     CFilePatches& patches)
{
    std::vector<ReplacedRecord> records;
    std::size_t uiReplaced = 0;
    for (const auto& [ulOffset, eBox] : sets.m_records) {
        const Bytes content = edit.recordAt(ulOffset);
        EditedRecord edited = editRecord(content, eBox, ulOffset, sets.m_inRecords);
        if (!edited.reason.empty())
            return edited.reason;
        uiReplaced += edited.uiReplaced;
        if (edited.content == content)
            continue;
        contents[ulOffset] = edited.content;
        records.push_back({ulOffset, std::move(edited.content)});
    }
    if (uiReplaced != sets.m_inRecords.size())
        return lostReason(eKind, sets);
    for (const auto& [ulOffset, bytes] : sets.m_inSamples)
        patches.replace(ulOffset, bytes.size(), bytes);
    return edit.plan(records, patches);
}

} // namespace

EditOutcome editContainer(EFileKind eKind, CRandomSource& source, const EditOptions& options, CEditOutput& output)
{
    EditOutcome outcome;
    CSetsOfFile sets(options, outcome);
    readFile(eKind, source, sets);
    if (sets.m_uiTracks > 1)
        outcome.impossible.push_back(
            {0, "it has " + std::to_string(sets.m_uiTracks) + " tracks of H.265; only files with one are written"});
    else if (sets.m_uiTracks == 1)
        sets.finish();
    if (!outcome.refusals.empty() || !outcome.impossible.empty() || outcome.ulParameterSets == 0)
        return outcome;

    CFilePatches patches;
    std::map<std::uint64_t, Bytes> records;
    CMovieEdit movie(source);
    CMatroskaEdit matroska(source);
    const bool bChanged = !sets.m_inRecords.empty() || !sets.m_inSamples.empty();
    if (bChanged) {
        std::string reason = eKind == EFileKind::Matroska ? planFile(eKind, matroska, sets, records, patches)
                                                          : planFile(eKind, movie, sets, records, patches);
        // What reaches beyond the end of the file would reach into what is written there.
        if (reason.empty() && !movie.keepsSize() && !sets.m_unread.empty())
            reason = sets.m_unread + WHOLE_ONLY;
        if (!reason.empty()) {
            outcome.impossible.push_back({0, std::move(reason)});
            return outcome;
        }
        CClaimsOfFile claims(sets, records);
        readFile(eKind, source, claims);
        claims.tell(outcome);
    }
    if (eKind == EFileKind::Matroska)
        patches.write(source, 0, source.size().value_or(0), output);
    else
        movie.write(patches, output);
    return outcome;
}

} // namespace h265_inspect
