#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <vector>

#include "NalUnitFinder.h"
#include "StreamEdit.h"

namespace h265_test {

/// Bytes in pieces of one size.
class CPiecesSource : public h265_stream::CByteSource
{
public:
    CPiecesSource(std::span<const unsigned char> bytes, std::size_t uiPiece) : m_bytes(bytes), m_uiPiece(uiPiece) {}

    std::span<const unsigned char> next() override
    {
        const auto piece = m_bytes.first(std::min(m_uiPiece, m_bytes.size()));
        m_bytes = m_bytes.subspan(piece.size());
        return piece;
    }
    std::span<const unsigned char> head() override
    {
        return m_bytes.first(std::min<std::size_t>(4096, m_bytes.size()));
    }

private:
    std::span<const unsigned char> m_bytes;
    std::size_t m_uiPiece;
};

/// A stream that was edited.
struct EditedStream : h265_inspect::CEditOutput
{
    void write(std::span<const unsigned char> more) override { bytes.insert(bytes.end(), more.begin(), more.end()); }

    std::vector<unsigned char> bytes;
    h265_inspect::EditOutcome outcome;
};

inline EditedStream edited(std::span<const unsigned char> bytes, const std::vector<std::string>& settings,
                           bool bForce = false, std::size_t uiPiece = std::size_t{1} << 20)
{
    h265_inspect::EditOptions options;
    for (const std::string& setting : settings)
        options.settings.push_back(h265_inspect::parseEditSetting(setting));
    options.bForce = bForce;
    CPiecesSource source(bytes, uiPiece);
    EditedStream result;
    result.outcome = h265_inspect::editStream(source, options, result);
    return result;
}

/// A NAL unit, its bytes and those in front of it that belong to none.
struct FoundUnit
{
    std::vector<unsigned char> bytes;
    std::uint64_t ulOffset;
    h265_stream::NalUnitHeader header;
};

inline std::vector<FoundUnit> unitsOf(std::span<const unsigned char> bytes)
{
    class CSink : public h265_stream::CNalUnitSink
    {
    public:
        bool onNalUnit(const h265_stream::NalUnit& unit) override
        {
            m_found.push_back({{}, unit.ulOffset, unit.header});
            m_sizes.push_back(unit.ulSize);
            return true;
        }
        std::vector<FoundUnit> m_found;
        std::vector<std::uint64_t> m_sizes;
    } sink;
    h265_stream::CNalUnitFinder finder;
    finder.feed(bytes, sink);
    finder.finish(sink);
    for (std::size_t i = 0; i < sink.m_found.size(); ++i) {
        const auto unit = bytes.subspan(static_cast<std::size_t>(sink.m_found[i].ulOffset),
                                        static_cast<std::size_t>(sink.m_sizes[i]));
        sink.m_found[i].bytes.assign(unit.begin(), unit.end());
    }
    return sink.m_found;
}

} // namespace h265_test
