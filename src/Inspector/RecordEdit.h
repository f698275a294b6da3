#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "DecoderConfiguration.h"

namespace h265_inspect {

/// Parameter sets that get other bytes, by the offset of their headers in the file.
using EditedUnits = std::map<std::uint64_t, std::vector<unsigned char>>;

/// A decoder configuration record with changed sets.
struct EditedRecord
{
    std::vector<unsigned char> content; // as it was where nothing changed
    std::size_t uiReplaced = 0;         // sets
    std::string reason;                 // why it cannot be written; else empty
};

/// Puts the edited sets into a record that begins at ulOffset of the file. Fields that follow from the sets change as
/// these do; everything else stays byte for byte.
EditedRecord editRecord(std::span<const unsigned char> content, h265_container::EConfigurationBox eBox,
                        std::uint64_t ulOffset, const EditedUnits& units);

} // namespace h265_inspect
