#include "EditedSets.h"

#include <algorithm>
#include <map>
#include <utility>

#include "CodedAgainst.h"
#include "SetEdit.h"

namespace h265_inspect {

using namespace h265_syntax;

namespace {

bool readIn(VideoParameterSet& set, const CNalUnit& nalUnit, const Context&)
{
    return read(set, nalUnit);
}
bool readIn(SequenceParameterSet& set, const CNalUnit& nalUnit, const Context& context)
{
    return read(set, nalUnit, context);
}
bool readIn(PictureParameterSet& set, const CNalUnit& nalUnit, const Context&)
{
    return read(set, nalUnit);
}

Stop writeIn(VideoParameterSet& set, std::vector<unsigned char>& nalUnit, const Context&)
{
    return write(set, nalUnit);
}
Stop writeIn(SequenceParameterSet& set, std::vector<unsigned char>& nalUnit, const Context& context)
{
    return write(set, nalUnit, context);
}
Stop writeIn(PictureParameterSet& set, std::vector<unsigned char>& nalUnit, const Context&)
{
    return write(set, nalUnit);
}

std::string placeOf(const std::string& name, std::uint64_t ulOffset)
{
    return name + " at byte " + std::to_string(ulOffset);
}

std::string differencePath(const Difference& difference)
{
    return difference.structure.empty() ? difference.name : difference.structure + "." + difference.name;
}

std::string findingPath(const Finding& finding)
{
    return finding.structure.empty() ? finding.element : finding.structure + "." + finding.element;
}

// SEI messages are parsed by what an element says now and what it said before: an absent flag says 0.
bool changesSei(const Difference& difference)
{
    if (!isSeiParsedBy(differencePath(difference)))
        return false;
    if (difference.left && difference.right)
        return *difference.left != *difference.right;
    return difference.name.ends_with("_flag") && difference.left.value_or(0) != difference.right.value_or(0);
}

// What makes a finding the same one in two sets. Where an element is to blame, its value may be another.
std::string keyOf(const Finding& finding)
{
    return finding.clause + '/' + findingPath(finding) + '/' + (finding.element.empty() ? finding.message : "");
}

} // namespace

std::span<const unsigned char> CEditedSets::take(const h265_stream::NalUnit& unit, bool bKept)
{
    ++m_outcome.ulParameterSets;
    switch (unit.header.nal_unit_type) {
    case VPS_NUT:
        return takeSet<VideoParameterSet>(unit, bKept);
    case SPS_NUT:
        return takeSet<SequenceParameterSet>(unit, bKept);
    default:
        return takeSet<PictureParameterSet>(unit, bKept);
    }
}

void CEditedSets::finish() const
{
    for (std::size_t i = 0; i < m_used.size(); ++i) {
        const EditSetting& setting = m_options.settings[i];
        if (m_used[i])
            continue;
        constexpr std::array<const char*, 3> NAMES = {"VPS", "SPS", "PPS"};
        std::string text = setting.text + ": the stream has no " + NAMES.at(setting.nal_unit_type - VPS_NUT);
        text += setting.uiId ? " of id " + std::to_string(*setting.uiId) : std::string(" of layer 0");
        throw CSettingError(text);
    }
}

template <class TSet>
std::vector<const EditSetting*> CEditedSets::settingsFor(const TSet& set)
{
    std::vector<const EditSetting*> settings;
    for (std::size_t i = 0; i < m_used.size(); ++i) {
        const EditSetting& setting = m_options.settings[i];
        if (setting.nal_unit_type != SetKind<TSet>::TYPE)
            continue;
        if (setting.uiId ? *setting.uiId == SetKind<TSet>::idOf(set) : set.nal_unit_header.nuh_layer_id == 0) {
            settings.push_back(&setting);
            m_used[i] = true;
        }
    }
    return settings;
}

template <class TSet>
std::span<const unsigned char> CEditedSets::takeSet(const h265_stream::NalUnit& unit, bool bKept)
{
    auto pEntry = std::make_unique<Entry<TSet>>();
    pEntry->ulOffset = unit.ulOffset;
    pEntry->pBefore = std::make_shared<TSet>();
    const CNalUnit nalUnit(unit.bytes);
    const bool bWhole = bKept && unit.bytes.size() == unit.ulSize && readIn(*pEntry->pBefore, nalUnit, vpss(false));
    const std::vector<const EditSetting*> settings = settingsFor(*pEntry->pBefore);
    if (!bWhole) {
        if (!settings.empty())
            refuseUnread(*pEntry->pBefore, unit);
        return unit.bytes;
    }
    std::uint64_t ulContext = 0;
    bool bContextAffected = false;
    if constexpr (SetKind<TSet>::TYPE != VPS_NUT) {
        if (const auto* const pContext = contextOf(*pEntry->pBefore)) {
            ulContext = pContext->ulNumber;
            bContextAffected = pContext->bAffected;
        }
    }
    const std::uint32_t uiId = SetKind<TSet>::idOf(*pEntry->pBefore);
    auto* const pPlace = uiId < SetKind<TSet>::IDS ? &table<TSet>()[uiId] : nullptr;
    if (pPlace != nullptr && *pPlace && (*pPlace)->ulContext == ulContext &&
        std::ranges::equal((*pPlace)->bytesBefore, unit.bytes)) {
        m_outcome.ulChanged += (*pPlace)->isChanged() ? 1 : 0;
        return (*pPlace)->bytesAfter;
    }
    pEntry->bytesBefore.assign(unit.bytes.begin(), unit.bytes.end());
    pEntry->bytesAfter = pEntry->bytesBefore;
    pEntry->pAfter = pEntry->pBefore;
    pEntry->ulContext = ulContext;
    pEntry->ulNumber = ++m_ulNumber;
    const bool bChanged = !settings.empty() && change(*pEntry, unit, settings);
    m_outcome.ulChanged += bChanged ? 1 : 0;
    pEntry->bAffected = bChanged || bContextAffected;
    if (pEntry->bAffected)
        findNewErrors(*pEntry);
    if (pPlace == nullptr) {
        m_unkept = std::move(pEntry->bytesAfter);
        return m_unkept;
    }
    *pPlace = std::move(pEntry);
    findNewErrorsOfDependents(**pPlace);
    return (*pPlace)->bytesAfter;
}

// False: the settings say what is there already.
template <class TSet>
bool CEditedSets::change(Entry<TSet>& entry, const h265_stream::NalUnit& unit,
                         const std::vector<const EditSetting*>& settings)
{
    const Context context = vpss(true);
    const std::string place = placeOf(nameOf(*entry.pBefore), unit.ulOffset);
    auto pAfter = std::make_shared<TSet>();
    (void)readIn(*pAfter, CNalUnit(unit.bytes), context); // it was read once
    for (const EditSetting* const pSetting : settings)
        applySetting(*pAfter, *pSetting, context, place, m_presence);
    std::vector<unsigned char> bytes;
    if (const Stop stop = writeIn(*pAfter, bytes, context))
        throw CSettingError(place + " cannot be written with these settings: " + stop.message());
    const std::vector<Difference> differences =
        compare(withoutExtensionData(*entry.pBefore), withoutExtensionData(*pAfter));
    if (differences.empty())
        return false;
    TSet readBack;
    if (!readIn(readBack, CNalUnit(bytes), context) || bytes.back() == 0) {
        refuse(unit.ulOffset, nameOf(*entry.pBefore) + " cannot be written so that it reads back");
        return false;
    }
    entry.pAfter = std::move(pAfter);
    entry.bytesAfter = std::move(bytes);
    tellChanges(entry, differences);
    return true;
}

// What the slices are coded against. What then appears or disappears follows from it and is not told.
template <class TSet>
void CEditedSets::tellChanges(const Entry<TSet>& entry, const std::vector<Difference>& differences)
{
    const std::string name = nameOf(*entry.pBefore);
    std::string sei;
    for (const Difference& difference : differences) {
        const std::string path = differencePath(difference);
        if (sei.empty() && changesSei(difference))
            sei = path;
        const std::string_view subject = codedAgainst(SetKind<TSet>::TYPE, path);
        if (subject.empty() || !difference.left || !difference.right)
            continue;
        refuse(entry.ulOffset,
               say(name,
                   ".",
                   path,
                   " cannot go from ",
                   *difference.left,
                   " to ",
                   *difference.right,
                   ": the slices are coded against ",
                   subject));
    }
    if (!sei.empty())
        warn(entry.ulOffset,
             say(name,
                 ".",
                 sei,
                 " changes how SEI messages of picture timing and buffering are parsed; these stay as they are"));
}

template <class TSet>
void CEditedSets::refuseUnread(const TSet& set, const h265_stream::NalUnit& unit)
{
    std::string text =
        nameOf(set) + " cannot be rewritten: " +
        (set.stop ? set.stop.message() : "it has " + std::to_string(unit.ulSize) + " bytes, more than are looked at");
    if (m_options.bForce)
        warn(unit.ulOffset, text + "; it stays as it is");
    else if (m_told.insert(text).second)
        m_outcome.impossible.push_back({unit.ulOffset, std::move(text)});
}

template <class TSet>
void CEditedSets::findNewErrors(const Entry<TSet>& entry)
{
    const auto findings = [&](const TSet& set, const std::vector<unsigned char>& bytes, bool bAfter) {
        CFindings found;
        if constexpr (SetKind<TSet>::TYPE == VPS_NUT) {
            check(set, CNalUnit(bytes), found);
        } else {
            const auto* const pContext = contextOf(set);
            check(set,
                  CNalUnit(bytes),
                  pContext == nullptr ? nullptr
                  : bAfter            ? pContext->pAfter.get()
                                      : pContext->pBefore.get(),
                  found);
        }
        return found;
    };
    const CFindings before = findings(*entry.pBefore, entry.bytesBefore, false);
    const CFindings after = findings(*entry.pAfter, entry.bytesAfter, true);
    std::map<std::string, unsigned> known;
    for (const Finding& finding : before.all()) {
        if (finding.eSeverity == h265_syntax::ESeverity::Error)
            ++known[keyOf(finding)];
    }
    for (const Finding& finding : after.all()) {
        if (finding.eSeverity != h265_syntax::ESeverity::Error)
            continue;
        unsigned& uiKnown = known[keyOf(finding)];
        if (uiKnown > 0) {
            --uiKnown;
            continue;
        }
        const std::string path = finding.element.empty() ? std::string() : "." + findingPath(finding);
        refuse(entry.ulOffset,
               nameOf(*entry.pAfter) + path + " would be an error: " + finding.message + " [" + finding.clause + "]");
    }
}

// Sets that came before the one that they refer to were looked at without it.
void CEditedSets::findNewErrorsOfDependents(const Entry<VideoParameterSet>& vps)
{
    for (const auto& pSps : table<SequenceParameterSet>()) {
        if (pSps != nullptr && pSps->ulContext == 0 && contextOf(*pSps->pBefore) == &vps)
            findNewErrorsWith(vps, *pSps);
    }
}

void CEditedSets::findNewErrorsOfDependents(const Entry<SequenceParameterSet>& sps)
{
    for (const auto& pPps : table<PictureParameterSet>()) {
        if (pPps != nullptr && pPps->ulContext == 0 && contextOf(*pPps->pBefore) == &sps)
            findNewErrorsWith(sps, *pPps);
    }
}

template <class TContext, class TSet>
void CEditedSets::findNewErrorsWith(const Entry<TContext>& context, Entry<TSet>& entry)
{
    entry.ulContext = context.ulNumber;
    entry.bAffected = entry.bAffected || context.bAffected;
    if (entry.bAffected)
        findNewErrors(entry);
}

const CEditedSets::Entry<VideoParameterSet>* CEditedSets::contextOf(const SequenceParameterSet& set) const
{
    return std::get<Table<VideoParameterSet>>(m_tables)[set.sps_video_parameter_set_id & 15U].get();
}

const CEditedSets::Entry<SequenceParameterSet>* CEditedSets::contextOf(const PictureParameterSet& set) const
{
    const auto& spss = std::get<Table<SequenceParameterSet>>(m_tables);
    return set.pps_seq_parameter_set_id < spss.size() ? spss[set.pps_seq_parameter_set_id].get() : nullptr;
}

Context CEditedSets::vpss(bool bAfter) const
{
    Context context;
    const auto& entries = std::get<Table<VideoParameterSet>>(m_tables);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (entries[i] != nullptr)
            context.apVps[i] = (bAfter ? entries[i]->pAfter : entries[i]->pBefore).get();
    }
    return context;
}

void CEditedSets::refuse(std::uint64_t ulOffset, std::string text)
{
    if (m_told.insert(text).second)
        (m_options.bForce ? m_outcome.warnings : m_outcome.refusals).push_back({ulOffset, std::move(text)});
}

void CEditedSets::warn(std::uint64_t ulOffset, std::string text)
{
    if (m_told.insert(text).second)
        m_outcome.warnings.push_back({ulOffset, std::move(text)});
}

} // namespace h265_inspect
