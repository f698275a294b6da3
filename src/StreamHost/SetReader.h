#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "DecParameterSetReader.h"
#include "ParameterSetEvent.h"
#include "Rbsp.h"
#include "StreamOptions.h"
#include "tq_util.h"

namespace h265_stream {

/// Gives a record and its side blocks back to their pool.
struct RecordDeleter
{
    void operator()(h265_codec::VPS* vps) const noexcept;
    void operator()(h265_codec::SPS* sps) const noexcept;
    void operator()(h265_codec::PPS* pps) const noexcept;
};

/// What the module made of one set.
template <class TRecord>
struct ReadSet
{
    std::unique_ptr<TRecord, RecordDeleter> pRecord; // of a reading that failed: fit for nothing else than its end
    bool bPictureTooLarge = false; // of a PPS: no tables were built, the record has none of its values
    std::uint64_t ulWork = 0;      // see CWorkAccount
    int iRead = 0;
    std::optional<int> iVerify; // none unless iRead is 0
    std::vector<std::string> logLines;
    std::string lastMessage;
};

/// Gives NAL units to the module, which reads each into a fresh record of a pool. The records must be gone
/// before the reader.
class CSetReader
{
public:
    /// Throws std::bad_alloc when there is no memory for a pool.
    explicit CSetReader(const StreamOptions& options);

    /// The ids in front of a PPS, as its reading finds them; none when it ends within them.
    std::optional<PpsIds> ppsIdsOf(std::span<const unsigned char> nalUnit);

    /// Reads and verifies one set, a PPS against its SPS; null when that has not come. A VPS or SPS needs none.
    void read(ReadSet<h265_codec::VPS>& set, std::span<const unsigned char> nalUnit, h265_codec::SPS* sps);
    void read(ReadSet<h265_codec::SPS>& set, std::span<const unsigned char> nalUnit, h265_codec::SPS* sps);
    void read(ReadSet<h265_codec::PPS>& set, std::span<const unsigned char> nalUnit, h265_codec::SPS* sps);

    [[nodiscard]] const tq_util::TMemPool* pool() const noexcept { return m_pPool.get(); }

private:
    struct PoolDeleter
    {
        void operator()(tq_util::TMemPool* pMemPool) const noexcept { tq_util::destroyMemPool(pMemPool); }
    };

    template <class TRecord, class TRead>
    void readWithLog(ReadSet<TRecord>& set, std::span<const unsigned char> nalUnit,
                     TRecord* (*pCreate)(tq_util::TMemPool*), int (*pVerify)(TRecord*), const TRead& read);

    /// Calls read with the bit reader that was asked for, set up over the RBSP.
    template <class TRead>
    auto withBitReader(std::span<const unsigned char> payload, const TRead& read);

    const StreamOptions m_options;
    std::unique_ptr<tq_util::TMemPool, PoolDeleter> m_pPool;
    CRbspBuffer m_rbsp;
};

} // namespace h265_stream
