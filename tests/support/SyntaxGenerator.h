#pragma once

#include <cstdint>
#include <random>
#include <set>
#include <string>

#include "Descriptions.h"
#include "ParameterSetSyntax.h"

namespace h265_test {

/// Gives every element of a set a value by chance: it walks the descriptions, so that what a value lets
/// appear gets values too. The counts stay small enough for sets of some kilobytes.
class CSyntaxGenerator : public h265_syntax::CEditUse
{
public:
    explicit CSyntaxGenerator(std::uint32_t uiSeed) : m_random(uiSeed) { m_uiFlagPercent = below(4) == 0 ? 15 : 60; }

    h265_syntax::VideoParameterSet vps();
    /// Of layer 0, or one that may leave its format to the VPS.
    h265_syntax::SequenceParameterSet sps(bool bFurtherLayer, const h265_syntax::Context& context);
    h265_syntax::PictureParameterSet pps();

    /// Every element that had a value, without indices, and for short elements "name=value".
    static const std::set<std::string, std::less<>>& seen();

protected:
    bool onElement(const h265_syntax::Element& element, std::int64_t& iValue) override;

private:
    std::uint32_t below(std::uint32_t uiBound) { return static_cast<std::uint32_t>(m_random() % uiBound); }
    std::int64_t valueFor(const h265_syntax::Element& element);

    std::mt19937_64 m_random;
    std::uint32_t m_uiFlagPercent = 50;
};

} // namespace h265_test
