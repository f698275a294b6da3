// The vector loops of StartCodeScan.cpp, included there once for each instruction set: into a namespace
// that has a type Bytes (a vector of bytes and its operations) and with H265_SCAN_TARGET set to the
// attribute that lets the compiler use the set. A template cannot carry that attribute by its argument.

// One vector's worth of positions from p on: zero where the bytes there match the rule.
template <class TRule>
H265_SCAN_TARGET inline Bytes mismatches(const unsigned char* p) noexcept
{
    return Bytes::load(p) | Bytes::load(p + 1) |
           ((Bytes::load(p + 2) ^ Bytes::fill(TRule::THIRD)) & Bytes::fill(TRule::MASK));
}

// The first match of the positions of uiVectors vectors from p on; null without one.
template <class TRule>
H265_SCAN_TARGET inline const unsigned char* findInVectors(const unsigned char* p, unsigned uiVectors) noexcept
{
    for (unsigned i = 0; i < uiVectors; ++i, p += Bytes::SIZE) {
        const unsigned uiFirst = mismatches<TRule>(p).firstZero();
        if (uiFirst < Bytes::SIZE)
            return p + uiFirst;
    }
    return nullptr;
}

// Zero pairs are rare in coded pictures, so the main loop looks for them only: one bit for each byte that
// is zero, 128 bytes at a time, each loaded once and from aligned positions. That is what keeps it at the
// speed of the second-level cache; comparing each vector with the one a byte further on takes twice as
// long there.
template <class TRule>
H265_SCAN_TARGET const unsigned char* find(const unsigned char* pBegin, const unsigned char* pEnd) noexcept
{
    constexpr std::ptrdiff_t SIZE = Bytes::SIZE;
    constexpr std::ptrdiff_t BLOCK = 128;
    constexpr std::ptrdiff_t LOOK_AHEAD = 2;
    if (pEnd - pBegin < SIZE + LOOK_AHEAD)
        return plain::find<TRule>(pBegin, pEnd);
    if (const unsigned char* const pHit = findInVectors<TRule>(pBegin, 1); pHit != nullptr)
        return pHit;
    const unsigned char* p = pBegin + (SIZE - static_cast<std::ptrdiff_t>(reinterpret_cast<std::uintptr_t>(pBegin) %
                                                                          static_cast<std::uintptr_t>(SIZE)));
    std::uint64_t ulLast = p[-1] == 0 ? 1 : 0; // the byte in front of the block is zero
    for (; pEnd - p >= BLOCK + LOOK_AHEAD; p += BLOCK) {
        const std::uint64_t ulFront = Bytes::zerosOf64(p);
        const std::uint64_t ulBack = Bytes::zerosOf64(p + BLOCK / 2);
        const std::uint64_t ulPairs = (ulFront & (2 * ulFront + ulLast)) | (ulBack & (2 * ulBack + (ulFront >> 63)));
        ulLast = ulBack >> 63;
        if (ulPairs == 0) [[likely]]
            continue;
        if (const unsigned char* const pHit = findInVectors<TRule>(p - 1, BLOCK / SIZE); pHit != nullptr)
            return pHit;
    }
    // The rest begins with the last byte in front of it. Its last vector overlaps what has been
    // searched: that vector's first match is new.
    for (--p; pEnd - p >= SIZE + LOOK_AHEAD; p += SIZE) {
        if (const unsigned char* const pHit = findInVectors<TRule>(p, 1); pHit != nullptr)
            return pHit;
    }
    const unsigned char* const pHit = findInVectors<TRule>(pEnd - LOOK_AHEAD - SIZE, 1);
    return pHit != nullptr ? pHit : pEnd;
}

// Copies whole vectors while it looks at them; of one with a match only the bytes in front of the 03
// count, and the copy goes on behind it.
H265_SCAN_TARGET inline unsigned char* removeEmulationPrevention(const unsigned char* pBegin, const unsigned char* pEnd,
                                                                 unsigned char* pTo) noexcept
{
    constexpr std::ptrdiff_t SIZE = Bytes::SIZE;
    constexpr std::ptrdiff_t LOOK_AHEAD = 2;
    const unsigned char* p = pBegin;
    while (pEnd - p >= SIZE + LOOK_AHEAD) {
        Bytes::load(p).store(pTo);
        const unsigned uiFirst = mismatches<EmulationPrevention>(p).firstZero();
        if (uiFirst == Bytes::SIZE) [[likely]] {
            p += SIZE;
            pTo += SIZE;
            continue;
        }
        // The two zeros may reach past the vector that was stored.
        pTo[uiFirst] = 0;
        pTo[uiFirst + 1] = 0;
        p += uiFirst + 3;
        pTo += uiFirst + 2;
    }
    return plain::removeEmulationPrevention(p, pEnd, pTo);
}

consteval ScanForm form(const char* pName) noexcept
{
    return {pName, find<StartCode>, find<UnitEnd>, removeEmulationPrevention};
}
