#include "JsonSyntax.h"

#include <cstddef>
#include <iterator>
#include <string_view>

#include "JsonSet.h"

namespace h265ps {

using h265_inspect::CSyntaxTree;
using h265_inspect::SequenceGist;

namespace {

void writeNode(const CSyntaxTree& tree, const CSyntaxTree::Node& node, CJsonWriter& json);

void writeChildren(const CSyntaxTree& tree, const CSyntaxTree::Node& node, CJsonWriter& json)
{
    for (const CSyntaxTree::Node* pChild = tree.firstChild(node); pChild != nullptr; pChild = tree.next(*pChild)) {
        if (!pChild->name.empty())
            json.key(pChild->name);
        writeNode(tree, *pChild, json);
    }
}

// As deep as structures and indices nest: the descriptions bound it.
void writeNode(const CSyntaxTree& tree, const CSyntaxTree::Node& node, CJsonWriter& json)
{
    switch (node.eKind) {
    case CSyntaxTree::EKind::None:
        return json.null();
    case CSyntaxTree::EKind::Value:
        return json.number(node.iValue);
    case CSyntaxTree::EKind::Flags:
        json.openArray();
        for (const unsigned char ucFlag : tree.flags(node))
            json.number(std::int64_t{ucFlag});
        return json.closeArray();
    case CSyntaxTree::EKind::Array:
        json.openArray();
        writeChildren(tree, node, json);
        return json.closeArray();
    case CSyntaxTree::EKind::Object:
        json.openObject();
        writeChildren(tree, node, json);
        return json.closeObject();
    }
}

void writeTextOrNull(const std::string& text, CJsonWriter& json)
{
    if (text.empty())
        return json.null();
    json.text(text);
}

void writeRate(const SequenceGist& gist, CJsonWriter& json)
{
    if (!gist.frameRate)
        return json.null();
    json.openObject();
    writeNumber(json, "numerator", gist.frameRate->ulNumerator);
    writeNumber(json, "denominator", gist.frameRate->ulDenominator);
    writeText(json, "source", gist.frameRate->bFromVps ? "VPS" : "VUI");
    json.closeObject();
}

void writeColour(const SequenceGist& gist, CJsonWriter& json)
{
    json.openObject();
    json.key("name");
    writeTextOrNull(gist.colour, json);
    writeNumber(json, "colour_primaries", gist.colour_primaries);
    writeNumber(json, "transfer_characteristics", gist.transfer_characteristics);
    writeNumber(json, "matrix_coeffs", gist.matrix_coeffs);
    json.key("full_range");
    if (gist.bFullRange)
        json.flag(*gist.bFullRange);
    else
        json.null();
    json.closeObject();
}

void writeAspectRatio(const SequenceGist& gist, CJsonWriter& json)
{
    if (!gist.sampleAspectRatio)
        return json.null();
    json.openArray();
    json.number(std::uint64_t{gist.sampleAspectRatio->uiWidth});
    json.number(std::uint64_t{gist.sampleAspectRatio->uiHeight});
    json.closeArray();
}

struct GistKey
{
    const char* pName;
    void (*pWrite)(const SequenceGist& gist, CJsonWriter& json);
};

// In the order in which they are written.
constexpr GistKey GIST_KEYS[] = {
    {"text", [](const SequenceGist& gist, CJsonWriter& json) { json.text(textOf(gist)); }},
    {"codecs", [](const SequenceGist& gist, CJsonWriter& json) { json.text(gist.codecs); }},
    {"width", [](const SequenceGist& gist, CJsonWriter& json) { json.number(std::uint64_t{gist.uiWidth}); }},
    {"height", [](const SequenceGist& gist, CJsonWriter& json) { json.number(std::uint64_t{gist.uiHeight}); }},
    {"coded_width", [](const SequenceGist& gist, CJsonWriter& json) { json.number(std::uint64_t{gist.uiCodedWidth}); }},
    {"coded_height",
     [](const SequenceGist& gist, CJsonWriter& json) { json.number(std::uint64_t{gist.uiCodedHeight}); }},
    {"frame_rate", writeRate},
    {"profile", [](const SequenceGist& gist, CJsonWriter& json) { json.text(gist.profile); }},
    {"level", [](const SequenceGist& gist, CJsonWriter& json) { writeTextOrNull(gist.level, json); }},
    {"tier", [](const SequenceGist& gist, CJsonWriter& json) { json.text(gist.general_tier_flag ? "High" : "Main"); }},
    {"bit_depth_luma", [](const SequenceGist& gist, CJsonWriter& json) { json.number(std::uint64_t{gist.BitDepthY}); }},
    {"bit_depth_chroma",
     [](const SequenceGist& gist, CJsonWriter& json) { json.number(std::uint64_t{gist.BitDepthC}); }},
    {"chroma_format", [](const SequenceGist& gist, CJsonWriter& json) { json.text(chromaFormatOf(gist)); }},
    {"colour", writeColour},
    {"sample_aspect_ratio", writeAspectRatio},
    {"interlaced", [](const SequenceGist& gist, CJsonWriter& json) { json.flag(gist.bInterlaced); }},
    {"fields", [](const SequenceGist& gist, CJsonWriter& json) { json.flag(gist.bFields); }},
    {"layers", [](const SequenceGist& gist, CJsonWriter& json) { json.number(std::uint64_t{gist.uiLayers}); }},
    {"views", [](const SequenceGist& gist, CJsonWriter& json) { json.number(std::uint64_t{gist.uiViews}); }},
};

} // namespace

void writeSyntax(const CSyntaxTree& tree, CJsonWriter& json)
{
    writeNode(tree, tree.root(), json);
}

void writeGist(const SequenceGist& gist, const h265_inspect::StreamCounts& counts, CJsonWriter& json)
{
    json.openObject();
    writeGistKeys(&gist, json);
    writeSetCounts(counts, json);
    json.closeObject();
}

void writeGistKeys(const SequenceGist* pGist, CJsonWriter& json)
{
    for (const GistKey& gistKey : GIST_KEYS) {
        json.key(gistKey.pName);
        if (pGist != nullptr)
            gistKey.pWrite(*pGist, json);
        else
            json.null();
    }
}

void writeSetCounts(const h265_inspect::StreamCounts& counts, CJsonWriter& json)
{
    json.key("sets");
    json.openObject();
    constexpr std::string_view TYPES[] = {"VPS", "SPS", "PPS"};
    for (std::size_t i = 0; i < std::size(TYPES); ++i)
        writeNumber(json, TYPES[i], counts.aulSets[i]);
    json.closeObject();
}

} // namespace h265ps
