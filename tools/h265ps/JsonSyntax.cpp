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

void writeRate(const SequenceGist& gist, CJsonWriter& json)
{
    json.key("frame_rate");
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
    json.key("colour");
    json.openObject();
    json.key("name");
    if (gist.colour.empty())
        json.null();
    else
        json.text(gist.colour);
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
    json.key("sample_aspect_ratio");
    if (!gist.sampleAspectRatio)
        return json.null();
    json.openArray();
    json.number(std::uint64_t{gist.sampleAspectRatio->uiWidth});
    json.number(std::uint64_t{gist.sampleAspectRatio->uiHeight});
    json.closeArray();
}

} // namespace

void writeSyntax(const CSyntaxTree& tree, CJsonWriter& json)
{
    writeNode(tree, tree.root(), json);
}

void writeGist(const SequenceGist& gist, const h265_inspect::StreamCounts& counts, CJsonWriter& json)
{
    json.openObject();
    writeText(json, "text", textOf(gist));
    writeText(json, "codecs", gist.codecs);
    writeNumber(json, "width", gist.uiWidth);
    writeNumber(json, "height", gist.uiHeight);
    writeNumber(json, "coded_width", gist.uiCodedWidth);
    writeNumber(json, "coded_height", gist.uiCodedHeight);
    writeRate(gist, json);
    writeText(json, "profile", gist.profile);
    json.key("level");
    if (gist.level.empty())
        json.null();
    else
        json.text(gist.level);
    writeText(json, "tier", gist.general_tier_flag ? "High" : "Main");
    writeNumber(json, "bit_depth_luma", gist.BitDepthY);
    writeNumber(json, "bit_depth_chroma", gist.BitDepthC);
    writeText(json, "chroma_format", chromaFormatOf(gist));
    writeColour(gist, json);
    writeAspectRatio(gist, json);
    json.key("interlaced");
    json.flag(gist.bInterlaced);
    json.key("fields");
    json.flag(gist.bFields);
    writeNumber(json, "layers", gist.uiLayers);
    writeNumber(json, "views", gist.uiViews);
    json.key("sets");
    json.openObject();
    constexpr std::string_view TYPES[] = {"VPS", "SPS", "PPS"};
    for (std::size_t i = 0; i < std::size(TYPES); ++i)
        writeNumber(json, TYPES[i], counts.aulSets[i]);
    json.closeObject();
    json.closeObject();
}

} // namespace h265ps
