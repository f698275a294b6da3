#include "JsonRecord.h"

#include <string_view>

#include "MatrixSource.h"
#include "RecordFields.h"

namespace h265ps {

using namespace h265_codec;

namespace {

class CJsonRecord : public CRecordVisitor
{
public:
    CJsonRecord(CJsonWriter& json, bool bTables) : m_json(json), m_bTables(bTables) {}

    void group(EGroup) override {}
    void flag(const char* pName, bool bValue, FieldNote note) override
    {
        if (begin(pName, note))
            m_json.flag(bValue);
    }
    void number(const char* pName, std::int64_t iValue, FieldNote note) override
    {
        if (begin(pName, note))
            m_json.number(iValue);
    }
    void flags(const char* pName, std::span<const bool> values, FieldNote note) override
    {
        if (begin(pName, note))
            flagArray(values);
    }
    void flagRows(const char* pName, std::span<const bool[32]> rows, FieldNote note) override;
    void numbers(const char* pName, std::span<const std::int64_t> values, FieldNote note) override
    {
        if (begin(pName, note))
            numberArray(values);
    }
    void table(const char* pName, std::span<const unsigned> values, FieldNote note) override
    {
        writeTable(pName, values, note, true);
    }
    void addressTable(const char* pName, std::span<const unsigned> values, FieldNote note) override
    {
        writeTable(pName, values, note, m_bTables);
    }
    void profileTierLevel(const char* pName, const profile_tile_level& ptl, unsigned uiSubLayers) override
    {
        m_json.key(pName);
        m_json.openObject();
        listFields(ptl, uiSubLayers, *this);
        m_json.closeObject();
    }
    void refPicSets(const char* pName, std::span<const ShortTermRefPicSet> sets) override;
    void scalingLists(const char* pName, const ScalingListData* pLists) override;

private:
    // The key, and the value of a field that does not apply; whether there is another value to write.
    bool begin(const char* pName, FieldNote note)
    {
        m_json.key(pName);
        if (note.ePresence == EPresence::NotApplicable)
            m_json.null();
        return note.ePresence != EPresence::NotApplicable;
    }

    void flagArray(std::span<const bool> values);
    template <class T>
    void numberArray(std::span<const T> values);
    void writeTable(const char* pName, std::span<const unsigned> values, FieldNote note, bool bWanted);
    void matrix(const ScalingListData& lists, unsigned sizeId, unsigned matrixId);

    CJsonWriter& m_json;
    const bool m_bTables;
};

void CJsonRecord::flagArray(std::span<const bool> values)
{
    m_json.openArray();
    for (const bool bValue : values)
        m_json.flag(bValue);
    m_json.closeArray();
}

template <class T>
void CJsonRecord::numberArray(std::span<const T> values)
{
    m_json.openArray();
    for (const T value : values)
        m_json.number(static_cast<std::int64_t>(value));
    m_json.closeArray();
}

void CJsonRecord::flagRows(const char* pName, std::span<const bool[32]> rows, FieldNote note)
{
    if (!begin(pName, note))
        return;
    m_json.openArray();
    for (const auto& row : rows)
        flagArray(row);
    m_json.closeArray();
}

void CJsonRecord::writeTable(const char* pName, std::span<const unsigned> values, FieldNote note, bool bWanted)
{
    if (!begin(pName, note))
        return;
    if (values.data() == nullptr || !bWanted)
        m_json.null();
    else
        numberArray(values);
}

void CJsonRecord::refPicSets(const char* pName, std::span<const ShortTermRefPicSet> sets)
{
    m_json.key(pName);
    if (sets.data() == nullptr)
        return m_json.null();
    m_json.openArray();
    for (std::size_t i = 0; i < sets.size(); ++i) {
        m_json.openObject();
        listFields(sets[i], i != 0 ? &sets[i - 1] : nullptr, *this);
        m_json.closeObject();
    }
    m_json.closeArray();
}

void CJsonRecord::matrix(const ScalingListData& lists, unsigned sizeId, unsigned matrixId)
{
    unsigned matrixIdOfRef = 0;
    const EMatrixSource eSource = matrixSource(lists, sizeId, matrixId, matrixIdOfRef);
    if (eSource == EMatrixSource::None)
        return m_json.null();
    m_json.openObject();
    m_json.key("source");
    m_json.text(eSource == EMatrixSource::Default ? "default" : eSource == EMatrixSource::Own ? "own" : "ref");
    m_json.key("coef");
    m_json.numbers({lists.aList[sizeId].aMatrix[matrixId].pCoef, static_cast<std::size_t>(g_scalingListSize[sizeId])});
    m_json.closeObject();
}

void CJsonRecord::scalingLists(const char* pName, const ScalingListData* pLists)
{
    m_json.key(pName);
    if (pLists == nullptr)
        return m_json.null();
    m_json.openArray();
    for (unsigned sizeId = 0; sizeId < 4; ++sizeId) {
        m_json.openArray();
        for (unsigned matrixId = 0; matrixId < 6; ++matrixId)
            matrix(*pLists, sizeId, matrixId);
        m_json.closeArray();
    }
    m_json.closeArray();
}

template <class TRecord>
void write(const TRecord& record, bool bTables, CJsonWriter& json)
{
    CJsonRecord visitor(json, bTables);
    json.openObject();
    listFields(record, visitor);
    json.closeObject();
}

} // namespace

void writeRecord(const h265_stream::ParameterSetEvent& event, bool bTables, CJsonWriter& json)
{
    if (event.vps != nullptr)
        write(*event.vps, bTables, json);
    else if (event.sps != nullptr)
        write(*event.sps, bTables, json);
    else if (event.pps != nullptr)
        write(*event.pps, bTables, json);
    else
        json.null();
}

} // namespace h265ps
