#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "FileVerdict.h"
#include "OutputStream.h"
#include "Report.h"

namespace h265ps {

/// A line for each track of H.265 of a file: columns for people, or JSON.
class CScanReport : public CReport
{
public:
    explicit CScanReport(bool bJson) : m_bJson(bJson) {}

    void begin(const std::string& file, const CFileVerdict& verdict, EPace ePace) override;
    void add(const h265_inspect::FileSet& told, bool bShown) override;
    void addFinding(const h265_inspect::FileFinding& finding) override;
    void error(std::string_view line) override { m_errors += line; }
    void errorOutside(std::string_view line) override { m_errors += line; }
    void stall() override {}
    [[nodiscard]] bool end(const CFileVerdict& verdict, std::uint64_t ulBytes) override;
    [[nodiscard]] EExitCode exitCode(const CFileVerdict& verdict) const override;

    /// What became of the file: lines for standard output and for standard error. Both are empty behind it.
    [[nodiscard]] std::string takeLines() { return std::exchange(m_lines, {}); }
    [[nodiscard]] std::string takeErrors() { return std::exchange(m_errors, {}); }

private:
    struct Tiles
    {
        std::uint32_t uiColumns;
        std::uint32_t uiRows;
    };

    void addLine(const std::optional<std::uint64_t>& ulTrack, const CVerdict& verdict, bool bSeveral);
    void addJson(const std::optional<std::uint64_t>& ulTrack, const CVerdict& verdict,
                 const std::optional<Tiles>& tiles);
    void addColumns(const std::string& name, const CVerdict& verdict, const std::optional<Tiles>& tiles);

    const bool m_bJson;
    std::string m_file;
    std::map<std::optional<std::uint64_t>, Tiles> m_tiles; // by track, of the first PPS that has some
    std::string m_lines;
    std::string m_errors;
};

/// The line above the columns.
std::string scanHeading();

} // namespace h265ps
