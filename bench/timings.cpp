// The rows that are times: each has a name that bench/run looks for, and the baseline of its ratio runs
// in the same process.

#include <cstring>
#include <string>

#include <benchmark/benchmark.h>

#include "ByteSource.h"
#include "CaseRecords.h"
#include "NalUnitFinder.h"
#include "ParameterSetStream.h"
#include "Rbsp.h"
#include "TileGrid.h"
#include "tqlog.h"

using namespace h265_bench;

namespace {

constexpr std::size_t LARGE = std::size_t{128} << 20;
constexpr std::size_t SMALL = std::size_t{256} << 10;
constexpr std::size_t NAL_UNIT_SIZE = 80000;

// One parameter set after another into the same record.
template <class TReader>
void readCase(benchmark::State& state, const std::string& name)
{
    const Case c = makeCase(name);
    CCaseRecords records(c);
    records.readTimes<h265_codec::CBitStreamReader>(1); // takes the blocks that its plain form needs
    for (auto _ : state)
        benchmark::DoNotOptimize(records.readTimes<TReader>(1));
    state.SetItemsProcessed(state.iterations());
}

// 7.3.4, cost against the number of coefficients; none with 0 matrices.
void coefficients(benchmark::State& state)
{
    const Case c = makeSpsWithLists(static_cast<unsigned>(state.range(0)));
    CCaseRecords records(c);
    for (auto _ : state)
        benchmark::DoNotOptimize(records.readTimes<h265_codec::CRbspReader>(1));
    state.counters["units"] = static_cast<double>(c.uiUnits);
}

// 6.5.1: the tile sizes and the three address tables.
void tileTables(benchmark::State& state)
{
    const Case c = makeTiledPps(static_cast<unsigned>(state.range(0)), static_cast<unsigned>(state.range(1)));
    CCaseRecords records(c);
    h265_codec::CRbspReader bs;
    bs.init(c.payload.data(), c.payload.size());
    for (auto _ : state)
        benchmark::DoNotOptimize(h265_codec::readTileGrid(&records.pps(), &records.sps(), records.pool(), &bs));
}

// The same with the tiles' size fixed: the picture grows with their number.
void tiles(benchmark::State& state)
{
    const unsigned uiSide = static_cast<unsigned>(state.range(0));
    const Case c = makeTiledPps(uiSide, uiSide, 12 * uiSide, 8 * uiSide);
    CCaseRecords records(c);
    h265_codec::CRbspReader bs;
    bs.init(c.payload.data(), c.payload.size());
    for (auto _ : state)
        benchmark::DoNotOptimize(h265_codec::readTileGrid(&records.pps(), &records.sps(), records.pool(), &bs));
    state.counters["units"] = static_cast<double>(uiSide * uiSide);
}

void tileTablesMemset(benchmark::State& state)
{
    const Case c = makeTiledPps(static_cast<unsigned>(state.range(0)), static_cast<unsigned>(state.range(1)));
    CCaseRecords records(c);
    const std::size_t uiSize = static_cast<std::size_t>(records.sps().PicSizeInCtbsY + 1) * sizeof(unsigned);
    int iValue = 0;
    for (auto _ : state) {
        std::memset(records.pps().CtbAddrRsToTs, iValue, uiSize);
        std::memset(records.pps().CtbAddrTsToRs, iValue, uiSize);
        std::memset(records.pps().TileId, iValue, uiSize);
        benchmark::ClobberMemory();
        iValue ^= 1;
    }
}

// 7.3.1.1: a byte of emulation prevention in every uiDistance; 0: none.
void emulationPrevention(benchmark::State& state)
{
    const std::size_t uiDistance = static_cast<std::size_t>(state.range(0));
    Bytes payload(SMALL, 0xaa);
    for (std::size_t i = 0; uiDistance != 0 && i + 4 < payload.size(); i += uiDistance) {
        payload[i] = 0;
        payload[i + 1] = 0;
        payload[i + 2] = 3;
        payload[i + 3] = 1;
    }
    h265_stream::CRbspBuffer buffer;
    for (auto _ : state)
        benchmark::DoNotOptimize(buffer.extract(payload).data());
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(payload.size()));
}

class CCountingSink : public h265_stream::CNalUnitSink
{
public:
    bool onNalUnit(const h265_stream::NalUnit& unit) override
    {
        m_ulBytes += unit.ulSize;
        return true;
    }
    std::uint64_t m_ulBytes = 0;
};

// Slice data in NAL units of an ordinary size.
const Bytes& slices()
{
    static const Bytes bytes = [] {
        Bytes stream = makeSliceData(LARGE);
        for (std::size_t i = 0; i + 6 < stream.size(); i += NAL_UNIT_SIZE) {
            constexpr unsigned char START[] = {0, 0, 0, 1, 0x02, 0x01}; // TRAIL_R
            std::memcpy(&stream[i], START, sizeof(START));
        }
        return stream;
    }();
    return bytes;
}

std::span<const unsigned char> slicesOf(const benchmark::State& state)
{
    return std::span(slices()).first(static_cast<std::size_t>(state.range(0)));
}

void nalUnits(benchmark::State& state)
{
    const std::span<const unsigned char> bytes = slicesOf(state);
    CCountingSink sink;
    for (auto _ : state) {
        h265_stream::CNalUnitFinder finder;
        finder.feed(bytes, sink);
        finder.finish(sink);
    }
    benchmark::DoNotOptimize(sink.m_ulBytes);
    state.SetBytesProcessed(state.iterations() * state.range(0));
    state.counters["units"] = static_cast<double>(state.range(0));
}

void nalUnitsMemchr(benchmark::State& state)
{
    const std::span<const unsigned char> bytes = slicesOf(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(std::memchr(bytes.data(), 0x55, bytes.size()));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

// Bytes to events: finding, unescaping, reading, keeping.
void parameterSets(benchmark::State& state)
{
    const Bytes stream = makeParameterSetStream(static_cast<std::size_t>(state.range(0)));
    h265_stream::CParameterSetStream reader(h265_stream::StreamOptions{.iLogLevel = 3});
    std::uint64_t ulRead = 0;
    for (auto _ : state) {
        const auto pSource = h265_stream::makeByteSource(stream);
        ulRead += reader.read(*pSource, [](const h265_stream::ParameterSetEvent&) { return true; }).ulParameterSets;
    }
    benchmark::DoNotOptimize(ulRead);
    state.counters["units"] = static_cast<double>(state.range(0));
}

void registerCases()
{
    for (const std::string_view caseName : caseNames()) {
        const std::string name(caseName);
        const auto add = [&name](const char* pReader, void (*pRun)(benchmark::State&, const std::string&)) {
            benchmark::RegisterBenchmark(("read/" + name + "/" + pReader).c_str(),
                                         [pRun, name](benchmark::State& state) { pRun(state, name); });
        };
        add("rbsp", readCase<h265_codec::CRbspReader>);
        add("naive", readCase<CNaiveReader<CNaiveBits>>);
        add("decoder", readCase<h265_codec::CBitStreamReader>);
        add("plain", readCase<CNaiveReader<CPlainDecoderBits>>);
    }
}

} // namespace

BENCHMARK(coefficients)->Arg(1)->Arg(2)->Arg(5)->Arg(10)->Arg(20);
BENCHMARK(tileTables)->Args({4, 4})->Args({10, 8});
BENCHMARK(tiles)->Arg(2)->Arg(4)->Arg(8)->Arg(16);
BENCHMARK(tileTablesMemset)->Args({4, 4})->Args({10, 8});
BENCHMARK(emulationPrevention)->Arg(0)->Arg(64);
BENCHMARK(nalUnits)->Arg(64 << 10)->Arg(SMALL)->Arg(1 << 20)->Arg(16 << 20)->Arg(LARGE);
BENCHMARK(nalUnitsMemchr)->Arg(SMALL)->Arg(LARGE);
BENCHMARK(parameterSets)->Arg(30)->Arg(300)->Arg(3000)->Arg(30000);

int main(int argc, char** argv)
{
    tqlog::CTQLog::m_iLogLevel = 3;
    registerCases();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
