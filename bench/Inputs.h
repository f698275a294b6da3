#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace h265_bench {

using Bytes = std::vector<unsigned char>;

/// An RBSP with the padding that the bit readers ask for behind it.
struct Payload
{
    Bytes bytes;
    [[nodiscard]] const unsigned char* data() const { return bytes.data(); }
    [[nodiscard]] unsigned size() const { return static_cast<unsigned>(bytes.size()) - 8; }
};

/// One parameter set to read.
struct Case
{
    std::string name;
    unsigned char nal_unit_type; // VPS_NUT, SPS_NUT or PPS_NUT
    Payload payload;
    Payload sps;             // of a PPS: its SPS
    std::size_t uiUnits = 1; // what the cost is divided by
};

/// Every name that makeCase knows.
const std::vector<std::string_view>& caseNames();

/// Builds a case; throws std::runtime_error for a name or a corpus file that does not exist.
Case makeCase(std::string_view name);

/// A PPS with uiColumns x uiRows tiles of equal size for a picture of 120x68 CTBs.
Case makeTiledPps(unsigned uiColumns, unsigned uiRows);

/// The same with a picture of uiSide x uiSide CTBs.
Case makeTiledPps(unsigned uiColumns, unsigned uiRows, unsigned uiWidthInCtbs, unsigned uiHeightInCtbs);

/// An SPS with the first uiMatrices of its 20 scaling lists coded, each other one predicted.
Case makeSpsWithLists(unsigned uiMatrices);

/// uiSize bytes as slice data looks: pseudo-random, with emulation prevention, without the byte 0x55.
Bytes makeSliceData(std::size_t uiSize);

/// The parameter sets of a corpus file as NAL units.
std::vector<Bytes> parameterSetsOf(const std::string& file);

/// uiCount NAL units, VPS, SPS and PPS in turn, in start codes of four bytes; every one differs from
/// the one before it under its id.
Bytes makeParameterSetStream(std::size_t uiCount);

} // namespace h265_bench
