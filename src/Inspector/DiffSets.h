#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "NalUnitFinder.h"
#include "ParameterSetSyntax.h"
#include "StreamDiff.h"

namespace h265_inspect {

/// By what sets of two streams belong together.
struct SetKey
{
    unsigned nal_unit_type;
    unsigned nuh_layer_id;
    std::uint32_t uiId;

    auto operator<=>(const SetKey&) const = default; // NOLINT(modernize-use-nullptr): of clang-tidy 14
};

/// One content of an id.
struct SetContent
{
    std::vector<unsigned char> bytes;
    std::shared_ptr<const h265_syntax::VideoParameterSet> pVps; // that an SPS refers to
};

/// The parameter sets of one side of a comparison.
class CDiffSets : private h265_stream::CNalUnitSink
{
public:
    explicit CDiffSets(const DiffSide& side) : m_side(side) {}

    /// Reads a source, as far as needed. Throws CDiffError when there is none of the sets.
    void read(h265_stream::CByteSource& source);

    [[nodiscard]] const std::map<SetKey, std::vector<SetContent>>& all() const noexcept { return m_sets; }

    /// The sets of one type and id, of whichever layer, are left.
    void keepOnly(unsigned nal_unit_type, std::uint32_t uiId);

private:
    bool onNalUnit(const h265_stream::NalUnit& unit) override;
    SetContent contentOf(const h265_stream::NalUnit& unit, std::uint32_t& uiId);

    const DiffSide& m_side;
    std::map<SetKey, std::vector<SetContent>> m_sets;
    std::map<SetKey, std::set<std::vector<unsigned char>>> m_seen;
    std::shared_ptr<const h265_syntax::VideoParameterSet> m_apVps[16];
};

} // namespace h265_inspect
