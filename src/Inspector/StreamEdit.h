#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "ByteSource.h"
#include "EditSettings.h"
#include "H265psExport.h"

namespace H265PS_EXPORT h265_inspect {

/// What to change.
struct EditOptions
{
    std::vector<EditSetting> settings; // one after another
    bool bForce = false;               // also what would be refused
};

/// Something to say about a set of the stream.
struct EditMessage
{
    std::uint64_t ulOffset; // of its NAL unit
    std::string text;       // one sentence
};

/// How an edit went.
struct EditOutcome
{
    /// Why the stream is not to be written; each reason once. What was written is of no use then.
    std::vector<EditMessage> refusals;
    /// What forcing does not help: a set that cannot be read whole, and why what holds the stream cannot take it.
    std::vector<EditMessage> impossible;
    /// What is to be known about what was written.
    std::vector<EditMessage> warnings;
    std::uint64_t ulParameterSets = 0;
    std::uint64_t ulChanged = 0; // parameter sets, repeats counted
};

/// Takes the bytes of the edited stream, front to back.
class CEditOutput
{
public:
    virtual ~CEditOutput() = default;
    virtual void write(std::span<const unsigned char> bytes) = 0;
};

/// Writes a byte stream with changed parameter sets, and everything else byte for byte. Refused is what brings
/// an error that was not there before, and what the slices are coded against; with bForce these are warnings.
/// A set that cannot be read whole is never rewritten; with bForce that is a warning, and the others are. Throws
/// CSettingError, and what source and output throw.
EditOutcome editStream(h265_stream::CByteSource& source, const EditOptions& options, CEditOutput& output);

} // namespace h265_inspect
