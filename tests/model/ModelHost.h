#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace h265_model {

/// Every field of the model's records: wide enough for all, so that each narrowing stands where it happens.
using Value = std::int64_t;

/// Ends a model function: the result of the read that failed, or of the rule that refused the payload.
struct Stop
{
    int iResult;
};

inline constexpr int NOT_ENOUGH_BITS = static_cast<int>(0x80000001U);
inline constexpr int NO_MEMORY = static_cast<int>(0x80000002U);

/// One call that the module is expected to make to its pool.
struct ExpectedCall
{
    bool bTake;
    unsigned uiSize;
    int iLine;
};

/// What stands around the module: the log with its level, and the pool, whose blocks go by numbers from 1.
class CModelHost
{
public:
    int m_iLogLevel = 0;
    std::size_t m_uiFailIn = 0; // the take from now on that fails; 0: none
    std::vector<std::string> m_lines;
    std::vector<ExpectedCall> m_calls;

    /// An ERROR line.
    void error(const std::string& text)
    {
        if (m_iLogLevel < 3)
            m_lines.push_back("ERROR: " + text + "\n");
    }

    /// A WARN line.
    void warn(const std::string& text)
    {
        if (m_iLogLevel < 2)
            m_lines.push_back("WARN: " + text + "\n");
    }

    /// Takes a block; its number, or 0 when the pool gives none.
    int take(std::uint64_t ulSize, int iLine)
    {
        if (ulSize > 0xffffffffU)
            return 0;
        m_calls.push_back({true, static_cast<unsigned>(ulSize), iLine});
        if (m_uiFailIn != 0 && --m_uiFailIn == 0)
            return 0;
        return ++m_iBlocks;
    }

    /// Gives a block back.
    void release(std::uint64_t ulSize, int iLine) { m_calls.push_back({false, static_cast<unsigned>(ulSize), iLine}); }

private:
    int m_iBlocks = 0;
};

} // namespace h265_model
