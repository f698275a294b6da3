#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "ParameterSetEvent.h"
#include "StreamOptions.h"

namespace h265_stream {

/// The parameter sets in force: VPS by id (16), SPS by id (256), PPS by id (256). It reads NAL units
/// with the module into records of its own pool. Each is read into a fresh record that takes the place
/// of the one in force only when it is good: a set that cannot be read destroys nothing.
///
/// A PPS keeps what it took from the SPS that it was read against (tile tables, Log2MinCuQpDeltaSize)
/// when that SPS is replaced later; a decoder that activates it then has to be sent it again, as
/// streams that change an SPS do, and the new copy is read against the new SPS.
///
/// A decoder feeds it the NAL units it meets and looks the sets up by the ids of its slices:
///
///     CParameterSetTables tables({.bEnterUnverified = false});
///     tables.readNalUnit(nalUnit);
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

    /// Reads one NAL unit, header included, without start code and trailing zero bytes. The event's
    /// ulOffset is 0 and its ulSize the unit's; what it points at is valid until the next call. A unit
    /// of another type is passed over like a parameter set of another layer.
    ParameterSetEvent readNalUnit(std::span<const unsigned char> nalUnit);

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
