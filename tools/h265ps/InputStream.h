#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>

#include "ByteSource.h"
#include "FileKind.h"

namespace h265ps {

/// As many of the first bytes of a source as it takes to tell what they are, and what they are.
h265_container::FileKind kindOf(h265_stream::CByteSource& source);

/// Why a file of a kind, with these first bytes, is not read as a byte stream of H.265; none when it is.
std::optional<std::string> foreignReason(const h265_container::FileKind& kind, std::span<const unsigned char> head);

/// Opens a byte stream of H.265. Throws h265_stream::CSourceError, also of other files.
std::unique_ptr<h265_stream::CByteSource> openInputStream(const std::string& file);

} // namespace h265ps
