#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "FileTracks.h"
#include "Inspector.h"
#include "ParameterSetStream.h"

namespace h265ps {

/// Exit codes, the worst of all files.
enum EExitCode : int
{
    EXIT_ALL_READ = 0,   // nothing is missing, everything was read, and the decoder's own checks pass
    EXIT_SET_FAILED = 1, // a parameter set was not read, is not supported, or is missing
    EXIT_FILE_ERROR = 2  // wrong usage, or a file that cannot be read, or output that cannot be written
};

/// PPSs that were not sent again behind an SPS, with its place.
struct StaleSet
{
    h265_stream::StalePps stale;
    h265_inspect::FilePlace place;
};

/// Why a file that was read has nothing to show.
inline constexpr char NO_SET[] = "no parameter set in it";

/// What a stream is and whether this decoder takes it, gathered from its parameter sets as they come.
class CVerdict
{
public:
    explicit CVerdict(h265_stream::EBitReader eReader) : m_eReader(eReader) {}

    void add(const h265_inspect::FileSet& told, const h265_inspect::StreamCounts& counts);
    /// The sets stand alone, without pictures: nothing counts as missing.
    void standAlone() { m_bAlone = true; }
    [[nodiscard]] bool isAlone() const { return m_bAlone; }
    /// Whether no set came, of whichever layer.
    [[nodiscard]] bool isEmpty() const { return !m_bAnySet; }
    /// The file has no set at all, which is an error.
    void failEmpty() { m_bFailedEmpty = true; }
    /// What the inspector counted by now.
    void count(const h265_inspect::StreamCounts& counts) { m_counts = counts; }
    /// The stream came to its end: what has not come by now is missing.
    void end(const h265_inspect::FileTrackEnd& end);
    /// The stream could not be read to its end; the first reason counts.
    void interrupt(const std::string& reason);

    /// A line for each distinct SPS in stream order: size, samples, profile, level, id and place. Of very many
    /// SPSs the first, and how many more there are.
    [[nodiscard]] std::vector<std::string> sequences() const;
    /// Whether the decoder takes the stream, in one line: the reason in words first, the module's message behind it.
    [[nodiscard]] std::string text() const;
    /// How the stream is named elsewhere, how many sets it has and what is wrong with them, in one line.
    [[nodiscard]] std::string inspection() const;
    /// Of the first SPS of layer 0.
    [[nodiscard]] const std::optional<h265_inspect::SequenceGist>& gist() const { return m_gist; }
    [[nodiscard]] const h265_inspect::StreamCounts& counts() const { return m_counts; }
    /// The types of layer 0 that the stream does not have: "no SPS and no PPS"; empty when it has all.
    [[nodiscard]] std::string missing() const;
    [[nodiscard]] const std::vector<StaleSet>& stale() const { return m_stale; }
    [[nodiscard]] EExitCode exitCode() const;

private:
    // The failures of one kind: the first in words, and how many there are.
    struct Failures
    {
        std::string first;
        std::uint64_t ulCount = 0;
    };

    void addFailure(const h265_inspect::FileSet& told);
    [[nodiscard]] std::string answer() const;
    [[nodiscard]] std::string problems() const;

    h265_stream::EBitReader m_eReader;
    std::vector<std::string> m_sequences;
    std::optional<h265_inspect::SequenceGist> m_gist;
    h265_inspect::StreamCounts m_counts;
    std::uint64_t m_ulMoreSequences = 0;
    bool m_abThere[3] = {}; // VPS, SPS and PPS of layer 0, read or not
    bool m_bSpsRead = false;
    bool m_bPpsRead = false;
    Failures m_notSupported;
    Failures m_notRead;
    bool m_bEnded = false;
    bool m_bAlone = false;
    bool m_bAnySet = false;
    bool m_bFailedEmpty = false;
    std::optional<std::string> m_interruption;
    std::vector<StaleSet> m_stale;
};

/// "SPS 0 at byte 900 took the place of another, PPS 0, 1 were not sent again".
std::string textOf(const StaleSet& set);

/// "1 error and 2 warnings"; empty when there are none.
std::string countedProblems(std::uint64_t ulErrors, std::uint64_t ulWarnings);

} // namespace h265ps
