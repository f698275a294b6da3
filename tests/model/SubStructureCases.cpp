#include "SubStructureCases.h"

#include <memory>

#include "ParameterSetGenerator.h"

namespace h265_model {

using namespace h265_codec;

namespace {

constexpr unsigned PTL = 3;
constexpr unsigned RPS = 4;
constexpr unsigned SCALING_LIST = 5;
constexpr unsigned EXPLICIT_LIST = 6;
constexpr unsigned TILE_GRID = 7;
constexpr char HOST_FILE[] = "host";

void count(Tally& tally, unsigned uiReading, Value result)
{
    ++tally.counts[uiReading].ulDone;
    if (result == 0)
        ++tally.counts[uiReading].ulGood;
}

template <class TReader>
void readPtl(CTwins<TReader>& twins, const Reading& reading, unsigned max_sub_layers_minus1, Tally& tally)
{
    profile_tile_level module;
    std::memset(&module, 1, sizeof(module));
    ModelPtl model;
    adopt(model, module);
    twins.step(
        reading,
        [&](TReader* pBS, std::vector<Value>& out) {
            out.push_back(read_profile_tile_level(&module, static_cast<unsigned char>(max_sub_layers_minus1), pBS));
            count(tally, PTL, out[0]);
        },
        [&](CModelBits& bits, std::vector<Value>& out) {
            out.push_back(modelReadPtl(model, max_sub_layers_minus1, bits));
        });
    twins.comparison.ptl(module, model);
}

// Reads a set into the record's own array or, as for a slice header, into a record beside it.
template <class TReader>
void readRps(CTwins<TReader>& twins, const Reading& reading, unsigned stRpsIdx, unsigned uiTarget, Tally& tally)
{
    SPS& sps = *twins.apSps[0];
    ModelSps& modelSps = twins.aModelSps[0];
    const bool bInArray = uiTarget < modelSps.sets.size();
    ShortTermRefPicSet beside;
    std::memset(&beside, 1, sizeof(beside));
    ModelRps modelBeside;
    ShortTermRefPicSet* const pModule = bInArray ? &sps.pShortTermRefPicSet[uiTarget] : &beside;
    ModelRps& model = bInArray ? modelSps.sets[uiTarget] : modelBeside;
    twins.step(
        reading,
        [&](TReader* pBS, std::vector<Value>& out) {
            out.push_back(read_short_term_ref_pic_set(&sps, pModule, static_cast<int>(stRpsIdx), pBS));
            count(tally, RPS, out[0]);
        },
        [&](CModelBits& bits, std::vector<Value>& out) {
            out.push_back(modelReadRps(modelSps.sets, modelSps.num_short_term_ref_pic_sets, model, stRpsIdx, bits));
        });
    twins.comparison.rps(*pModule, model);
    twins.comparison.sps(sps, modelSps);
}

// Gives the first SPS an array of empty sets.
template <class TReader>
void makeSets(CTwins<TReader>& twins, unsigned uiCount)
{
    SPS& sps = *twins.apSps[0];
    ModelSps& model = twins.aModelSps[0];
    sps.num_short_term_ref_pic_sets = static_cast<unsigned char>(uiCount);
    model.num_short_term_ref_pic_sets = uiCount;
    const unsigned uiBytes = RPS_BYTES * uiCount;
    void* const pBlock = tq_util::getMemBlock(uiBytes, twins.pool.pool(), HOST_FILE, 0);
    std::memset(pBlock, 0, uiBytes);
    sps.pShortTermRefPicSet = static_cast<ShortTermRefPicSet*>(pBlock);
    model.iSetsBlock = twins.host.take(uiBytes, 0);
    model.sets.assign(uiCount, ModelRps{});
}

template <class TReader>
void readScalingLists(CTwins<TReader>& twins, const Reading& reading, int iSizeId, unsigned uiMatrixId, Tally& tally)
{
    const auto pModule = std::make_unique<ScalingListData>();
    ModelScalingLists model;
    if (iSizeId < 0 && uiMatrixId != 0) {
        setDefaultScalingList(pModule.get());
        modelSetDefaults(model);
    }
    const auto uiSizeId = static_cast<unsigned>(iSizeId);
    twins.step(
        reading,
        [&](TReader* pBS, std::vector<Value>& out) {
            out.push_back(iSizeId < 0
                              ? readScalingList(pModule.get(), pBS)
                              : readExplicitScalingList(pModule->aList[iSizeId].aMatrix[uiMatrixId], pBS, iSizeId));
            count(tally, iSizeId < 0 ? SCALING_LIST : EXPLICIT_LIST, out[0]);
        },
        [&](CModelBits& bits, std::vector<Value>& out) {
            out.push_back(iSizeId < 0 ? modelReadScalingLists(model, bits)
                                      : modelReadExplicitMatrix(model, uiSizeId, uiMatrixId, bits));
        });
    twins.comparison.lists(*pModule, model);
}

// What readTileGrid is called with.
struct Grid
{
    unsigned W;
    unsigned H;
    unsigned num_tile_columns_minus1;
    unsigned num_tile_rows_minus1;
    bool uniform_spacing_flag;
};

Grid randomGrid(CRandom& random)
{
    Grid grid{random.below(20), random.below(20), random.below(8), random.below(8), random.chance(50)};
    if (random.chance(5))
        grid.num_tile_columns_minus1 = (1U << 20) - 2 + random.below(4);
    if (random.chance(5))
        grid.num_tile_rows_minus1 = random.chance(50) ? 0xffffffff : random.below(1U << 20);
    if (random.chance(10)) {
        // Far too many CTBs for a block, and products that wrap.
        grid.W = 0x10000 + static_cast<unsigned>(random.next() >> 33);
        grid.H = 0x10000 + static_cast<unsigned>(random.next() >> 33);
    }
    return grid;
}

bool isAccepted(const Grid& grid)
{
    const std::uint64_t ulColumns = std::uint64_t{grid.num_tile_columns_minus1} + 1;
    const std::uint64_t ulRows = std::uint64_t{grid.num_tile_rows_minus1} + 1;
    return ulColumns <= 1U << 20 && ulRows <= 1U << 20 && ulColumns * ulRows <= 1U << 20;
}

// A table of sizes, as readPPS makes it before it calls readTileGrid.
template <class TReader>
unsigned* takeSizes(CTwins<TReader>& twins, ModelTable& model, std::size_t uiEntries)
{
    model = modelTakeTable(uiEntries, 0, twins.host);
    return static_cast<unsigned*>(
        tq_util::getMemBlock(static_cast<unsigned>(4 * uiEntries), twins.pool.pool(), HOST_FILE, 0));
}

template <class TReader>
void readGrid(CTwins<TReader>& twins, const Reading& reading, const Grid& grid, Tally& tally)
{
    const bool bAccepted = isAccepted(grid);
    PPS& pps = *twins.pPps;
    ModelPps& model = twins.modelPps;
    twins.setPicture(0, grid.W, grid.H, 4);
    model.num_tile_columns_minus1 = pps.num_tile_columns_minus1 = grid.num_tile_columns_minus1;
    model.num_tile_rows_minus1 = pps.num_tile_rows_minus1 = grid.num_tile_rows_minus1;
    pps.uniform_spacing_flag = grid.uniform_spacing_flag;
    model.uniform_spacing_flag = grid.uniform_spacing_flag ? 1 : 0;
    pps.colWidth = takeSizes(twins, model.colWidth, bAccepted ? grid.num_tile_columns_minus1 + 1 : 1);
    pps.rowHeight = takeSizes(twins, model.rowHeight, bAccepted ? grid.num_tile_rows_minus1 + 1 : 1);
    twins.step(
        reading,
        [&](TReader* pBS, std::vector<Value>& out) {
            out.push_back(readTileGrid(&pps, twins.apSps[0], twins.pool.pool(), pBS));
            count(tally, TILE_GRID, out[0]);
        },
        [&](CModelBits& bits, std::vector<Value>& out) {
            out.push_back(modelReadTileGrid(model, grid.W, grid.H, bits, twins.host));
        });
    twins.comparison.pps(pps, model);
}

// The operations of a bit reader under names that the module's and the model's share.
template <class TReader>
struct ModuleOperations
{
    TReader* pBS;

    void bits(unsigned uiCount, std::vector<Value>& out)
    {
        unsigned value = 99;
        out.push_back(pBS->readBits(uiCount, value));
        out.push_back(value);
    }
    void flag(std::vector<Value>& out)
    {
        bool bFlag = true;
        out.push_back(pBS->readFlag(bFlag));
        out.push_back(bFlag);
    }
    template <class T>
    void ue(std::vector<Value>& out)
    {
        T value = 99;
        out.push_back(pBS->readUe(value));
        out.push_back(value);
    }
    void se(std::vector<Value>& out)
    {
        int value = 99;
        out.push_back(pBS->readSe(value));
        out.push_back(value);
    }
    void tailing() { pBS->readTailing(); }
};

struct ModelOperations
{
    CModelBits& reader;

    void bits(unsigned uiCount, std::vector<Value>& out)
    {
        std::uint32_t value = 99;
        out.push_back(reader.readBits(uiCount, value));
        out.push_back(value);
    }
    void flag(std::vector<Value>& out)
    {
        bool bFlag = true;
        out.push_back(reader.readFlag(bFlag));
        out.push_back(bFlag);
    }
    template <class T>
    void ue(std::vector<Value>& out)
    {
        std::uint32_t value = 99;
        out.push_back(reader.readUe(value));
        out.push_back(value % (std::uint64_t{1} << 8 * sizeof(T)));
    }
    void se(std::vector<Value>& out)
    {
        Value value = 99;
        out.push_back(reader.readSe(value));
        out.push_back(value);
    }
    void tailing() { reader.readTailing(); }
};

template <class TOperations>
void operate(TOperations operations, std::uint64_t ulSeed, std::vector<Value>& out)
{
    CRandom random(ulSeed);
    const unsigned uiWidths = random.chance(50) ? 16 : 72;
    for (unsigned uiLeft = 1 + random.below(40); uiLeft > 0; --uiLeft) {
        switch (random.below(8)) {
        case 0:
        case 1:
            operations.bits(random.below(uiWidths), out);
            break;
        case 2:
            operations.flag(out);
            break;
        case 3:
            operations.template ue<unsigned char>(out);
            break;
        case 4:
            operations.template ue<unsigned short>(out);
            break;
        case 5:
            operations.template ue<unsigned>(out);
            break;
        case 6:
            operations.se(out);
            break;
        default:
            if (random.chance(15))
                operations.tailing();
        }
    }
}

template <class TReader>
void runRps(CTwins<TReader>& twins, CRandom& random, bool bWithGaps, Tally& tally)
{
    const unsigned uiCount = random.below(6);
    makeSets(twins, uiCount);
    std::vector<WrittenRps> sets;
    for (unsigned i = 0; i <= uiCount; ++i) {
        twins.differences.setPlace("set " + std::to_string(i) + ": ");
        CPayloadWriter writer(random, bWithGaps);
        writer.setOddShare(random.below(6));
        writeRps(writer, random, sets, i, uiCount);
        Reading reading;
        reading.payload = writer.payload();
        if (random.chance(5))
            reading.payload.resize(random.below(static_cast<unsigned>(reading.payload.size() + 1)));
        const bool bAnywhere = i == uiCount && uiCount != 0 && random.chance(20);
        readRps(twins, reading, i, bAnywhere ? random.below(uiCount) : i, tally);
    }
}

template <class TReader>
void runGrids(CTwins<TReader>& twins, CRandom& random, bool bWithGaps, Tally& tally)
{
    Grid grid = randomGrid(random);
    for (unsigned i = 0; i < 1 + random.below(3); ++i) {
        CPayloadWriter writer(random, bWithGaps);
        writer.setOddShare(random.below(3));
        if (!grid.uniform_spacing_flag) {
            writeTileSizes(writer, random, grid.num_tile_columns_minus1, grid.W);
            writeTileSizes(writer, random, grid.num_tile_rows_minus1, grid.H);
        }
        Reading reading;
        reading.payload = writer.payload();
        reading.uiFailTake = random.chance(10) ? 1 + random.below(3) : 0;
        readGrid(twins, reading, grid, tally);
        if (twins.modelPps.TileId.iBlock == 0)
            grid = randomGrid(random);
        else
            grid = {random.below(24), random.below(24), random.below(6), random.below(6), random.chance(50)};
    }
}

} // namespace

template <class TReader>
void runBitOperations(CTwins<TReader>& twins, const Reading& reading, std::uint64_t ulSeed)
{
    twins.step(
        reading,
        [&](TReader* pBS, std::vector<Value>& out) { operate(ModuleOperations<TReader>{pBS}, ulSeed, out); },
        [&](CModelBits& bits, std::vector<Value>& out) { operate(ModelOperations{bits}, ulSeed, out); });
}

template <class TReader>
void runSubStructure(CTwins<TReader>& twins, CRandom& random, bool bWithGaps, Tally& tally)
{
    const unsigned uiReading = PTL + random.below(5);
    if (uiReading == RPS)
        return runRps(twins, random, bWithGaps, tally);
    if (uiReading == TILE_GRID)
        return runGrids(twins, random, bWithGaps, tally);
    CPayloadWriter writer(random, bWithGaps);
    writer.setOddShare(random.chance(30) ? 1 + random.below(3) : 0);
    Reading reading;
    const unsigned uiChoice = random.below(random.chance(80) ? 9 : 256);
    const unsigned uiSizeId = random.below(4);
    if (uiReading == PTL)
        writePtl(writer, random, uiChoice);
    else if (uiReading == SCALING_LIST)
        writeScalingLists(writer, random);
    else
        writeExplicitMatrix(writer, random, uiSizeId);
    reading.payload = writer.payload();
    if (random.chance(15))
        reading.payload.resize(random.below(static_cast<unsigned>(reading.payload.size() + 1)));
    if (uiReading == PTL)
        readPtl(twins, reading, uiChoice, tally);
    else
        readScalingLists(
            twins, reading, uiReading == SCALING_LIST ? -1 : static_cast<int>(uiSizeId), random.below(6), tally);
}

template <class TReader>
void runSubStructureOn(CTwins<TReader>& twins, CRandom& random, unsigned uiReading, const Reading& reading,
                       Tally& tally)
{
    if (uiReading == PTL)
        return readPtl(twins, reading, random.below(random.chance(80) ? 9 : 256), tally);
    if (uiReading == TILE_GRID)
        return readGrid(twins, reading, randomGrid(random), tally);
    if (uiReading == RPS) {
        const unsigned uiCount = random.below(3);
        makeSets(twins, uiCount);
        return readRps(twins, reading, random.below(uiCount + 1), random.below(uiCount + 1), tally);
    }
    readScalingLists(
        twins, reading, uiReading == SCALING_LIST ? -1 : static_cast<int>(random.below(4)), random.below(6), tally);
}

template void runBitOperations(CTwins<CBitStreamReader>&, const Reading&, std::uint64_t);
template void runBitOperations(CTwins<CRbspReader>&, const Reading&, std::uint64_t);
template void runSubStructure(CTwins<CBitStreamReader>&, CRandom&, bool, Tally&);
template void runSubStructure(CTwins<CRbspReader>&, CRandom&, bool, Tally&);
template void runSubStructureOn(CTwins<CBitStreamReader>&, CRandom&, unsigned, const Reading&, Tally&);
template void runSubStructureOn(CTwins<CRbspReader>&, CRandom&, unsigned, const Reading&, Tally&);

} // namespace h265_model
