#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "ByteSource.h"
#include "H265psExport.h"

namespace H265PS_EXPORT h265_inspect {

/// A side of a comparison that is not there: what() says why, in one sentence.
class CDiffError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// What of a file is compared: all of it, FILE; the sets in force at an offset, FILE@OFFSET; one set, FILE#sps1
/// or FILE@OFFSET#sps1.
struct DiffSide
{
    std::string file;
    std::optional<std::uint64_t> ulOffset; // the sets that begin in front of it are in force
    std::optional<unsigned> nal_unit_type; // of the one set; without one, all
    std::uint32_t uiId = 0;                // of that
};

/// Takes what stands behind FILE apart. Throws CDiffError.
DiffSide parseDiffSide(std::string_view text);

/// Where two sides differ.
enum class EDifference : std::uint8_t
{
    Element, // a value, or an element that one side does not have
    OnlyInA, // a set
    OnlyInB,
    Bytes // of a set whose elements are the same: behind where it cannot be read, or behind its last element
};

struct StreamDifference
{
    EDifference eKind = EDifference::Element;
    std::string set; // "sps[0]"
    unsigned nuh_layer_id = 0;
    /// Which of the contents that the id has in the stream, from 1; 0 where no side has several.
    std::size_t uiContent = 0;
    std::string structure;
    std::string element; // with indices
    std::optional<std::int64_t> a;
    std::optional<std::int64_t> b;
};

/// Is told the differences, in the order of types, layers and ids.
class CDifferenceSink
{
public:
    virtual ~CDifferenceSink() = default;
    /// False ends the comparison.
    virtual bool onDifference(const StreamDifference& difference) = 0;
};

/// Compares the parameter sets of two sides, element by element. Sets are matched by type, layer and id, and
/// several contents of one id in the order in which they come first; repeats change nothing. Where both sides
/// are one set, these are compared whatever their ids. Throws CDiffError for a side without its sets, and what
/// the sources throw.
void diffStreams(h265_stream::CByteSource& sourceA, const DiffSide& a, h265_stream::CByteSource& sourceB,
                 const DiffSide& b, CDifferenceSink& sink);

} // namespace h265_inspect
