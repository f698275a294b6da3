#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "H265psExport.h"
#include "NalUnitSyntax.h"
#include "PictureParameterSetSyntax.h"
#include "SequenceParameterSetSyntax.h"
#include "SyntaxElement.h"
#include "VideoParameterSetSyntax.h"

/// Every syntax element of VPS, SPS and PPS, of every layer and extension: read into plain structures,
/// told one by one with their places, written back, compared. Nothing here throws but for want of memory.
namespace H265PS_EXPORT h265_syntax {

inline constexpr unsigned VPS_NUT = 32; // Table 7-1
inline constexpr unsigned SPS_NUT = 33;
inline constexpr unsigned PPS_NUT = 34;

/// Reads a set into a structure, which may have been used before and keeps its memory. False: it stopped
/// early, set.stop says where and why, and the elements in front of that are there; all others are as in a new one.
bool read(VideoParameterSet& set, const CNalUnit& nalUnit);
bool read(SequenceParameterSet& set, const CNalUnit& nalUnit, const Context& context = {});
bool read(PictureParameterSet& set, const CNalUnit& nalUnit);

/// Tells the elements of a set that was read (or written), in coding order, as far as it was read. With
/// the NAL unit that it was read from, their places there too.
void trace(const VideoParameterSet& set, CElementSink& sink, const CNalUnit* pNalUnit = nullptr);
void trace(const SequenceParameterSet& set, CElementSink& sink, const CNalUnit* pNalUnit = nullptr);
void trace(const PictureParameterSet& set, CElementSink& sink, const CNalUnit* pNalUnit = nullptr);

/// The NAL unit of a set, header included. What the set's values leave out is inferred first, and stored.
/// A set of which reading stopped early cannot be written. What was read and not changed comes out as it
/// was, but for emulation prevention bytes that were not needed.
Stop write(VideoParameterSet& set, std::vector<unsigned char>& nalUnit);
Stop write(SequenceParameterSet& set, std::vector<unsigned char>& nalUnit, const Context& context = {});
Stop write(PictureParameterSet& set, std::vector<unsigned char>& nalUnit);

/// An element that two sets do not have alike; without a value where a set does not have it.
struct Difference
{
    std::string structure;
    std::string name; // with indices
    std::optional<std::int64_t> left;
    std::optional<std::int64_t> right;
};

/// What differs, in coding order.
std::vector<Difference> compare(const VideoParameterSet& left, const VideoParameterSet& right);
std::vector<Difference> compare(const SequenceParameterSet& left, const SequenceParameterSet& right);
std::vector<Difference> compare(const PictureParameterSet& left, const PictureParameterSet& right);

/// Gives the element at a path ("vui_parameters.colour_primaries") a value; the set's inferred values
/// follow. False: the set, with its other values as they are, has no such element. What appears because
/// of it has the value that it was last given, or the one it begins with.
bool assign(VideoParameterSet& set, std::string_view path, std::int64_t iValue);
bool assign(SequenceParameterSet& set, std::string_view path, std::int64_t iValue, const Context& context = {});
bool assign(PictureParameterSet& set, std::string_view path, std::int64_t iValue);

/// The value of the element at a path, if the set has it.
std::optional<std::int64_t> valueOf(const VideoParameterSet& set, std::string_view path);
std::optional<std::int64_t> valueOf(const SequenceParameterSet& set, std::string_view path);
std::optional<std::int64_t> valueOf(const PictureParameterSet& set, std::string_view path);

} // namespace h265_syntax
