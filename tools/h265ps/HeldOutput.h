#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "OutputStream.h"

namespace h265ps {

/// Standard output and lines of standard error in the order in which they came. They can be kept back until
/// what stands in front of them is known.
class CHeldOutput
{
public:
    explicit CHeldOutput(COutputStream& output) : m_output(output) {}

    void append(std::string_view text) { take(text, false); }
    /// A whole line for standard error.
    void error(std::string_view line) { take(line, true); }

    /// Keeps back what comes from now on.
    void hold();
    /// More came than is kept: what was kept is gone, and what comes is lost.
    [[nodiscard]] bool hasLost() const { return m_bLost; }
    /// Bytes that are kept.
    [[nodiscard]] std::size_t size() const { return m_uiSize; }
    /// Writes what was kept, and lets through what comes from now on.
    void release();
    /// Forgets what was kept, and what comes until the next hold or release.
    void drop();

private:
    struct Piece
    {
        bool bError;
        std::string text;
    };

    void take(std::string_view text, bool bError);
    void write(std::string_view text, bool bError);

    COutputStream& m_output;
    std::vector<Piece> m_pieces;
    std::size_t m_uiSize = 0;
    bool m_bHolding = false;
    bool m_bLost = false;
};

} // namespace h265ps
