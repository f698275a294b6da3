#pragma once

#include <map>
#include <tuple>

#include "OutputStream.h"
#include "Report.h"
#include "TextStyle.h"

namespace h265ps {

/// Shows streams to people: a summary line, then a block for each parameter set.
class CTextReport : public CReport
{
public:
    struct Options
    {
        bool bShowRepeats = false;
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

    CTextReport(COutputStream& output, const Options& options) : m_output(output), m_options(options) {}

    void begin(const std::string& file, std::optional<std::uint64_t> ulBytes) override;
    void add(const h265_stream::ParameterSetEvent& event, bool bShown) override;
    void end(std::uint64_t ulBytes) override;

private:
    std::string block(const h265_stream::ParameterSetEvent& event) const;
    void showSummary(const std::string& summary);
    void show(const std::string& block);

    COutputStream& m_output;
    Options m_options;
    bool m_bFirstFile = true;
    bool m_bSummaryShown = false;
    std::string m_summary; // the line above the blocks
    std::string m_waiting; // blocks in front of the first SPS, which the summary line is made from
    std::map<RepeatKey, std::uint64_t> m_repeats;
    std::uint64_t m_ulShown = 0;
};

/// A name for a line of text: control characters (C0 and C1), which could forge lines or colours, as '?'.
std::string printable(const std::string& name);

} // namespace h265ps
