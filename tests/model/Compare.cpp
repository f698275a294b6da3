#include "Compare.h"

#include <algorithm>
#include <cstring>

#include "RecordFields.h"

namespace h265_model {

namespace {

constexpr char SOURCE_PATH[] = "../../../src/LibDecoder/src/DecParameterSetReader";

template <class TModule>
void checkField(CDifferences& differences, const char* pName, const TModule& module, const Value& model)
{
    if (static_cast<Value>(module) != model)
        differences.check(pName, static_cast<Value>(module), model);
}

// NAME[i], built by appending: g++ 12 takes the insertion in front of "[" + to_string(i) for an overlap.
std::string indexed(const char* pName, std::size_t uiIndex)
{
    return std::string(pName).append("[").append(std::to_string(uiIndex)).append("]");
}

template <class TModule, std::size_t N, class TModel>
void checkField(CDifferences& differences, const char* pName, const TModule (&module)[N],
                const std::array<TModel, N>& model)
{
    for (std::size_t i = 0; i < N; ++i) {
        if constexpr (std::is_array_v<TModule>) {
            for (std::size_t j = 0; j < model[i].size(); ++j) {
                if (static_cast<Value>(module[i][j]) != model[i][j])
                    differences.check(pName + std::to_string(i) + "," + std::to_string(j), module[i][j], model[i][j]);
            }
        } else if (static_cast<Value>(module[i]) != model[i]) {
            differences.check(indexed(pName, i), module[i], model[i]);
        }
    }
}

// A visitor that checks every field.
auto checking(CDifferences& differences)
{
    return [&differences](const char* pName, const auto& module, const auto& model) {
        checkField(differences, pName, module, model);
    };
}

template <class TModule>
void assign(const TModule& module, Value& model)
{
    model = static_cast<Value>(module);
}

template <class TModule, std::size_t N, class TModel>
void assign(const TModule (&module)[N], std::array<TModel, N>& model)
{
    for (std::size_t i = 0; i < N; ++i)
        assign(module[i], model[i]);
}

auto assigning()
{
    return [](const char*, const auto& module, auto& model) { assign(module, model); };
}

const unsigned char* moduleTable(DefaultTable table)
{
    using namespace h265_codec;
    switch (table) {
    case DefaultTable::Flat4x4:
        return g_deQuantSLDefault4x4;
    case DefaultTable::Intra8x8:
        return g_deQuantSLIntraDefault8x8;
    case DefaultTable::Inter8x8:
        return g_deQuantSLInterDefault8x8;
    case DefaultTable::Intra16x16:
        return g_deQuantSLIntraDefault16x16;
    case DefaultTable::Inter16x16:
        return g_deQuantSLInterDefault16x16;
    case DefaultTable::Intra32x32:
        return g_deQuantSLIntraDefault32x32;
    default:
        return g_deQuantSLInterDefault32x32;
    }
}

// Whether the module's default table has the model's contents, looked at once for each.
bool isTableRight(DefaultTable table)
{
    static std::map<DefaultTable, bool> known;
    const auto position = known.find(table);
    if (position != known.end())
        return position->second;
    const std::vector<unsigned char> expected = modelDefaultTable(table);
    return known[table] = std::equal(expected.begin(), expected.end(), moduleTable(table));
}

const unsigned char* expectedPointer(const h265_codec::ScalingListData& lists, const MatrixSource& source)
{
    if (source.kind == MatrixSource::Kind::Null)
        return nullptr;
    if (source.kind == MatrixSource::Kind::Default)
        return moduleTable(source.table);
    return lists.aList[source.uiSizeId].aMatrix[source.uiMatrixId].aucCoef;
}

std::string nameOf(const h265_codec::ScalingListData& lists, const unsigned char* pCoef)
{
    if (pCoef == nullptr)
        return "null";
    for (unsigned s = 0; s < 4; ++s) {
        for (unsigned m = 0; m < 6; ++m) {
            if (pCoef == lists.aList[s].aMatrix[m].aucCoef)
                return "own of [" + std::to_string(s) + "][" + std::to_string(m) + "]";
        }
    }
    for (int i = 0; i < 7; ++i) {
        if (pCoef == moduleTable(static_cast<DefaultTable>(i)))
            return "default table " + std::to_string(i);
    }
    return "elsewhere";
}

std::string textOf(bool bTake, unsigned uiSize, int iLine)
{
    return (bTake ? "take " : "release ") + std::to_string(uiSize) + " at " + std::to_string(iLine);
}

} // namespace

std::string CDifferences::text() const
{
    std::string result;
    for (const std::string& line : m_lines)
        result += line + "\n";
    return result;
}

void CDifferences::add(const std::string& name, const std::string& module, const std::string& model)
{
    if (m_lines.size() < 20)
        m_lines.push_back(m_place + name + ": module " + module + ", model " + model);
}

void CComparison::ptl(const h265_codec::profile_tile_level& module, const ModelPtl& model)
{
    eachPtlField(module, model, checking(m_differences));
}

void CComparison::vps(const h265_codec::VPS& module, const ModelVps& model)
{
    eachVpsField(module, model, checking(m_differences));
    ptl(module.ptl, model.ptl);
}

void CComparison::rps(const h265_codec::ShortTermRefPicSet& module, const ModelRps& model)
{
    eachRpsField(module, model, checking(m_differences));
}

void CComparison::sps(const h265_codec::SPS& module, const ModelSps& model)
{
    eachSpsField(module, model, checking(m_differences));
    ptl(module.ptl, model.ptl);
    m_differences.check("refCount", module.refCount.counter, model.refCount);
    if (block("pScalingList", module.pScalingList, model.store.iBlock, SCALING_LIST_BYTES))
        lists(*module.pScalingList, model.store.lists);
    const std::size_t uiSets = model.sets.size();
    if (!block("pShortTermRefPicSet", module.pShortTermRefPicSet, model.iSetsBlock, RPS_BYTES * uiSets))
        return;
    for (std::size_t i = 0; i < uiSets; ++i)
        rps(module.pShortTermRefPicSet[i], model.sets[i]);
}

void CComparison::pps(const h265_codec::PPS& module, const ModelPps& model)
{
    eachPpsField(module, model, checking(m_differences));
    m_differences.check("refCount", module.refCount.counter, model.refCount);
    table("CtbAddrTsToRs", module.CtbAddrTsToRs, model.CtbAddrTsToRs);
    table("CtbAddrRsToTs", module.CtbAddrRsToTs, model.CtbAddrRsToTs);
    table("TileId", module.TileId, model.TileId);
    table("colWidth", module.colWidth, model.colWidth);
    table("rowHeight", module.rowHeight, model.rowHeight);
    const h265_codec::ScalingListData* const pExpected = model.pScalingListSet != 0 ? module.pScalingListBuf : nullptr;
    m_differences.check("pScalingList stands right", module.pScalingList == pExpected, 1);
    if (block("pScalingListBuf", module.pScalingListBuf, model.store.iBlock, SCALING_LIST_BYTES))
        lists(*module.pScalingListBuf, model.store.lists);
}

void CComparison::lists(const h265_codec::ScalingListData& module, const ModelScalingLists& model)
{
    for (unsigned s = 0; s < 4; ++s) {
        for (unsigned m = 0; m < 6; ++m) {
            const h265_codec::ScalingListMatrix& matrix = module.aList[s].aMatrix[m];
            const ModelMatrix& expected = model.matrices[s][m];
            const unsigned char* const pExpected = expectedPointer(module, expected.source);
            if (matrix.pCoef != pExpected)
                m_differences.add("pCoef of [" + std::to_string(s) + "][" + std::to_string(m) + "]",
                                  nameOf(module, matrix.pCoef),
                                  nameOf(module, pExpected));
            if (expected.source.kind == MatrixSource::Kind::Default && !isTableRight(expected.source.table))
                m_differences.add(nameOf(module, pExpected), "has other contents", "as Table 7-5 or 7-6");
            if (std::memcmp(matrix.aucCoef, expected.own.data(), 1024) != 0)
                m_differences.add("aucCoef of [" + std::to_string(s) + "][" + std::to_string(m) + "]", "differs", "");
        }
    }
}

void CComparison::calls(const std::vector<h265_test::PoolCall>& module, const std::vector<ExpectedCall>& model)
{
    m_differences.check("pool calls", static_cast<Value>(module.size()), static_cast<Value>(model.size()));
    for (std::size_t i = 0; i < std::min(module.size(), model.size()); ++i) {
        const std::string call = textOf(module[i].bTake, module[i].uiSize, module[i].iLine);
        const std::string expected = textOf(model[i].bTake, model[i].uiSize, model[i].iLine);
        if (call != expected || module[i].file != SOURCE_PATH)
            m_differences.add("pool call " + std::to_string(i), call + " of " + module[i].file, expected);
    }
}

void CComparison::lines(const std::vector<std::string>& module, const std::vector<std::string>& model)
{
    m_differences.check("log lines", static_cast<Value>(module.size()), static_cast<Value>(model.size()));
    for (std::size_t i = 0; i < std::min(module.size(), model.size()); ++i) {
        if (module[i] != model[i])
            m_differences.add("log line " + std::to_string(i), module[i], model[i]);
    }
}

void CComparison::state(const ReaderState& module, const ReaderState& model)
{
    m_differences.check("m_pCurPos", static_cast<Value>(module.uiPos), static_cast<Value>(model.uiPos));
    m_differences.check("m_uiCachedBits", module.uiCachedBits, model.uiCachedBits);
    m_differences.check("m_ulCache", static_cast<Value>(module.ulCache), static_cast<Value>(model.ulCache));
}

// Whether the contents can be compared: both have the block, of the same size.
bool CComparison::block(const char* pName, const void* pModule, int iBlock, std::size_t uiSize)
{
    m_differences.check(std::string(pName) + " is set", pModule != nullptr, iBlock != 0);
    if (pModule == nullptr || iBlock == 0)
        return false;
    const auto [position, bNew] = m_pointers.try_emplace(iBlock, pModule);
    if (!bNew && position->second != pModule)
        m_differences.add(pName, "another block", "the block of before");
    m_differences.check(std::string(pName) + " bytes", m_pool.sizeOf(pModule), static_cast<Value>(uiSize));
    return m_pool.sizeOf(pModule) == uiSize;
}

void CComparison::table(const char* pName, const unsigned* pModule, const ModelTable& model)
{
    if (!block(pName, pModule, model.iBlock, 4 * model.entries.size()))
        return;
    const auto [module, expected] = std::mismatch(pModule, pModule + model.entries.size(), model.entries.begin());
    if (expected != model.entries.end())
        m_differences.check(indexed(pName, static_cast<std::size_t>(module - pModule)), *module, *expected);
}

void adopt(ModelVps& model, const h265_codec::VPS& module)
{
    eachVpsField(module, model, assigning());
    adopt(model.ptl, module.ptl);
}

void adopt(ModelPtl& model, const h265_codec::profile_tile_level& module)
{
    eachPtlField(module, model, assigning());
}

void adopt(ModelSps& model, const h265_codec::SPS& module)
{
    eachSpsField(module, model, assigning());
    adopt(model.ptl, module.ptl);
    model.refCount = module.refCount.counter;
}

void adopt(ModelPps& model, const h265_codec::PPS& module)
{
    eachPpsField(module, model, assigning());
    model.refCount = module.refCount.counter;
}

} // namespace h265_model
