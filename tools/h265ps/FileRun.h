#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ByteSource.h"
#include "Inspector.h"
#include "Options.h"
#include "OutputStream.h"
#include "Report.h"

namespace h265ps {

/// Reads files one after another into a report, with an error line for everything that goes wrong.
class CFileRun
{
public:
    CFileRun(const Options& options, COutputStream& output, CReport& report);

    /// Reads one file, "-" being standard input.
    EExitCode run(const std::string& file);

private:
    class CWatchedSource;

    EExitCode readFile();
    [[nodiscard]] std::unique_ptr<h265_stream::CByteSource> open() const;
    EExitCode readAs(h265_stream::CByteSource& source, EPace ePace);
    h265_stream::StreamSummary readStream(CWatchedSource& source);
    EExitCode closeReport(const h265_stream::StreamSummary& summary);
    bool take(const h265_stream::ParameterSetEvent& event, CWatchedSource& source);
    void takeOther(const h265_stream::NalUnit& unit);
    void tellSetFindings();
    void hold(const h265_stream::ParameterSetEvent& event);
    bool showHeld();
    bool show(const h265_stream::ParameterSetEvent& event);
    void tellEnd();
    EExitCode failForMemory(std::string_view file) const noexcept;
    EExitCode fail(std::optional<std::uint64_t> ulOffset, std::string_view reason);
    void warn(std::string_view reason);
    void tell(std::string_view kind, std::optional<std::uint64_t> ulOffset, std::string_view reason);

    const Options& m_options;
    COutputStream& m_output;
    CReport& m_report;
    h265_stream::CParameterSetStream m_stream;
    std::optional<h265_inspect::CInspector> m_inspector; // of the stream
    std::string m_file;
    CVerdict m_verdict;
    std::optional<CVerdict> m_firstVerdict; // of the first reading, when a second one shows the sets
    EPace m_ePace = EPace::Whole;
    std::optional<std::string> m_interruption; // why the stream was not read to its end
    bool m_bOutOfMemory = false;               // that is why
    std::uint64_t m_ulTaken = 0;               // bytes read
    bool m_bBegun = false;                     // the report has the stream
    bool m_bAgain = false;                     // the file has to be read again for its report

    // A stream of other formats can look like sets of higher layers. These are held back until a set of layer 0
    // proves it to be H.265, or there are so many that it makes no difference.
    bool m_bHolding = false;
    bool m_bResemblesH264 = false;
    std::optional<std::string_view> m_foreign; // what it is instead
    struct Held
    {
        h265_stream::ParameterSetEvent event; // passed over: it points at nothing but its bytes
        std::vector<unsigned char> bytes;
    };
    std::vector<Held> m_held;
    std::size_t m_uiHeldBytes = 0;
};

/// Reads the files of the options one after another into a report; the worst of their exit codes.
int runFiles(const Options& options, COutputStream& output, CReport& report);

} // namespace h265ps
