#include "KeptSets.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <set>
#include <span>
#include <string_view>
#include <utility>

#include "IsoBaseMedia.h"
#include "Matroska.h"
#include "NalUnitFinder.h"
#include "SessionDescription.h"
#include "TransportStream.h"

namespace h265_inspect {

using namespace h265_container;

namespace {

constexpr std::size_t MAX_WARNINGS = 20;

class CKeeper
{
public:
    void begin(std::uint64_t ulTrack) { m_kept.tracks.push_back({ulTrack, {}}); }

    void warn(const std::string& warning)
    {
        if (m_kept.warnings.size() < MAX_WARNINGS)
            m_kept.warnings.push_back(warning);
    }

    // place: made only of a set that is kept.
    void add(std::uint64_t ulTrack, const h265_stream::NalUnitHeader& header, std::span<const unsigned char> bytes,
             std::uint64_t ulSize, const std::function<std::string()>& place)
    {
        if (!h265_stream::isParameterSet(header.nal_unit_type))
            return;
        const auto track =
            std::ranges::find_if(m_kept.tracks, [&](const KeptTrack& one) { return one.ulTrack == ulTrack; });
        if (track == m_kept.tracks.end())
            return;
        const std::size_t uiTrack = static_cast<std::size_t>(track - m_kept.tracks.begin());
        std::pair<std::size_t, std::vector<unsigned char>> key(uiTrack, {bytes.begin(), bytes.end()});
        if (m_seen.contains(key))
            return;
        if (ulSize != bytes.size() || bytes.size() > MAX_KEPT_SET_BYTES - m_uiBytes) {
            warn(place() + ": a parameter set of " + std::to_string(ulSize) + " bytes is left out: it is too large");
            return;
        }
        // 7.3.1.2; what is shorter has no header, and what is damaged is no set.
        if (header.forbidden_zero_bit || bytes.size() <= h265_stream::NAL_UNIT_HEADER_BYTES) {
            warn(place() + ": a damaged parameter set is left out");
            return;
        }
        m_uiBytes += bytes.size();
        track->sets.push_back({header.nal_unit_type, header.nuh_layer_id, key.second, place()});
        m_seen.insert(std::move(key));
    }

    KeptSets take() { return std::move(m_kept); }

private:
    KeptSets m_kept;
    std::set<std::pair<std::size_t, std::vector<unsigned char>>> m_seen; // by track
    std::size_t m_uiBytes = 0;
};

class CStreamKeeper : public h265_stream::CNalUnitSink, public CKeeper
{
public:
    bool onNalUnit(const h265_stream::NalUnit& unit) override
    {
        add(0, unit.header, unit.bytes, unit.ulSize, [&] { return "byte " + std::to_string(unit.ulOffset); });
        return true;
    }
};

class CTrackKeeper : public CContainerSink, public CKeeper
{
public:
    void onTrack(const ContainerTrack& track) override
    {
        if (track.bIsH265)
            begin(track.ulTrack);
    }
    void onClaims(const ContainerClaims& /*claims*/) override {}
    bool onNalUnit(const ContainerUnit& unit) override
    {
        add(unit.place.ulTrack, unit.header, unit.bytes, unit.ulSize, [&] { return placeText(unit.place); });
        return true;
    }
    void onFinding(const ContainerFinding& finding) override
    {
        if (finding.eSeverity != h265_container::ESeverity::Error)
            return;
        const std::string place = finding.ulOffset ? "at byte " + std::to_string(*finding.ulOffset) + ": " : "";
        warn(place + (finding.box.empty() ? "" : finding.box + ": ") + finding.message);
    }
};

} // namespace

KeptSets keepSets(h265_stream::CByteSource& source)
{
    CStreamKeeper keeper;
    keeper.begin(0);
    h265_stream::CNalUnitFinder finder;
    for (std::span<const unsigned char> piece = source.next(); !piece.empty(); piece = source.next())
        (void)finder.feed(piece, keeper); // the keeper never ends it
    (void)finder.finish(keeper);
    return keeper.take();
}

KeptSets keepSets(EFileKind eKind, CRandomSource& source)
{
    CTrackKeeper keeper;
    switch (eKind) {
    case EFileKind::IsoBaseMedia:
        readIsoBaseMedia(source, {}, keeper);
        break;
    case EFileKind::Matroska:
        readMatroska(source, {}, keeper);
        break;
    case EFileKind::TransportStream:
        readTransportStream(source, {}, keeper);
        break;
    case EFileKind::SessionDescription:
        readSessionDescription(source, {}, keeper);
        break;
    default:
        break;
    }
    return keeper.take();
}

KeptSets keepSets(std::string_view text, ETextForm eForm)
{
    CTrackKeeper keeper;
    readSetText(text, eForm, keeper);
    return keeper.take();
}

} // namespace h265_inspect
