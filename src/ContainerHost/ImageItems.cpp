#include "ImageItems.h"

#include <algorithm>
#include <map>
#include <span>
#include <utility>
#include <vector>

#include "ElementaryUnits.h"
#include "ImageGrid.h"
#include "SampleEntry.h"

namespace h265_container {

namespace {

// Items, properties and extents that are kept; an image has a few hundred.
constexpr std::size_t MAX_ITEMS = std::size_t{1} << 16;
constexpr std::size_t MAX_EXTENTS = 4096;
constexpr std::size_t MAX_ASSOCIATIONS = 16; // ipma: one for each version and flags

struct Extent
{
    std::uint64_t ulOffset;
    std::uint64_t ulSize;
};

struct Item
{
    std::uint32_t uiType = 0;
    bool bProtected = false;
    std::uint64_t ulLocation = 0;     // of its entry's fields behind the id in iloc, 0 for none
    std::uint64_t ulAssociations = 0; // of its entry's count in ipma, 0 for none
    std::size_t uiAssociation = 0;    // which ipma that is
    unsigned uiDerivedFrom = 0;       // images that iref dimg names
    std::uint64_t ulImages = 0;       // of their ids
};

struct Meta
{
    std::map<std::uint32_t, Item> items;
    std::vector<Box> properties;
    std::optional<Box> iloc;
    std::vector<Box> associations; // ipma
    std::optional<Box> idat;
};

// 8.11.3: the widths of iloc's fields.
struct LocationLayout
{
    unsigned uiVersion = 0;
    unsigned uiOffsetBytes = 0;
    unsigned uiLengthBytes = 0;
    unsigned uiBaseBytes = 0;
    unsigned uiIndexBytes = 0;
    unsigned uiIdBytes = 2;
    bool bValid = false;
};

LocationLayout readLocationLayout(CFieldCursor& cursor)
{
    LocationLayout layout;
    layout.uiVersion = readFullBox(cursor).uiVersion;
    const unsigned uiSizes = cursor.u16();
    layout.uiOffsetBytes = uiSizes >> 12;
    layout.uiLengthBytes = uiSizes >> 8 & 0xf;
    layout.uiBaseBytes = uiSizes >> 4 & 0xf;
    layout.uiIndexBytes = layout.uiVersion == 0 ? 0 : uiSizes & 0xf;
    layout.uiIdBytes = layout.uiVersion < 2 ? 2 : 4;
    layout.bValid = layout.uiOffsetBytes <= 8 && layout.uiLengthBytes <= 8 && layout.uiBaseBytes <= 8 &&
                    layout.uiIndexBytes <= 8 && layout.uiVersion <= 2;
    return layout;
}

// An item's bytes where they lie in pieces.
class CExtentSource : public CRandomSource
{
public:
    CExtentSource(CRandomSource& source, const std::vector<Extent>& extents) : m_source(source), m_extents(extents)
    {
        for (const Extent& extent : extents)
            m_ends.push_back(itemBytes() + extent.ulSize);
    }

    [[nodiscard]] std::uint64_t itemBytes() const { return m_ends.empty() ? 0 : m_ends.back(); }

    std::size_t read(std::uint64_t ulOffset, std::span<unsigned char> to) override
    {
        std::size_t uiDone = 0;
        std::size_t i = static_cast<std::size_t>(std::ranges::upper_bound(m_ends, ulOffset) - m_ends.begin());
        while (i < m_extents.size() && uiDone < to.size()) {
            const std::uint64_t ulLeft = m_ends[i] - (ulOffset + uiDone);
            const auto uiHere = static_cast<std::size_t>(std::min<std::uint64_t>(to.size() - uiDone, ulLeft));
            const Extent& extent = m_extents[i++];
            const std::size_t uiRead =
                m_source.read(extent.ulOffset + extent.ulSize - ulLeft, to.subspan(uiDone, uiHere));
            uiDone += uiRead;
            if (uiRead < uiHere)
                break;
        }
        return uiDone;
    }
    [[nodiscard]] std::optional<std::uint64_t> size() const override { return m_source.size(); }

private:
    CRandomSource& m_source;
    const std::vector<Extent>& m_extents;
    std::vector<std::uint64_t> m_ends; // of each in the item
};

std::string sizeText(const SizeClaim& size)
{
    return std::to_string(static_cast<std::uint32_t>(size.width)) + "x" +
           std::to_string(static_cast<std::uint32_t>(size.height));
}

// "8-bit 4:2:0", as the record has it; empty without one.
std::string formatOf(const SampleDescription& description)
{
    constexpr const char* FORMATS[] = {"4:0:0", "4:2:0", "4:2:2", "4:4:4"};
    if (!description.claims.hvcC)
        return {};
    const DecoderConfiguration& record = description.claims.hvcC->value;
    return std::to_string(record.bit_depth_luma_minus8 + 8) + "-bit " + FORMATS[record.chroma_format_idc & 3U];
}

class CImageItems
{
public:
    CImageItems(CUnitOutput& output, CRandomSource& source) : m_output(output), m_source(source) {}

    bool read(const Box& meta);
    void deliver();

private:
    void readItemInfo(const Box& iinf);
    void readProperties(const Box& iprp);
    void readReferences(const Box& iref);
    void indexLocations();
    void indexAssociations();
    void indexAssociations(std::size_t uiAssociation);
    [[nodiscard]] std::optional<std::vector<Extent>> extentsOf(std::uint32_t uiItem, const Item& item);
    [[nodiscard]] bool addExtents(std::vector<Extent>& extents, CFieldCursor& cursor, const LocationLayout& layout,
                                  unsigned uiConstruction, std::uint64_t ulBase) const;
    [[nodiscard]] SampleDescription describe(const Item& item);
    void deliverItem(std::uint32_t uiItem, const Item& item);
    std::optional<SampleDescription> describeImage(const Item& grid, unsigned i);
    void checkImagesOfGrid(std::uint32_t uiItem, const Item& grid, const SampleDescription& first,
                           std::uint64_t ulOffset);
    void checkGrid(std::uint32_t uiItem, const Item& item);
    void tell(ESeverity eSeverity, const std::string& path, std::optional<std::uint64_t> ulOffset, std::string message,
              bool bUnread = false)
    {
        m_output.finding({eSeverity, path, ulOffset, std::nullopt, std::move(message), bUnread});
    }

    CUnitOutput& m_output;
    CRandomSource& m_source;
    Meta m_meta;
    LocationLayout m_layout;
    unsigned m_uiImageIdBytes = 2; // of iref
};

bool CImageItems::read(const Box& meta)
{
    // QuickTime's meta has no version and flags: there the size of the first box stands, and its type behind it.
    CFieldCursor cursor(m_source, std::min(meta.ulContent + 4, meta.ulEnd), meta.ulEnd);
    const bool bQuickTime = cursor.u8() >= ' ' && cursor.u8() >= ' ' && cursor.u8() >= ' ' && cursor.u8() >= ' ';
    const std::uint64_t ulFirst = meta.ulContent + (bQuickTime ? 0 : 4);
    CBoxWalk walk(m_source, m_output, "meta", std::min(ulFirst, meta.ulEnd), meta.ulEnd);
    std::optional<Box> iref;
    while (const auto box = walk.next()) {
        switch (box->uiType) {
        case fourCC("iinf"):
            readItemInfo(*box);
            break;
        case fourCC("iprp"):
            readProperties(*box);
            break;
        case fourCC("iloc"):
            m_meta.iloc = box;
            break;
        case fourCC("idat"):
            m_meta.idat = box;
            break;
        case fourCC("iref"):
            iref = box;
            break;
        default:
            break;
        }
    }
    if (iref)
        readReferences(*iref);
    indexLocations();
    indexAssociations();
    return !m_meta.items.empty();
}

void CImageItems::readItemInfo(const Box& iinf)
{
    CFieldCursor cursor(m_source, iinf.ulContent, iinf.ulEnd);
    cursor.skip(readFullBox(cursor).uiVersion == 0 ? 2 : 4);
    CBoxWalk walk(m_source, m_output, "meta/iinf", cursor.offset(), iinf.ulEnd);
    while (const auto infe = walk.next()) {
        CFieldCursor fields(m_source, infe->ulContent, infe->ulEnd);
        const unsigned uiVersion = readFullBox(fields).uiVersion;
        if (infe->uiType != fourCC("infe") || uiVersion < 2) // older ones name no type
            continue;
        const std::uint32_t uiItem = uiVersion == 2 ? fields.u16() : fields.u32();
        const bool bProtected = fields.u16() != 0;
        const std::uint32_t uiType = fields.u32();
        if (!fields.isComplete())
            tell(ESeverity::Error, "meta/iinf/infe", infe->ulOffset, "ends inside its fields");
        else if (m_meta.items.size() == MAX_ITEMS) {
            tell(ESeverity::Error,
                 "meta/iinf",
                 infe->ulOffset,
                 "more than " + std::to_string(MAX_ITEMS) + " items; from here on they are not read");
            return;
        } else
            m_meta.items[uiItem] = {uiType, bProtected, 0, 0, 0, 0, 0};
    }
}

void CImageItems::readProperties(const Box& iprp)
{
    CBoxWalk walk(m_source, m_output, "meta/iprp", iprp.ulContent, iprp.ulEnd);
    while (const auto box = walk.next()) {
        if (box->uiType == fourCC("ipma") && m_meta.associations.size() == MAX_ASSOCIATIONS)
            tell(ESeverity::Error,
                 walk.pathOf(*box),
                 box->ulOffset,
                 "more than " + std::to_string(MAX_ASSOCIATIONS) + " of them; this one is not read");
        else if (box->uiType == fourCC("ipma"))
            m_meta.associations.push_back(*box);
        if (box->uiType != fourCC("ipco"))
            continue;
        CBoxWalk properties(m_source, m_output, "meta/iprp/ipco", box->ulContent, box->ulEnd);
        for (auto property = properties.next(); property && m_meta.properties.size() < MAX_ITEMS;
             property = properties.next())
            m_meta.properties.push_back(*property);
    }
}

// 8.11.12: how many images a grid or overlay is made of.
void CImageItems::readReferences(const Box& iref)
{
    CFieldCursor cursor(m_source, iref.ulContent, iref.ulEnd);
    m_uiImageIdBytes = readFullBox(cursor).uiVersion == 0 ? 2 : 4;
    CBoxWalk walk(m_source, m_output, "meta/iref", cursor.offset(), iref.ulEnd);
    while (const auto box = walk.next()) {
        CFieldCursor fields(m_source, box->ulContent, box->ulEnd);
        const auto uiFrom = static_cast<std::uint32_t>(fields.bytes(m_uiImageIdBytes));
        const auto found = m_meta.items.find(uiFrom);
        if (box->uiType == fourCC("dimg") && found != m_meta.items.end()) {
            found->second.uiDerivedFrom = fields.u16();
            found->second.ulImages = fields.offset();
        }
    }
}

void CImageItems::indexLocations()
{
    if (!m_meta.iloc)
        return;
    CFieldCursor cursor(m_source, m_meta.iloc->ulContent, m_meta.iloc->ulEnd);
    m_layout = readLocationLayout(cursor);
    if (!m_layout.bValid) {
        tell(ESeverity::Error, "meta/iloc", m_meta.iloc->ulOffset, "has a layout that is not defined");
        return;
    }
    const unsigned uiExtentBytes = m_layout.uiIndexBytes + m_layout.uiOffsetBytes + m_layout.uiLengthBytes;
    for (std::uint64_t ulLeft = cursor.bytes(m_layout.uiIdBytes); ulLeft != 0; --ulLeft) {
        const auto uiItem = static_cast<std::uint32_t>(cursor.bytes(m_layout.uiIdBytes));
        const std::uint64_t ulLocation = cursor.offset();
        cursor.skip((m_layout.uiVersion == 0 ? 0U : 2U) + 2U + m_layout.uiBaseBytes);
        cursor.skip(std::uint64_t{cursor.u16()} * uiExtentBytes);
        if (!cursor.isComplete() || !m_output.spend(m_source, 1)) {
            tell(ESeverity::Error,
                 "meta/iloc",
                 m_meta.iloc->ulOffset,
                 "ends early: " + std::to_string(ulLeft) + " items have no place");
            return;
        }
        if (const auto found = m_meta.items.find(uiItem); found != m_meta.items.end())
            found->second.ulLocation = ulLocation;
    }
}

void CImageItems::indexAssociations()
{
    for (std::size_t i = 0; i < m_meta.associations.size(); ++i)
        indexAssociations(i);
}

void CImageItems::indexAssociations(std::size_t uiAssociation)
{
    const Box& ipma = m_meta.associations[uiAssociation];
    CFieldCursor cursor(m_source, ipma.ulContent, ipma.ulEnd);
    const FullBox full = readFullBox(cursor);
    const unsigned uiEntryBytes = (full.uiFlags & 1) != 0 ? 2 : 1;
    for (std::uint32_t uiLeft = cursor.u32(); uiLeft != 0; --uiLeft) {
        const auto uiItem = static_cast<std::uint32_t>(cursor.bytes(full.uiVersion < 1 ? 2 : 4));
        const std::uint64_t ulAssociations = cursor.offset();
        cursor.skip(std::uint64_t{cursor.u8()} * uiEntryBytes);
        if (!cursor.isComplete() || !m_output.spend(m_source, 1)) {
            tell(ESeverity::Error,
                 "meta/iprp/ipma",
                 ipma.ulOffset,
                 "ends early: " + std::to_string(uiLeft) + " items are missing");
            return;
        }
        if (const auto found = m_meta.items.find(uiItem); found != m_meta.items.end()) {
            found->second.ulAssociations = ulAssociations;
            found->second.uiAssociation = uiAssociation;
        }
    }
}

// Properties of an item: those of a sample entry, as far as images have them.
SampleDescription CImageItems::describe(const Item& item)
{
    SampleDescription description;
    description.uiType = item.uiType;
    description.uiOriginal = item.uiType;
    description.bIsH265 = isH265Entry(item.uiType);
    if (item.ulAssociations == 0)
        return description;
    const Box& ipma = m_meta.associations[item.uiAssociation];
    const bool bWide = (CFieldCursor(m_source, ipma.ulContent, ipma.ulEnd).u32() & 1) != 0;
    CFieldCursor cursor(m_source, item.ulAssociations, ipma.ulEnd);
    for (unsigned uiLeft = cursor.u8(); uiLeft != 0; --uiLeft) {
        const unsigned uiIndex = bWide ? cursor.u16() & 0x7fff : cursor.u8() & 0x7f;
        if (uiIndex > m_meta.properties.size())
            tell(ESeverity::Error,
                 "meta/iprp/ipma",
                 ipma.ulOffset,
                 "names property " + std::to_string(uiIndex) + " of " + std::to_string(m_meta.properties.size()));
        else if (uiIndex != 0) {
            const Box& property = m_meta.properties[uiIndex - 1];
            const bool bRecord = property.uiType == fourCC("hvcC") || property.uiType == fourCC("lhvC");
            if (!m_output.spend(m_source, bRecord ? 1 + property.contentSize() / 16 : 1))
                break;
            (void)takeDescriptionBox(
                description, m_source, m_output, property, "meta/iprp/ipco/" + fourCCText(property.uiType));
        }
    }
    return description;
}

// Construction 0 counts from the file's first byte, 1 from that of idat.
bool CImageItems::addExtents(std::vector<Extent>& extents, CFieldCursor& cursor, const LocationLayout& layout,
                             unsigned uiConstruction, std::uint64_t ulBase) const
{
    const std::uint64_t ulBegin = uiConstruction == 1 ? m_meta.idat->ulContent : 0;
    const std::uint64_t ulEnd = uiConstruction == 1 ? m_meta.idat->ulEnd : m_source.size().value_or(NO_END);
    for (unsigned uiLeft = cursor.u16(); uiLeft != 0; --uiLeft) {
        (void)cursor.bytes(layout.uiIndexBytes);
        const std::uint64_t ulOffset = ulBegin + ulBase + cursor.bytes(layout.uiOffsetBytes);
        const std::uint64_t ulSize = cursor.bytes(layout.uiLengthBytes);
        if (!cursor.isComplete() || ulOffset < ulBegin || ulOffset > ulEnd || ulSize > ulEnd - ulOffset ||
            extents.size() == MAX_EXTENTS)
            return false;
        extents.push_back({ulOffset, ulSize == 0 ? ulEnd - ulOffset : ulSize}); // 0: to the end
    }
    return true;
}

std::optional<std::vector<Extent>> CImageItems::extentsOf(std::uint32_t uiItem, const Item& item)
{
    const std::string name = "item " + std::to_string(uiItem);
    if (item.ulLocation == 0) {
        tell(ESeverity::Error,
             "meta/iloc",
             m_meta.iloc ? std::optional(m_meta.iloc->ulOffset) : std::nullopt,
             name + " has no place in the file");
        return std::nullopt;
    }
    CFieldCursor cursor(m_source, item.ulLocation, m_meta.iloc->ulEnd);
    const unsigned uiConstruction = m_layout.uiVersion == 0 ? 0 : cursor.u16() & 0xf;
    const unsigned uiReference = cursor.u16();
    const std::uint64_t ulBase = cursor.bytes(m_layout.uiBaseBytes);
    std::vector<Extent> extents;
    if (uiReference != 0)
        tell(ESeverity::Error, "meta/iloc", m_meta.iloc->ulOffset, name + " lies in another file, which is not read");
    else if (uiConstruction > 1 || (uiConstruction == 1 && !m_meta.idat))
        tell(ESeverity::Error,
             "meta/iloc",
             m_meta.iloc->ulOffset,
             name + (uiConstruction == 1 ? " lies in an idat that is missing"
                                         : " is made from other items' bytes, which is not read"));
    else if (!addExtents(extents, cursor, m_layout, uiConstruction, ulBase))
        tell(ESeverity::Error,
             "meta/iloc",
             m_meta.iloc->ulOffset,
             name + " reaches beyond the end of what holds it, or lies in more than " + std::to_string(MAX_EXTENTS) +
                 " pieces",
             true);
    else
        return extents;
    return std::nullopt;
}

void CImageItems::deliverItem(std::uint32_t uiItem, const Item& item)
{
    m_output.speakOf(uiItem);
    SampleDescription description = describe(item);
    m_output.speakOf(std::nullopt);
    UnitPlace place;
    place.ulTrack = uiItem;
    place.holder = "item";
    deliverDescription(m_output, description, place, true);
    if (!description.claims.hvcC && !description.claims.lhvC)
        m_output.finding({ESeverity::Error,
                          "meta/iprp/ipma",
                          m_meta.associations.empty() ? std::nullopt
                                                      : std::optional(m_meta.associations[item.uiAssociation].ulOffset),
                          uiItem,
                          "has neither hvcC nor lhvC; lengths of 4 bytes are assumed"});
    const auto extents = extentsOf(uiItem, item);
    if (!extents || extents->empty() || item.bProtected || m_output.isStopped())
        return;
    const auto readUnits = [&](CRandomSource& source, std::uint64_t ulOffset, std::uint64_t ulSize, auto ulFileBase) {
        unsigned uiBytes = description.uiLengthBytes;
        if (description.claims.hvcC && !source.isForwardOnly())
            uiBytes = lengthBytesOf(m_output, place, source, ulOffset, ulSize, uiBytes, ulFileBase);
        if (uiBytes != 0)
            readLengthPrefixedUnits(m_output, place, source, ulOffset, ulSize, uiBytes, ulFileBase);
        else
            readStartCodeUnits(m_output, place, source, ulOffset, ulSize, ulFileBase);
    };
    if (extents->size() == 1)
        return readUnits(m_source, extents->front().ulOffset, extents->front().ulSize, std::optional<std::uint64_t>(0));
    CExtentSource joined(m_source, *extents);
    readUnits(joined, 0, joined.itemBytes(), std::optional<std::uint64_t>());
}

// What image number i of a grid is described as; none when it is no H.265, or cannot be found.
std::optional<SampleDescription> CImageItems::describeImage(const Item& grid, unsigned i)
{
    const std::uint64_t ulId = grid.ulImages + std::uint64_t{i} * m_uiImageIdBytes;
    CFieldCursor cursor(m_source, ulId, ulId + m_uiImageIdBytes);
    const auto uiImage = static_cast<std::uint32_t>(cursor.bytes(m_uiImageIdBytes));
    const auto image = m_meta.items.find(uiImage);
    if (i >= grid.uiDerivedFrom || !m_output.spend(m_source, 1) || image == m_meta.items.end() ||
        !isH265Entry(image->second.uiType))
        return std::nullopt;
    m_output.speakOf(uiImage);
    SampleDescription description = describe(image->second);
    m_output.speakOf(std::nullopt);
    return description;
}

// 23008-12 6.6.2.3.1: all images of a grid have one size; and it is one picture, so they have one format.
void CImageItems::checkImagesOfGrid(std::uint32_t uiItem, const Item& grid, const SampleDescription& first,
                                    std::uint64_t ulOffset)
{
    const auto tell = [&](ESeverity eSeverity, unsigned i, const std::string& what) {
        m_output.finding({eSeverity, "grid", ulOffset, uiItem, "image " + std::to_string(i + 1) + " of it " + what});
    };
    const auto sizeOf = [](const SampleDescription& image) {
        return image.claims.imageSize ? sizeText(image.claims.imageSize->value) : std::string();
    };
    const auto differs = [](const std::string& one, const std::string& other) {
        return !one.empty() && !other.empty() && one != other;
    };
    bool bSizes = false; // told, once each
    bool bFormats = false;
    for (unsigned i = 1; i < grid.uiDerivedFrom && !(bSizes && bFormats) && !m_output.isStopped(); ++i) {
        const auto image = describeImage(grid, i);
        if (!image)
            continue;
        if (!bSizes && differs(sizeOf(first), sizeOf(*image))) {
            bSizes = true;
            tell(ESeverity::Error,
                 i,
                 "is " + sizeOf(*image) + ", the first one " + sizeOf(first) +
                     ": all have one size [23008-12 6.6.2.3.1]");
        }
        if (!bFormats && differs(formatOf(first), formatOf(*image))) {
            bFormats = true;
            tell(ESeverity::Warning,
                 i,
                 "is " + formatOf(*image) + ", the first one " + formatOf(first) + ": few players show that");
        }
    }
}

// What a grid claims of its picture, held against its images. Their sizes are held against their sets.
void CImageItems::checkGrid(std::uint32_t uiItem, const Item& item)
{
    if (item.ulLocation == 0 || item.bProtected)
        return;
    const auto first = describeImage(item, 0);
    if (!first)
        return;
    const auto extents = extentsOf(uiItem, item);
    if (!extents || extents->empty())
        return;
    CExtentSource joined(m_source, *extents);
    const std::uint64_t ulOffset = extents->front().ulOffset;
    const auto tellOfItem = [&](const std::string& path, std::optional<std::uint64_t> ulAt, std::string message) {
        m_output.finding({ESeverity::Error, path, ulAt, uiItem, std::move(message)});
    };
    const auto grid = readImageGrid(joined, 0, joined.itemBytes());
    if (!grid)
        return tellOfItem("grid", ulOffset, "ends inside its fields");
    const auto& tile = first->claims.imageSize;
    if (std::string reason =
            whatGridContradicts(*grid, item.uiDerivedFrom, tile ? std::optional(tile->value) : std::nullopt);
        !reason.empty())
        tellOfItem("grid", ulOffset, std::move(reason));
    checkImagesOfGrid(uiItem, item, *first, ulOffset);
    const auto claim = describe(item).claims.imageSize;
    if (claim && (claim->value.width != grid->uiWidth || claim->value.height != grid->uiHeight))
        tellOfItem(claim->box,
                   claim->ulOffset,
                   "says " + sizeText(claim->value) + ", the grid makes a picture of " + std::to_string(grid->uiWidth) +
                       "x" + std::to_string(grid->uiHeight));
}

void CImageItems::deliver()
{
    for (const auto& [uiItem, item] : m_meta.items) {
        const bool bH265 = isH265Entry(item.uiType);
        ContainerTrack info{uiItem, ETrackKind::Image, fourCCText(item.uiType), bH265, {}, "item"};
        if (!bH265)
            info.reason = item.uiDerivedFrom != 0
                              ? "it is made of " + std::to_string(item.uiDerivedFrom) + " other items"
                              : "it is no H.265";
        if (bH265 && item.bProtected)
            info.reason = "it is protected; only what its properties say is read";
        m_output.track(info);
        if (bH265 && !m_output.isStopped())
            deliverItem(uiItem, item);
        else if (item.uiType == fourCC("grid") && !m_output.isStopped())
            checkGrid(uiItem, item);
    }
}

} // namespace

bool deliverImageItems(CUnitOutput& output, CRandomSource& source, const Box& meta)
{
    CImageItems items(output, source);
    if (!items.read(meta))
        return false;
    items.deliver();
    return true;
}

} // namespace h265_container
