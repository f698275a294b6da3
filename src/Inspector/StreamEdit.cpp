#include "StreamEdit.h"

#include <algorithm>
#include <cstddef>

#include "EditedSets.h"
#include "NalUnitFinder.h"

namespace h265_inspect {

using namespace h265_stream;

namespace {

// The stream on its way from source to output: pieces pass through, parameter sets are replaced. What a piece
// cuts of a set is held back until the set is there.
class CPassage : public CNalUnitSink
{
public:
    CPassage(const EditOptions& options, EditOutcome& outcome, CEditOutput& output)
        : m_sets(options, outcome), m_outcome(outcome), m_output(output)
    {}

    void run(CByteSource& source)
    {
        for (std::span<const unsigned char> piece; !(piece = source.next()).empty();) {
            m_piece = piece;
            if (!m_finder.feed(piece, *this))
                return;
            endPiece();
        }
        if (!m_finder.finish(*this))
            return;
        passTo(m_ulPieceOffset);
        m_sets.finish();
    }

    bool onNalUnit(const NalUnit& unit) override
    {
        if (!isParameterSet(unit.header.nal_unit_type)) {
            // The sets in front of a picture have all been looked at: why read on?
            constexpr unsigned FIRST_NON_VCL = 32;
            return isWritten() || unit.header.nal_unit_type >= FIRST_NON_VCL;
        }
        const std::span<const unsigned char> bytes = m_sets.take(unit, unit.ulOffset >= m_ulPassed);
        if (!std::ranges::equal(bytes, unit.bytes)) {
            passTo(unit.ulOffset);
            write(bytes);
            m_ulPassed = unit.ulOffset + unit.ulSize;
        }
        return true;
    }

private:
    // A set that is longer than any that is looked at is not waited for.
    static constexpr std::size_t MAX_HELD = MAX_PARAMETER_SET_BYTES + (std::size_t{1} << 20);

    [[nodiscard]] bool isWritten() const { return m_outcome.refusals.empty() && m_outcome.impossible.empty(); }

    void endPiece()
    {
        const std::uint64_t ulEnd = m_ulPieceOffset + m_piece.size();
        const std::uint64_t ulOpen = m_finder.openParameterSet().value_or(ulEnd);
        passTo(std::min(std::max(ulOpen, m_ulPassed), ulEnd));
        if (m_ulPassed >= m_ulPieceOffset)
            m_held.clear();
        if (m_ulPassed < ulEnd) {
            const std::uint64_t ulBegin = std::max(m_ulPassed, m_ulPieceOffset);
            const auto rest = m_piece.subspan(static_cast<std::size_t>(ulBegin - m_ulPieceOffset));
            if (m_held.empty())
                m_ulHeldOffset = ulBegin;
            m_held.insert(m_held.end(), rest.begin(), rest.end());
        }
        m_ulPieceOffset = ulEnd;
        m_piece = {};
        if (m_held.size() > MAX_HELD) {
            passTo(ulEnd);
            m_held.clear();
        }
    }

    // Everything in front of a place that is not written yet.
    void passTo(std::uint64_t ulEnd)
    {
        if (m_ulPassed < m_ulPieceOffset && m_ulPassed < ulEnd) {
            const auto uiBegin = static_cast<std::size_t>(m_ulPassed - m_ulHeldOffset);
            const auto uiEnd = static_cast<std::size_t>(std::min(ulEnd, m_ulPieceOffset) - m_ulHeldOffset);
            write(std::span<const unsigned char>(m_held).subspan(uiBegin, uiEnd - uiBegin));
            m_ulPassed = m_ulHeldOffset + uiEnd;
        }
        if (m_ulPassed < ulEnd) {
            const auto uiBegin = static_cast<std::size_t>(m_ulPassed - m_ulPieceOffset);
            write(m_piece.subspan(uiBegin, static_cast<std::size_t>(ulEnd - m_ulPassed)));
            m_ulPassed = ulEnd;
        }
    }

    void write(std::span<const unsigned char> bytes)
    {
        if (isWritten() && !bytes.empty())
            m_output.write(bytes);
    }

    CNalUnitFinder m_finder;
    CEditedSets m_sets;
    EditOutcome& m_outcome;
    CEditOutput& m_output;
    std::span<const unsigned char> m_piece;
    std::uint64_t m_ulPieceOffset = 0;
    std::uint64_t m_ulPassed = 0;      // what stands in front is written, or replaced
    std::vector<unsigned char> m_held; // of earlier pieces
    std::uint64_t m_ulHeldOffset = 0;
};

} // namespace

EditOutcome editStream(CByteSource& source, const EditOptions& options, CEditOutput& output)
{
    EditOutcome outcome;
    CPassage(options, outcome, output).run(source);
    return outcome;
}

} // namespace h265_inspect
