#include "Rbsp.h"

#include <algorithm>
#include <cstring>

#include "StartCodeScan.h"

namespace h265_stream {

std::span<const unsigned char> CRbspBuffer::extract(std::span<const unsigned char> payload)
{
    constexpr std::size_t SMALLEST_CAPACITY = 4096;
    if (m_uiCapacity < payload.size() + RBSP_PADDING) {
        const std::size_t uiCapacity = std::max(payload.size() + RBSP_PADDING, SMALLEST_CAPACITY);
        m_uiCapacity = 0;
        m_pBuffer.reset(); // first, so that the two never stand side by side
        m_pBuffer = std::make_unique_for_overwrite<unsigned char[]>(uiCapacity);
        m_uiCapacity = uiCapacity;
    }
    unsigned char* const pEnd =
        fastestScanForm().removeEmulationPrevention(payload.data(), payload.data() + payload.size(), m_pBuffer.get());
    std::memset(pEnd, 0, RBSP_PADDING);
    return {m_pBuffer.get(), pEnd};
}

} // namespace h265_stream
