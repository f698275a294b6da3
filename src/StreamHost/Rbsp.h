#pragma once

#include <cstddef>
#include <memory>
#include <span>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_stream {

/// Bytes that are readable behind an RBSP; all zero.
inline constexpr std::size_t RBSP_PADDING = 8;

/// 7.3.1.1: the RBSP of one NAL unit after another, in a buffer that is used again.
class CRbspBuffer
{
public:
    /// The RBSP of what follows a NAL unit header: without emulation_prevention_three_bytes, with
    /// RBSP_PADDING zero bytes behind. Valid until the next call.
    std::span<const unsigned char> extract(std::span<const unsigned char> payload);

private:
    std::unique_ptr<unsigned char[]> m_pBuffer;
    std::size_t m_uiCapacity = 0;
};

} // namespace h265_stream
