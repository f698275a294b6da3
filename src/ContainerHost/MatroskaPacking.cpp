#include "MatroskaPacking.h"

#include <algorithm>
#include <array>

#ifdef H265PS_WITH_ZLIB
#include <zlib.h>
#endif

namespace h265_container {

std::size_t CUnpackedSource::read(std::uint64_t ulOffset, std::span<unsigned char> to)
{
    const std::size_t uiBegin = static_cast<std::size_t>(std::min<std::uint64_t>(ulOffset, m_bytes.size()));
    const std::size_t uiCount = std::min(to.size(), m_bytes.size() - uiBegin);
    std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(uiBegin), uiCount, to.begin());
    return uiCount;
}

std::size_t CStrippedSource::read(std::uint64_t ulOffset, std::span<unsigned char> to)
{
    const std::size_t uiBegin = static_cast<std::size_t>(std::min<std::uint64_t>(ulOffset, m_header.size()));
    const std::size_t uiCount = std::min(to.size(), m_header.size() - uiBegin);
    std::copy_n(m_header.begin() + static_cast<std::ptrdiff_t>(uiBegin), uiCount, to.begin());
    if (uiCount == to.size())
        return uiCount;
    return uiCount + m_file.read(m_ulOffset + ulOffset + uiCount - m_header.size(), to.subspan(uiCount));
}

#ifdef H265PS_WITH_ZLIB

namespace {

// A picture of 8K without compression has 100 MB, which nobody packs.
constexpr std::size_t MAX_UNPACKED_BYTES = std::size_t{16} << 20;

} // namespace

const char* unpack(CRandomSource& source, std::uint64_t ulOffset, std::uint64_t ulSize, std::vector<unsigned char>& to)
{
    z_stream stream = {};
    if (inflateInit(&stream) != Z_OK)
        return "there is no memory for it";
    std::array<unsigned char, 4096> aucPacked;
    std::array<unsigned char, 16384> aucPiece;
    int iResult = Z_OK;
    while (iResult == Z_OK && to.size() < MAX_UNPACKED_BYTES) {
        if (stream.avail_in == 0) {
            const auto uiAsked = static_cast<std::size_t>(std::min<std::uint64_t>(aucPacked.size(), ulSize));
            const std::size_t uiRead = source.read(ulOffset, std::span(aucPacked).first(uiAsked));
            ulOffset += uiRead;
            ulSize -= uiRead;
            stream.next_in = aucPacked.data();
            stream.avail_in = static_cast<unsigned>(uiRead);
        }
        stream.next_out = aucPiece.data();
        stream.avail_out = static_cast<unsigned>(aucPiece.size());
        iResult = inflate(&stream, Z_NO_FLUSH);
        to.insert(to.end(), aucPiece.begin(), aucPiece.end() - static_cast<std::ptrdiff_t>(stream.avail_out));
    }
    (void)inflateEnd(&stream); // it has nothing to fail with
    return iResult == Z_STREAM_END ? nullptr : "it is no zlib stream, damaged, or too large";
}

#else

const char* unpack(CRandomSource& /* source */, std::uint64_t /* ulOffset */, std::uint64_t /* ulSize */,
                   std::vector<unsigned char>& /* to */)
{
    return "this build has no zlib";
}

#endif

} // namespace h265_container
