#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "SeenSets.h"
#include "SetReader.h"
#include "WaitingPps.h"

namespace h265_stream {

/// A set that was read, with what is known of its NAL unit.
template <class TRecord>
struct SetEntry : ReadSet<TRecord>
{
    UnitPlace place{}; // of its last repeat
    std::uint64_t ulReading = 0;
    SeenSet first{};                // the first set with the same bytes and record, often itself
    std::uint64_t ulSpsReading = 0; // of a PPS: of the SPS that it was read against
    std::uint64_t ulSpsContent = 0;
    std::vector<unsigned char> bytes; // of the NAL unit; empty when it is too long to be kept
    std::size_t uiHash = 0;           // of bytes
};

/// The sets of one type in force, by id.
template <class TRecord>
class CSetTable
{
public:
    using TEntry = SetEntry<TRecord>;

    explicit CSetTable(unsigned uiIds) : m_entries(uiIds) {}

    /// Null where there is none.
    [[nodiscard]] const TEntry* inForce(unsigned uiId) const noexcept
    {
        return uiId < m_entries.size() ? m_entries[uiId].get() : nullptr;
    }
    [[nodiscard]] const TRecord* record(unsigned uiId) const noexcept
    {
        const TEntry* const pEntry = inForce(uiId);
        return pEntry != nullptr ? pEntry->pRecord.get() : nullptr;
    }

    /// The one in force with the same bytes, of a PPS read against the same SPS; null when there is none.
    TEntry* findRepeat(std::span<const unsigned char> nalUnit, std::uint64_t ulSpsReading)
    {
        if (nalUnit.size() > MAX_KEPT_BYTES)
            return nullptr;
        const auto position = m_idOfHash.find(hashOf(nalUnit));
        if (position == m_idOfHash.end())
            return nullptr;
        TEntry* const pEntry = m_entries[position->second].get();
        const bool bRepeat = std::ranges::equal(pEntry->bytes, nalUnit) && pEntry->ulSpsReading == ulSpsReading;
        return bRepeat ? pEntry : nullptr;
    }

    /// Keeps the bytes that an entry was read from, unless they are too many.
    static void keepBytes(TEntry& entry, std::span<const unsigned char> nalUnit)
    {
        if (nalUnit.size() > MAX_KEPT_BYTES)
            return;
        entry.bytes.assign(nalUnit.begin(), nalUnit.end());
        entry.uiHash = hashOf(nalUnit);
    }

    /// Puts an entry into force, and gives back the one whose place it took, if any.
    std::unique_ptr<TEntry> enter(unsigned uiId, std::unique_ptr<TEntry> pEntry)
    {
        std::unique_ptr<TEntry>& pSlot = m_entries[uiId];
        if (pSlot != nullptr)
            forgetHash(*pSlot, uiId);
        if (!pEntry->bytes.empty())
            m_idOfHash[pEntry->uiHash] = uiId;
        pSlot.swap(pEntry);
        return pEntry;
    }

    /// Keeps an entry that does not come into force until the next one.
    void keepUnentered(std::unique_ptr<TEntry> pEntry) noexcept { m_pUnentered = std::move(pEntry); }

    void dropUnentered() noexcept { m_pUnentered.reset(); }

    void clear() noexcept
    {
        m_idOfHash.clear();
        m_pUnentered.reset();
        for (std::unique_ptr<TEntry>& pEntry : m_entries)
            pEntry.reset();
    }

private:
    // Longer sets are read again each time instead of being kept to recognise their repeats, so that the
    // tables cannot be made to hold much beside their records.
    static constexpr std::size_t MAX_KEPT_BYTES = std::size_t{64} << 10;

    static std::size_t hashOf(std::span<const unsigned char> bytes)
    {
        return std::hash<std::string_view>()({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }

    // Unless an entry of another id has taken it.
    void forgetHash(const TEntry& entry, unsigned uiId)
    {
        const auto position = m_idOfHash.find(entry.uiHash);
        if (position != m_idOfHash.end() && position->second == uiId)
            m_idOfHash.erase(position);
    }

    std::vector<std::unique_ptr<TEntry>> m_entries;
    std::unique_ptr<TEntry> m_pUnentered;

    // By hash of the bytes: the id of an entry that may have them. Two sets with one hash take turns,
    // which costs a reading and no more.
    std::unordered_map<std::size_t, unsigned> m_idOfHash;
};

} // namespace h265_stream
