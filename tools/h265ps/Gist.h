#pragma once

#include <string>

#include "RecordFields.h"

namespace h265ps {

/// The sequence in one line: output size, samples, profile, level.
std::string summaryOf(const h265_codec::SPS& sps);
/// "10-bit 4:2:2", and its halves.
std::string samplesOf(const h265_codec::SPS& sps);
std::string bitDepthOf(const h265_codec::SPS& sps);
std::string chromaFormatOf(const h265_codec::SPS& sps);

/// The heading of a group of fields.
struct GroupGist
{
    const char* pTitle;
    std::string gist; // what the group says, in a few words; empty when its fields are plain enough
};

/// Says in a few words what the groups of a record hold.
class CGist
{
public:
    explicit CGist(const h265_codec::VPS& vps) : m_pVps(&vps) {}
    explicit CGist(const h265_codec::SPS& sps) : m_pSps(&sps) {}
    /// spsOfPps can be null.
    CGist(const h265_codec::PPS& pps, const h265_codec::SPS* spsOfPps) : m_pSps(spsOfPps), m_pPps(&pps) {}

    [[nodiscard]] GroupGist of(EGroup eGroup) const;

private:
    [[nodiscard]] std::string profileTierLevel() const;
    [[nodiscard]] std::string ofSps(EGroup eGroup) const;
    [[nodiscard]] std::string ofPps(EGroup eGroup) const;
    [[nodiscard]] std::string ofPpsScalingLists() const;

    const h265_codec::VPS* m_pVps = nullptr;
    const h265_codec::SPS* m_pSps = nullptr;
    const h265_codec::PPS* m_pPps = nullptr;
};

} // namespace h265ps
