#pragma once

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

} // namespace h265ps
