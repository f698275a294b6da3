#include "ParameterSetTables.h"

#include <algorithm>
#include <utility>

#include "DecParameterSetReader.h"
#include "NalUnit.h"
#include "SeenSets.h"
#include "SetReader.h"
#include "SetTable.h"
#include "StalePpsWatch.h"
#include "WaitingPps.h"
#include "WorkAccount.h"
#include "tq_util.h"

namespace h265_stream {

using h265_codec::PPS;
using h265_codec::SPS;
using h265_codec::VPS;

namespace {

constexpr unsigned VPS_IDS = 16; // as SPS_IDS and PPS_IDS

// The SPS in force that a PPS refers to; all 0 when there is none, and of a VPS or SPS.
struct SpsInUse
{
    SPS* sps = nullptr;
    std::uint64_t ulReading = 0;
    std::uint64_t ulContent = 0;
};

template <class TRecord>
using Entry = SetEntry<TRecord>;

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
    void skipBytes(std::uint64_t ulBytes) noexcept { m_account.payIn(ulBytes); }
    void clear() noexcept;

    [[nodiscard]] const VPS* vps(unsigned uiId) const noexcept { return m_vpss.record(uiId); }
    [[nodiscard]] const SPS* sps(unsigned uiId) const noexcept { return m_spss.record(uiId); }
    [[nodiscard]] const PPS* pps(unsigned uiId) const noexcept { return m_ppss.record(uiId); }
    [[nodiscard]] std::vector<StalePps> stalePps() const { return m_staleWatch.stale(); }
    [[nodiscard]] const tq_util::TMemPool* pool() const noexcept { return m_reader.pool(); }

private:
    // One NAL unit on its way through the tables.
    struct Unit
    {
        std::span<const unsigned char> bytes;
        UnitPlace place;
        bool bMayWait; // a PPS without its SPS
    };

    ParameterSetEvent readUnit(Unit unit);
    void readPps(ParameterSetEvent& event, const Unit& unit);
    void noteUnread(ParameterSetEvent& event, const Unit& unit);
    template <class TRecord>
    void take(ParameterSetEvent& event, CSetTable<TRecord>& table, const Unit& unit, const SpsInUse& sps = {});
    template <class TRecord>
    std::unique_ptr<Entry<TRecord>> readFresh(ParameterSetEvent& event, const Unit& unit, const SpsInUse& sps);

    // What follows from an entry that came into force in the place of another one, or of none.
    static void onEntered(const Entry<VPS>&, const Entry<VPS>*) {}
    void onEntered(const Entry<SPS>& entry, const Entry<SPS>* pBefore);
    void onEntered(const Entry<PPS>& entry, const Entry<PPS>* pBefore);

    template <class TRecord>
    void tell(ParameterSetEvent& event, const Entry<TRecord>& entry) const;
    static void show(ParameterSetEvent& event, const VPS& vps) { event.vps = &vps; }
    static void show(ParameterSetEvent& event, const SPS& sps) { event.sps = &sps; }
    void show(ParameterSetEvent& event, const PPS& pps) const
    {
        event.pps = &pps;
        event.spsOfPps = m_spss.record(pps.pps_seq_parameter_set_id);
    }

    const StreamOptions m_options;
    CSetReader m_reader; // its pool outlives the records
    std::uint64_t m_ulUnits = 0;
    std::uint64_t m_ulReadings = 0;
    CSetTable<VPS> m_vpss{VPS_IDS};
    CSetTable<SPS> m_spss{SPS_IDS};
    CSetTable<PPS> m_ppss{PPS_IDS};
    CSeenSets m_seen;
    CWaitingPpsList m_waiting;
    std::optional<WaitingPps> m_waited;   // the last that waits no longer: its event shows its bytes
    std::optional<unsigned> m_arrivedSps; // PPSs may have waited for it
    CStalePpsWatch m_staleWatch;
    CWorkAccount m_account;
};

ParameterSetEvent CParameterSetTables::Impl::readNalUnit(std::span<const unsigned char> nalUnit, std::uint64_t ulOffset)
{
    while (nextWaiting()) {
        // The caller did not ask for them; the tables need them.
    }
    m_account.payIn(nalUnit.size());
    return readUnit({.bytes = nalUnit, .place = {ulOffset, ++m_ulUnits}, .bMayWait = true});
}

std::optional<ParameterSetEvent> CParameterSetTables::Impl::nextWaiting()
{
    if (!m_arrivedSps)
        return std::nullopt;
    m_waited = m_waiting.takeFirstFor(*m_arrivedSps);
    if (!m_waited) {
        m_arrivedSps.reset();
        return std::nullopt;
    }
    ParameterSetEvent event = readUnit({.bytes = m_waited->bytes, .place = m_waited->place, .bMayWait = false});
    event.ulReadAt = m_spss.inForce(*m_arrivedSps)->place.ulOffset;
    return event;
}

std::optional<ParameterSetEvent> CParameterSetTables::Impl::nextWithoutSps()
{
    m_waited = m_waiting.takeFirst();
    if (!m_waited)
        return std::nullopt;
    return readUnit({.bytes = m_waited->bytes, .place = m_waited->place, .bMayWait = false});
}

ParameterSetEvent CParameterSetTables::Impl::readUnit(Unit unit)
{
    m_vpss.dropUnentered();
    m_spss.dropUnentered();
    m_ppss.dropUnentered();

    ParameterSetEvent event{};
    event.bCutOff = unit.bytes.size() < NAL_UNIT_HEADER_BYTES;
    event.header = parseNalUnitHeader(unit.bytes.empty() ? static_cast<unsigned char>(0) : unit.bytes[0],
                                      event.bCutOff ? static_cast<unsigned char>(0) : unit.bytes[1]);
    event.ulOffset = unit.place.ulOffset;
    event.ulSize = unit.bytes.size();
    event.bytes = unit.bytes.first(std::min(unit.bytes.size(), MAX_PARAMETER_SET_BYTES));
    event.bPassedOver = event.bCutOff || event.header.forbidden_zero_bit || event.header.nuh_layer_id != 0 ||
                        !isParameterSet(event.header.nal_unit_type);
    unit.bytes = unit.bytes.first(std::min(unit.bytes.size(), MAX_PARAMETER_SET_BYTES));
    if (!event.bPassedOver && event.header.nal_unit_type == VPS_NUT) {
        take(event, m_vpss, unit);
    } else if (!event.bPassedOver && event.header.nal_unit_type == SPS_NUT) {
        take(event, m_spss, unit);
    } else if (!event.bPassedOver) {
        readPps(event, unit);
    } else if (isParameterSet(event.header.nal_unit_type)) {
        noteUnread(event, unit);
    }
    return event;
}

void CParameterSetTables::Impl::readPps(ParameterSetEvent& event, const Unit& unit)
{
    const std::optional<PpsIds> ids = m_reader.ppsIdsOf(unit.bytes);
    const Entry<SPS>* const pSps = ids ? m_spss.inForce(spsIndexOf(*ids)) : nullptr;
    if (pSps == nullptr && ids && unit.bMayWait && m_waiting.keep(*ids, unit.place, unit.bytes)) {
        event.bWaiting = true;
        return;
    }
    SpsInUse sps;
    if (pSps != nullptr)
        sps = {pSps->pRecord.get(), pSps->ulReading, pSps->first.ulContent};
    take(event, m_ppss, unit, sps);
    if (event.eRefusal != ERefusal::None)
        event.refusedPps = ids;
    else if (pSps == nullptr && event.iRead)
        event.missingSps = ids;
}

// What was passed over or refused.
void CParameterSetTables::Impl::noteUnread(ParameterSetEvent& event, const Unit& unit)
{
    const std::optional<SeenSet> seen = m_seen.note(event, unit.bytes, 0, {unit.place.ulOffset, 0});
    event.bSeenBefore = seen.has_value();
    if (seen)
        event.ulSameAs = seen->ulOffset;
}

// Reads the unit, or recognises it, and tells the event.
template <class TRecord>
void CParameterSetTables::Impl::take(ParameterSetEvent& event, CSetTable<TRecord>& table, const Unit& unit,
                                     const SpsInUse& sps)
{
    if (Entry<TRecord>* const pEntry = table.findRepeat(unit.bytes, sps.ulReading)) {
        event.bRepeat = true;
        event.ulSameAs = pEntry->first.ulOffset;
        pEntry->place = unit.place;
        tell(event, *pEntry);
        return;
    }
    std::unique_ptr<Entry<TRecord>> pFresh = readFresh<TRecord>(event, unit, sps);
    if (pFresh == nullptr) {
        noteUnread(event, unit);
        return;
    }
    const bool bGood = pFresh->iRead == 0 && (m_options.bEnterUnverified || pFresh->iVerify == 0);
    const Entry<TRecord>* const pInForce = bGood ? table.inForce(idOf(*pFresh->pRecord)) : nullptr;
    // A PPS that waited stands behind one of its id that came later.
    if (!bGood || (pInForce != nullptr && pInForce->place.ulNumber > unit.place.ulNumber)) {
        event.bSeenBefore = event.ulSameAs.has_value();
        table.keepUnentered(std::move(pFresh));
        return;
    }
    const Entry<TRecord>& entry = *pFresh;
    const std::unique_ptr<Entry<TRecord>> pBefore = table.enter(idOf(*entry.pRecord), std::move(pFresh));
    onEntered(entry, pBefore.get());
}

// Null when the unit is refused.
template <class TRecord>
std::unique_ptr<Entry<TRecord>> CParameterSetTables::Impl::readFresh(ParameterSetEvent& event, const Unit& unit,
                                                                     const SpsInUse& sps)
{
    if (m_account.isInDebt()) {
        event.eRefusal = ERefusal::TooMuchWork;
        return nullptr;
    }
    auto pFresh = std::make_unique<Entry<TRecord>>();
    m_reader.read(*pFresh, unit.bytes, sps.sps);
    m_account.charge(pFresh->ulWork);
    if (pFresh->bPictureTooLarge) {
        event.eRefusal = ERefusal::PictureTooLarge;
        event.spsOfPps = sps.sps;
        return nullptr;
    }

    CSetTable<TRecord>::keepBytes(*pFresh, unit.bytes);
    pFresh->place = unit.place;
    pFresh->ulReading = ++m_ulReadings;
    pFresh->ulSpsReading = sps.ulReading;
    pFresh->ulSpsContent = sps.ulContent;
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

void CParameterSetTables::Impl::onEntered(const Entry<SPS>& entry, const Entry<SPS>* pBefore)
{
    const unsigned uiId = idOf(*entry.pRecord);
    if (pBefore == nullptr) {
        m_arrivedSps = uiId;
        return;
    }
    if (pBefore->first.ulContent == entry.first.ulContent)
        return;
    CStalePpsWatch::PpsIdSet ppsIds;
    for (unsigned i = 0; i < PPS_IDS; ++i) {
        const Entry<PPS>* const pPps = m_ppss.inForce(i);
        ppsIds.set(i,
                   pPps != nullptr && pPps->pRecord->pps_seq_parameter_set_id == uiId &&
                       pPps->ulSpsContent != entry.first.ulContent);
    }
    m_staleWatch.onReplaced(uiId, entry.place.ulOffset, ppsIds);
}

void CParameterSetTables::Impl::onEntered(const Entry<PPS>& entry, const Entry<PPS>* pBefore)
{
    if (pBefore != nullptr)
        m_staleWatch.onSentAgain(pBefore->pRecord->pps_seq_parameter_set_id, idOf(*entry.pRecord));
}

void CParameterSetTables::Impl::clear() noexcept
{
    m_vpss.clear();
    m_spss.clear();
    m_ppss.clear();
    m_seen.clear();
    m_waiting.clear();
    m_waited.reset();
    m_arrivedSps.reset();
    m_staleWatch.clear();
    m_account.clear();
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

void CParameterSetTables::skipBytes(std::uint64_t ulBytes) noexcept
{
    m_pImpl->skipBytes(ulBytes);
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
