#pragma once

#include <vector>

#include "JsonWriter.h"
#include "Report.h"
#include "SyntaxTree.h"

namespace h265ps {

/// One JSON document for each file, as docs/json.md describes it, written as the parameter sets come.
class CJsonReport : public CReport
{
public:
    struct Options
    {
        bool bShowRepeats = false; // in full, instead of by the offset of the first
        bool bTables = false;      // the address tables of PPSs
        h265_stream::EBitReader eReader = h265_stream::EBitReader::Rbsp; // that the parameter sets are read with
    };

    CJsonReport(COutputStream& output, const Options& options) : m_output(output), m_json(output), m_options(options) {}

    void begin(const std::string& file, const CFileVerdict& verdict, EPace ePace) override;
    void add(const h265_inspect::FileSet& told, bool bShown) override;
    void addFinding(const h265_inspect::FileFinding& finding) override;
    void error(std::string_view line) override;
    void stall() override { m_output.flush(); }
    [[nodiscard]] bool end(const CFileVerdict& verdict, std::uint64_t ulBytes) override;

private:
    COutputStream& m_output;
    CJsonWriter m_json;
    h265_inspect::CSyntaxTree m_tree;
    std::vector<h265_inspect::FileFinding> m_findings; // bounded by who finds them
    Options m_options;
};

} // namespace h265ps
