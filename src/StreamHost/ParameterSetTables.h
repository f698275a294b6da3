#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "H265psExport.h"
#include "ParameterSetEvent.h"
#include "StalePps.h"
#include "StreamOptions.h"

namespace H265PS_EXPORT h265_stream {

/// The parameter sets in force: VPS by id (16), SPS by id (256), PPS by id (256). It reads NAL units
/// with the module into records of its own pool. Each is read into a fresh record that takes the place
/// of the one in force only when it is good: a set that cannot be read destroys nothing.
///
/// A PPS keeps what it took from the SPS that it was read against (tile tables, Log2MinCuQpDeltaSize)
/// when that SPS is replaced later; a decoder that activates it then has to be sent it again, as
/// streams that change an SPS do, and the new copy is read against the new SPS.
///
/// A PPS that comes before its SPS waits for it: its bytes are kept (256 units, 1 MiB) and read when the SPS
/// has come into force. It takes the place of no PPS that came later than itself.
///
/// A decoder feeds it the NAL units it meets and looks the sets up by the ids of its slices:
///
///     CParameterSetTables tables({.bEnterUnverified = false});
///     tables.readNalUnit(nalUnit);
///     while (tables.nextWaiting()) // behind an SPS: the PPSs that came before it
///         ;
///     const PPS* const pps = tables.pps(slice_pic_parameter_set_id);
///     const SPS* const sps = pps != nullptr ? tables.sps(pps->pps_seq_parameter_set_id) : nullptr;
///
/// Not for use by two threads at once: the module's log sink is redirected while it reads.
class CParameterSetTables
{
public:
    explicit CParameterSetTables(const StreamOptions& options);
    ~CParameterSetTables();
    CParameterSetTables(const CParameterSetTables&) = delete;
    CParameterSetTables& operator=(const CParameterSetTables&) = delete;

    /// Reads one NAL unit, header included, without start code and trailing zero bytes; ulOffset tells
    /// where it stands, for the events. What the event points at is valid until the next call. A unit of
    /// another type is passed over like a parameter set of another layer. bWaiting says of a PPS that
    /// nothing was read yet, for its SPS has not come.
    ParameterSetEvent readNalUnit(std::span<const unsigned char> nalUnit, std::uint64_t ulOffset = 0);

    /// Behind readNalUnit: reads the next PPS that waited for the SPS that has come into force, in stream
    /// order; none when there is no further one. Those that are left are read by the next readNalUnit, and
    /// their events are lost.
    std::optional<ParameterSetEvent> nextWaiting();

    /// At the end of a stream: the next PPS whose SPS never came, in stream order; none when there is no
    /// further one.
    std::optional<ParameterSetEvent> nextWithoutSps();

    /// Bytes of the stream that are not given to readNalUnit. All bytes pay for the work that parameter sets
    /// cost beyond their own (the tables of a large picture): what is not paid for is refused.
    void skipBytes(std::uint64_t ulBytes) noexcept;

    /// SPSs that were replaced while PPSs that were read against the old one were not sent again, in the
    /// order of their offsets; 1,024 of them at most.
    [[nodiscard]] std::vector<StalePps> stalePps() const;

    /// The set in force under an id; null where there is none. Valid until a set of the same type and
    /// id is read, or clear.
    [[nodiscard]] const h265_codec::VPS* vps(unsigned uiId) const noexcept;
    [[nodiscard]] const h265_codec::SPS* sps(unsigned uiId) const noexcept;
    [[nodiscard]] const h265_codec::PPS* pps(unsigned uiId) const noexcept;

    /// Releases every record; readings are counted from 1 again.
    void clear() noexcept;

    /// Blocks of the pool that are in use: 0 after clear, whatever was read.
    [[nodiscard]] std::size_t blocksInUse() const;

private:
    class Impl;
    std::unique_ptr<Impl> m_pImpl;
};

} // namespace h265_stream
