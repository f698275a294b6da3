#include "SampleEntry.h"

#include <algorithm>
#include <utility>

namespace h265_container {

namespace {

// What is there of a box's content, up to the most that a record can need and one more byte.
std::vector<unsigned char> contentOf(CRandomSource& source, const Box& box)
{
    std::vector<unsigned char> bytes(
        static_cast<std::size_t>(std::min<std::uint64_t>(box.contentSize(), MAX_CONFIGURATION_BYTES + 1)));
    bytes.resize(source.read(box.ulContent, bytes));
    return bytes;
}

// A record without its units: these are delivered apart, and the claims outlive the bytes.
DecoderConfiguration fieldsOnly(DecoderConfiguration configuration)
{
    configuration.units.clear();
    return configuration;
}

ColourClaim readColour(CFieldCursor& cursor)
{
    ColourClaim colour;
    const std::uint32_t uiType = cursor.u32();
    colour.type = fourCCText(uiType);
    if (uiType != fourCC("nclx") && uiType != fourCC("nclc"))
        return colour;
    colour.uiPrimaries = cursor.u16();
    colour.uiTransfer = cursor.u16();
    colour.uiMatrix = cursor.u16();
    if (uiType == fourCC("nclx"))
        colour.bFullRange = (cursor.u8() & 0x80) != 0;
    if (!cursor.isComplete()) // QuickTime's, under the other name
        colour.bFullRange.reset();
    return colour;
}

CleanApertureClaim readCleanAperture(CFieldCursor& cursor)
{
    CleanApertureClaim clap{};
    for (std::uint32_t* const pField : {&clap.uiWidthN, &clap.uiWidthD, &clap.uiHeightN, &clap.uiHeightD})
        *pField = cursor.u32();
    clap.iHorizOffN = static_cast<std::int32_t>(cursor.u32());
    clap.uiHorizOffD = cursor.u32();
    clap.iVertOffN = static_cast<std::int32_t>(cursor.u32());
    clap.uiVertOffD = cursor.u32();
    return clap;
}

std::vector<unsigned> readPixelDepths(CFieldCursor& cursor)
{
    std::vector<unsigned> depths;
    for (unsigned uiLeft = cursor.u8(); uiLeft != 0 && cursor.isComplete(); --uiLeft)
        depths.push_back(cursor.u8());
    return depths;
}

// The record's bytes and its fields as a claim. A second one counts for nothing, and is told.
void takeConfiguration(std::vector<unsigned char>& bytes, std::optional<Claim<DecoderConfiguration>>& claim,
                       EConfigurationBox eBox, CRandomSource& source, CUnitOutput& output, const Box& box,
                       const std::string& path)
{
    if (claim) {
        output.finding({ESeverity::Warning, path, box.ulOffset, std::nullopt, "a second one in the same entry"});
        return;
    }
    bytes = contentOf(source, box);
    claim = {fieldsOnly(readDecoderConfiguration(bytes, eBox)), path, box.ulContent};
}

// ISO/IEC 14496-12 8.12 and 8.15: which entry a protected or restricted one stands for.
std::uint32_t originalFormat(CRandomSource& source, CUnitOutput& output, const Box& info, const std::string& path)
{
    CBoxWalk walk(source, output, path, info.ulContent, info.ulEnd);
    while (const auto box = walk.next()) {
        if (box->uiType == fourCC("frma"))
            return CFieldCursor(source, box->ulContent, box->ulEnd).u32();
    }
    return 0;
}

bool standsForAnother(std::uint32_t uiType)
{
    return uiType == fourCC("encv") || uiType == fourCC("resv");
}

void readEntryBoxes(SampleDescription& description, CRandomSource& source, CUnitOutput& output, const Box& entry,
                    std::uint64_t ulBegin, const std::string& path)
{
    CBoxWalk walk(source, output, path, ulBegin, entry.ulEnd);
    while (const auto box = walk.next()) {
        const std::string boxPath = walk.pathOf(*box);
        if (box->uiType == fourCC("sinf") || box->uiType == fourCC("rinf")) {
            // One can stand for the other: both are there then, in any order.
            const std::uint32_t uiOriginal = originalFormat(source, output, *box, boxPath);
            if (!standsForAnother(uiOriginal))
                description.uiOriginal = uiOriginal;
        } else
            (void)takeDescriptionBox(description, source, output, *box, boxPath);
    }
}

} // namespace

bool isH265Entry(std::uint32_t uiType)
{
    constexpr std::uint32_t TYPES[] = {fourCC("hvc1"),
                                       fourCC("hev1"),
                                       fourCC("hvc2"),
                                       fourCC("hev2"),
                                       fourCC("lhv1"),
                                       fourCC("lhe1"),
                                       fourCC("hvt1"),
                                       fourCC("hvt2"),
                                       fourCC("hvt3"),
                                       fourCC("lht1"),
                                       fourCC("dvh1"),
                                       fourCC("dvhe")};
    return std::find(std::begin(TYPES), std::end(TYPES), uiType) != std::end(TYPES);
}

bool takeDescriptionBox(SampleDescription& description, CRandomSource& source, CUnitOutput& output, const Box& box,
                        const std::string& path)
{
    ContainerClaims& claims = description.claims;
    CFieldCursor cursor(source, box.ulContent, box.ulEnd);
    switch (box.uiType) {
    case fourCC("hvcC"):
        takeConfiguration(description.hvcC, claims.hvcC, EConfigurationBox::HvcC, source, output, box, path);
        return true;
    case fourCC("lhvC"):
        takeConfiguration(description.lhvC, claims.lhvC, EConfigurationBox::LhvC, source, output, box, path);
        return true;
    case fourCC("pasp"):
        claims.pixelShape = {{cursor.u32(), cursor.u32()}, path, box.ulOffset};
        break;
    case fourCC("clap"):
        claims.cleanAperture = {readCleanAperture(cursor), path, box.ulOffset};
        break;
    case fourCC("colr"):
        if (claims.colours.size() < 16) // there are two at most that differ in kind
            claims.colours.push_back({readColour(cursor), path, box.ulOffset});
        break;
    case fourCC("ispe"): {
        (void)readFullBox(cursor);
        const double width = cursor.u32();
        claims.imageSize = {{width, static_cast<double>(cursor.u32())}, path, box.ulOffset};
        break;
    }
    case fourCC("fiel"): // of QuickTime: fields of a frame, and their order
        if (const unsigned uiFields = cursor.u8(); uiFields == 1 || uiFields == 2)
            claims.scan = {{uiFields == 2}, path, box.ulOffset};
        break;
    case fourCC("pixi"):
        (void)readFullBox(cursor);
        claims.pixelDepths = {readPixelDepths(cursor), path, box.ulOffset};
        break;
    default:
        return false;
    }
    if (!cursor.isComplete())
        output.finding({ESeverity::Error, path, box.ulOffset, std::nullopt, "is too short for its fields"});
    return true;
}

SampleDescription readSampleEntry(CRandomSource& source, CUnitOutput& output, const Box& entry, const std::string& path)
{
    // ISO/IEC 14496-12 8.5.2.2 and 12.1.3.2: VisualSampleEntry.
    constexpr std::uint64_t BEFORE_REFERENCE = 6;
    constexpr std::uint64_t BEFORE_SIZE = 16;
    constexpr std::uint64_t BEHIND_SIZE = 50;
    SampleDescription description;
    description.uiType = entry.uiType;
    description.uiOriginal = entry.uiType;
    const bool bProtected = entry.uiType == fourCC("encv");
    if (!isH265Entry(entry.uiType) && !standsForAnother(entry.uiType))
        return description;
    CFieldCursor cursor(source, entry.ulContent, entry.ulEnd);
    cursor.skip(BEFORE_REFERENCE);
    description.ulDataReference = cursor.u16();
    cursor.skip(BEFORE_SIZE);
    const double width = cursor.u16();
    const double height = cursor.u16();
    cursor.skip(BEHIND_SIZE);
    if (!cursor.isComplete()) {
        output.finding({ESeverity::Error, path, entry.ulOffset, std::nullopt, "ends inside its fields"});
        description.bIsH265 = isH265Entry(entry.uiType);
        return description;
    }
    description.claims.entrySize = {{width, height}, path, entry.ulOffset};
    readEntryBoxes(description, source, output, entry, cursor.offset(), path);
    description.bIsH265 = isH265Entry(description.uiOriginal);
    if (entry.uiType == fourCC("resv") && description.bIsH265)
        output.finding({ESeverity::Note,
                        path,
                        entry.ulOffset,
                        std::nullopt,
                        "the samples are restricted: players that do not know the scheme of its rinf pass them over"});
    if (bProtected && description.bIsH265)
        output.finding({ESeverity::Note,
                        path,
                        entry.ulOffset,
                        std::nullopt,
                        "the samples are protected; what is encrypted in them cannot be read"});
    return description;
}

namespace {

// A sample has lengths of one size: hvcC's, where there is one.
void takeLengthSize(CUnitOutput& output, SampleDescription& description, EConfigurationBox eBox, unsigned uiBytes)
{
    const ContainerClaims& claims = description.claims;
    const bool bSecond = eBox == EConfigurationBox::LhvC && claims.hvcC && claims.hvcC->value.uiFieldBits != 0;
    if (!bSecond)
        description.uiLengthBytes = uiBytes;
    else if (uiBytes != description.uiLengthBytes)
        output.findingOnce(ONCE_LENGTH_SIZE,
                           {ESeverity::Error,
                            claims.lhvC->box,
                            claims.lhvC->ulOffset,
                            claims.ulTrack,
                            "says lengths of " + std::to_string(uiBytes) + " bytes, hvcC of " +
                                std::to_string(description.uiLengthBytes) + "; those of hvcC are read"});
}

} // namespace

void standInOtherFile(ContainerClaims& claims, std::string_view otherFile)
{
    const auto stand = [&](auto& claim) {
        claim.box = pathInOtherFile(otherFile, claim.box);
        claim.ulOffset.reset();
    };
    const auto standOptional = [&](auto&... claim) { ((claim ? stand(*claim) : void()), ...); };
    standOptional(claims.hvcC,
                  claims.lhvC,
                  claims.entrySize,
                  claims.trackSize,
                  claims.imageSize,
                  claims.pixelShape,
                  claims.cleanAperture,
                  claims.pixelDepths,
                  claims.scan,
                  claims.constantFrameRate);
    for (Claim<ColourClaim>& colour : claims.colours)
        stand(colour);
}

void deliverDescription(CUnitOutput& output, SampleDescription& description, UnitPlace place, bool bOffsetsInFile)
{
    struct Record
    {
        const char* pName;
        const std::optional<Claim<DecoderConfiguration>>& claim;
        const std::vector<unsigned char>& bytes;
        EConfigurationBox eBox;
    };
    const bool bFirst = !std::exchange(description.bDelivered, true);
    ContainerClaims& claims = description.claims;
    claims.ulTrack = place.ulTrack;
    claims.uiDescription = place.uiDescription;
    claims.codec = fourCCText(description.uiOriginal);
    if (bFirst)
        output.claims(claims);
    for (const Record& record : {Record{"hvcC", claims.hvcC, description.hvcC, EConfigurationBox::HvcC},
                                 Record{"lhvC", claims.lhvC, description.lhvC, EConfigurationBox::LhvC}}) {
        if (!record.claim)
            continue;
        const DecoderConfiguration configuration = readDecoderConfiguration(record.bytes, record.eBox);
        place.configuration = record.pName;
        if (configuration.uiFieldBits != 0)
            takeLengthSize(output, description, record.eBox, configuration.lengthSizeMinusOne + 1U);
        deliverConfiguration(output,
                             place,
                             configuration,
                             record.claim->box,
                             bOffsetsInFile ? record.claim->ulOffset : std::nullopt,
                             bFirst);
    }
}

} // namespace h265_container
