#include "ItemTables.h"

#include <algorithm>
#include <utility>

#include "CountedText.h"

namespace h265_container {

namespace {

// Items, properties and extents that are kept; an image has a few hundred.
constexpr std::size_t MAX_ITEMS = std::size_t{1} << 16;
constexpr std::size_t MAX_EXTENTS = 4096;
constexpr std::size_t MAX_ASSOCIATIONS = 16; // ipma: one for each version and flags

} // namespace

CExtentSource::CExtentSource(CRandomSource& source, const std::vector<Extent>& extents)
    : m_source(source), m_extents(extents)
{
    for (const Extent& extent : extents)
        m_ends.push_back(itemBytes() + extent.ulSize);
}

std::size_t CExtentSource::read(std::uint64_t ulOffset, std::span<unsigned char> to)
{
    std::size_t uiDone = 0;
    std::size_t i = static_cast<std::size_t>(std::ranges::upper_bound(m_ends, ulOffset) - m_ends.begin());
    while (i < m_extents.size() && uiDone < to.size()) {
        const std::uint64_t ulLeft = m_ends[i] - (ulOffset + uiDone);
        const auto uiHere = static_cast<std::size_t>(std::min<std::uint64_t>(to.size() - uiDone, ulLeft));
        const Extent& extent = m_extents[i++];
        const std::size_t uiRead = m_source.read(extent.ulOffset + extent.ulSize - ulLeft, to.subspan(uiDone, uiHere));
        uiDone += uiRead;
        if (uiRead < uiHere)
            break;
    }
    return uiDone;
}

void CItemTables::tell(const std::string& path, std::optional<std::uint64_t> ulOffset, std::string message,
                       bool bUnread)
{
    m_output.finding({ESeverity::Error, path, ulOffset, std::nullopt, std::move(message), bUnread});
}

bool CItemTables::read(const Box& meta)
{
    // QuickTime's meta has no version and flags: there the size of the first box stands, and its type behind it.
    CFieldCursor cursor(m_source, std::min(meta.ulContent + 4, meta.ulEnd), meta.ulEnd);
    const bool bQuickTime = cursor.u8() >= ' ' && cursor.u8() >= ' ' && cursor.u8() >= ' ' && cursor.u8() >= ' ';
    const std::uint64_t ulFirst = meta.ulContent + (bQuickTime ? 0 : 4);
    CBoxWalk walk(m_source, m_output, "meta", std::min(ulFirst, meta.ulEnd), meta.ulEnd);
    std::optional<Box> iref;
    std::optional<Box> pitm;
    while (const auto box = walk.next()) {
        switch (box->uiType) {
        case fourCC("iinf"):
            readItemInfo(*box);
            break;
        case fourCC("iprp"):
            readProperties(*box);
            break;
        case fourCC("iloc"):
            m_iloc = box;
            break;
        case fourCC("idat"):
            m_idat = box;
            break;
        case fourCC("iref"):
            iref = box;
            break;
        case fourCC("pitm"):
            pitm = box;
            break;
        default:
            break;
        }
    }
    if (iref)
        readReferences(*iref);
    if (pitm)
        checkPrimaryItem(*pitm);
    indexLocations();
    for (std::size_t i = 0; i < m_associations.size(); ++i)
        indexAssociations(i);
    return !m_items.empty();
}

void CItemTables::readItemInfo(const Box& iinf)
{
    CFieldCursor cursor(m_source, iinf.ulContent, iinf.ulEnd);
    cursor.skip(readFullBox(cursor).uiVersion == 0 ? 2 : 4);
    CBoxWalk walk(m_source, m_output, "meta/iinf", cursor.offset(), iinf.ulEnd);
    while (const auto infe = walk.next()) {
        CFieldCursor fields(m_source, infe->ulContent, infe->ulEnd);
        const unsigned uiVersion = readFullBox(fields).uiVersion;
        if (infe->uiType != fourCC("infe") || uiVersion < 2) { // older ones name no type
            m_bAllKnown = false;
            continue;
        }
        const std::uint32_t uiItem = uiVersion == 2 ? fields.u16() : fields.u32();
        const bool bProtected = fields.u16() != 0;
        const std::uint32_t uiType = fields.u32();
        if (!fields.isComplete()) {
            tell("meta/iinf/infe", infe->ulOffset, "ends inside its fields");
            m_bAllKnown = false;
        } else if (m_items.size() == MAX_ITEMS) {
            tell("meta/iinf",
                 infe->ulOffset,
                 "more than " + std::to_string(MAX_ITEMS) + " items; from here on they are not read");
            m_bAllKnown = false;
            return;
        } else
            m_items[uiItem] = {uiType, bProtected, 0, 0, 0, 0, 0};
    }
}

// 8.11.4: the item that is shown.
void CItemTables::checkPrimaryItem(const Box& pitm)
{
    CFieldCursor cursor(m_source, pitm.ulContent, pitm.ulEnd);
    const auto uiItem = static_cast<std::uint32_t>(cursor.bytes(readFullBox(cursor).uiVersion == 0 ? 2 : 4));
    if (!cursor.isComplete())
        tell("meta/pitm", pitm.ulOffset, "ends inside its fields");
    else if (m_bAllKnown && !m_items.empty() && !m_items.contains(uiItem))
        tell("meta/pitm",
             pitm.ulOffset,
             "names item " + std::to_string(uiItem) +
                 " as the one to show, which iinf does not have: players show nothing [14496-12 8.11.4]");
}

void CItemTables::readProperties(const Box& iprp)
{
    CBoxWalk walk(m_source, m_output, "meta/iprp", iprp.ulContent, iprp.ulEnd);
    while (const auto box = walk.next()) {
        if (box->uiType == fourCC("ipma") && m_associations.size() == MAX_ASSOCIATIONS)
            tell(walk.pathOf(*box),
                 box->ulOffset,
                 "more than " + std::to_string(MAX_ASSOCIATIONS) + " of them; this one is not read");
        else if (box->uiType == fourCC("ipma"))
            m_associations.push_back(*box);
        if (box->uiType != fourCC("ipco"))
            continue;
        CBoxWalk properties(m_source, m_output, "meta/iprp/ipco", box->ulContent, box->ulEnd);
        for (auto property = properties.next(); property && m_properties.size() < MAX_ITEMS;
             property = properties.next())
            m_properties.push_back(*property);
    }
}

// 8.11.12: how many images a grid or overlay is made of.
void CItemTables::readReferences(const Box& iref)
{
    CFieldCursor cursor(m_source, iref.ulContent, iref.ulEnd);
    m_uiImageIdBytes = readFullBox(cursor).uiVersion == 0 ? 2 : 4;
    CBoxWalk walk(m_source, m_output, "meta/iref", cursor.offset(), iref.ulEnd);
    while (const auto box = walk.next()) {
        CFieldCursor fields(m_source, box->ulContent, box->ulEnd);
        const auto uiFrom = static_cast<std::uint32_t>(fields.bytes(m_uiImageIdBytes));
        const auto found = m_items.find(uiFrom);
        if (box->uiType == fourCC("dimg") && found != m_items.end()) {
            found->second.uiDerivedFrom = fields.u16();
            found->second.ulImages = fields.offset();
        }
    }
}

void CItemTables::indexLocations()
{
    if (!m_iloc)
        return;
    CFieldCursor cursor(m_source, m_iloc->ulContent, m_iloc->ulEnd);
    m_layout = readLocationLayout(cursor);
    if (!m_layout.bValid) {
        tell("meta/iloc", m_iloc->ulOffset, "has a layout that is not defined");
        return;
    }
    const unsigned uiExtentBytes = m_layout.uiIndexBytes + m_layout.uiOffsetBytes + m_layout.uiLengthBytes;
    for (std::uint64_t ulLeft = cursor.bytes(m_layout.uiIdBytes); ulLeft != 0; --ulLeft) {
        const auto uiItem = static_cast<std::uint32_t>(cursor.bytes(m_layout.uiIdBytes));
        const std::uint64_t ulLocation = cursor.offset();
        cursor.skip((m_layout.uiVersion == 0 ? 0U : 2U) + 2U + m_layout.uiBaseBytes);
        cursor.skip(std::uint64_t{cursor.u16()} * uiExtentBytes);
        if (!cursor.isComplete() || !m_output.spend(m_source, 1)) {
            tell("meta/iloc", m_iloc->ulOffset, "ends early: " + countedText(ulLeft, "item") + " without a place");
            return;
        }
        if (const auto found = m_items.find(uiItem); found != m_items.end())
            found->second.ulLocation = ulLocation;
    }
}

void CItemTables::indexAssociations(std::size_t uiAssociation)
{
    const Box& ipma = m_associations[uiAssociation];
    CFieldCursor cursor(m_source, ipma.ulContent, ipma.ulEnd);
    const FullBox full = readFullBox(cursor);
    const unsigned uiEntryBytes = (full.uiFlags & 1) != 0 ? 2 : 1;
    for (std::uint32_t uiLeft = cursor.u32(); uiLeft != 0; --uiLeft) {
        const auto uiItem = static_cast<std::uint32_t>(cursor.bytes(full.uiVersion < 1 ? 2 : 4));
        const std::uint64_t ulAssociations = cursor.offset();
        cursor.skip(std::uint64_t{cursor.u8()} * uiEntryBytes);
        if (!cursor.isComplete() || !m_output.spend(m_source, 1)) {
            tell("meta/iprp/ipma",
                 ipma.ulOffset,
                 "ends early: " + countedText(uiLeft, "item") + areOrIs(uiLeft) + "missing");
            return;
        }
        if (const auto found = m_items.find(uiItem); found != m_items.end()) {
            found->second.ulAssociations = ulAssociations;
            found->second.uiAssociation = uiAssociation;
        }
    }
}

CItemTables::LocationLayout CItemTables::readLocationLayout(CFieldCursor& cursor)
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

SampleDescription CItemTables::describe(const ImageItem& item)
{
    SampleDescription description;
    description.uiType = item.uiType;
    description.uiOriginal = item.uiType;
    description.bIsH265 = isH265Entry(item.uiType);
    if (item.ulAssociations == 0)
        return description;
    const Box& ipma = m_associations[item.uiAssociation];
    const bool bWide = (CFieldCursor(m_source, ipma.ulContent, ipma.ulEnd).u32() & 1) != 0;
    CFieldCursor cursor(m_source, item.ulAssociations, ipma.ulEnd);
    for (unsigned uiLeft = cursor.u8(); uiLeft != 0; --uiLeft) {
        const unsigned uiIndex = bWide ? cursor.u16() & 0x7fff : cursor.u8() & 0x7f;
        if (uiIndex > m_properties.size())
            tell("meta/iprp/ipma",
                 ipma.ulOffset,
                 "names property " + std::to_string(uiIndex) + " of " + std::to_string(m_properties.size()));
        else if (uiIndex != 0) {
            const Box& property = m_properties[uiIndex - 1];
            const bool bRecord = property.uiType == fourCC("hvcC") || property.uiType == fourCC("lhvC");
            if (!m_output.spend(m_source, bRecord ? 1 + property.contentSize() / 16 : 1))
                break;
            (void)takeDescriptionBox(
                description, m_source, m_output, property, "meta/iprp/ipco/" + fourCCText(property.uiType));
        }
    }
    return description;
}

std::optional<SampleDescription> CItemTables::describeImage(const ImageItem& grid, unsigned i)
{
    const std::uint64_t ulId = grid.ulImages + std::uint64_t{i} * m_uiImageIdBytes;
    CFieldCursor cursor(m_source, ulId, ulId + m_uiImageIdBytes);
    const auto uiImage = static_cast<std::uint32_t>(cursor.bytes(m_uiImageIdBytes));
    const auto image = m_items.find(uiImage);
    if (i >= grid.uiDerivedFrom || !m_output.spend(m_source, 1) || image == m_items.end() ||
        !isH265Entry(image->second.uiType))
        return std::nullopt;
    m_output.speakOf(uiImage);
    SampleDescription description = describe(image->second);
    m_output.speakOf(std::nullopt);
    return description;
}

std::optional<std::uint64_t> CItemTables::associationsOffset(const ImageItem& item) const
{
    return m_associations.empty() ? std::nullopt : std::optional(m_associations[item.uiAssociation].ulOffset);
}

// Construction 0 counts from the file's first byte, 1 from that of idat.
bool CItemTables::addExtents(std::vector<Extent>& extents, CFieldCursor& cursor, unsigned uiConstruction,
                             std::uint64_t ulBase) const
{
    const std::uint64_t ulBegin = uiConstruction == 1 ? m_idat->ulContent : m_ulFileBegin;
    const std::uint64_t ulEnd = uiConstruction == 1 ? m_idat->ulEnd : m_source.size().value_or(NO_END);
    for (unsigned uiLeft = cursor.u16(); uiLeft != 0; --uiLeft) {
        (void)cursor.bytes(m_layout.uiIndexBytes);
        const std::uint64_t ulOffset = ulBegin + ulBase + cursor.bytes(m_layout.uiOffsetBytes);
        const std::uint64_t ulSize = cursor.bytes(m_layout.uiLengthBytes);
        if (!cursor.isComplete() || ulOffset < ulBegin || ulOffset > ulEnd || ulSize > ulEnd - ulOffset ||
            extents.size() == MAX_EXTENTS)
            return false;
        extents.push_back({ulOffset, ulSize == 0 ? ulEnd - ulOffset : ulSize}); // 0: to the end
    }
    return true;
}

std::optional<std::vector<Extent>> CItemTables::extentsOf(std::uint32_t uiItem, const ImageItem& item)
{
    const std::string name = "item " + std::to_string(uiItem);
    if (item.ulLocation == 0) {
        tell("meta/iloc", m_iloc ? std::optional(m_iloc->ulOffset) : std::nullopt, name + " has no place in the file");
        return std::nullopt;
    }
    CFieldCursor cursor(m_source, item.ulLocation, m_iloc->ulEnd);
    const unsigned uiConstruction = m_layout.uiVersion == 0 ? 0 : cursor.u16() & 0xf;
    const unsigned uiReference = cursor.u16();
    const std::uint64_t ulBase = cursor.bytes(m_layout.uiBaseBytes);
    std::vector<Extent> extents;
    if (uiReference != 0)
        tell("meta/iloc", m_iloc->ulOffset, name + " lies in another file, which is not read");
    else if (uiConstruction > 1 || (uiConstruction == 1 && !m_idat))
        tell("meta/iloc",
             m_iloc->ulOffset,
             name + (uiConstruction == 1 ? " lies in an idat that is missing"
                                         : " is made from other items' bytes, which is not read"));
    else if (!addExtents(extents, cursor, uiConstruction, ulBase))
        tell("meta/iloc",
             m_iloc->ulOffset,
             name + " reaches beyond the end of what holds it, or lies in more than " + std::to_string(MAX_EXTENTS) +
                 " pieces",
             true);
    else
        return extents;
    return std::nullopt;
}

} // namespace h265_container
