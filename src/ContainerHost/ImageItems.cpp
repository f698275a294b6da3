#include "ImageItems.h"

#include <utility>

#include "ElementaryUnits.h"
#include "ImageGrid.h"
#include "ItemTables.h"

namespace h265_container {

namespace {

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
    CImageItems(CUnitOutput& output, CRandomSource& source, std::uint64_t ulFileBegin)
        : m_output(output), m_source(source), m_tables(output, source, ulFileBegin)
    {}

    bool read(const Box& meta) { return m_tables.read(meta); }
    void deliver();

private:
    void deliverItem(std::uint32_t uiItem, const ImageItem& item);
    void checkImagesOfGrid(std::uint32_t uiItem, const ImageItem& grid, const SampleDescription& first,
                           std::uint64_t ulOffset);
    void checkGrid(std::uint32_t uiItem, const ImageItem& item);

    CUnitOutput& m_output;
    CRandomSource& m_source;
    CItemTables m_tables;
};

void CImageItems::deliverItem(std::uint32_t uiItem, const ImageItem& item)
{
    m_output.speakOf(uiItem);
    SampleDescription description = m_tables.describe(item);
    m_output.speakOf(std::nullopt);
    UnitPlace place;
    place.ulTrack = uiItem;
    place.holder = "item";
    deliverDescription(m_output, description, place, true);
    if (!description.claims.hvcC && !description.claims.lhvC)
        m_output.finding({ESeverity::Error,
                          "meta/iprp/ipma",
                          m_tables.associationsOffset(item),
                          uiItem,
                          "has neither hvcC nor lhvC; lengths of 4 bytes are assumed"});
    const auto extents = m_tables.extentsOf(uiItem, item);
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

// 23008-12 6.6.2.3.1: all images of a grid have one size; and it is one picture, so they have one format.
void CImageItems::checkImagesOfGrid(std::uint32_t uiItem, const ImageItem& grid, const SampleDescription& first,
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
        const auto image = m_tables.describeImage(grid, i);
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
void CImageItems::checkGrid(std::uint32_t uiItem, const ImageItem& item)
{
    if (item.ulLocation == 0 || item.bProtected)
        return;
    const auto first = m_tables.describeImage(item, 0);
    if (!first)
        return;
    const auto extents = m_tables.extentsOf(uiItem, item);
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
    const auto claim = m_tables.describe(item).claims.imageSize;
    if (claim && (claim->value.width != grid->uiWidth || claim->value.height != grid->uiHeight))
        tellOfItem(claim->box,
                   claim->ulOffset,
                   "says " + sizeText(claim->value) + ", the grid makes a picture of " + std::to_string(grid->uiWidth) +
                       "x" + std::to_string(grid->uiHeight));
}

void CImageItems::deliver()
{
    for (const auto& [uiItem, item] : m_tables.items()) {
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

bool deliverImageItems(CUnitOutput& output, CRandomSource& source, const Box& meta, std::uint64_t ulFileBegin)
{
    CImageItems items(output, source, ulFileBegin);
    if (!items.read(meta))
        return false;
    items.deliver();
    return true;
}

} // namespace h265_container
