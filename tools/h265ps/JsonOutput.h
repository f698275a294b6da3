#pragma once

#include <array>
#include <map>
#include <utility>

#include "OutputStream.h"
#include "Report.h"

namespace h265ps {

/// One JSON document for each stream, as docs/json.md describes it. Writes as the parameter sets come,
/// and keeps what it rendered for the repeats of a set.
class CJsonReport : public CReport
{
public:
    explicit CJsonReport(COutputStream& output) : m_output(output) {}

    void begin(const std::string& file, std::optional<std::uint64_t> ulBytes) override;
    void add(const h265_stream::ParameterSetEvent& event, bool bShown) override;
    void end(std::uint64_t ulBytes) override;

private:
    struct Rendered
    {
        std::uint64_t ulReading;
        std::string record;
    };

    void addHead(std::uint64_t ulBytes);
    void addRecord(const h265_stream::ParameterSetEvent& event);

    COutputStream& m_output;
    CSpillBuffer m_spill;
    CTextSink* m_pSink = nullptr; // the output, or the spill buffer while the stream's size is unknown
    std::string m_file;
    bool m_bFirst = true;
    bool m_bCut = false; // the writing of a parameter set was not finished
    std::map<std::pair<unsigned char, unsigned>, Rendered> m_rendered; // by type and id
    std::size_t m_uiRenderedBytes = 0;
};

} // namespace h265ps
