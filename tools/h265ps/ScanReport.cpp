#include "ScanReport.h"

#include <utility>

#include "FormattedText.h"
#include "JsonSet.h"
#include "JsonSyntax.h"
#include "JsonWriter.h"
#include "TextOutput.h"

namespace h265ps {

using h265_inspect::SequenceGist;

namespace {

// The widths are those of what is usual; what is longer pushes the rest of its line to the right.
constexpr char COLUMNS[] = "{:<11} {:<7} {:<14} {:<8} {:<22} {:<13} {:<22} {:<7} {:<7} {:<14} {}\n";

class CStringSink : public CTextSink
{
public:
    explicit CStringSink(std::string& text) : m_text(text) {}
    void append(std::string_view text) override { m_text += text; }

private:
    std::string& m_text;
};

std::string orDash(std::string text)
{
    return text.empty() ? "-" : std::move(text);
}

std::string sizeOf(const SequenceGist& gist)
{
    return formatted("{}x{}", gist.uiWidth, gist.uiHeight);
}

std::string rateOf(const SequenceGist& gist)
{
    return gist.frameRate ? h265_inspect::decimalOf(gist.frameRate->ulNumerator, gist.frameRate->ulDenominator) : "";
}

std::string levelOf(const SequenceGist& gist)
{
    return (gist.level.empty() ? formatted("idc {}", gist.general_level_idc) : gist.level) +
           (gist.general_tier_flag ? " High" : "");
}

std::string colourOf(const SequenceGist& gist)
{
    if (!gist.bFullRange || !*gist.bFullRange)
        return gist.colour;
    return gist.colour + (gist.colour.empty() ? "full range" : ", full range");
}

// "2 errors", "1 error, 3 warn."
std::string findingsOf(const h265_inspect::StreamCounts& counts)
{
    std::string text;
    if (counts.ulErrors != 0)
        text = formatted("{} error{}", counts.ulErrors, counts.ulErrors == 1 ? "" : "s");
    if (counts.ulWarnings != 0)
        text += formatted("{}{} warn.", text.empty() ? "" : ", ", counts.ulWarnings);
    return text;
}

} // namespace

std::string scanHeading()
{
    return formatted(
        COLUMNS, "SIZE", "RATE", "PROFILE", "LEVEL", "CODECS", "DEPTH", "COLOUR", "TILES", "SETS", "FINDINGS", "FILE");
}

void CScanReport::begin(const std::string& file, const CFileVerdict& /*verdict*/, EPace /*ePace*/)
{
    m_file = file;
    m_tiles.clear();
}

void CScanReport::add(const h265_inspect::FileSet& told, bool /*bShown*/)
{
    const h265_syntax::PictureParameterSet* const pPps = told.set.pps;
    if (pPps != nullptr && pPps->tiles_enabled_flag && told.event.header.nuh_layer_id == 0)
        m_tiles.try_emplace(told.place.ulTrack,
                            Tiles{pPps->num_tile_columns_minus1 + 1, pPps->num_tile_rows_minus1 + 1});
}

void CScanReport::addFinding(const h265_inspect::FileFinding& /*finding*/) {} // they are counted

bool CScanReport::end(const CFileVerdict& verdict, std::uint64_t /*ulBytes*/)
{
    if (verdict.tracks().empty())
        addLine(std::nullopt, verdict.first(), false);
    for (const TrackVerdict& track : verdict.tracks()) {
        if (track.verdict)
            addLine(track.info.ulTrack, *track.verdict, verdict.h265Tracks() > 1);
    }
    return true;
}

EExitCode CScanReport::exitCode(const CFileVerdict& verdict) const
{
    return verdict.exitCode() == EXIT_FILE_ERROR ? EXIT_FILE_ERROR : EXIT_ALL_READ;
}

void CScanReport::addLine(const std::optional<std::uint64_t>& ulTrack, const CVerdict& verdict, bool bSeveral)
{
    const auto found = m_tiles.find(ulTrack);
    const std::optional<Tiles> tiles = found != m_tiles.end() ? std::optional(found->second) : std::nullopt;
    if (m_bJson)
        addJson(ulTrack, verdict, tiles);
    else
        addColumns(printable(m_file) + (bSeveral ? formatted(", track {}", *ulTrack) : ""), verdict, tiles);
}

void CScanReport::addJson(const std::optional<std::uint64_t>& ulTrack, const CVerdict& verdict,
                          const std::optional<Tiles>& tiles)
{
    CStringSink sink(m_lines);
    CJsonWriter json(sink);
    json.begin();
    json.openObject();
    writeText(json, "file", m_file);
    writeOptional(json, "track", ulTrack);
    writeGistKeys(verdict.gist() ? &*verdict.gist() : nullptr, json);
    json.key("tiles");
    if (tiles) {
        json.openObject();
        writeNumber(json, "columns", tiles->uiColumns);
        writeNumber(json, "rows", tiles->uiRows);
        json.closeObject();
    } else {
        json.null();
    }
    writeSetCounts(verdict.counts(), json);
    writeNumber(json, "errors", verdict.counts().ulErrors);
    writeNumber(json, "warnings", verdict.counts().ulWarnings);
    writeText(json, "verdict", verdict.text());
    json.closeObject();
    m_lines += '\n';
}

void CScanReport::addColumns(const std::string& name, const CVerdict& verdict, const std::optional<Tiles>& tiles)
{
    const SequenceGist* const pGist = verdict.gist() ? &*verdict.gist() : nullptr;
    const h265_inspect::StreamCounts& counts = verdict.counts();
    const auto of = [&](auto text) { return pGist != nullptr ? orDash(text(*pGist)) : std::string("-"); };
    m_lines += formatted(COLUMNS,
                         of(sizeOf),
                         of(rateOf),
                         of([](const SequenceGist& gist) { return gist.profile; }),
                         of(levelOf),
                         of([](const SequenceGist& gist) { return gist.codecs; }),
                         of([](const SequenceGist& gist) { return h265_inspect::samplesOf(gist); }),
                         of(colourOf),
                         tiles ? formatted("{}x{}", tiles->uiColumns, tiles->uiRows) : "-",
                         formatted("{}/{}/{}", counts.aulSets[0], counts.aulSets[1], counts.aulSets[2]),
                         orDash(findingsOf(counts)),
                         name);
}

} // namespace h265ps
