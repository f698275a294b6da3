#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>

#include "ParameterSetEvent.h"

namespace h265_stream {

/// A set as it was met first.
struct SeenSet
{
    std::uint64_t ulOffset;  // of its NAL unit
    std::uint64_t ulContent; // a number that its equals have, and nothing else; 0 for what was not read
};

/// The parameter sets of a stream with what became of them, so that what is the same again can be told.
/// They are kept whole and in order: whoever makes a stream can aim at a hash. What is kept is bounded:
/// 4,096 sets, 1 MiB, none of more than 64 KiB; above the bound the memory starts anew.
class CSeenSets
{
public:
    /// The first set of the same bytes that came to the same end, if one is known; else this one is known
    /// from now on, as `set`. ulSpsContent: of the SPS in force that a PPS refers to, else 0.
    std::optional<SeenSet> note(const ParameterSetEvent& event, std::span<const unsigned char> nalUnit,
                                std::uint64_t ulSpsContent, const SeenSet& set);

    void clear() noexcept;

private:
    std::map<std::string, SeenSet> m_seen;
    std::size_t m_uiBytes = 0; // of all of them
};

} // namespace h265_stream
