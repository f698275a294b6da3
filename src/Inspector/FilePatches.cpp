#include "FilePatches.h"

#include <algorithm>
#include <array>
#include <utility>

namespace h265_inspect {

using h265_container::CRandomSource;

namespace {

void copy(CRandomSource& source, std::uint64_t ulBegin, std::uint64_t ulEnd, CEditOutput& output)
{
    std::array<unsigned char, 65536> aucPiece;
    while (ulBegin < ulEnd) {
        const auto uiWanted = static_cast<std::size_t>(std::min<std::uint64_t>(ulEnd - ulBegin, aucPiece.size()));
        const std::size_t uiRead = source.read(ulBegin, std::span(aucPiece).first(uiWanted));
        if (uiRead != uiWanted)
            throw h265_stream::CSourceError("the file became shorter while it was read", ulBegin + uiRead);
        output.write(std::span<const unsigned char>(aucPiece).first(uiRead));
        ulBegin += uiRead;
    }
}

} // namespace

void CFilePatches::replace(std::uint64_t ulOffset, std::uint64_t ulSize, std::vector<unsigned char> bytes)
{
    m_patches[ulOffset] = {ulSize, std::move(bytes)};
}

void CFilePatches::replaceInteger(std::uint64_t ulOffset, unsigned uiBytes, std::uint64_t ulValue)
{
    std::vector<unsigned char> bytes;
    appendInteger(bytes, uiBytes, ulValue);
    replace(ulOffset, uiBytes, std::move(bytes));
}

bool CFilePatches::isPatched(std::uint64_t ulBegin, std::uint64_t ulEnd) const
{
    const auto next = m_patches.lower_bound(ulBegin);
    return next != m_patches.end() && next->first < ulEnd;
}

void CFilePatches::write(CRandomSource& source, std::uint64_t ulBegin, std::uint64_t ulEnd, CEditOutput& output) const
{
    for (auto patch = m_patches.lower_bound(ulBegin); patch != m_patches.end() && patch->first < ulEnd; ++patch) {
        copy(source, ulBegin, patch->first, output);
        output.write(patch->second.bytes);
        ulBegin = patch->first + patch->second.ulSize;
    }
    copy(source, ulBegin, ulEnd, output);
}

std::uint64_t integerAt(std::span<const unsigned char> bytes, std::size_t uiOffset, unsigned uiBytes)
{
    std::uint64_t ulValue = 0;
    for (; uiBytes != 0; --uiBytes, ++uiOffset)
        ulValue = ulValue << 8 | (uiOffset < bytes.size() ? bytes[uiOffset] : 0U);
    return ulValue;
}

void appendInteger(std::vector<unsigned char>& to, unsigned uiBytes, std::uint64_t ulValue)
{
    while (uiBytes-- != 0)
        to.push_back(static_cast<unsigned char>(ulValue >> 8 * uiBytes));
}

std::vector<unsigned char> bytesOf(CRandomSource& source, std::uint64_t ulOffset, std::uint64_t ulSize)
{
    std::vector<unsigned char> bytes(static_cast<std::size_t>(ulSize));
    bytes.resize(source.read(ulOffset, bytes));
    return bytes;
}

} // namespace h265_inspect
