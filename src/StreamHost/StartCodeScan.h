#pragma once

#include <cstddef>
#include <span>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_stream {

/// The three searches for two zero bytes and what stands behind them, in one instruction set. They read
/// inside the given bytes only and give the same results in every form.
struct ScanForm
{
    const char* pName;

    /// Annex B: the first 00 00 01 of [pBegin, pEnd), else pEnd.
    const unsigned char* (*findStartCode)(const unsigned char* pBegin, const unsigned char* pEnd) noexcept;

    /// Annex B: the first 00 00 00 or 00 00 01 of [pBegin, pEnd), where a NAL unit ends; else pEnd.
    const unsigned char* (*findUnitEnd)(const unsigned char* pBegin, const unsigned char* pEnd) noexcept;

    /// 7.3.1.1: copies [pBegin, pEnd) to pTo without its emulation_prevention_three_bytes (the 03 of
    /// every 00 00 03) and returns the end of the copy. pTo has room for pEnd - pBegin bytes, any of
    /// which may be written, and does not overlap the source.
    unsigned char* (*removeEmulationPrevention)(const unsigned char* pBegin, const unsigned char* pEnd,
                                                unsigned char* pTo) noexcept;
};

/// Every form that this processor runs: the plain one first, the fastest last.
std::span<const ScanForm> availableScanForms() noexcept;

/// The fastest of them.
const ScanForm& fastestScanForm() noexcept;

} // namespace h265_stream
