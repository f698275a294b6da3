#include "ContainerCheck.h"

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "EventCheck.h"
#include "FuzzInput.h"

namespace h265_fuzz {

using namespace h265_container;

namespace {

// Checks every call, and keeps a line of each.
class CCheckingSink : public CContainerSink
{
public:
    explicit CCheckingSink(std::span<const unsigned char> file) : m_file(file) {}

    void onTrack(const ContainerTrack& track) override
    {
        m_tracks.insert(track.ulTrack);
        check(track.bIsH265 || !track.reason.empty(), "a track that is passed over has a reason");
        m_lines.push_back("track " + std::to_string(track.ulTrack) + track.codec + track.reason);
    }
    void onClaims(const ContainerClaims& claims) override
    {
        check(m_tracks.contains(claims.ulTrack), "claims come behind their track");
        m_lines.push_back("claims " + std::to_string(claims.ulTrack));
    }
    bool onNalUnit(const ContainerUnit& unit) override
    {
        check(m_tracks.contains(unit.place.ulTrack), "NAL units come behind their track");
        check(!unit.bytes.empty() && unit.bytes.size() <= unit.ulSize,
              "a NAL unit has bytes, and no more than its size");
        check(h265_stream::isParameterSet(unit.header.nal_unit_type) || unit.bytes.size() <= UNIT_HEAD_BYTES,
              "of a slice only the head is kept");
        if (unit.ulOffset) {
            check(*unit.ulOffset <= m_file.size() && unit.bytes.size() <= m_file.size() - *unit.ulOffset,
                  "a NAL unit stands inside the file");
            check(std::ranges::equal(unit.bytes,
                                     m_file.subspan(static_cast<std::size_t>(*unit.ulOffset), unit.bytes.size())),
                  "a NAL unit stands where it says");
        }
        m_lines.push_back(placeText(unit.place) + ' ' + std::to_string(unit.ulSize));
        // Entries of a table can name the same bytes, but not without end.
        check(m_lines.size() <= 4 * m_file.size() + 200000, "the work is in proportion to the file");
        return true;
    }
    void onFinding(const ContainerFinding& finding) override
    {
        check(!finding.message.empty(), "a finding says something");
        check(++m_uiFindings <= 202, "findings are bounded");
    }

    std::vector<std::string> m_lines;

private:
    const std::span<const unsigned char> m_file;
    std::set<std::uint64_t> m_tracks;
    unsigned m_uiFindings = 0;
};

} // namespace

void checkContainer(const unsigned char* pData, std::size_t uiSize, EForward eForward, const ContainerReader& read)
{
    CFuzzInput input(pData, uiSize);
    const ContainerOptions options{.bHead = input.below(2) != 0};
    const std::size_t uiPieceBytes = input.u8() << 2;
    const std::vector<unsigned char> file = input.rest();
    CCheckingSink sink(file);
    const auto pSource = makeRandomSource(file);
    read(*pSource, options, sink);
    CCheckingSink forwardSink(file);
    const auto pForward = makeForwardSource(std::make_unique<CPieceSource>(file, uiPieceBytes));
    try {
        read(*pForward, options, forwardSink);
    } catch (const h265_stream::CSourceError& error) {
        check(eForward == EForward::Less && std::string(error.what()).find("a stream cannot give") != std::string::npos,
              "a stream fails only where it would have to go back");
    }
    check(eForward == EForward::Less || sink.m_lines == forwardSink.m_lines, "a stream gives what a file gives");
}

} // namespace h265_fuzz
