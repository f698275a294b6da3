#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_inspect {

/// A setting that cannot be followed: what() says why, in one sentence.
class CSettingError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// An element and the value that it gets.
struct ElementValue
{
    std::string path; // as traces tell it: "vui_parameters.colour_primaries"
    std::int64_t iValue;
};

/// What one setting changes: "sps[0].vui.colour_primaries=9".
struct EditSetting
{
    std::string text; // as it was given
    unsigned nal_unit_type = 0;
    std::optional<unsigned> uiId;     // of the sets; without one all of layer 0
    std::vector<ElementValue> values; // in this order
};

/// Takes a setting apart: SET.ELEMENT=VALUE or SET[ID].ELEMENT=VALUE, where SET is vps, sps or pps. The
/// structures vui, ptl and hrd may be written so short. "timing", of a VPS or of an SPS's VUI, is pictures a
/// second, as in 30000/1001. Whether there is such an element, the sets say. Throws CSettingError.
EditSetting parseEditSetting(std::string_view text);

} // namespace h265_inspect
