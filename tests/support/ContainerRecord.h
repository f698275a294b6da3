#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ContainerSink.h"
#include "NalUnitWriter.h"

namespace h265_test {

/// Keeps everything that a container's reader delivers.
class CContainerRecord : public h265_container::CContainerSink
{
public:
    struct Unit
    {
        std::string place;
        std::uint64_t ulTrack;
        std::optional<double> time;
        std::optional<std::uint64_t> ulOffset;
        std::uint64_t ulSize;
        unsigned nal_unit_type;
        Bytes bytes;
    };

    void onTrack(const h265_container::ContainerTrack& track) override { m_tracks.push_back(track); }
    void onClaims(const h265_container::ContainerClaims& claims) override { m_claims.push_back(claims); }
    bool onNalUnit(const h265_container::ContainerUnit& unit) override
    {
        m_units.push_back({h265_container::placeText(unit.place),
                           unit.place.ulTrack,
                           unit.place.time,
                           unit.ulOffset,
                           unit.ulSize,
                           unit.header.nal_unit_type,
                           Bytes(unit.bytes.begin(), unit.bytes.end())});
        return m_units.size() != m_uiLast;
    }
    void onFinding(const h265_container::ContainerFinding& finding) override { m_findings.push_back(finding); }

    /// Whether a finding's message holds the text.
    [[nodiscard]] bool tells(const std::string& text) const { return finding(text) != nullptr; }

    [[nodiscard]] const h265_container::ContainerFinding* finding(const std::string& text) const
    {
        const auto found = std::find_if(m_findings.begin(), m_findings.end(), [&](const auto& finding) {
            return finding.message.find(text) != std::string::npos;
        });
        return found == m_findings.end() ? nullptr : &*found;
    }

    /// All findings, a line each: "moov/trak at 40: message".
    [[nodiscard]] std::string findings() const
    {
        std::string text;
        for (const auto& finding : m_findings)
            text += finding.box + (finding.ulOffset ? " at " + std::to_string(*finding.ulOffset) : "") + ": " +
                    finding.message + '\n';
        return text;
    }

    /// The bytes of the units, in their order.
    [[nodiscard]] std::vector<Bytes> unitBytes() const
    {
        std::vector<Bytes> bytes;
        for (const Unit& unit : m_units)
            bytes.push_back(unit.bytes);
        return bytes;
    }

    /// The places of the units, in their order.
    [[nodiscard]] std::vector<std::string> places() const
    {
        std::vector<std::string> places;
        for (const Unit& unit : m_units)
            places.push_back(unit.place);
        return places;
    }

    std::vector<h265_container::ContainerTrack> m_tracks;
    std::vector<h265_container::ContainerClaims> m_claims;
    std::vector<Unit> m_units;
    std::vector<h265_container::ContainerFinding> m_findings;
    std::size_t m_uiLast = static_cast<std::size_t>(-1); // the unit that ends the reading, from 1
};

} // namespace h265_test
