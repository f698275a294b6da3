#include "ColourWords.h"

#include <cstdint>
#include <string_view>

#include "ElementMeanings.h"

namespace h265_inspect {

namespace {

constexpr unsigned UNSPECIFIED = 2;
constexpr unsigned IDENTITY_MATRIX = 0;

// Tables E.3 to E.5: the transfers and matrices that a system has beside its primaries.
struct Companions
{
    unsigned colour_primaries;
    std::uint64_t uiTransfers; // bit i: transfer_characteristics i
    std::uint64_t uiMatrices;  // bit i: matrix_coeffs i
};

constexpr std::uint64_t bit(unsigned i)
{
    return std::uint64_t{1} << i;
}

constexpr Companions COMPANIONS[] = {{1, bit(1) | bit(6), bit(1)},
                                     {4, bit(4), bit(4)},
                                     {5, bit(5) | bit(6) | bit(1), bit(5) | bit(6)},
                                     {6, bit(6) | bit(1), bit(5) | bit(6)},
                                     {7, bit(7), bit(7)},
                                     {9, bit(14) | bit(15) | bit(1) | bit(6), bit(9)}};

bool goesWith(unsigned colour_primaries, std::uint64_t Companions::*pSet, unsigned uiValue)
{
    for (const Companions& companions : COMPANIONS) {
        if (companions.colour_primaries == colour_primaries)
            return uiValue < 64 && (companions.*pSet & bit(uiValue)) != 0;
    }
    return false;
}

// Without what stands in brackets.
std::string shortMeaning(std::string_view element, unsigned uiValue)
{
    std::string_view meaning = h265_syntax::meaningOf(element, uiValue);
    if (meaning == "reserved")
        return "reserved " + std::string(element) + " " + std::to_string(uiValue);
    meaning = meaning.substr(0, meaning.find(" ("));
    return std::string(meaning);
}

} // namespace

std::string colourWords(unsigned colour_primaries, unsigned transfer_characteristics, unsigned matrix_coeffs)
{
    std::string text;
    const auto add = [&](const std::string& words, const char* pSeparator) {
        text += (text.empty() ? "" : pSeparator) + words;
    };
    if (colour_primaries != UNSPECIFIED)
        add(shortMeaning("colour_primaries", colour_primaries), " ");
    if (transfer_characteristics != UNSPECIFIED &&
        !goesWith(colour_primaries, &Companions::uiTransfers, transfer_characteristics)) {
        const std::string transfer = shortMeaning("transfer_characteristics", transfer_characteristics);
        add(colour_primaries == UNSPECIFIED ? transfer + " transfer" : transfer, " ");
    }
    if (matrix_coeffs == IDENTITY_MATRIX)
        add("RGB", ", ");
    else if (matrix_coeffs != UNSPECIFIED && !goesWith(colour_primaries, &Companions::uiMatrices, matrix_coeffs))
        add(shortMeaning("matrix_coeffs", matrix_coeffs) + " matrix", ", ");
    return text;
}

} // namespace h265_inspect
