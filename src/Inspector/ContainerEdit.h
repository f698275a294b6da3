#pragma once

#include "EditSettings.h"
#include "FileKind.h"
#include "H265psExport.h"
#include "RandomSource.h"
#include "StreamEdit.h"

namespace H265PS_EXPORT h265_inspect {

/// Whether editContainer writes files of a kind.
constexpr bool isEditedAsContainer(h265_container::EFileKind eKind) noexcept
{
    return eKind == h265_container::EFileKind::IsoBaseMedia || eKind == h265_container::EFileKind::Matroska;
}

/// Writes a movie (MP4, QuickTime) or a Matroska file with changed parameter sets in its one track of H.265: those of
/// the decoder configuration record, whose fields follow, and those among the samples, which have to keep their sizes.
/// Everything else stays byte for byte, but for moov, which moves to the end when it grows and cannot stay (see
/// MovieEdit.h). Claims that the new sets do not bear out any more are warnings. Throws what editStream throws.
EditOutcome editContainer(h265_container::EFileKind eKind, h265_container::CRandomSource& source,
                          const EditOptions& options, CEditOutput& output);

} // namespace h265_inspect
