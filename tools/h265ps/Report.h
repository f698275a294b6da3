#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "FilePlace.h"
#include "FileVerdict.h"

namespace h265ps {

/// How a stream reaches its report.
enum class EPace
{
    Whole,     // a file: its verdict can stand in front of its sets
    AsItComes, // a pipe or a device: each set is shown when it came
    Again      // a file, the verdict on which is known from a first reading
};

/// Shows what files hold, one after another.
class CReport
{
public:
    virtual ~CReport() = default;

    /// A stream that has a parameter set begins, or a file that has a track of H.265. The verdict lasts until the end,
    /// and has heard of each set before the report does; with EPace::Again it is that of the first reading.
    virtual void begin(const std::string& file, const CFileVerdict& verdict, EPace ePace) = 0;
    /// bShown: the filters let it through.
    virtual void add(const h265_inspect::FileSet& told, bool bShown) = 0;
    /// What is wrong with a set among others, or with the container.
    virtual void addFinding(const h265_inspect::FileFinding& finding) = 0;
    /// A whole line for standard error.
    virtual void error(std::string_view line) = 0;
    /// The same where the report has not heard of the file.
    virtual void errorOutside(std::string_view line) { (void)std::fwrite(line.data(), 1, line.size(), stderr); }
    /// The stream has no more bytes at the moment.
    virtual void stall() = 0;
    /// The file ended, or could not be read on, ulBytes after its start. False: the sets are more than can be
    /// kept back until the verdict, nothing was written; the file has to be read again.
    [[nodiscard]] virtual bool end(const CFileVerdict& verdict, std::uint64_t ulBytes) = 0;
    /// Of the stream that ended.
    [[nodiscard]] virtual EExitCode exitCode(const CFileVerdict& verdict) const { return verdict.exitCode(); }
};

} // namespace h265ps
