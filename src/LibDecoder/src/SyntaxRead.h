#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <type_traits>
#include <utility>

#include "BitStreamReader.h"
#include "BitWindow.h"

// The reading idiom: read(pBS, u(4, a), flag(b), ue(c)) reads a run of elements in the order of their
// syntax table and stops at the first failure with its result. Not installed.
//
// Each descriptor of 7.2 is a tiny value that knows its field. A window keeps the reader's cache word
// in registers from run to run; neighbours of fixed width are taken with one test of the count.
// Whatever does not lie well inside the counted bits goes through the reader's own operations, one
// element at a time, and these alone decide about refills and failures.

namespace h265_codec::syntax {

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

    H265_ALWAYS_INLINE void store(std::uint64_t ulBits) const noexcept
    {
        store8(ulBits >> 24 & 0xff, 0);
        store8(ulBits >> 16 & 0xff, 8);
        store8(ulBits >> 8 & 0xff, 16);
        store8(ulBits & 0xff, 24);
    }

    // The factor puts bit 7 - k of the eight into the top bit of byte k, k = 0 … 7.
    H265_ALWAYS_INLINE void store8(std::uint64_t ulBits, unsigned j) const noexcept
    {
        std::uint64_t ulFlags = (ulBits * 0x8040201008040201 & 0x8080808080808080) >> 7;
        if constexpr (std::endian::native == std::endian::big) // coverage: on such processors only
            ulFlags = __builtin_bswap64(ulFlags);
        std::memcpy(aField + j, &ulFlags, sizeof(ulFlags));
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
};

/// se(v), truncated to the field; 0 when the read fails.
template <class T>
struct Se
{
    static constexpr bool FIXED_WIDTH = false;
    T& field;
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

// Neighbours of fixed width: taken at once where they lie inside the counted bits or across one refill.
template <class TReader, class... TElements>
H265_ALWAYS_INLINE int readFixedWidth(CBitWindow<TReader>& window, const TElements&... elements) noexcept
{
    constexpr unsigned MAX_TAKEN_AT_ONCE = 63;
    const bool bAnyOdd = ((elements.uiWidth == 0 || elements.uiWidth > MAX_TAKEN_AT_ONCE) || ...);
    const unsigned uiWidth = (elements.uiWidth + ...);
    std::uint64_t ulBits = 0;
    if (bAnyOdd || uiWidth > MAX_TAKEN_AT_ONCE || !window.take(uiWidth, ulBits)) {
        int iResult = 0;
        (void)(((iResult = window.step(elements)) == 0) && ...);
        return iResult;
    }
    unsigned uiRead = 0;
    ((elements.store(ulBits << uiRead >> (64 - elements.uiWidth)), uiRead += elements.uiWidth), ...);
    return 0;
}

// The neighbours I, I + 1, … of a run.
template <std::size_t I, std::size_t... K, class TReader, class TTuple>
H265_ALWAYS_INLINE int readNeighbours(CBitWindow<TReader>& window, const TTuple& elements,
                                      std::index_sequence<K...>) noexcept
{
    return readFixedWidth(window, std::get<I + K>(elements)...);
}

template <class TReader, class TCode, class T, class TBase>
H265_ALWAYS_INLINE int readCode(CBitWindow<TReader>& window, const Ue<TCode, T, TBase>& element) noexcept
{
    const UeCode code = window.takeUe();
    if (code.iResult == 0)
        element.store(code.uiValue);
    return code.iResult;
}

template <class TReader, class T>
H265_ALWAYS_INLINE int readCode(CBitWindow<TReader>& window, const Se<T>& element) noexcept
{
    int iValue = 0;
    const int iResult = window.takeSe(iValue);
    element.field = static_cast<T>(iValue);
    return iResult;
}

// One past the last of the neighbours of fixed width that begin at element I.
template <std::size_t I, class TTuple>
consteval std::size_t endOfFixedWidth() noexcept
{
    if constexpr (I < std::tuple_size_v<TTuple>) {
        if constexpr (std::tuple_element_t<I, TTuple>::FIXED_WIDTH)
            return endOfFixedWidth<I + 1, TTuple>();
    }
    return I;
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

/// Reads a run of elements in order; the first failure ends it with its result.
template <class TReader, class... TElements>
H265_ALWAYS_INLINE int read(CBitWindow<TReader>& bits, const TElements&... elements) noexcept
{
    return readFrom<0>(bits, std::tuple<TElements...>(elements...));
}

/// The same for a run that stands alone.
template <class TReader, class... TElements>
H265_ALWAYS_INLINE int read(TReader* pBS, const TElements&... elements) noexcept
{
    CBitWindow<TReader> bits(pBS);
    return read(bits, elements...);
}

/// Entry i of a record's array, or dropped where the array has none: the element is read either way.
template <class T, std::size_t N>
constexpr T& entryOr(T (&aEntries)[N], unsigned i, T& dropped) noexcept
{
    return i < N ? aEntries[i] : dropped;
}

#undef H265_ALWAYS_INLINE

} // namespace h265_codec::syntax
