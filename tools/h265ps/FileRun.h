#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ByteSource.h"
#include "FileKind.h"
#include "FileTracks.h"
#include "Inspector.h"
#include "Options.h"
#include "OutputStream.h"
#include "RandomSource.h"
#include "Report.h"

namespace h265ps {

/// Reads files one after another into a report, with an error line for everything that goes wrong.
class CFileRun
{
public:
    CFileRun(const Options& options, COutputStream& output, CReport& report);

    /// Reads one file, "-" being standard input.
    EExitCode run(const std::string& file);
    /// Reads sets that stand alone, as text. name: what stands for the file.
    EExitCode run(const GivenSets& sets);

    /// Whether the last file could be opened and read as far as it says what it holds.
    [[nodiscard]] bool wasRead() const noexcept { return m_bRead; }

private:
    class CWatchedSource;
    class CTracks;
    class CStallingSource;

    EExitCode runGuarded(const std::string& file, const std::function<EExitCode()>& read);
    EExitCode readFile();
    EExitCode readText(const GivenSets& sets);
    [[nodiscard]] std::unique_ptr<h265_stream::CByteSource> open() const;
    EExitCode readOnce(std::unique_ptr<h265_stream::CByteSource> pSource, EPace ePace);
    void beginReading(EPace ePace);
    EExitCode readAs(h265_stream::CByteSource& source, EPace ePace);
    h265_stream::StreamSummary readStream(CWatchedSource& source);
    void readGuarded(const std::function<void()>& read);
    EExitCode closeReport(const h265_stream::StreamSummary& summary);
    EExitCode readTracks(std::unique_ptr<h265_stream::CByteSource> pSource, EPace ePace);
    /// hint: behind what is said of a file without a set.
    EExitCode closeTracks(const CTracks& tracks, std::uint64_t ulBytes, const std::string& hint = "");
    std::unique_ptr<h265_container::CRandomSource> openTracks(std::unique_ptr<h265_stream::CByteSource> pSource);
    [[nodiscard]] std::unique_ptr<h265_container::CRandomSource> openInit() const;
    void beginReport();
    bool showSet(const h265_inspect::FileSet& told, CVerdict& verdict, const h265_inspect::StreamCounts& counts);
    bool take(const h265_stream::ParameterSetEvent& event, CWatchedSource& source);
    void takeOther(const h265_stream::NalUnit& unit);
    void tellSetFindings();
    void hold(const h265_stream::ParameterSetEvent& event);
    bool showHeld();
    bool show(const h265_stream::ParameterSetEvent& event);
    void tellEnd(const CVerdict& verdict, const std::string& track);
    EExitCode failForMemory(std::string_view file) const noexcept;
    EExitCode fail(std::optional<std::uint64_t> ulOffset, std::string_view reason);
    EExitCode failAt(const std::string& place, std::string_view reason);
    void tell(std::string_view kind, const std::string& place, std::string_view reason);

    const Options& m_options;
    COutputStream& m_output;
    CReport& m_report;
    h265_stream::CParameterSetStream m_stream;
    std::optional<h265_inspect::CInspector> m_inspector; // of the stream
    std::string m_file;
    long long m_iStart = 0; // where standard input stood
    h265_container::FileKind m_kind{};
    CFileVerdict m_verdict;
    std::optional<CFileVerdict> m_firstVerdict; // of the first reading, when a second one shows the sets
    EPace m_ePace = EPace::Whole;
    std::optional<std::string> m_interruption; // why the stream was not read to its end
    bool m_bOutOfMemory = false;               // that is why
    bool m_bUnknown = false;                   // what it holds is not said, or H.265 that is not read
    bool m_bRead = false;                      // nothing else stopped the reading
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
