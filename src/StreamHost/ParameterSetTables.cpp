#include "ParameterSetTables.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <new>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "DecParameterSetReader.h"
#include "ModuleLog.h"
#include "NalUnitFinder.h"
#include "Rbsp.h"
#include "SeenFailures.h"
#include "tq_util.h"

namespace h265_stream {

using h265_codec::PPS;
using h265_codec::SPS;
using h265_codec::VPS;

namespace {

constexpr std::size_t NAL_UNIT_HEADER_BYTES = 2;
constexpr unsigned TABLE_SIZES[] = {16, 256, 256}; // VPS, SPS, PPS: what their ids are kept modulo

// Longer sets are read again each time instead of being kept to recognise their repeats, so that the
// tables cannot be made to hold much beside their records.
constexpr std::size_t MAX_KEPT_BYTES = std::size_t{64} << 10;

constexpr char VPS_POOL_TAG_PATH[] = "StreamHost/ParameterSetTables";

void destroyRecord(VPS* vps) noexcept
{
    tq_util::releaseMemBlock(vps, VPS_POOL_TAG_PATH, __LINE__);
}

void destroyRecord(SPS* sps) noexcept
{
    h265_codec::destroySPS(sps);
}

void destroyRecord(PPS* pps) noexcept
{
    h265_codec::destroyPPS(pps);
}

struct RecordDeleter
{
    template <class TRecord>
    void operator()(TRecord* pRecord) const noexcept
    {
        destroyRecord(pRecord);
    }
};

// What became of one NAL unit.
struct Reading
{
    std::uint64_t ulReading = 0;
    std::uint64_t ulSpsReading = 0; // of a PPS: the reading of its SPS
    int iRead = 0;
    std::optional<int> iVerify;
    std::vector<std::string> logLines;
    std::string lastMessage;
    std::vector<unsigned char> bytes; // of the NAL unit; empty when it is too long to be kept
    std::size_t uiHash = 0;           // of bytes

    [[nodiscard]] bool isGood(bool bEnterUnverified) const { return iRead == 0 && (bEnterUnverified || iVerify == 0); }
};

template <class TRecord>
struct Entry : Reading
{
    std::unique_ptr<TRecord, RecordDeleter> pRecord;
};

std::size_t hashOf(std::span<const unsigned char> bytes)
{
    return std::hash<std::string_view>()({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

VPS* createVPS(tq_util::TMemPool* pMemPool) noexcept
{
    void* const pBlock = tq_util::getMemBlock(sizeof(VPS), pMemPool, VPS_POOL_TAG_PATH, __LINE__);
    return pBlock != nullptr ? new (pBlock) VPS{} : nullptr;
}

struct PoolDeleter
{
    void operator()(tq_util::TMemPool* pMemPool) const noexcept { tq_util::destroyMemPool(pMemPool); }
};

} // namespace

class CParameterSetTables::Impl
{
public:
    explicit Impl(const StreamOptions& options)
        : m_options(options), m_pPool(tq_util::createMemPool(options.ulPoolBytes))
    {
        if (m_pPool == nullptr)
            throw std::bad_alloc();
    }

    ParameterSetEvent readNalUnit(std::span<const unsigned char> nalUnit);
    void clear() noexcept;

    [[nodiscard]] const VPS* vps(unsigned uiId) const noexcept { return inForce(m_vpsEntries, uiId); }
    [[nodiscard]] const SPS* sps(unsigned uiId) const noexcept { return inForce(m_spsEntries, uiId); }
    [[nodiscard]] const PPS* pps(unsigned uiId) const noexcept { return inForce(m_ppsEntries, uiId); }
    [[nodiscard]] const tq_util::TMemPool* pool() const noexcept { return m_pPool.get(); }

private:
    void read(ParameterSetEvent& event, std::span<const unsigned char> nalUnit);

    template <class TRecord>
    using Table = std::vector<std::unique_ptr<Entry<TRecord>>>;

    template <class TRecord>
    static const TRecord* inForce(const Table<TRecord>& table, unsigned uiId) noexcept
    {
        return uiId < table.size() && table[uiId] != nullptr ? table[uiId]->pRecord.get() : nullptr;
    }

    template <class TRecord>
    void take(ParameterSetEvent& event, Table<TRecord>& table, std::unique_ptr<Entry<TRecord>>& pUnentered,
              std::span<const unsigned char> nalUnit);
    template <class TRecord>
    void readEntry(Entry<TRecord>& entry, std::span<const unsigned char> payload);
    template <class TReader, class TRecord>
    void readWith(Entry<TRecord>& entry, std::span<const unsigned char> rbsp);
    template <class TRecord>
    void enter(Table<TRecord>& table, std::unique_ptr<Entry<TRecord>> pEntry);
    template <class TRecord>
    Entry<TRecord>* findRepeat(const Table<TRecord>& table, std::span<const unsigned char> nalUnit,
                               std::size_t uiHash) const;

    void make(VPS*& vps) { vps = createVPS(m_pPool.get()); }
    void make(SPS*& sps) { sps = h265_codec::createSPS(m_pPool.get()); }
    void make(PPS*& pps) { pps = h265_codec::createPPS(m_pPool.get()); }

    template <class TReader>
    int read(VPS* vps, TReader* pBS)
    {
        return h265_codec::readVPS(vps, pBS);
    }
    template <class TReader>
    int read(SPS* sps, TReader* pBS)
    {
        return h265_codec::readSPS(sps, pBS, m_pPool.get());
    }
    template <class TReader>
    int read(PPS* pps, TReader* pBS)
    {
        return h265_codec::readPPS(pps, m_apSps.data(), pBS, m_pPool.get());
    }

    static int verify(VPS* vps) { return h265_codec::verifyVPS(vps); }
    static int verify(SPS* sps) { return h265_codec::verifySPS(sps); }
    static int verify(PPS* pps) { return h265_codec::verifyPPS(pps); }

    static unsigned idOf(const VPS& vps) { return vps.vps_video_parameter_set_id; }
    static unsigned idOf(const SPS& sps) { return sps.sps_seq_parameter_set_id; }
    static unsigned idOf(const PPS& pps) { return pps.pps_pic_parameter_set_id; }

    static std::uint64_t spsReading(const VPS&) { return 0; }
    static std::uint64_t spsReading(const SPS&) { return 0; }
    [[nodiscard]] std::uint64_t spsReading(const PPS& pps) const
    {
        const auto& pEntry = m_spsEntries[pps.pps_seq_parameter_set_id];
        return pEntry != nullptr ? pEntry->ulReading : 0; // coverage: no PPS is read without its SPS
    }

    static void noteSps(const VPS&) {}
    void noteSps(SPS& sps) { m_apSps[sps.sps_seq_parameter_set_id] = &sps; }
    static void noteSps(const PPS&) {}

    static void show(ParameterSetEvent& event, const VPS& vps, SPS* const*) { event.vps = &vps; }
    static void show(ParameterSetEvent& event, const SPS& sps, SPS* const*) { event.sps = &sps; }
    static void show(ParameterSetEvent& event, const PPS& pps, SPS* const* apSps)
    {
        event.pps = &pps;
        event.spsOfPps = apSps[pps.pps_seq_parameter_set_id];
    }

    const StreamOptions m_options;
    std::unique_ptr<tq_util::TMemPool, PoolDeleter> m_pPool; // outlives the records
    CRbspBuffer m_rbsp;
    std::uint64_t m_ulReadings = 0;
    Table<VPS> m_vpsEntries{TABLE_SIZES[0]};
    Table<SPS> m_spsEntries{TABLE_SIZES[1]};
    Table<PPS> m_ppsEntries{TABLE_SIZES[2]};
    std::array<SPS*, 256> m_apSps{}; // the records of m_spsEntries, as readPPS wants them

    // Of the last call, when it entered nothing.
    std::unique_ptr<Entry<VPS>> m_pUnenteredVps;
    std::unique_ptr<Entry<SPS>> m_pUnenteredSps;
    std::unique_ptr<Entry<PPS>> m_pUnenteredPps;

    // By hash of the bytes: the id of an entry that may have them. Two sets with one hash take turns,
    // which costs a reading and no more.
    std::unordered_map<std::size_t, unsigned> m_idOfHash;

    CSeenFailures m_seenFailures;
};

ParameterSetEvent CParameterSetTables::Impl::readNalUnit(std::span<const unsigned char> nalUnit)
{
    m_pUnenteredVps.reset();
    m_pUnenteredSps.reset();
    m_pUnenteredPps.reset();

    ParameterSetEvent event{};
    event.header = parseNalUnitHeader(nalUnit.empty() ? static_cast<unsigned char>(0) : nalUnit[0],
                                      nalUnit.size() < 2 ? static_cast<unsigned char>(0) : nalUnit[1]);
    event.ulSize = nalUnit.size();
    event.bPassedOver = event.header.forbidden_zero_bit || event.header.nuh_layer_id != 0 ||
                        !isParameterSet(event.header.nal_unit_type);
    nalUnit = nalUnit.first(std::min(nalUnit.size(), MAX_PARAMETER_SET_BYTES));
    if (!event.bPassedOver)
        read(event, nalUnit);
    const bool bUnentered = event.bPassedOver || m_pUnenteredVps || m_pUnenteredSps || m_pUnenteredPps;
    event.bSeenBefore = bUnentered && isParameterSet(event.header.nal_unit_type) && m_seenFailures.note(event, nalUnit);
    return event;
}

void CParameterSetTables::Impl::read(ParameterSetEvent& event, std::span<const unsigned char> nalUnit)
{
    if (event.header.nal_unit_type == VPS_NUT)
        take(event, m_vpsEntries, m_pUnenteredVps, nalUnit);
    else if (event.header.nal_unit_type == SPS_NUT)
        take(event, m_spsEntries, m_pUnenteredSps, nalUnit);
    else
        take(event, m_ppsEntries, m_pUnenteredPps, nalUnit);
}

// Reads the unit, or recognises it, and tells the event.
template <class TRecord>
void CParameterSetTables::Impl::take(ParameterSetEvent& event, Table<TRecord>& table,
                                     std::unique_ptr<Entry<TRecord>>& pUnentered,
                                     std::span<const unsigned char> nalUnit)
{
    const bool bKeepBytes = nalUnit.size() <= MAX_KEPT_BYTES;
    const std::size_t uiHash = bKeepBytes ? hashOf(nalUnit) : 0;
    Entry<TRecord>* pEntry = bKeepBytes ? findRepeat(table, nalUnit, uiHash) : nullptr;
    event.bRepeat = pEntry != nullptr;
    if (pEntry == nullptr) {
        auto pFresh = std::make_unique<Entry<TRecord>>();
        pEntry = pFresh.get();
        if (bKeepBytes)
            pFresh->bytes.assign(nalUnit.begin(), nalUnit.end());
        pFresh->uiHash = uiHash;
        pFresh->ulReading = ++m_ulReadings;
        readEntry(*pFresh, nalUnit.subspan(std::min(nalUnit.size(), NAL_UNIT_HEADER_BYTES)));
        if (pFresh->isGood(m_options.bEnterUnverified))
            enter(table, std::move(pFresh));
        else
            pUnentered = std::move(pFresh);
    }

    event.ulReading = pEntry->ulReading;
    event.iRead = pEntry->iRead;
    event.iVerify = pEntry->iVerify;
    event.logLines = pEntry->logLines;
    event.lastMessage = pEntry->lastMessage;
    if (pEntry->iRead == 0)
        show(event, *pEntry->pRecord, m_apSps.data());
}

template <class TRecord>
void CParameterSetTables::Impl::readEntry(Entry<TRecord>& entry, std::span<const unsigned char> payload)
{
    const std::span<const unsigned char> rbsp = m_rbsp.extract(payload);
    const CModuleLogCapture capture(m_options.iLogLevel, entry.logLines, entry.lastMessage);
    TRecord* pRecord = nullptr;
    make(pRecord);
    entry.pRecord.reset(pRecord);
    if (pRecord == nullptr)
        entry.iRead = h265_codec::E_NO_MEMORY;
    else if (m_options.eReader == EBitReader::Rbsp)
        readWith<h265_codec::CRbspReader>(entry, rbsp);
    else
        readWith<h265_codec::CBitStreamReader>(entry, rbsp);
}

template <class TReader, class TRecord>
void CParameterSetTables::Impl::readWith(Entry<TRecord>& entry, std::span<const unsigned char> rbsp)
{
    TReader bs;
    bs.init(rbsp.data(), static_cast<unsigned>(rbsp.size()));
    entry.iRead = read(entry.pRecord.get(), &bs);
    if (entry.iRead != 0)
        return;
    entry.iVerify = verify(entry.pRecord.get());
    entry.ulSpsReading = spsReading(*entry.pRecord);
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
    noteSps(*pEntry->pRecord);
    pSlot = std::move(pEntry);
}

template <class TRecord>
Entry<TRecord>* CParameterSetTables::Impl::findRepeat(const Table<TRecord>& table,
                                                      std::span<const unsigned char> nalUnit, std::size_t uiHash) const
{
    const auto position = m_idOfHash.find(uiHash);
    if (position == m_idOfHash.end() || position->second >= table.size())
        return nullptr;
    Entry<TRecord>* const pEntry = table[position->second].get();
    const bool bRepeat = pEntry != nullptr && std::ranges::equal(pEntry->bytes, nalUnit) &&
                         pEntry->ulSpsReading == spsReading(*pEntry->pRecord);
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
    m_seenFailures.clear();
    m_ulReadings = 0;
}

CParameterSetTables::CParameterSetTables(const StreamOptions& options) : m_pImpl(std::make_unique<Impl>(options)) {}

CParameterSetTables::~CParameterSetTables() = default;

ParameterSetEvent CParameterSetTables::readNalUnit(std::span<const unsigned char> nalUnit)
{
    return m_pImpl->readNalUnit(nalUnit);
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
