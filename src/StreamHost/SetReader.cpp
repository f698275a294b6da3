#include "SetReader.h"

#include <algorithm>
#include <array>
#include <new>

#include "ModuleLog.h"
#include "NalUnit.h"
#include "WorkAccount.h"

namespace h265_stream {

using h265_codec::PPS;
using h265_codec::SPS;
using h265_codec::VPS;

namespace {

constexpr char VPS_POOL_TAG_PATH[] = "StreamHost/SetReader";

// Two ue(v) of at most 129 bits each, of which CBitStreamReader passes over as many again, and half as
// many bytes of emulation prevention.
constexpr std::size_t PPS_IDS_BYTES = 128;

constexpr int NO_LOG_LINES = 3;

VPS* createVPS(tq_util::TMemPool* pMemPool) noexcept
{
    void* const pBlock = tq_util::getMemBlock(sizeof(VPS), pMemPool, VPS_POOL_TAG_PATH, __LINE__);
    return pBlock != nullptr ? new (pBlock) VPS{} : nullptr;
}

std::span<const unsigned char> payloadOf(std::span<const unsigned char> nalUnit)
{
    return nalUnit.subspan(std::min(nalUnit.size(), NAL_UNIT_HEADER_BYTES));
}

} // namespace

void RecordDeleter::operator()(VPS* vps) const noexcept
{
    tq_util::releaseMemBlock(vps, VPS_POOL_TAG_PATH, __LINE__);
}

void RecordDeleter::operator()(SPS* sps) const noexcept
{
    h265_codec::destroySPS(sps);
}

void RecordDeleter::operator()(PPS* pps) const noexcept
{
    h265_codec::destroyPPS(pps);
}

CSetReader::CSetReader(const StreamOptions& options)
    : m_options(options), m_pPool(tq_util::createMemPool(options.ulPoolBytes))
{
    if (m_pPool == nullptr)
        throw std::bad_alloc();
}

template <class TRead>
auto CSetReader::withBitReader(std::span<const unsigned char> payload, const TRead& read)
{
    const std::span<const unsigned char> rbsp = m_rbsp.extract(payload);
    const auto readWith = [&](auto bs) {
        bs.init(rbsp.data(), static_cast<unsigned>(rbsp.size()));
        return read(&bs);
    };
    return m_options.eReader == EBitReader::Rbsp ? readWith(h265_codec::CRbspReader{})
                                                 : readWith(h265_codec::CBitStreamReader{});
}

std::optional<PpsIds> CSetReader::ppsIdsOf(std::span<const unsigned char> nalUnit)
{
    std::vector<std::string> logLines; // the reading itself tells them
    std::string lastMessage;
    const CModuleLogCapture capture(NO_LOG_LINES, logLines, lastMessage);
    const std::span<const unsigned char> payload = payloadOf(nalUnit);
    return withBitReader(
        payload.first(std::min(payload.size(), PPS_IDS_BYTES)), [](auto* pBS) -> std::optional<PpsIds> {
            PpsIds ids{};
            // 7.3.2.3.1
            if (pBS->readUe(ids.pps_pic_parameter_set_id) != 0 || pBS->readUe(ids.pps_seq_parameter_set_id) != 0)
                return std::nullopt;
            return ids;
        });
}

template <class TRecord, class TRead>
void CSetReader::readWithLog(ReadSet<TRecord>& set, std::span<const unsigned char> nalUnit,
                             TRecord* (*pCreate)(tq_util::TMemPool*), int (*pVerify)(TRecord*), const TRead& read)
{
    const CModuleLogCapture capture(m_options.iLogLevel, set.logLines, set.lastMessage);
    TRecord* const pRecord = pCreate(m_pPool.get());
    set.pRecord.reset(pRecord);
    if (pRecord == nullptr) {
        set.iRead = h265_codec::E_NO_MEMORY;
        return;
    }
    set.iRead = withBitReader(payloadOf(nalUnit), [&](auto* pBS) { return read(pRecord, pBS); });
    if (set.iRead == 0)
        set.iVerify = pVerify(pRecord);
    set.ulWork = capture.lineCount() * WORK_OF_LOG_LINE;
}

void CSetReader::read(ReadSet<VPS>& set, std::span<const unsigned char> nalUnit, SPS* /* sps */)
{
    readWithLog<VPS>(set, nalUnit, createVPS, h265_codec::verifyVPS, [](VPS* vps, auto* pBS) {
        return h265_codec::readVPS(vps, pBS);
    });
}

void CSetReader::read(ReadSet<SPS>& set, std::span<const unsigned char> nalUnit, SPS* /* sps */)
{
    readWithLog<SPS>(set, nalUnit, h265_codec::createSPS, h265_codec::verifySPS, [this](SPS* sps, auto* pBS) {
        return h265_codec::readSPS(sps, pBS, m_pPool.get());
    });
    if (set.pRecord != nullptr)
        set.ulWork += workOf(*set.pRecord);
}

// Nothing but the tile tables takes the picture's size from the SPS: against a copy without CTBs a PPS is
// read in full, but for tables of no size.
void CSetReader::read(ReadSet<PPS>& set, std::span<const unsigned char> nalUnit, SPS* sps)
{
    const bool bTooLarge = sps != nullptr && ctbsOf(*sps) > m_options.uiMaxCtbs;
    SPS used = sps != nullptr ? *sps : SPS{};
    if (bTooLarge) {
        used.PicWidthInCtbsY = 0;
        used.PicHeightInCtbsY = 0;
    }
    std::array<SPS*, 256> apSps{};
    if (sps != nullptr)
        apSps[sps->sps_seq_parameter_set_id] = &used;
    readWithLog<PPS>(set, nalUnit, h265_codec::createPPS, h265_codec::verifyPPS, [&](PPS* pps, auto* pBS) {
        return h265_codec::readPPS(pps, apSps.data(), pBS, m_pPool.get());
    });
    if (set.pRecord == nullptr)
        return;
    set.ulWork += workOf(*set.pRecord, used);
    set.bPictureTooLarge = bTooLarge && set.pRecord->tiles_enabled_flag;
}

} // namespace h265_stream
