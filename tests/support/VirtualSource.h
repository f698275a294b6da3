#pragma once

#include <algorithm>
#include <functional>
#include <map>

#include "BoxWriter.h"
#include "RandomSource.h"

namespace h265_test {

/// A file of any size that takes no memory: pieces of it are there, a function makes the rest. Counts what is
/// read.
class CVirtualSource : public h265_container::CRandomSource
{
public:
    CVirtualSource(std::uint64_t ulSize, std::function<unsigned char(std::uint64_t)> byteAt)
        : m_ulSize(ulSize), m_byteAt(std::move(byteAt))
    {}

    std::size_t read(std::uint64_t ulOffset, std::span<unsigned char> to) override
    {
        std::size_t i = 0;
        for (; i < to.size() && ulOffset + i < m_ulSize; ++i)
            to[i] = byteAt(ulOffset + i);
        m_ulRead += i;
        return i;
    }
    [[nodiscard]] std::optional<std::uint64_t> size() const override { return m_ulSize; }

    std::map<std::uint64_t, Bytes> m_pieces;
    std::uint64_t m_ulRead = 0;

private:
    [[nodiscard]] unsigned char byteAt(std::uint64_t ulOffset) const
    {
        auto piece = m_pieces.upper_bound(ulOffset);
        if (piece != m_pieces.begin() && ulOffset - (--piece)->first < piece->second.size())
            return piece->second[static_cast<std::size_t>(ulOffset - piece->first)];
        return m_byteAt(ulOffset);
    }

    const std::uint64_t m_ulSize;
    const std::function<unsigned char(std::uint64_t)> m_byteAt;
};

} // namespace h265_test
