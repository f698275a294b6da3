#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ByteSource.h"
#include "FuzzInput.h"
#include "ParameterSetStream.h"

namespace h265_fuzz {

/// A stream in pieces of one size, each in a heap block of its own.
class CPieceSource : public h265_stream::CByteSource
{
public:
    /// uiPieceBytes 0: all in one piece.
    CPieceSource(std::span<const unsigned char> bytes, std::size_t uiPieceBytes)
        : m_bytes(bytes), m_left(bytes), m_uiPieceBytes(uiPieceBytes != 0 ? uiPieceBytes : bytes.size())
    {}

    std::span<const unsigned char> next() override
    {
        const auto piece = m_left.first(std::min(m_uiPieceBytes, m_left.size()));
        m_left = m_left.subspan(piece.size());
        m_piece = std::vector<unsigned char>(piece.begin(), piece.end());
        return m_piece;
    }

    std::span<const unsigned char> head() override
    {
        return m_bytes.first(std::min<std::size_t>(4096, m_bytes.size()));
    }

private:
    std::span<const unsigned char> m_bytes;
    std::span<const unsigned char> m_left;
    std::size_t m_uiPieceBytes;
    std::vector<unsigned char> m_piece;
};

/// What an event told, without its pointers.
struct EventRecord
{
    std::uint64_t ulOffset;
    std::uint64_t ulSize;
    std::uint64_t ulReading;
    bool bRepeat;
    std::optional<int> iRead;
    std::optional<int> iVerify;
    std::optional<std::uint64_t> ulSameAs;
    std::optional<std::uint64_t> ulReadAt;
    std::vector<std::string> logLines;

    bool operator==(const EventRecord&) const = default;
};

/// Reads the bytes as a stream in pieces, checks every event and the summary, and returns the events.
std::vector<EventRecord> readChecked(h265_stream::CParameterSetStream& stream, std::span<const unsigned char> bytes,
                                     std::size_t uiPieceBytes);

} // namespace h265_fuzz
