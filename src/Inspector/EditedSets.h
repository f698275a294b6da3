#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "ElementPresence.h"
#include "NalUnitFinder.h"
#include "ParameterSetChecks.h"
#include "SetElements.h"
#include "StreamEdit.h"

namespace h265_inspect {

/// The parameter sets of a stream that is edited, as they were and as they become.
class CEditedSets
{
public:
    CEditedSets(const EditOptions& options, EditOutcome& outcome)
        : m_options(options), m_outcome(outcome), m_used(options.settings.size())
    {}

    /// The next parameter set: its bytes in the edited stream, valid until the next call. bKept: its bytes are
    /// all there to be replaced.
    std::span<const unsigned char> take(const h265_stream::NalUnit& unit, bool bKept);

    /// The end of the stream: throws CSettingError for a setting that no set was there for.
    void finish() const;

private:
    template <class TSet>
    struct Entry
    {
        std::uint64_t ulOffset = 0;
        std::vector<unsigned char> bytesBefore;
        std::vector<unsigned char> bytesAfter;
        std::shared_ptr<TSet> pBefore;
        std::shared_ptr<TSet> pAfter; // the same one where nothing changed
        std::uint64_t ulContext = 0;  // the number of the set that it refers to; 0 when that was not there
        std::uint64_t ulNumber = 0;   // of its own
        bool bAffected = false;       // changed, or one that it refers to is

        [[nodiscard]] bool isChanged() const { return pBefore != pAfter; }
    };
    template <class TSet>
    using Table = std::array<std::unique_ptr<Entry<TSet>>, SetKind<TSet>::IDS>;

    template <class TSet>
    std::span<const unsigned char> takeSet(const h265_stream::NalUnit& unit, bool bKept);
    template <class TSet>
    bool change(Entry<TSet>& entry, const h265_stream::NalUnit& unit, const std::vector<const EditSetting*>& settings);
    template <class TSet>
    void tellChanges(const Entry<TSet>& entry, const std::vector<h265_syntax::Difference>& differences);
    template <class TSet>
    std::vector<const EditSetting*> settingsFor(const TSet& set);
    template <class TSet>
    void refuseUnread(const TSet& set, const h265_stream::NalUnit& unit);
    template <class TSet>
    void findNewErrors(const Entry<TSet>& entry);
    void findNewErrorsOfDependents(const Entry<h265_syntax::VideoParameterSet>& vps);
    void findNewErrorsOfDependents(const Entry<h265_syntax::SequenceParameterSet>& sps);
    void findNewErrorsOfDependents(const Entry<h265_syntax::PictureParameterSet>&) {}
    template <class TContext, class TSet>
    void findNewErrorsWith(const Entry<TContext>& context, Entry<TSet>& entry);

    const Entry<h265_syntax::VideoParameterSet>* contextOf(const h265_syntax::SequenceParameterSet& set) const;
    const Entry<h265_syntax::SequenceParameterSet>* contextOf(const h265_syntax::PictureParameterSet& set) const;
    [[nodiscard]] h265_syntax::Context vpss(bool bAfter) const;

    template <class TSet>
    Table<TSet>& table()
    {
        return std::get<Table<TSet>>(m_tables);
    }

    void refuse(std::uint64_t ulOffset, std::string text);
    void warn(std::uint64_t ulOffset, std::string text);

    const EditOptions& m_options;
    EditOutcome& m_outcome;
    std::vector<bool> m_used; // by setting
    std::tuple<Table<h265_syntax::VideoParameterSet>, Table<h265_syntax::SequenceParameterSet>,
               Table<h265_syntax::PictureParameterSet>>
        m_tables;
    std::uint64_t m_ulNumber = 0;
    std::vector<unsigned char> m_unkept; // bytes of a set that has no place in a table
    std::set<std::string> m_told;
    CPresenceMemory m_presence;
};

} // namespace h265_inspect
