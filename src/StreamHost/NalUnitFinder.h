#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "H265psExport.h"
#include "NalUnit.h"

namespace H265PS_EXPORT h265_stream {

/// A NAL unit of a byte stream.
struct NalUnit
{
    NalUnitHeader header;
    std::uint64_t ulOffset; // of its header in the stream
    std::uint64_t ulSize;   // bytes, header included; neither start code nor trailing zero bytes
    /// The first MAX_PARAMETER_SET_BYTES bytes of a parameter set, MAX_OTHER_UNIT_BYTES of others, header included.
    std::span<const unsigned char> bytes;
};

/// Receives the NAL units of a stream.
class CNalUnitSink
{
public:
    virtual ~CNalUnitSink() = default;

    /// One NAL unit, valid during the call; false ends the search.
    virtual bool onNalUnit(const NalUnit& unit) = 0;
};

/// Annex B: finds the NAL units of a byte stream that is fed in pieces of any size. A NAL unit stands
/// behind 00 00 01 and ends in front of the next 00 00 01 or 00 00 00, or at the end of the stream;
/// zero bytes at its end are not part of it, and one without any byte is not reported. Bytes in front
/// of the first start code, and between 00 00 00 and the next one, are passed over. Only of
/// units that reach across pieces what is handed on is copied, so memory does not grow with the stream.
class CNalUnitFinder
{
public:
    /// The next piece. False when the sink ended the search: nothing but reset may follow.
    bool feed(std::span<const unsigned char> piece, CNalUnitSink& sink);

    /// The end of the stream: reports the unit that it cuts. False when the sink said so.
    bool finish(CNalUnitSink& sink);

    /// Between two pieces: where the parameter set began that the next one goes on with.
    [[nodiscard]] std::optional<std::uint64_t> openParameterSet() const;

    /// Between two pieces: the header of the unit that the next one goes on with; none when it is not there whole.
    [[nodiscard]] std::optional<NalUnitHeader> openUnit() const;

    /// Makes ready for another stream.
    void reset();

private:
    bool feedBehindZeros(CNalUnitSink& sink);
    bool feedRest(CNalUnitSink& sink);
    void openUnit(std::size_t uiPosition);
    bool closeUnit(std::uint64_t ulEnd, CNalUnitSink& sink);
    void keepOpenUnit();
    void keepBytes(std::uint64_t ulEnd, std::size_t uiMost);
    [[nodiscard]] unsigned char headerByte(std::uint64_t ulOffset) const;

    std::span<const unsigned char> m_piece; // being fed
    std::uint64_t m_ulPieceOffset = 0;      // of its first byte in the stream
    std::size_t m_uiPosition = 0;           // in it: what stands in front has been looked at
    unsigned m_uiZeros = 0;                 // zero bytes in front of m_uiPosition that may begin something, 0 … 2

    bool m_bInUnit = false;
    std::uint64_t m_ulUnitOffset = 0;
    unsigned char m_aucHeader[2] = {0, 0}; // of a unit that began in an earlier piece
    std::vector<unsigned char> m_kept;     // what earlier pieces held of it, as far as it is handed on
};

} // namespace h265_stream
