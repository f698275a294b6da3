#pragma once

#include <string_view>
#include <vector>

#include "EditSettings.h"
#include "ElementPresence.h"
#include "ParameterSetSyntax.h"

namespace h265_inspect {

/// Gives the elements that a setting names their values. What is absent appears with all that it needs.
/// Throws CSettingError, the set being of no further use: no such element, or a value that does not fit.
void applySetting(h265_syntax::VideoParameterSet& set, const EditSetting& setting, const h265_syntax::Context& context,
                  std::string_view place, CPresenceMemory& memory);
void applySetting(h265_syntax::SequenceParameterSet& set, const EditSetting& setting,
                  const h265_syntax::Context& context, std::string_view place, CPresenceMemory& memory);
void applySetting(h265_syntax::PictureParameterSet& set, const EditSetting& setting,
                  const h265_syntax::Context& context, std::string_view place, CPresenceMemory& memory);

} // namespace h265_inspect
