#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "H265psExport.h"
#include "KeptSets.h"

namespace H265PS_EXPORT h265_inspect {

/// What sets are wanted as.
enum class EExportForm : std::uint8_t
{
    HvcC,   // ISO/IEC 14496-15 8.3.2.1.2: content of an hvcC box, without its header
    Sprop,  // RFC 7798 7.1: one a=fmtp line
    AnnexB, // a byte stream
    Hex     // a line each, with a comma between them
};

/// Sets in another form.
struct ExportedSets
{
    std::vector<unsigned char> bytes;  // none when there are errors
    std::vector<std::string> errors;   // why there can be none, a sentence each
    std::vector<std::string> warnings; // what others do not get
};

/// Gives the sets of one track another form. An hvcC and an a=fmtp line speak for the base layer, and for one set of
/// each id: the first one. Byte stream and hexadecimal text have all. Emulation prevention that a set lacks is
/// written, with a warning.
ExportedSets exportSets(std::span<const KeptSet> sets, EExportForm eForm);

} // namespace h265_inspect
