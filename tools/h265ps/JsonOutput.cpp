#include "JsonOutput.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "RecordFields.h"
#include "SetNames.h"

namespace h265ps {

using namespace h265_codec;
using h265_stream::ParameterSetEvent;

namespace {

using Json = nlohmann::ordered_json;

// Rendered records that are kept for repeats: no single one, and not all together, above this.
constexpr std::size_t MAX_KEPT_RECORD = std::size_t{4} << 20;
constexpr std::size_t MAX_KEPT_RECORDS = std::size_t{64} << 20;

std::string dump(const Json& value)
{
    // File names are bytes: what is no UTF-8 becomes U+FFFD.
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

template <class T>
Json jsonOf(const std::optional<T>& value)
{
    return value ? Json(*value) : Json(nullptr);
}

// Passes text on and keeps a copy as long as that is short.
class CKeepingSink : public CTextSink
{
public:
    explicit CKeepingSink(CTextSink& sink) : m_sink(sink) {}

    void append(std::string_view text) override
    {
        m_sink.append(text);
        m_bComplete = m_bComplete && m_copy.size() + text.size() <= MAX_KEPT_RECORD;
        if (m_bComplete)
            m_copy.append(text);
    }

    [[nodiscard]] bool isComplete() const { return m_bComplete; }
    std::string take() { return std::move(m_copy); }

private:
    CTextSink& m_sink;
    std::string m_copy;
    bool m_bComplete = true;
};

// Writes a record as one JSON object. Each small value is a document of its own; tables, which can
// have millions of entries, go out number by number.
class CJsonRecord : public CRecordVisitor
{
public:
    explicit CJsonRecord(CTextSink& sink) : m_sink(sink) {}

    void open() { openObject(); }
    void close() { m_sink.append("}"); }

    void group(EGroup) override {}
    void flag(const char* pName, bool bValue, FieldNote note) override { member(pName, bValue, note); }
    void number(const char* pName, std::int64_t iValue, FieldNote note) override { member(pName, iValue, note); }
    void flags(const char* pName, std::span<const bool> values, FieldNote note) override
    {
        member(pName, Json(std::vector<bool>(values.begin(), values.end())), note);
    }
    void numbers(const char* pName, std::span<const std::int64_t> values, FieldNote note) override
    {
        member(pName, Json(std::vector<std::int64_t>(values.begin(), values.end())), note);
    }
    void flagRows(const char* pName, std::span<const bool[32]> rows, FieldNote note) override
    {
        Json value = Json::array();
        for (const auto& row : rows)
            value.push_back(std::vector<bool>(std::begin(row), std::end(row)));
        member(pName, value, note);
    }
    void table(const char* pName, std::span<const unsigned> values, FieldNote note) override
    {
        if (values.data() == nullptr || note.ePresence == EPresence::NotApplicable)
            return member(pName, nullptr, note);
        key(pName);
        array(values);
    }
    void profileTierLevel(const char* pName, const profile_tile_level& ptl, unsigned uiSubLayers) override
    {
        key(pName);
        openObject();
        listFields(ptl, uiSubLayers, *this);
        close();
    }
    void refPicSets(const char* pName, std::span<const ShortTermRefPicSet> sets) override;
    void scalingLists(const char* pName, const ScalingListData* pLists) override;

private:
    void key(const char* pName)
    {
        m_sink.append(m_bFirst ? "\"" : ",\"");
        m_sink.append(pName);
        m_sink.append("\":");
        m_bFirst = false;
    }

    void openObject()
    {
        m_sink.append("{");
        m_bFirst = true;
    }

    void member(const char* pName, const Json& value, FieldNote note)
    {
        key(pName);
        m_sink.append(note.ePresence == EPresence::NotApplicable ? "null" : dump(value));
    }

    template <class T>
    void array(std::span<const T> values);
    void matrix(const ScalingListData& lists, unsigned sizeId, unsigned matrixId);

    CTextSink& m_sink;
    bool m_bFirst = true;
};

template <class T>
void CJsonRecord::array(std::span<const T> values)
{
    constexpr std::size_t PIECE = std::size_t{16} << 10;
    fmt::memory_buffer piece;
    piece.push_back('[');
    bool bFirst = true;
    for (const T value : values) {
        if (!bFirst)
            piece.push_back(',');
        bFirst = false;
        const fmt::format_int digits(value);
        piece.append(digits.data(), digits.data() + digits.size());
        if (piece.size() >= PIECE) {
            m_sink.append({piece.data(), piece.size()});
            piece.clear();
        }
    }
    piece.push_back(']');
    m_sink.append({piece.data(), piece.size()});
}

void CJsonRecord::refPicSets(const char* pName, std::span<const ShortTermRefPicSet> sets)
{
    key(pName);
    if (sets.data() == nullptr) {
        m_sink.append("null");
        return;
    }
    m_sink.append("[");
    for (std::size_t i = 0; i < sets.size(); ++i) {
        if (i != 0)
            m_sink.append(",");
        openObject();
        listFields(sets[i], i != 0 ? &sets[i - 1] : nullptr, *this);
        close();
    }
    m_sink.append("]");
}

void CJsonRecord::matrix(const ScalingListData& lists, unsigned sizeId, unsigned matrixId)
{
    unsigned matrixIdOfRef = 0;
    const EMatrixSource eSource = matrixSource(lists, sizeId, matrixId, matrixIdOfRef);
    if (eSource == EMatrixSource::None) {
        m_sink.append("null");
        return;
    }
    const char* const pSource = eSource == EMatrixSource::Default ? "default"
                                : eSource == EMatrixSource::Own   ? "own"
                                                                  : "ref";
    m_sink.append("{\"source\":\"");
    m_sink.append(pSource);
    m_sink.append("\",\"coef\":");
    array(std::span<const unsigned char>(lists.aList[sizeId].aMatrix[matrixId].pCoef,
                                         static_cast<std::size_t>(g_scalingListSize[sizeId])));
    m_sink.append("}");
}

void CJsonRecord::scalingLists(const char* pName, const ScalingListData* pLists)
{
    key(pName);
    if (pLists == nullptr) {
        m_sink.append("null");
        return;
    }
    for (unsigned sizeId = 0; sizeId < 4; ++sizeId) {
        m_sink.append(sizeId == 0 ? "[[" : "],[");
        for (unsigned matrixId = 0; matrixId < 6; ++matrixId) {
            if (matrixId != 0)
                m_sink.append(",");
            matrix(*pLists, sizeId, matrixId);
        }
    }
    m_sink.append("]]");
}

template <class TRecord>
void renderRecord(const TRecord& record, CTextSink& sink)
{
    CJsonRecord visitor(sink);
    visitor.open();
    listFields(record, visitor);
    visitor.close();
}

void renderRecord(const ParameterSetEvent& event, CTextSink& sink)
{
    if (event.vps != nullptr)
        renderRecord(*event.vps, sink);
    else if (event.sps != nullptr)
        renderRecord(*event.sps, sink);
    else if (event.pps != nullptr)
        renderRecord(*event.pps, sink);
    else
        sink.append("null");
}

} // namespace

void CJsonReport::begin(const std::string& file, std::optional<std::uint64_t> ulBytes)
{
    m_file = file;
    m_bFirst = true;
    m_bCut = false;
    m_spill = CSpillBuffer();
    m_rendered.clear();
    m_uiRenderedBytes = 0;
    m_pSink = ulBytes ? static_cast<CTextSink*>(&m_output) : &m_spill;
    if (ulBytes)
        addHead(*ulBytes);
}

void CJsonReport::addHead(std::uint64_t ulBytes)
{
    m_output.append(fmt::format(R"({{"file":{},"bytes":{},"parameter_sets":[)", dump(m_file), ulBytes));
}

void CJsonReport::add(const ParameterSetEvent& event, bool bShown)
{
    if (!bShown)
        return;
    const std::vector<std::string> log(event.logLines.begin(), event.logLines.end());
    m_bCut = true;
    m_pSink->append(fmt::format(R"({}{{"type":"{}","offset":{},"size":{},"nal_unit_type":{},"nuh_layer_id":{},)"
                                R"("nuh_temporal_id_plus1":{},"read":{},"verify":{},"log":{},"record":)",
                                m_bFirst ? "" : ",",
                                typeName(event.header.nal_unit_type),
                                event.ulOffset,
                                event.ulSize,
                                event.header.nal_unit_type,
                                event.header.nuh_layer_id,
                                event.header.nuh_temporal_id_plus1,
                                dump(jsonOf(event.iRead)),
                                dump(jsonOf(event.iVerify)),
                                dump(Json(log))));
    addRecord(event);
    m_pSink->append("}");
    m_bCut = false;
    m_bFirst = false;
}

void CJsonReport::addRecord(const ParameterSetEvent& event)
{
    const std::optional<unsigned> uiId = idOf(event);
    if (!uiId) {
        m_pSink->append("null");
        return;
    }
    const auto slot = std::pair(event.header.nal_unit_type, *uiId);
    const auto kept = m_rendered.find(slot);
    if (kept != m_rendered.end() && kept->second.ulReading == event.ulReading) {
        m_pSink->append(kept->second.record);
        return;
    }
    if (kept != m_rendered.end()) {
        m_uiRenderedBytes -= kept->second.record.size();
        m_rendered.erase(kept);
    }
    CKeepingSink sink(*m_pSink);
    renderRecord(event, sink);
    if (!sink.isComplete())
        return;
    std::string record = sink.take();
    if (m_uiRenderedBytes + record.size() > MAX_KEPT_RECORDS) {
        m_rendered.clear();
        m_uiRenderedBytes = 0;
    }
    m_uiRenderedBytes += record.size();
    m_rendered.emplace(slot, Rendered{event.ulReading, std::move(record)});
}

void CJsonReport::end(std::uint64_t ulBytes)
{
    // Memory ran out in the middle of a record: the document is lost, those behind it are not.
    if (m_bCut)
        return m_output.append("\n");
    if (m_pSink == &m_spill) {
        addHead(ulBytes);
        m_spill.moveTo(m_output);
    }
    m_output.append("]}\n");
}

} // namespace h265ps
