#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "ContainerEdit.h"
#include "EditSettings.h"

namespace h265_test {

/// A movie or a Matroska file that was edited.
struct CEditedFile : h265_inspect::CEditOutput
{
    void write(std::span<const unsigned char> more) override { bytes.insert(bytes.end(), more.begin(), more.end()); }

    std::vector<unsigned char> bytes;
    h265_inspect::EditOutcome outcome;
};

inline h265_container::EFileKind kindOf(const std::vector<unsigned char>& file)
{
    return h265_container::fileKind(
               std::span(file).first(std::min<std::size_t>(file.size(), h265_container::FILE_KIND_BYTES)))
        .eKind;
}

inline CEditedFile editedFile(const std::vector<unsigned char>& file, const std::vector<std::string>& settings)
{
    h265_inspect::EditOptions options;
    for (const std::string& setting : settings)
        options.settings.push_back(h265_inspect::parseEditSetting(setting));
    CEditedFile after;
    const auto pSource = h265_container::makeRandomSource(file);
    after.outcome = h265_inspect::editContainer(kindOf(file), *pSource, options, after);
    return after;
}

} // namespace h265_test
