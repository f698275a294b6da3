#pragma once

#include <cstddef>
#include <set>
#include <span>
#include <string>

#include "ParameterSetEvent.h"

namespace h265_stream {

/// The parameter sets of a stream that did not come into force, so that what is wrong with them is told
/// once. They are kept whole and in order: whoever makes a stream can aim at a hash. What is kept is
/// bounded; above the bound the memory starts anew.
class CSeenFailures
{
public:
    /// Whether the same NAL unit came to the same end before, which it has from now on. A PPS can fail for
    /// want of its SPS first, then for another reason. A unit of more than 64 KiB is never remembered.
    bool note(const ParameterSetEvent& event, std::span<const unsigned char> nalUnit);

    void clear() noexcept;

private:
    std::set<std::string> m_seen;
    std::size_t m_uiBytes = 0; // of all of them
};

} // namespace h265_stream
