#pragma once

#include "DecParameterSetReader.h"

namespace h265_test {

/// Whether two records that went through the same readings hold the same: every byte, and what their
/// pointers point at.
[[nodiscard]] bool isSameRecord(const h265_codec::VPS& left, const h265_codec::VPS& right);
[[nodiscard]] bool isSameRecord(const h265_codec::SPS& left, const h265_codec::SPS& right);

/// sps: the one that both were read against, which gives the size of their tables.
[[nodiscard]] bool isSameRecord(const h265_codec::PPS& left, const h265_codec::PPS& right, const h265_codec::SPS& sps);

/// Two stores, or none: the matrices in force and those held.
[[nodiscard]] bool isSameStore(const h265_codec::ScalingListData* pLeft, const h265_codec::ScalingListData* pRight);

} // namespace h265_test
