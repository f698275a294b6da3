#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_syntax {

/// Clause 7.2.
enum class EDescriptor : std::uint8_t
{
    u,  // u(n) and u(v); n is the element's length
    ue, // ue(v)
    se  // se(v)
};

/// One syntax element of a set, as it is coded. Name and structure live as long as the call that tells it.
struct Element
{
    const char* pName = nullptr; // as the table has it, without indices
    std::array<unsigned, 5> aIndex{};
    unsigned uiIndices = 0;
    EDescriptor eDescriptor = EDescriptor::u;
    unsigned uiBits = 0;        // the length of its code
    std::uint64_t uiBit = 0;    // where it begins in the RBSP
    std::uint64_t uiNalBit = 0; // where it begins in the NAL unit; 0 when no NAL unit was given
    std::int64_t iValue = 0;
    std::string_view structure; // where it stands: "", "vui_parameters.hrd_parameters.nal_hrd[0]"

    [[nodiscard]] std::span<const unsigned> indices() const { return {aIndex.data(), uiIndices}; }
    /// "general_profile_compatibility_flag[3]"
    [[nodiscard]] std::string nameWithIndices() const;
    /// "u(8)", "ue(v)"
    [[nodiscard]] std::string descriptor() const;
};

/// Is told the elements of a set, one after another.
class CElementSink
{
public:
    CElementSink() = default;
    CElementSink(const CElementSink&) = delete;
    CElementSink& operator=(const CElementSink&) = delete;
    virtual ~CElementSink() = default;

    /// False: no further elements are wanted.
    virtual bool onElement(const Element& element) = 0;
};

/// Why reading or writing could not go on.
enum class EStop : std::uint8_t
{
    none,
    payloadEnds,   // the element does not end inside the RBSP
    codeTooLong,   // an Exp-Golomb code of a value that no element may have
    countTooLarge, // a count that no array may have
    widthTooLarge, // the element's length follows from values that no set may have
    noContext,     // what the syntax needs of another set is not known
    doesNotFit,    // writing: the value does not fit the element's descriptor
    missing        // writing: an array has fewer entries than its count says
};

/// Where reading or writing stopped; with EStop::none it did not.
struct Stop
{
    EStop eStop = EStop::none;
    std::uint64_t uiBit = 0; // of the RBSP, where the element begins
    std::int64_t iValue = 0; // of the element, as far as it was read
    std::string element;     // with its indices
    std::string structure;

    explicit operator bool() const { return eStop != EStop::none; }
    /// One sentence.
    [[nodiscard]] std::string message() const;
};

} // namespace h265_syntax
