#pragma once

/// \file How the checks of parameter sets tell what is wrong.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_syntax {

enum class ESeverity : std::uint8_t
{
    Warning, // advised against, contradictory although allowed, or known to trouble players
    Error    // forbidden, or reserved for later editions of the standard
};

/// One thing that is wrong with a parameter set.
struct Finding
{
    ESeverity eSeverity = ESeverity::Error;
    std::string clause;                 // "7.4.3.2.1"
    std::string element;                // with its indices; empty where no element is to blame
    std::string structure;              // where it stands, as traces tell it: "vui_parameters.hrd_parameters"
    std::optional<std::uint64_t> ulBit; // of the element in the RBSP, NAL unit header excluded
    std::optional<std::int64_t> iValue; // of the element
    std::string allowed;                // "0 to 3", "a multiple of 8"
    std::string message;                // one sentence in plain words
};

/// An element that a check blames: its name as in the standard, its value, its indices.
struct Blamed
{
    constexpr Blamed() = default;
    template <class... TIndex>
    constexpr Blamed(const char* pElement, std::int64_t iElement, TIndex... indices)
        : pName(pElement), iValue(iElement),
          uiIndices(sizeof...(indices)), aIndex{static_cast<std::uint64_t>(indices)...}
    {}

    const char* pName = nullptr; // null: no single element
    std::int64_t iValue = 0;
    unsigned uiIndices = 0;
    std::array<std::uint64_t, 5> aIndex{};
};

/// The findings of one parameter set, in the order of its elements. A crafted set can break a rule in
/// thousands of places: what exceeds MAX_FINDINGS is counted only.
class CFindings
{
public:
    static constexpr std::size_t MAX_FINDINGS = 1000;

    void add(Finding finding);

    [[nodiscard]] const std::vector<Finding>& all() const noexcept { return m_findings; }
    [[nodiscard]] std::vector<Finding>& all() noexcept { return m_findings; }
    /// Of an element, by name and structure; null where it has none.
    [[nodiscard]] Finding* errorOf(std::string_view element, std::string_view structure) noexcept;
    /// Findings that are not kept.
    [[nodiscard]] std::size_t dropped() const noexcept { return m_uiDropped; }
    [[nodiscard]] bool hasErrors() const noexcept { return m_bErrors; }
    void clear() noexcept;

    /// Takes over the findings of another set.
    void append(CFindings other);
    template <class TPredicate>
    void dropIf(TPredicate predicate)
    {
        std::erase_if(m_findings, predicate);
        m_bErrors = false;
        for (const Finding& finding : m_findings)
            m_bErrors = m_bErrors || finding.eSeverity == ESeverity::Error;
    }

private:
    std::vector<Finding> m_findings;
    std::size_t m_uiDropped = 0;
    bool m_bErrors = false;
};

/// What the checks of one structure have in common: where it stands, and the findings they add to.
class CChecks
{
public:
    CChecks(CFindings& findings, std::string structure) : m_findings(findings), m_structure(std::move(structure)) {}

    /// The checks of a structure inside this one.
    [[nodiscard]] CChecks inside(std::string_view name) const;
    [[nodiscard]] CChecks inside(std::string_view name, unsigned i) const;

    void error(const Blamed& blamed, std::string_view clause, std::string allowed, std::string message);
    void warning(const Blamed& blamed, std::string_view clause, std::string allowed, std::string message);
    /// Of no single element.
    void error(std::string_view clause, std::string message);
    void warning(std::string_view clause, std::string message);

    /// A plain range, with the sentence that goes with it.
    void range(const Blamed& blamed, std::int64_t iMin, std::int64_t iMax, std::string_view clause)
    {
        if (blamed.iValue < iMin || blamed.iValue > iMax)
            outOfRange(blamed, iMin, iMax, clause);
    }
    /// A value that only later editions of the standard give a meaning to.
    void reserved(const Blamed& blamed, std::string_view clause, std::string allowed);

private:
    void outOfRange(const Blamed& blamed, std::int64_t iMin, std::int64_t iMax, std::string_view clause);
    void add(ESeverity eSeverity, const Blamed& blamed, std::string_view clause, std::string allowed,
             std::string message);

    CFindings& m_findings;
    std::string m_structure;
};

/// Joins text and numbers: say("up to ", 5, " pictures").
template <class... T>
std::string say(const T&... parts)
{
    const auto text = [](const auto& part) -> std::string {
        if constexpr (std::is_convertible_v<decltype(part), std::string_view>)
            return std::string(std::string_view(part));
        else
            return std::to_string(part);
    };
    std::string joined;
    ((joined += text(parts)), ...);
    return joined;
}

} // namespace h265_syntax

// One line for each constraint, in functions where the structure is called s and its checks are called
// checks. A sentence is put together only when its constraint is broken.

/// The element NAME of s, plain or with one or two indices.
#define BLAME(NAME) ::h265_syntax::Blamed(#NAME, static_cast<std::int64_t>(s.NAME))
#define BLAME_1(NAME, I) ::h265_syntax::Blamed(#NAME, static_cast<std::int64_t>(s.NAME[I]), I)
#define BLAME_2(NAME, I, J) ::h265_syntax::Blamed(#NAME, static_cast<std::int64_t>(s.NAME[I][J]), I, J)
#define BLAME_3(NAME, I, J, K) ::h265_syntax::Blamed(#NAME, static_cast<std::int64_t>(s.NAME[I][J][K]), I, J, K)

/// The value of an element lies in a plain range.
#define RANGE(NAME, MIN, MAX, CLAUSE) checks.range(BLAME(NAME), MIN, MAX, CLAUSE)
#define RANGE_1(NAME, I, MIN, MAX, CLAUSE) checks.range(BLAME_1(NAME, I), MIN, MAX, CLAUSE)
#define RANGE_2(NAME, I, J, MIN, MAX, CLAUSE) checks.range(BLAME_2(NAME, I, J), MIN, MAX, CLAUSE)
#define RANGE_3(NAME, I, J, K, MIN, MAX, CLAUSE) checks.range(BLAME_3(NAME, I, J, K), MIN, MAX, CLAUSE)

/// What the standard demands ("shall"), and what it advises or players need. ALLOWED and the sentence are
/// only evaluated when CONDITION does not hold.
#define SHALL(CONDITION, BLAMED, CLAUSE, ALLOWED, ...)                                                                 \
    do {                                                                                                               \
        if (!(CONDITION))                                                                                              \
            checks.error(BLAMED, CLAUSE, ALLOWED, ::h265_syntax::say(__VA_ARGS__));                                    \
    } while (false)
#define SHOULD(CONDITION, BLAMED, CLAUSE, ALLOWED, ...)                                                                \
    do {                                                                                                               \
        if (!(CONDITION))                                                                                              \
            checks.warning(BLAMED, CLAUSE, ALLOWED, ::h265_syntax::say(__VA_ARGS__));                                  \
    } while (false)
