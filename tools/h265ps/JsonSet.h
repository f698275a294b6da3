#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "FilePlace.h"
#include "JsonWriter.h"

namespace h265ps {

/// A key with a number, or null.
void writeNumber(CJsonWriter& json, std::string_view name, std::uint64_t ulValue);
void writeOptional(CJsonWriter& json, std::string_view name, const std::optional<std::uint64_t>& ulValue);
void writeOptional(CJsonWriter& json, std::string_view name, const std::optional<int>& iValue);
/// A key with a text.
void writeText(CJsonWriter& json, std::string_view name, std::string_view text);

/// The keys that every set begins with: what and where its NAL unit is.
void writeSetHeader(const h265_inspect::FileSet& told, CJsonWriter& json);
/// The keys that say where the same set stood before; null without a place.
void writeSameAs(const std::optional<h265_inspect::FilePlace>& place, CJsonWriter& json);

/// A finding as an object.
void writeFinding(const h265_inspect::FileFinding& told, CJsonWriter& json);
/// The findings of a set, the elements of an array.
void writeFindings(const h265_inspect::FileSet& told, CJsonWriter& json);

/// What is said of findings that are counted only.
h265_syntax::Finding moreFindings(std::size_t uiCount);

} // namespace h265ps
