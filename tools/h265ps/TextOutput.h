#pragma once

#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "HeldOutput.h"
#include "Report.h"
#include "SyntaxTree.h"
#include "TextStyle.h"
#include "ToldFindings.h"

namespace h265ps {

/// Shows streams to people: a head with the verdict, a block for each parameter set, and the head again.
class CTextReport : public CReport
{
public:
    struct Options
    {
        bool bShowRepeats = false;
        bool bRecord = false;       // the decoder's records in the place of the syntax
        bool bFileHeadings = false; // a line with the file's name in front of each stream
        h265_stream::EBitReader eReader = h265_stream::EBitReader::Rbsp; // that the parameter sets are read with
        TextStyle style;
    };

    /// What repeats are counted under: a nal_unit_type, a kind, and an id or nuh_layer_id.
    enum class ERepeats
    {
        OfId,
        NotRead,
        OfLayer
    };
    using RepeatKey = std::tuple<unsigned char, ERepeats, unsigned>;

    CTextReport(COutputStream& output, const Options& options) : m_stdout(output), m_output(output), m_options(options)
    {}

    void begin(const std::string& file, const CFileVerdict& verdict, EPace ePace) override;
    void add(const h265_inspect::FileSet& told, bool bShown) override;
    void addFinding(const h265_inspect::FileFinding& finding) override;
    void error(std::string_view line) override;
    void stall() override;
    [[nodiscard]] bool end(const CFileVerdict& verdict, std::uint64_t ulBytes) override;

private:
    std::string block(const h265_inspect::FileSet& told);
    std::string title(const h265_inspect::FileSet& told) const;
    bool isShared(const h265_inspect::FileSet& told);
    void noteFindings(const h265_inspect::FileSet& told);
    bool isForHead(const h265_inspect::FileFinding& finding, const std::string& line);
    void showFindings(const CFileVerdict& verdict);
    std::string head(const CFileVerdict& verdict, const std::string& prefix) const;
    std::string tracksHead(const CFileVerdict& verdict, const std::string& prefix) const;
    std::string streamHead(const CVerdict& verdict, const std::string& prefix, const char* pWhere) const;
    void showHead(const CFileVerdict& verdict, const char* pPrefix);
    void noteForHead(const h265_stream::ParameterSetEvent& event);

    COutputStream& m_stdout;
    CHeldOutput m_output;
    Options m_options;
    EPace m_ePace = EPace::Whole;
    const CFileVerdict* m_pVerdict = nullptr;
    std::string m_heading;
    bool m_bFirstFile = true;
    bool m_bHeadShown = false;
    bool m_bSpsCame = false; // of layer 0
    std::map<RepeatKey, std::uint64_t> m_repeats;
    std::set<std::uint64_t> m_sharedOffsets; // sets that several items of a file can have
    h265_inspect::CSyntaxTree m_tree;
    std::vector<std::string> m_findings; // the first of all, as lines
    CToldFindings m_told;
    std::uint64_t m_ulToldBefore = 0;      // findings of sets that tracks share, which are counted for each
    std::vector<std::string> m_headErrors; // of the container
    std::vector<std::string> m_headWarnings;
    std::uint64_t m_ulShown = 0;
    bool m_bAnySet = false; // shown or not
};

/// A name for a line of text: control characters (C0 and C1), which could forge lines or colours, as '?'.
std::string printable(const std::string& name);

} // namespace h265ps
