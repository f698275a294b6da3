#include "FilePlace.h"

#include <iterator>

namespace h265_inspect {

namespace {

const char* typeName(unsigned nal_unit_type)
{
    constexpr const char* NAMES[] = {"VPS", "SPS", "PPS"};
    return NAMES[(nal_unit_type - h265_stream::VPS_NUT) % std::size(NAMES)];
}

} // namespace

std::string FilePlace::text() const
{
    if (!ulTrack)
        return ulOffset ? "byte " + std::to_string(*ulOffset) : "";
    std::string text = placeText(unit);
    if (ulOffset && !unit.part.empty())
        text += ", byte " + std::to_string(*ulOffset) + " of the file";
    return text;
}

FileFinding fileFinding(const h265_container::ContainerFinding& found)
{
    FileFinding finding;
    finding.finding.eSeverity = found.eSeverity == h265_container::ESeverity::Error ? h265_syntax::ESeverity::Error
                                                                                    : h265_syntax::ESeverity::Warning;
    finding.finding.message = found.message;
    finding.bNote = found.eSeverity == h265_container::ESeverity::Note;
    finding.box = found.box;
    finding.ulTrack = found.ulTrack;
    finding.ulOffset = found.ulOffset;
    finding.bUnread = found.bUnread;
    return finding;
}

FileFinding fileFinding(const ClaimFinding& found, std::uint64_t ulTrack)
{
    FileFinding finding;
    finding.finding = found.finding;
    finding.box = found.box;
    finding.ulTrack = ulTrack;
    finding.ulOffset = found.ulOffset;
    return finding;
}

FileFinding fileFinding(const h265_syntax::SetFinding& found, const FilePlace& place)
{
    FileFinding finding;
    finding.finding = found.finding;
    finding.set = std::string(typeName(found.nal_unit_type)) + ' ' + std::to_string(found.uiId);
    finding.ulTrack = place.ulTrack;
    finding.ulOffset = place.ulOffset;
    finding.place = place.text();
    return finding;
}

} // namespace h265_inspect
