#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace h265_model {

/// What a case does.
enum class Kind
{
    BitOperations,  // the bit reader's operations in any order
    RandomPayloads, // every reader, on payloads of random bits
    VpsSets,        // whole sets of one kind
    SpsSets,
    PpsSets,
    DamagedSets,  // sets with flipped bits, cut sets
    Rereadings,   // several sets, one after the other, into the same records
    PoolFailures, // the same, from a pool that does not give every block
    SubStructures // the readers of the structures inside, called by themselves
};

inline constexpr unsigned KIND_COUNT = 9;
extern const char* const KIND_NAMES[KIND_COUNT];

enum class Reader
{
    Decoder,
    Rbsp
};

inline constexpr unsigned READING_COUNT = 8;
extern const char* const READING_NAMES[READING_COUNT];

/// Branches of the syntax tables whose whole sets are counted, so that a generator that no longer gets
/// there is noticed.
inline constexpr unsigned FEATURE_COUNT = 9;
inline constexpr unsigned SUB_LAYERS_FEATURE = 4;
extern const char* const FEATURE_NAMES[FEATURE_COUNT];

/// Readings done and how many of them ended with 0, by what was read (READING_NAMES); SPS and PPS
/// readings that ended with 0 and took a branch (FEATURE_NAMES).
struct Tally
{
    struct Count
    {
        std::uint64_t ulDone = 0;
        std::uint64_t ulGood = 0;
    };
    std::array<Count, READING_COUNT> counts;
    std::array<std::uint64_t, FEATURE_COUNT> features{};
};

/// Which case: the same four always do the same.
struct CaseId
{
    Kind kind;
    Reader reader;
    std::uint64_t ulSeed;
    std::uint64_t ulNumber;
};

/// Runs a case on module and model. Returns their differences, one a line; empty when they agree.
std::string runCase(const CaseId& id, Tally& tally);

/// How to run the case again.
std::string describe(const CaseId& id);

} // namespace h265_model
