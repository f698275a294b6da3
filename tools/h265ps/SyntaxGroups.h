#pragma once

#include <optional>
#include <string_view>

#include "RecordFields.h"

namespace h265ps {

/// The parts of a set's syntax that people look for.
struct SyntaxGroup
{
    std::string_view firstElement; // that the group begins with; of profile_tier_level( ), the structure
    const char* pTitle;
    std::optional<EGroup> eGroup; // of the record, whose gist and derived values stand there
};

/// The group that begins with an element or a structure of a set itself; null for none.
const SyntaxGroup* groupThatBeginsWith(unsigned char nal_unit_type, std::string_view element) noexcept;

} // namespace h265ps
