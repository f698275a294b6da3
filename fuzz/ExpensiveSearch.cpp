// ExpensiveSearch KIND READER BYTES ROUNDS SEED [HEX]: searches the payload of BYTES bytes that costs the reader
// of KIND (vps, sps, pps: of a picture of one CTB) the most basic blocks, for each byte and tile. READER is
// rbsp or decoder. It knows nothing of the syntax: it starts from noise (one in four: from HEX, followed by
// noise), changes bits, and keeps what costs more. Prints the cost and the payload in hexadecimal.
// fuzz/worst-case --search counts its instructions.

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "BlockCount.h"
#include "DecParameterSetReader.h"
#include "ExactBits.h"
#include "HexBytes.h"
#include "SyntaxWriters.h"
#include "tq_util.h"
#include "tqlog.h"

using namespace h265_codec;
using namespace h265_test;
using h265_fuzz::bytesOfHex;
using h265_fuzz::g_ulBlocks;

namespace {

using Bits = std::vector<bool>;

// What a payload costs one reader.
class CCost
{
public:
    CCost(std::string_view kind, std::string_view reader) : m_kind(kind), m_bDecoder(reader == "decoder")
    {
        SpsSyntax syntax;
        syntax.pic_width_in_luma_samples = 64;
        syntax.pic_height_in_luma_samples = 64;
        const CPaddedPayload payload(write(syntax).bytes());
        auto bs = payload.reader<CRbspReader>();
        (void)readSPS(m_sps, &bs, m_pMemPool); // sound
    }
    ~CCost()
    {
        destroySPS(m_sps);
        tq_util::destroyMemPool(m_pMemPool);
    }
    CCost(const CCost&) = delete;
    CCost& operator=(const CCost&) = delete;

    double operator()(const CPaddedPayload& payload)
    {
        return m_bDecoder ? costWith<CBitStreamReader>(payload) : costWith<CRbspReader>(payload);
    }

private:
    template <class TReader>
    double costWith(const CPaddedPayload& payload)
    {
        auto bs = payload.reader<TReader>();
        const std::uint64_t ulBefore = g_ulBlocks;
        double entries = payload.size(); // and tiles
        if (m_kind == "vps") {
            VPS vps = {};
            (void)readVPS(&vps, &bs); // may fail
        } else if (m_kind == "sps") {
            SPS* const sps = createSPS(m_pMemPool);
            (void)readSPS(sps, &bs, m_pMemPool);
            destroySPS(sps);
        } else {
            PPS* const pps = createPPS(m_pMemPool);
            (void)readPPS(pps, m_apTable.data(), &bs, m_pMemPool);
            if (pps->tiles_enabled_flag)
                entries += (pps->num_tile_columns_minus1 + 1.0) * (pps->num_tile_rows_minus1 + 1.0);
            destroyPPS(pps);
        }
        return static_cast<double>(g_ulBlocks - ulBefore) / entries;
    }

    std::string_view m_kind;
    bool m_bDecoder;
    tq_util::TMemPool* m_pMemPool = tq_util::createMemPool();
    SPS* m_sps = createSPS(m_pMemPool);
    std::array<SPS*, 256> m_apTable = tableOf(m_sps);

    static std::array<SPS*, 256> tableOf(SPS* sps)
    {
        std::array<SPS*, 256> apTable = {};
        apTable.fill(sps); // whatever SPS a PPS names
        return apTable;
    }
};

struct Candidate
{
    Bits bits;
    double cost;
};

CPaddedPayload payloadOf(const Bits& bits)
{
    CBitWriter writer;
    for (const bool bBit : bits)
        writer.flag(bBit);
    return CPaddedPayload(writer.bytes());
}

Bits bitsOf(const std::vector<unsigned char>& bytes)
{
    CBitWriter writer;
    for (const unsigned char ucByte : bytes)
        writer.u(8, ucByte);
    return writer.allBits();
}

// Changes a payload in one of the ways that codes of variable length ask for. Its size is mended later.
void change(Bits& bits, const Bits& other, CNumbers& numbers)
{
    const auto at = [&](const Bits& where) {
        return static_cast<std::ptrdiff_t>(numbers.below(static_cast<unsigned>(where.size())));
    };
    const std::ptrdiff_t pos = at(bits);
    const std::ptrdiff_t length = std::min<std::ptrdiff_t>(1 + numbers.below(1U << numbers.below(8)),
                                                           static_cast<std::ptrdiff_t>(bits.size()) - pos);
    switch (numbers.below(6)) {
    case 0: // another bit
        bits[static_cast<std::size_t>(pos)] = !bits[static_cast<std::size_t>(pos)];
        break;
    case 1: // new bits between
        for (std::ptrdiff_t i = 0; i < length; ++i)
            bits.insert(bits.begin() + pos, numbers.below(2) != 0);
        break;
    case 2: // bits less
        bits.erase(bits.begin() + pos, bits.begin() + pos + length);
        break;
    case 3: { // a piece a second time
        const Bits piece(bits.begin() + pos, bits.begin() + pos + length);
        bits.insert(bits.begin() + at(bits), piece.begin(), piece.end());
        break;
    }
    case 4: // a piece again and again, up to the end
        for (std::size_t i = static_cast<std::size_t>(pos + length); i < bits.size(); ++i)
            bits[i] = bits[i - static_cast<std::size_t>(length)];
        break;
    default: // the rest of another payload
        bits.resize(static_cast<std::size_t>(pos));
        bits.insert(bits.end(), other.begin() + at(other), other.end());
        break;
    }
}

Bits noise(std::size_t uiBits, CNumbers& numbers)
{
    const unsigned uiOnes = 1 + numbers.below(7); // of eight
    Bits bits(uiBits);
    for (std::size_t i = 0; i < uiBits; ++i)
        bits[i] = numbers.below(8) < uiOnes;
    return bits;
}

Candidate search(CCost& cost, std::size_t uiBits, unsigned long ulRounds, CNumbers& numbers, const Bits& start)
{
    constexpr unsigned KEPT = 48;
    std::vector<Candidate> kept;
    for (unsigned i = 0; i < KEPT; ++i) {
        Bits bits = noise(uiBits, numbers);
        if (i % 4 == 0)
            std::copy_n(start.begin(), std::min(start.size(), uiBits), bits.begin());
        const double value = cost(payloadOf(bits));
        kept.push_back({std::move(bits), value});
    }
    const auto isCheaper = [](const Candidate& a, const Candidate& b) { return a.cost < b.cost; };
    for (unsigned long i = 0; i < ulRounds; ++i) {
        Bits bits = std::max(kept[numbers.below(KEPT)], kept[numbers.below(KEPT)], isCheaper).bits;
        for (unsigned uiChanges = 1 + numbers.below(3); uiChanges > 0 && !bits.empty(); --uiChanges)
            change(bits, kept[numbers.below(KEPT)].bits, numbers);
        while (bits.size() < uiBits)
            bits.push_back(numbers.below(2) != 0);
        bits.resize(uiBits);
        const double value = cost(payloadOf(bits));
        const auto cheapest = std::min_element(kept.begin(), kept.end(), isCheaper);
        const bool bSame = std::any_of(kept.begin(), kept.end(), [&](const Candidate& c) { return c.bits == bits; });
        if (value >= cheapest->cost && !bSame)
            *cheapest = {std::move(bits), value};
    }
    return *std::max_element(kept.begin(), kept.end(), isCheaper);
}

} // namespace

int main(int argc, char** argv)
{
    const bool bAsked = argc == 6 || argc == 7;
    const std::string_view kind = bAsked ? argv[1] : "";
    const std::string_view reader = bAsked ? argv[2] : "";
    const unsigned long ulBytes = bAsked ? std::strtoul(argv[3], nullptr, 10) : 0;
    if ((kind != "vps" && kind != "sps" && kind != "pps") || (reader != "rbsp" && reader != "decoder") ||
        ulBytes == 0) {
        std::fprintf(stderr, "usage: ExpensiveSearch vps|sps|pps rbsp|decoder BYTES ROUNDS SEED [HEX]\n");
        return 2;
    }
    tqlog::CTQLog::m_iLogLevel = 3;
    CCost cost(kind, reader);
    CNumbers numbers(std::strtoul(argv[5], nullptr, 10));
    const Bits start = argc == 7 ? bitsOf(bytesOfHex(argv[6])) : Bits();
    const Candidate found = search(cost, 8 * ulBytes, std::strtoul(argv[4], nullptr, 10), numbers, start);
    std::printf("%.1f ", found.cost);
    const CPaddedPayload payload = payloadOf(found.bits);
    for (unsigned i = 0; i < payload.size(); ++i)
        std::printf("%02x", payload.data()[i]);
    std::printf("\n");
    return 0;
}
