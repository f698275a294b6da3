#include "StreamDiff.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <system_error>
#include <vector>

#include "DiffSets.h"
#include "SetElements.h"

namespace h265_inspect {

using namespace h265_syntax;

namespace {

template <class T>
std::optional<T> wholeNumber(std::string_view text)
{
    T value{};
    const char* const pEnd = text.data() + text.size();
    const auto [pBehind, error] = std::from_chars(text.data(), pEnd, value);
    return error == std::errc() && pBehind == pEnd ? std::optional(value) : std::nullopt;
}

// "sps1"
void parseSet(std::string_view text, std::string_view set, DiffSide& side)
{
    constexpr std::array<std::string_view, 3> NAMES = {"vps", "sps", "pps"};
    for (unsigned i = 0; i < NAMES.size(); ++i) {
        const auto id =
            set.starts_with(NAMES.at(i)) ? wholeNumber<std::uint32_t>(set.substr(NAMES.at(i).size())) : std::nullopt;
        if (id) {
            side.nal_unit_type = VPS_NUT + i;
            side.uiId = *id;
            return;
        }
    }
    throw CDiffError(std::string(text) + ": behind # stands a set, as in #vps0, #sps1, #pps63");
}

std::string nameOf(const SetKey& key)
{
    constexpr std::array<const char*, 3> NAMES = {"vps[", "sps[", "pps["};
    return NAMES.at(key.nal_unit_type - VPS_NUT) + std::to_string(key.uiId) + "]";
}

bool readIn(VideoParameterSet& set, const CNalUnit& nalUnit, const SetContent&)
{
    return read(set, nalUnit);
}
bool readIn(SequenceParameterSet& set, const CNalUnit& nalUnit, const SetContent& content)
{
    Context context;
    std::fill(std::begin(context.apVps), std::end(context.apVps), content.pVps.get());
    return read(set, nalUnit, context);
}
bool readIn(PictureParameterSet& set, const CNalUnit& nalUnit, const SetContent&)
{
    return read(set, nalUnit);
}

// The sets of two sides, one pair after another.
class CDiff
{
public:
    explicit CDiff(CDifferenceSink& sink) : m_sink(sink) {}

    /// False: the sink ended it.
    bool pair(const SetKey& keyA, const std::vector<SetContent>& lefts, const SetKey& keyB,
              const std::vector<SetContent>& rights)
    {
        const std::string name = keyA.uiId == keyB.uiId ? nameOf(keyA) : nameOf(keyA) + " and " + nameOf(keyB);
        const bool bSeveral = lefts.size() > 1 || rights.size() > 1;
        for (std::size_t i = 0; i < std::max(lefts.size(), rights.size()); ++i) {
            m_told = {};
            m_told.set = name;
            m_told.nuh_layer_id = keyA.nuh_layer_id;
            m_told.uiContent = bSeveral ? i + 1 : 0;
            if (i >= lefts.size() || i >= rights.size()) {
                m_told.eKind = i < lefts.size() ? EDifference::OnlyInA : EDifference::OnlyInB;
                if (!m_sink.onDifference(m_told))
                    return false;
            } else if (lefts[i].bytes != rights[i].bytes && !contents(keyA.nal_unit_type, lefts[i], rights[i])) {
                return false;
            }
        }
        return true;
    }

private:
    bool contents(unsigned nal_unit_type, const SetContent& left, const SetContent& right)
    {
        switch (nal_unit_type) {
        case VPS_NUT:
            return sets<VideoParameterSet>(left, right);
        case SPS_NUT:
            return sets<SequenceParameterSet>(left, right);
        default:
            return sets<PictureParameterSet>(left, right);
        }
    }

    template <class TSet>
    bool sets(const SetContent& left, const SetContent& right)
    {
        const CNalUnit leftUnit(left.bytes);
        const CNalUnit rightUnit(right.bytes);
        TSet leftSet;
        TSet rightSet;
        (void)readIn(leftSet, leftUnit, left);    // as far as it goes: the bytes behind are compared as such
        (void)readIn(rightSet, rightUnit, right); // likewise
        std::vector<Difference> differences;
        const auto compareHeader = [&differences](const char* pElement, unsigned a, unsigned b) {
            if (a != b)
                differences.push_back({"", pElement, a, b});
        };
        const NalUnitHeader& leftHeader = leftUnit.header();
        const NalUnitHeader& rightHeader = rightUnit.header();
        compareHeader("forbidden_zero_bit", leftHeader.forbidden_zero_bit, rightHeader.forbidden_zero_bit);
        compareHeader("nuh_temporal_id_plus1", leftHeader.nuh_temporal_id_plus1, rightHeader.nuh_temporal_id_plus1);
        std::vector<unsigned char>& leftBits = SetKind<TSet>::extensionData(leftSet);
        std::vector<unsigned char>& rightBits = SetKind<TSet>::extensionData(rightSet);
        const bool bSameBits = leftBits == rightBits;
        leftBits.clear();
        rightBits.clear();
        const std::vector<Difference> elements = compare(leftSet, rightSet);
        differences.insert(differences.end(), elements.begin(), elements.end());
        if (!std::ranges::all_of(differences, [this](const Difference& one) { return tell(one); }))
            return false;
        if (!bSameBits || (differences.empty() && !std::ranges::equal(leftUnit.rbsp(), rightUnit.rbsp()))) {
            m_told.eKind = EDifference::Bytes;
            return m_sink.onDifference(m_told);
        }
        return true;
    }

    bool tell(const Difference& difference)
    {
        StreamDifference told = m_told;
        told.eKind = EDifference::Element;
        told.structure = difference.structure;
        told.element = difference.name;
        told.a = difference.left;
        told.b = difference.right;
        return m_sink.onDifference(told);
    }

    CDifferenceSink& m_sink;
    StreamDifference m_told; // what the differences of a pair have in common
};

void checkTypes(const DiffSide& a, const DiffSide& b)
{
    if (a.nal_unit_type && b.nal_unit_type && *a.nal_unit_type != *b.nal_unit_type)
        throw CDiffError("sets of two types are not compared: " + nameOf({*a.nal_unit_type, 0, a.uiId}) + " and " +
                         nameOf({*b.nal_unit_type, 0, b.uiId}));
}

} // namespace

DiffSide parseDiffSide(std::string_view text)
{
    DiffSide side;
    std::string_view file = text;
    if (const std::size_t uiHash = file.rfind('#'); uiHash != std::string_view::npos) {
        parseSet(text, file.substr(uiHash + 1), side);
        file = file.substr(0, uiHash);
    }
    if (const std::size_t uiAt = file.rfind('@'); uiAt != std::string_view::npos) {
        side.ulOffset = wholeNumber<std::uint64_t>(file.substr(uiAt + 1));
        if (!side.ulOffset)
            throw CDiffError(std::string(text) + ": behind @ stands the offset of a byte, as in @4096");
        file = file.substr(0, uiAt);
    }
    side.file = file;
    return side;
}

void diffStreams(h265_stream::CByteSource& sourceA, const DiffSide& a, h265_stream::CByteSource& sourceB,
                 const DiffSide& b, CDifferenceSink& sink)
{
    checkTypes(a, b);
    CDiffSets lefts(a);
    CDiffSets rights(b);
    lefts.read(sourceA);
    rights.read(sourceB);
    CDiff diff(sink);
    if (a.nal_unit_type && b.nal_unit_type && a.uiId != b.uiId) {
        const auto& [keyA, contentsA] = *lefts.all().begin();
        const auto& [keyB, contentsB] = *rights.all().begin();
        (void)diff.pair(keyA, contentsA, keyB, contentsB); // nothing follows
        return;
    }
    if (a.nal_unit_type)
        rights.keepOnly(*a.nal_unit_type, a.uiId);
    else if (b.nal_unit_type)
        lefts.keepOnly(*b.nal_unit_type, b.uiId);
    static const std::vector<SetContent> NONE;
    auto left = lefts.all().begin();
    auto right = rights.all().begin();
    for (bool bMore = true; bMore && (left != lefts.all().end() || right != rights.all().end());) {
        const bool bLeft = right == rights.all().end() || (left != lefts.all().end() && left->first <= right->first);
        const bool bRight = left == lefts.all().end() || (right != rights.all().end() && right->first <= left->first);
        const SetKey key = bLeft ? left->first : right->first;
        bMore = diff.pair(key, bLeft ? (left++)->second : NONE, key, bRight ? (right++)->second : NONE);
    }
}

} // namespace h265_inspect
