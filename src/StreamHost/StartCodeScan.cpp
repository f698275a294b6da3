#include "StartCodeScan.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace h265_stream {

namespace {

// What has to stand behind two zero bytes: THIRD in the bits of MASK.
struct StartCode
{
    static constexpr unsigned char THIRD = 1;
    static constexpr unsigned char MASK = 0xff;
};
struct UnitEnd
{
    static constexpr unsigned char THIRD = 0;
    static constexpr unsigned char MASK = 0xfe;
};
struct EmulationPrevention
{
    static constexpr unsigned char THIRD = 3;
    static constexpr unsigned char MASK = 0xff;
};

namespace plain {

// No two zeros can begin at a byte in front of one that is not zero: every second byte is enough.
template <class TRule>
const unsigned char* find(const unsigned char* pBegin, const unsigned char* pEnd) noexcept
{
    const unsigned char* p = pBegin;
    while (pEnd - p >= 3) {
        if (p[1] != 0)
            p += 2;
        else if (p[0] != 0 || ((p[2] ^ TRule::THIRD) & TRule::MASK) != 0)
            p += 1;
        else
            return p;
    }
    return pEnd;
}

unsigned char* removeEmulationPrevention(const unsigned char* pBegin, const unsigned char* pEnd,
                                         unsigned char* pTo) noexcept
{
    const unsigned char* p = pBegin;
    while (p != pEnd) {
        const unsigned char* const pHit = find<EmulationPrevention>(p, pEnd);
        const unsigned char* const pCopyEnd = pHit != pEnd ? pHit + 2 : pEnd;
        std::memcpy(pTo, p, static_cast<std::size_t>(pCopyEnd - p));
        pTo += pCopyEnd - p;
        p = pHit != pEnd ? pHit + 3 : pEnd;
    }
    return pTo;
}

consteval ScanForm form(const char* pName) noexcept
{
    return {pName, find<StartCode>, find<UnitEnd>, removeEmulationPrevention};
}

} // namespace plain

#if defined(__x86_64__)

namespace sse2 {

#define H265_SCAN_TARGET

struct Bytes
{
    static constexpr unsigned SIZE = 16;
    __m128i v;

    static Bytes load(const unsigned char* p) noexcept
    {
        return {_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))};
    }
    static Bytes fill(unsigned char ucByte) noexcept { return {_mm_set1_epi8(static_cast<char>(ucByte))}; }
    void store(unsigned char* p) const noexcept { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
    Bytes operator|(Bytes other) const noexcept { return {_mm_or_si128(v, other.v)}; }
    Bytes operator^(Bytes other) const noexcept { return {_mm_xor_si128(v, other.v)}; }
    Bytes operator&(Bytes other) const noexcept { return {_mm_and_si128(v, other.v)}; }
    unsigned zeros() const noexcept
    {
        return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_setzero_si128())));
    }
    static std::uint64_t zerosOf64(const unsigned char* p) noexcept
    {
        const unsigned uiFront = load(p).zeros() | load(p + 16).zeros() << 16;
        const unsigned uiBack = load(p + 32).zeros() | load(p + 48).zeros() << 16;
        return uiFront | static_cast<std::uint64_t>(uiBack) << 32;
    }
    unsigned firstZero() const noexcept { return static_cast<unsigned>(std::countr_zero(zeros() | 1U << SIZE)); }
};

#include "StartCodeScanLoops.inl"
#undef H265_SCAN_TARGET

} // namespace sse2

namespace avx2 {

#define H265_SCAN_TARGET [[gnu::target("avx2")]]

struct Bytes
{
    static constexpr unsigned SIZE = 32;
    __m256i v;

    H265_SCAN_TARGET static Bytes load(const unsigned char* p) noexcept
    {
        return {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p))};
    }
    H265_SCAN_TARGET static Bytes fill(unsigned char ucByte) noexcept
    {
        return {_mm256_set1_epi8(static_cast<char>(ucByte))};
    }
    H265_SCAN_TARGET void store(unsigned char* p) const noexcept
    {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
    }
    H265_SCAN_TARGET Bytes operator|(Bytes other) const noexcept { return {_mm256_or_si256(v, other.v)}; }
    H265_SCAN_TARGET Bytes operator^(Bytes other) const noexcept { return {_mm256_xor_si256(v, other.v)}; }
    H265_SCAN_TARGET Bytes operator&(Bytes other) const noexcept { return {_mm256_and_si256(v, other.v)}; }
    H265_SCAN_TARGET unsigned zeros() const noexcept
    {
        return static_cast<unsigned>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(v, _mm256_setzero_si256())));
    }
    H265_SCAN_TARGET static std::uint64_t zerosOf64(const unsigned char* p) noexcept
    {
        return load(p).zeros() | static_cast<std::uint64_t>(load(p + 32).zeros()) << 32;
    }
    H265_SCAN_TARGET unsigned firstZero() const noexcept { return static_cast<unsigned>(std::countr_zero(zeros())); }
};

#include "StartCodeScanLoops.inl"
#undef H265_SCAN_TARGET

} // namespace avx2

namespace avx512 {

#define H265_SCAN_TARGET [[gnu::target("avx512bw")]]

struct Bytes
{
    static constexpr unsigned SIZE = 64;
    __m512i v;

    H265_SCAN_TARGET static Bytes load(const unsigned char* p) noexcept { return {_mm512_loadu_si512(p)}; }
    H265_SCAN_TARGET static Bytes fill(unsigned char ucByte) noexcept
    {
        return {_mm512_set1_epi8(static_cast<char>(ucByte))};
    }
    // coverage: only the removal of emulation prevention stores, and it goes by AVX2
    H265_SCAN_TARGET void store(unsigned char* p) const noexcept { _mm512_storeu_si512(p, v); }
    H265_SCAN_TARGET Bytes operator|(Bytes other) const noexcept { return {_mm512_or_si512(v, other.v)}; }
    H265_SCAN_TARGET Bytes operator^(Bytes other) const noexcept { return {_mm512_xor_si512(v, other.v)}; }
    H265_SCAN_TARGET Bytes operator&(Bytes other) const noexcept { return {_mm512_and_si512(v, other.v)}; }
    H265_SCAN_TARGET std::uint64_t zeros() const noexcept { return _mm512_testn_epi8_mask(v, v); }
    H265_SCAN_TARGET static std::uint64_t zerosOf64(const unsigned char* p) noexcept { return load(p).zeros(); }
    H265_SCAN_TARGET unsigned firstZero() const noexcept { return static_cast<unsigned>(std::countr_zero(zeros())); }
};

#include "StartCodeScanLoops.inl"
#undef H265_SCAN_TARGET

} // namespace avx512

// Removing emulation prevention gains nothing from longer vectors, and short payloads lose.
constexpr std::array FORMS = {
    plain::form("plain"),
    sse2::form("SSE2"),
    avx2::form("AVX2"),
    ScanForm{"AVX-512", avx512::find<StartCode>, avx512::find<UnitEnd>, avx2::removeEmulationPrevention},
};

std::size_t countAvailable() noexcept
{
    if (__builtin_cpu_supports("avx2") == 0) // coverage: one processor goes one way
        return 2;
    return __builtin_cpu_supports("avx512bw") == 0 ? 3 : 4; // coverage: likewise
}

#elif defined(__aarch64__)

namespace neon {

#define H265_SCAN_TARGET

struct Bytes
{
    static constexpr unsigned SIZE = 16;
    uint8x16_t v;

    static Bytes load(const unsigned char* p) noexcept { return {vld1q_u8(p)}; }
    static Bytes fill(unsigned char ucByte) noexcept { return {vdupq_n_u8(ucByte)}; }
    void store(unsigned char* p) const noexcept { vst1q_u8(p, v); }
    Bytes operator|(Bytes other) const noexcept { return {vorrq_u8(v, other.v)}; }
    Bytes operator^(Bytes other) const noexcept { return {veorq_u8(v, other.v)}; }
    Bytes operator&(Bytes other) const noexcept { return {vandq_u8(v, other.v)}; }
    // A bit for each byte: pairwise sums of weighted comparisons stand in for the missing movemask.
    static std::uint64_t zerosOf64(const unsigned char* p) noexcept
    {
        const uint8x16_t weights = vreinterpretq_u8_u64(vdupq_n_u64(0x8040201008040201));
        const uint8x16_t front =
            vpaddq_u8(vandq_u8(vceqzq_u8(vld1q_u8(p)), weights), vandq_u8(vceqzq_u8(vld1q_u8(p + 16)), weights));
        const uint8x16_t back =
            vpaddq_u8(vandq_u8(vceqzq_u8(vld1q_u8(p + 32)), weights), vandq_u8(vceqzq_u8(vld1q_u8(p + 48)), weights));
        const uint8x16_t sums = vpaddq_u8(front, back);
        return vgetq_lane_u64(vreinterpretq_u64_u8(vpaddq_u8(sums, sums)), 0);
    }
    // Four bits for each byte, by a narrowing shift.
    unsigned firstZero() const noexcept
    {
        const uint8x8_t nibbles = vshrn_n_u16(vreinterpretq_u16_u8(vceqzq_u8(v)), 4);
        return static_cast<unsigned>(std::countr_zero(vget_lane_u64(vreinterpret_u64_u8(nibbles), 0))) / 4;
    }
};

#include "StartCodeScanLoops.inl"
#undef H265_SCAN_TARGET

} // namespace neon

constexpr std::array FORMS = {plain::form("plain"), neon::form("NEON")};

std::size_t countAvailable() noexcept
{
    return FORMS.size();
}

#else

constexpr std::array FORMS = {plain::form("plain")};

std::size_t countAvailable() noexcept
{
    return FORMS.size();
}

#endif

} // namespace

std::span<const ScanForm> availableScanForms() noexcept
{
    static const std::size_t uiCount = countAvailable();
    return std::span<const ScanForm>(FORMS).first(uiCount);
}

const ScanForm& fastestScanForm() noexcept
{
    return availableScanForms().back();
}

} // namespace h265_stream
