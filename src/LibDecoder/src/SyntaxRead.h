#pragma once

#include "BitStreamReader.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <type_traits>
#include <utility>

// The reading idiom: read(pBS, u(4, a), flag(b), ue(c)) reads a run of elements in the order of their
// syntax table and stops at the first failure with its result. Not installed.
//
// Each descriptor of 7.2 is a tiny value that knows its field. A run keeps the reader's cache word in
// registers; neighbours of fixed width are taken with one test of the count. Whatever does not lie
// well inside the counted bits goes through the reader's own operations, one element at a time, and
// these alone decide about refills and failures.

namespace h265_codec::syntax {

#define H265_ALWAYS_INLINE [[gnu::always_inline]] inline

/// u(n): the field is written even when the read fails, with what was left of the payload.
template <class T>
struct U
{
    static constexpr bool FIXED_WIDTH = true;
    unsigned uiWidth;
    T& field;

    H265_ALWAYS_INLINE void store(std::uint64_t ulBits) const noexcept { field = static_cast<T>(ulBits); }

    template <class TReader>
    int readStep(TReader* pBS) const noexcept
    {
        unsigned uiValue = 0;
        const int iResult = pBS->readBits(uiWidth, uiValue);
        field = static_cast<T>(uiValue);
        return iResult;
    }
};

/// u(n): the field keeps its value when the read fails.
template <class T>
struct UKept
{
    static constexpr bool FIXED_WIDTH = true;
    unsigned uiWidth;
    T& field;

    H265_ALWAYS_INLINE void store(std::uint64_t ulBits) const noexcept { field = static_cast<T>(ulBits); }

    template <class TReader>
    int readStep(TReader* pBS) const noexcept
    {
        unsigned uiValue = 0;
        const int iResult = pBS->readBits(uiWidth, uiValue);
        if (iResult == 0)
            field = static_cast<T>(uiValue);
        return iResult;
    }
};

/// u(n), read and dropped.
struct Dropped
{
    static constexpr bool FIXED_WIDTH = true;
    unsigned uiWidth;

    H265_ALWAYS_INLINE void store(std::uint64_t /* ulBits */) const noexcept {}

    template <class TReader>
    int readStep(TReader* pBS) const noexcept
    {
        unsigned uiValue = 0;
        return pBS->readBits(uiWidth, uiValue);
    }
};

/// u(1): false when the read fails.
template <class T>
struct Flag
{
    static constexpr bool FIXED_WIDTH = true;
    static constexpr unsigned uiWidth = 1;
    T& field;

    H265_ALWAYS_INLINE void store(std::uint64_t ulBits) const noexcept { field = static_cast<T>(ulBits); }

    template <class TReader>
    int readStep(TReader* pBS) const noexcept
    {
        bool bFlag = false;
        const int iResult = pBS->readFlag(bFlag);
        field = static_cast<T>(bFlag);
        return iResult;
    }
};

/// 32 times u(1), index 0 first.
struct Flags32
{
    static constexpr bool FIXED_WIDTH = true;
    static constexpr unsigned uiWidth = 32;
    bool (&aField)[32];

    // Eight bits at a time are spread over the eight bytes of a word.
    H265_ALWAYS_INLINE void store(std::uint64_t ulBits) const noexcept
    {
        for (unsigned j = 0; j < 32; j += 8) {
            std::uint64_t ulSpread = (ulBits >> (24 - j) & 0xff) * 0x0101010101010101;
            ulSpread &= std::endian::native == std::endian::little ? 0x0102040810204080 : 0x8040201008040201;
            ulSpread = (ulSpread + 0x7f7f7f7f7f7f7f7f) >> 7 & 0x0101010101010101;
            std::memcpy(aField + j, &ulSpread, sizeof(ulSpread));
        }
    }

    template <class TReader>
    int readStep(TReader* pBS) const noexcept
    {
        for (bool& bFlag : aField) {
            const int iResult = pBS->readFlag(bFlag);
            if (iResult != 0)
                return iResult;
        }
        return 0;
    }
};

template <class TElement>
H265_ALWAYS_INLINE int storeCode(const TElement& element, UeCode code) noexcept
{
    if (code.iResult == 0)
        element.store(code.uiValue);
    else
        element.storeFailure();
    return code.iResult;
}

/// ue(v), kept modulo 2 to the power of TCode's width; the field becomes the value plus base (as it
/// stands when the element is read) and keeps its value when the read fails.
template <class TCode, class T, class TBase>
struct Ue
{
    static constexpr bool FIXED_WIDTH = false;
    T& field;
    const TBase& base;

    H265_ALWAYS_INLINE void store(unsigned uiCode) const noexcept
    {
        field = static_cast<T>(static_cast<TCode>(uiCode) + static_cast<unsigned>(base));
    }
    H265_ALWAYS_INLINE void storeFailure() const noexcept {}

    template <class TReader>
    int readStep(TReader* pBS) const noexcept
    {
        return storeCode(*this, pBS->readUeCode());
    }
};

/// se(v), truncated to the field; 0 when the read fails.
template <class T>
struct Se
{
    static constexpr bool FIXED_WIDTH = false;
    T& field;

    H265_ALWAYS_INLINE void store(unsigned uiCode) const noexcept { field = static_cast<T>(signedOfCode(uiCode)); }
    H265_ALWAYS_INLINE void storeFailure() const noexcept { field = 0; }

    template <class TReader>
    int readStep(TReader* pBS) const noexcept
    {
        return storeCode(*this, pBS->readUeCode());
    }
};

/// The descriptors of 7.2, as they stand in the readers.
template <class T>
constexpr U<T> u(unsigned uiWidth, T& field) noexcept
{
    return {uiWidth, field};
}
template <class T>
constexpr UKept<T> uKept(unsigned uiWidth, T& field) noexcept
{
    return {uiWidth, field};
}
constexpr Dropped dropped(unsigned uiWidth) noexcept
{
    return {uiWidth};
}
template <class T>
constexpr Flag<T> flag(T& field) noexcept
{
    return {field};
}
constexpr Flags32 flags(bool (&aField)[32]) noexcept
{
    return {aField};
}
template <class T>
constexpr Se<T> se(T& field) noexcept
{
    return {field};
}

inline constexpr unsigned NO_BASE = 0;
template <class T>
constexpr Ue<T, T, unsigned> ue(T& field) noexcept
{
    return {field, NO_BASE};
}
/// ue(v) of TCode's width plus base, for a field that holds the derived variable. base is looked at
/// when the element is read: it may be a field of the same run.
template <class TCode, class T, class TBase>
constexpr Ue<TCode, T, TBase> uePlus(T& field, const TBase& base) noexcept
{
    return {field, base};
}

/// The reader's cache word and count, in registers for the length of a run.
template <class TReader>
class CBitWindow
{
public:
    H265_ALWAYS_INLINE explicit CBitWindow(TReader* pBS) noexcept : m_pBS(pBS) { load(); }
    H265_ALWAYS_INLINE ~CBitWindow() { giveBack(); }
    CBitWindow(const CBitWindow&) = delete;
    CBitWindow& operator=(const CBitWindow&) = delete;

    /// Takes uiWidth (1 … 63) bits to the top of ulBits; false, with nothing taken, when the payload
    /// ends with them or before.
    H265_ALWAYS_INLINE bool take(unsigned uiWidth, std::uint64_t& ulBits) noexcept
    {
        if (uiWidth < m_uiCachedBits) [[likely]] {
            ulBits = m_ulCache;
            m_ulCache <<= uiWidth;
            m_uiCachedBits -= uiWidth;
            return true;
        }
        giveBack();
        const TakenBits taken = m_pBS->takeBitsAcrossRefill(uiWidth);
        load();
        ulBits = taken.ulBits;
        return taken.bTaken;
    }

    /// ue(v): a code that lies inside the counted bits is found by its leading zeros, any other by the
    /// reader.
    H265_ALWAYS_INLINE UeCode takeUe() noexcept
    {
        const unsigned uiLength = 2 * static_cast<unsigned>(std::countl_zero(m_ulCache | 1)) + 1;
        if (uiLength < m_uiCachedBits) [[likely]] {
            const unsigned uiCode = static_cast<unsigned>(m_ulCache >> (64 - uiLength)) - 1;
            m_ulCache <<= uiLength;
            m_uiCachedBits -= uiLength;
            return {uiCode, 0};
        }
        giveBack();
        const UeCode code = m_pBS->readUeCode();
        load();
        return code;
    }

    /// Lets an element read itself with the reader's own operations.
    template <class TElement>
    H265_ALWAYS_INLINE int step(const TElement& element) noexcept
    {
        giveBack();
        const int iResult = element.readStep(m_pBS);
        load();
        return iResult;
    }

private:
    H265_ALWAYS_INLINE void load() noexcept
    {
        m_ulCache = m_pBS->m_ulCache;
        m_uiCachedBits = m_pBS->m_uiCachedBits;
    }
    H265_ALWAYS_INLINE void giveBack() noexcept
    {
        m_pBS->m_ulCache = m_ulCache;
        m_pBS->m_uiCachedBits = m_uiCachedBits;
    }

    TReader* m_pBS;
    std::uint64_t m_ulCache;
    unsigned m_uiCachedBits;
};

template <class TReader, class... TElements>
H265_ALWAYS_INLINE int readFixedWidth(CBitWindow<TReader>& window, const TElements&... elements) noexcept
{
    constexpr unsigned MAX_TAKEN_AT_ONCE = 63;
    const unsigned uiWidth = (elements.uiWidth + ... + 0U);
    std::uint64_t ulBits = 0;
    if (uiWidth == 0 || uiWidth > MAX_TAKEN_AT_ONCE || !window.take(uiWidth, ulBits)) {
        int iResult = 0;
        (void)(((iResult = window.step(elements)) == 0) && ...);
        return iResult;
    }
    unsigned uiRead = 0;
    ((elements.store(ulBits << uiRead >> (64 - elements.uiWidth)), uiRead += elements.uiWidth), ...);
    return 0;
}

template <std::size_t I, std::size_t... K, class TReader, class TTuple>
H265_ALWAYS_INLINE int readNeighbours(CBitWindow<TReader>& window, const TTuple& elements,
                                      std::index_sequence<K...>) noexcept
{
    return readFixedWidth(window, std::get<I + K>(elements)...);
}

template <class TReader, class TElement>
H265_ALWAYS_INLINE int readCode(CBitWindow<TReader>& window, const TElement& element) noexcept
{
    return storeCode(element, window.takeUe());
}

// One past the last of the neighbours of fixed width that begin at element I.
template <std::size_t I, class TTuple>
consteval std::size_t endOfFixedWidth()
{
    if constexpr (I == std::tuple_size_v<TTuple>)
        return I;
    else if constexpr (!std::tuple_element_t<I, TTuple>::FIXED_WIDTH)
        return I;
    else
        return endOfFixedWidth<I + 1, TTuple>();
}

template <std::size_t I, class TReader, class TTuple>
H265_ALWAYS_INLINE int readFrom(CBitWindow<TReader>& window, const TTuple& elements) noexcept
{
    if constexpr (I == std::tuple_size_v<TTuple>) {
        return 0;
    } else if constexpr (constexpr std::size_t END = endOfFixedWidth<I, TTuple>(); END > I) {
        const int iResult = readNeighbours<I>(window, elements, std::make_index_sequence<END - I>{});
        return iResult != 0 ? iResult : readFrom<END>(window, elements);
    } else {
        const int iResult = readCode(window, std::get<I>(elements));
        return iResult != 0 ? iResult : readFrom<I + 1>(window, elements);
    }
}

// The same run by the reader's own operations alone: for a top bit mask other than bit 63, which only
// they look at.
template <class TReader, class... TElements>
[[gnu::noinline, gnu::cold]] int readByOperations(TReader* pBS, const TElements&... elements) noexcept
{
    int iResult = 0;
    (void)(((iResult = elements.readStep(pBS)) == 0) && ...);
    return iResult;
}

/// Reads a run of elements in order; the first failure ends it with its result.
template <class TReader, class... TElements>
H265_ALWAYS_INLINE int read(TReader* pBS, const TElements&... elements) noexcept
{
    if (pBS->m_ulTopBitMask != TReader::TOP_BIT) [[unlikely]]
        return readByOperations(pBS, elements...);
    CBitWindow<TReader> window(pBS);
    return readFrom<0>(window, std::tuple<TElements...>(elements...));
}

/// Entry i of a record's array, or uiDropped where the array has none: the element is read either way.
template <class T, std::size_t N>
constexpr T& entryOr(T (&aEntries)[N], unsigned i, T& dropped) noexcept
{
    return i < N ? aEntries[i] : dropped;
}

#undef H265_ALWAYS_INLINE

} // namespace h265_codec::syntax
