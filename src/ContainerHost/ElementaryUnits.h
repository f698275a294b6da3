#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "UnitOutput.h"

namespace h265_container {

/// Bytes of a parameter set that are kept of a byte stream inside a container: there can be many at a time.
inline constexpr std::size_t MAX_ELEMENTARY_SET_BYTES = std::size_t{256} << 10;

/// Annex B inside a container: finds the NAL units of a byte stream that comes in pieces, and remembers where
/// each began. A NAL unit ends in front of the next start code; zero bytes at its end are not part of it.
class CElementaryUnits
{
public:
    /// The next piece. place is where it stands, ulFileOffset its offset in the file.
    void feed(CUnitOutput& output, std::span<const unsigned char> piece, const UnitPlace& place,
              std::optional<std::uint64_t> ulFileOffset);

    /// Whether nothing of what follows is wanted until the next start code, none of whose zeros have come.
    [[nodiscard]] bool isPassing() const
    {
        return m_bOpen && m_ulZeros == 0 && m_bytes.size() == m_uiMost && m_ulSize != 0;
    }

    /// Pieces of so many bytes while isPassing(), in which no start code lies and of which none ends with a zero byte.
    void pass(std::uint64_t ulBytes);

    /// Nothing follows, or bytes in front of what follows are lost: delivers the open unit as far as it is
    /// there.
    void finish(CUnitOutput& output);

private:
    void append(CUnitOutput& output, std::span<const unsigned char> bytes, const UnitPlace& place,
                std::optional<std::uint64_t> ulFileOffset);
    void close(CUnitOutput& output);

    bool m_bOpen = false;
    UnitPlace m_place;
    std::optional<std::uint64_t> m_ulFileOffset; // none when it reaches over pieces
    std::vector<unsigned char> m_bytes;          // kept of the open unit
    std::size_t m_uiMost = 0;                    // of these
    std::uint64_t m_ulSize = 0;                  // all of its bytes
    std::uint64_t m_ulUnitZeros = 0;             // at its end
    std::uint64_t m_ulZeros = 0;                 // at the end of what came, which can begin a start code
    bool m_bDelivered = false;                   // in front of its end, for a head
};

/// The NAL units of a sample that is a byte stream. Offsets in the file are those in source plus ulFileBase; none when
/// that is none.
void readStartCodeUnits(CUnitOutput& output, const UnitPlace& place, CRandomSource& source, std::uint64_t ulOffset,
                        std::uint64_t ulSize, std::optional<std::uint64_t> ulFileBase);

} // namespace h265_container
