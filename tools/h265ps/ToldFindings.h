#pragma once

#include <cstddef>
#include <set>

#include "FilePlace.h"

namespace h265ps {

/// Which findings of a file were told. Tracks can share a box, as the pieces of an image share one hvcC: what is wrong
/// with it is found for each of them, word for word.
class CToldFindings
{
public:
    /// Whether this is none of those before; notes it. Of more than MOST every one is new.
    [[nodiscard]] bool isNew(const h265_inspect::FileFinding& finding);

private:
    static constexpr std::size_t MOST = std::size_t{1} << 16;

    std::set<std::size_t> m_told; // hashes
};

} // namespace h265ps
