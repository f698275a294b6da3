#include "ParameterSetTables.h"

#include <algorithm>
#include <array>
#include <functional>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "DecParameterSetReader.h"
#include "NalUnit.h"
#include "SeenSets.h"
#include "SetReader.h"
#include "StalePpsWatch.h"
#include "WaitingPps.h"
#include "tq_util.h"

namespace h265_stream {

using h265_codec::PPS;
using h265_codec::SPS;
using h265_codec::VPS;

namespace {

constexpr unsigned VPS_IDS = 16; // as SPS_IDS and PPS_IDS

// Longer sets are read again each time instead of being kept to recognise their repeats, so that the
// tables cannot be made to hold much beside their records.
constexpr std::size_t MAX_KEPT_BYTES = std::size_t{64} << 10;

// The SPS in force that a PPS refers to; all 0 when there is none, and of a VPS or SPS.
struct SpsInUse
{
    std::uint64_t ulReading = 0;
    std::uint64_t ulContent = 0;
};

template <class TRecord>
struct Entry : ReadSet<TRecord>
{
    UnitPlace place{}; // of its last repeat
    std::uint64_t ulReading = 0;
    SeenSet first{};                  // the first set with the same bytes and record, often itself
    SpsInUse sps;                     // of a PPS: what it was read against
    std::vector<unsigned char> bytes; // of the NAL unit; empty when it is too long to be kept
    std::size_t uiHash = 0;           // of bytes

    [[nodiscard]] bool isGood(bool bEnterUnverified) const
    {
        return this->iRead == 0 && (bEnterUnverified || this->iVerify == 0);
    }
};

std::size_t hashOf(std::span<const unsigned char> bytes)
{
    return std::hash<std::string_view>()({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

unsigned idOf(const VPS& vps)
{
    return vps.vps_video_parameter_set_id;
}

unsigned idOf(const SPS& sps)
{
    return sps.sps_seq_parameter_set_id;
}

unsigned idOf(const PPS& pps)
{
    return pps.pps_pic_parameter_set_id;
}

} // namespace

class CParameterSetTables::Impl
{
public:
    explicit Impl(const StreamOptions& options) : m_options(options), m_reader(options) {}

    ParameterSetEvent readNalUnit(std::span<const unsigned char> nalUnit, std::uint64_t ulOffset);
    std::optional<ParameterSetEvent> nextWaiting();
    std::optional<ParameterSetEvent> nextWithoutSps();
    void clear() noexcept;

    [[nodiscard]] const VPS* vps(unsigned uiId) const noexcept { return inForce(m_vpsEntries, uiId); }
    [[nodiscard]] const SPS* sps(unsigned uiId) const noexcept { return inForce(m_spsEntries, uiId); }
    [[nodiscard]] const PPS* pps(unsigned uiId) const noexcept { return inForce(m_ppsEntries, uiId); }
    [[nodiscard]] std::vector<StalePps> stalePps() const { return m_staleWatch.stale(); }
    [[nodiscard]] const tq_util::TMemPool* pool() const noexcept { return m_reader.pool(); }

private:
    template <class TRecord>
    using Table = std::vector<std::unique_ptr<Entry<TRecord>>>;

    // One NAL unit on its way through the tables.
    struct Unit
    {
        std::span<const unsigned char> bytes;
        UnitPlace place;
        bool bMayWait; // a PPS without its SPS
    };

    template <class TRecord>
    static const TRecord* inForce(const Table<TRecord>& table, unsigned uiId) noexcept
    {
        return uiId < table.size() && table[uiId] != nullptr ? table[uiId]->pRecord.get() : nullptr;
    }

    ParameterSetEvent readUnit(Unit unit);
    void readPps(ParameterSetEvent& event, const Unit& unit);
    template <class TRecord>
    void take(ParameterSetEvent& event, Table<TRecord>& table, std::unique_ptr<Entry<TRecord>>& pUnentered,
              const Unit& unit, const SpsInUse& sps = {});
    template <class TRecord>
    std::unique_ptr<Entry<TRecord>> readFresh(ParameterSetEvent& event, const Unit& unit, const SpsInUse& sps);
    template <class TRecord>
    void enter(Table<TRecord>& table, std::unique_ptr<Entry<TRecord>> pEntry);
    template <class TRecord>
    Entry<TRecord>* findRepeat(const Table<TRecord>& table, std::span<const unsigned char> nalUnit,
                               const SpsInUse& sps) const;

    // What follows from an entry that takes its place in the table.
    static void onEnter(const Entry<VPS>&) {}
    void onEnter(const Entry<SPS>& entry);
    void onEnter(const Entry<PPS>& entry);

    template <class TRecord>
    void tell(ParameterSetEvent& event, const Entry<TRecord>& entry) const;
    void show(ParameterSetEvent& event, const VPS& vps) const { event.vps = &vps; }
    void show(ParameterSetEvent& event, const SPS& sps) const { event.sps = &sps; }
    void show(ParameterSetEvent& event, const PPS& pps) const
    {
        event.pps = &pps;
        event.spsOfPps = m_apSps[pps.pps_seq_parameter_set_id];
    }

    const StreamOptions m_options;
    CSetReader m_reader; // its pool outlives the records
    std::uint64_t m_ulUnits = 0;
    std::uint64_t m_ulReadings = 0;
    Table<VPS> m_vpsEntries{VPS_IDS};
    Table<SPS> m_spsEntries{SPS_IDS};
    Table<PPS> m_ppsEntries{PPS_IDS};
    std::array<SPS*, SPS_IDS> m_apSps{}; // the records of m_spsEntries, as readPPS wants them

    // Of the last call, when it entered nothing.
    std::unique_ptr<Entry<VPS>> m_pUnenteredVps;
    std::unique_ptr<Entry<SPS>> m_pUnenteredSps;
    std::unique_ptr<Entry<PPS>> m_pUnenteredPps;

    // By hash of the bytes: the id of an entry that may have them. Two sets with one hash take turns,
    // which costs a reading and no more.
    std::unordered_map<std::size_t, unsigned> m_idOfHash;

    CSeenSets m_seen;
    CWaitingPpsList m_waiting;
    std::optional<unsigned> m_arrivedSps; // PPSs may have waited for it
    CStalePpsWatch m_staleWatch;
};

ParameterSetEvent CParameterSetTables::Impl::readNalUnit(std::span<const unsigned char> nalUnit, std::uint64_t ulOffset)
{
    while (nextWaiting()) {
        // The caller did not ask for them; the tables need them.
    }
    return readUnit({.bytes = nalUnit, .place = {ulOffset, ++m_ulUnits}, .bMayWait = true});
}

std::optional<ParameterSetEvent> CParameterSetTables::Impl::nextWaiting()
{
    if (!m_arrivedSps)
        return std::nullopt;
    const std::optional<WaitingPps> waiting = m_waiting.takeFirstFor(*m_arrivedSps);
    if (!waiting) {
        m_arrivedSps.reset();
        return std::nullopt;
    }
    ParameterSetEvent event = readUnit({.bytes = waiting->bytes, .place = waiting->place, .bMayWait = false});
    event.ulReadAt = m_spsEntries[*m_arrivedSps]->place.ulOffset;
    return event;
}

std::optional<ParameterSetEvent> CParameterSetTables::Impl::nextWithoutSps()
{
    const std::optional<WaitingPps> waiting = m_waiting.takeFirst();
    if (!waiting)
        return std::nullopt;
    return readUnit({.bytes = waiting->bytes, .place = waiting->place, .bMayWait = false});
}

ParameterSetEvent CParameterSetTables::Impl::readUnit(Unit unit)
{
    m_pUnenteredVps.reset();
    m_pUnenteredSps.reset();
    m_pUnenteredPps.reset();

    ParameterSetEvent event{};
    event.bCutOff = unit.bytes.size() < NAL_UNIT_HEADER_BYTES;
    event.header = parseNalUnitHeader(unit.bytes.empty() ? static_cast<unsigned char>(0) : unit.bytes[0],
                                      event.bCutOff ? static_cast<unsigned char>(0) : unit.bytes[1]);
    event.ulOffset = unit.place.ulOffset;
    event.ulSize = unit.bytes.size();
    event.bPassedOver = event.bCutOff || event.header.forbidden_zero_bit || event.header.nuh_layer_id != 0 ||
                        !isParameterSet(event.header.nal_unit_type);
    unit.bytes = unit.bytes.first(std::min(unit.bytes.size(), MAX_PARAMETER_SET_BYTES));
    if (!event.bPassedOver && event.header.nal_unit_type == VPS_NUT) {
        take(event, m_vpsEntries, m_pUnenteredVps, unit);
    } else if (!event.bPassedOver && event.header.nal_unit_type == SPS_NUT) {
        take(event, m_spsEntries, m_pUnenteredSps, unit);
    } else if (!event.bPassedOver) {
        readPps(event, unit);
    } else if (isParameterSet(event.header.nal_unit_type)) {
        const std::optional<SeenSet> seen = m_seen.note(event, unit.bytes, 0, {unit.place.ulOffset, 0});
        event.bSeenBefore = seen.has_value();
        if (seen)
            event.ulSameAs = seen->ulOffset;
    }
    return event;
}

void CParameterSetTables::Impl::readPps(ParameterSetEvent& event, const Unit& unit)
{
    const std::optional<PpsIds> ids = m_reader.ppsIdsOf(unit.bytes);
    const Entry<SPS>* const pSps = ids ? m_spsEntries[spsIndexOf(*ids)].get() : nullptr;
    if (pSps != nullptr) {
        take(event, m_ppsEntries, m_pUnenteredPps, unit, {pSps->ulReading, pSps->first.ulContent});
        return;
    }
    if (ids && unit.bMayWait && m_waiting.keep(*ids, unit.place, unit.bytes)) {
        event.bWaiting = true;
        return;
    }
    take(event, m_ppsEntries, m_pUnenteredPps, unit);
    event.missingSps = ids;
}

// Reads the unit, or recognises it, and tells the event.
template <class TRecord>
void CParameterSetTables::Impl::take(ParameterSetEvent& event, Table<TRecord>& table,
                                     std::unique_ptr<Entry<TRecord>>& pUnentered, const Unit& unit, const SpsInUse& sps)
{
    if (Entry<TRecord>* const pEntry = findRepeat(table, unit.bytes, sps)) {
        event.bRepeat = true;
        event.ulSameAs = pEntry->first.ulOffset;
        pEntry->place = unit.place;
        tell(event, *pEntry);
        return;
    }
    std::unique_ptr<Entry<TRecord>> pFresh = readFresh<TRecord>(event, unit, sps);
    const bool bGood = pFresh->isGood(m_options.bEnterUnverified);
    const Entry<TRecord>* const pInForce = bGood ? table[idOf(*pFresh->pRecord)].get() : nullptr;
    // A PPS that waited stands behind one of its id that came later.
    if (bGood && (pInForce == nullptr || pInForce->place.ulNumber < unit.place.ulNumber)) {
        enter(table, std::move(pFresh));
        return;
    }
    event.bSeenBefore = event.ulSameAs.has_value();
    pUnentered = std::move(pFresh);
}

template <class TRecord>
std::unique_ptr<Entry<TRecord>> CParameterSetTables::Impl::readFresh(ParameterSetEvent& event, const Unit& unit,
                                                                     const SpsInUse& sps)
{
    auto pFresh = std::make_unique<Entry<TRecord>>();
    if (unit.bytes.size() <= MAX_KEPT_BYTES) {
        pFresh->bytes.assign(unit.bytes.begin(), unit.bytes.end());
        pFresh->uiHash = hashOf(unit.bytes);
    }
    pFresh->place = unit.place;
    pFresh->ulReading = ++m_ulReadings;
    pFresh->sps = sps;
    m_reader.read(*pFresh, unit.bytes, m_apSps.data());
    tell(event, *pFresh);

    pFresh->first = {unit.place.ulOffset, pFresh->ulReading};
    if (const std::optional<SeenSet> seen = m_seen.note(event, unit.bytes, sps.ulContent, pFresh->first)) {
        pFresh->first = *seen;
        event.ulSameAs = seen->ulOffset;
    }
    return pFresh;
}

template <class TRecord>
void CParameterSetTables::Impl::tell(ParameterSetEvent& event, const Entry<TRecord>& entry) const
{
    event.ulReading = entry.ulReading;
    event.iRead = entry.iRead;
    event.iVerify = entry.iVerify;
    event.logLines = entry.logLines;
    event.lastMessage = entry.lastMessage;
    if (entry.iRead == 0)
        show(event, *entry.pRecord);
}

template <class TRecord>
void CParameterSetTables::Impl::enter(Table<TRecord>& table, std::unique_ptr<Entry<TRecord>> pEntry)
{
    const unsigned uiId = idOf(*pEntry->pRecord);
    std::unique_ptr<Entry<TRecord>>& pSlot = table[uiId];
    if (pSlot != nullptr)
        m_idOfHash.erase(pSlot->uiHash);
    if (!pEntry->bytes.empty())
        m_idOfHash[pEntry->uiHash] = uiId;
    onEnter(*pEntry);
    pSlot = std::move(pEntry);
}

void CParameterSetTables::Impl::onEnter(const Entry<SPS>& entry)
{
    const unsigned uiId = idOf(*entry.pRecord);
    const Entry<SPS>* const pBefore = m_spsEntries[uiId].get();
    if (pBefore == nullptr) {
        m_arrivedSps = uiId;
    } else if (pBefore->first.ulContent != entry.first.ulContent) {
        CStalePpsWatch::PpsIdSet ppsIds;
        for (const std::unique_ptr<Entry<PPS>>& pPps : m_ppsEntries) {
            if (pPps != nullptr && pPps->pRecord->pps_seq_parameter_set_id == uiId &&
                pPps->sps.ulContent != entry.first.ulContent)
                ppsIds.set(idOf(*pPps->pRecord));
        }
        m_staleWatch.onReplaced(uiId, entry.place.ulOffset, ppsIds);
    }
    m_apSps[uiId] = entry.pRecord.get();
}

void CParameterSetTables::Impl::onEnter(const Entry<PPS>& entry)
{
    const unsigned uiId = idOf(*entry.pRecord);
    if (const Entry<PPS>* const pBefore = m_ppsEntries[uiId].get())
        m_staleWatch.onSentAgain(pBefore->pRecord->pps_seq_parameter_set_id, uiId);
}

template <class TRecord>
Entry<TRecord>* CParameterSetTables::Impl::findRepeat(const Table<TRecord>& table,
                                                      std::span<const unsigned char> nalUnit, const SpsInUse& sps) const
{
    if (nalUnit.size() > MAX_KEPT_BYTES)
        return nullptr;
    const auto position = m_idOfHash.find(hashOf(nalUnit));
    if (position == m_idOfHash.end() || position->second >= table.size())
        return nullptr;
    Entry<TRecord>* const pEntry = table[position->second].get();
    const bool bRepeat =
        pEntry != nullptr && std::ranges::equal(pEntry->bytes, nalUnit) && pEntry->sps.ulReading == sps.ulReading;
    return bRepeat ? pEntry : nullptr;
}

void CParameterSetTables::Impl::clear() noexcept
{
    const auto empty = [](auto& table) {
        for (auto& pEntry : table)
            pEntry.reset();
    };
    empty(m_vpsEntries);
    empty(m_spsEntries);
    empty(m_ppsEntries);
    m_apSps.fill(nullptr);
    m_pUnenteredVps.reset();
    m_pUnenteredSps.reset();
    m_pUnenteredPps.reset();
    m_idOfHash.clear();
    m_seen.clear();
    m_waiting.clear();
    m_arrivedSps.reset();
    m_staleWatch.clear();
    m_ulUnits = 0;
    m_ulReadings = 0;
}

CParameterSetTables::CParameterSetTables(const StreamOptions& options) : m_pImpl(std::make_unique<Impl>(options)) {}

CParameterSetTables::~CParameterSetTables() = default;

ParameterSetEvent CParameterSetTables::readNalUnit(std::span<const unsigned char> nalUnit, std::uint64_t ulOffset)
{
    return m_pImpl->readNalUnit(nalUnit, ulOffset);
}

std::optional<ParameterSetEvent> CParameterSetTables::nextWaiting()
{
    return m_pImpl->nextWaiting();
}

std::optional<ParameterSetEvent> CParameterSetTables::nextWithoutSps()
{
    return m_pImpl->nextWithoutSps();
}

std::vector<StalePps> CParameterSetTables::stalePps() const
{
    return m_pImpl->stalePps();
}

const VPS* CParameterSetTables::vps(unsigned uiId) const noexcept
{
    return m_pImpl->vps(uiId);
}

const SPS* CParameterSetTables::sps(unsigned uiId) const noexcept
{
    return m_pImpl->sps(uiId);
}

const PPS* CParameterSetTables::pps(unsigned uiId) const noexcept
{
    return m_pImpl->pps(uiId);
}

void CParameterSetTables::clear() noexcept
{
    m_pImpl->clear();
}

std::size_t CParameterSetTables::blocksInUse() const
{
    std::size_t uiBlocks = 0;
    tq_util::reportBlocksInUse(
        m_pImpl->pool(),
        [](void* pContext, const char*, int, unsigned) { ++*static_cast<std::size_t*>(pContext); },
        &uiBlocks);
    return uiBlocks;
}

} // namespace h265_stream
