#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "BoxWalk.h"
#include "SampleEntry.h"

namespace h265_container {

/// A piece of an item in the file.
struct Extent
{
    std::uint64_t ulOffset;
    std::uint64_t ulSize;
};

/// An item's bytes where they lie in pieces. The source and the extents have to outlive it.
class CExtentSource : public CRandomSource
{
public:
    CExtentSource(CRandomSource& source, const std::vector<Extent>& extents);

    [[nodiscard]] std::uint64_t itemBytes() const { return m_ends.empty() ? 0 : m_ends.back(); }
    std::size_t read(std::uint64_t ulOffset, std::span<unsigned char> to) override;
    [[nodiscard]] std::optional<std::uint64_t> size() const override { return m_source.size(); }

private:
    CRandomSource& m_source;
    const std::vector<Extent>& m_extents;
    std::vector<std::uint64_t> m_ends; // of each in the item
};

/// What the tables of a meta box say of an item.
struct ImageItem
{
    std::uint32_t uiType = 0;
    bool bProtected = false;
    std::uint64_t ulLocation = 0;     // of its entry's fields behind the id in iloc, 0 for none
    std::uint64_t ulAssociations = 0; // of its entry's count in ipma, 0 for none
    std::size_t uiAssociation = 0;    // which ipma that is
    unsigned uiDerivedFrom = 0;       // images that iref dimg names
    std::uint64_t ulImages = 0;       // of their ids
};

/// ISO/IEC 14496-12 8.11: the tables of a meta box. Their entries are read where they lie; what is wrong with them is
/// told to the output.
class CItemTables
{
public:
    /// ulFileBegin: that places in the file count from.
    CItemTables(CUnitOutput& output, CRandomSource& source, std::uint64_t ulFileBegin)
        : m_output(output), m_source(source), m_ulFileBegin(ulFileBegin)
    {}

    /// False when there are no items.
    bool read(const Box& meta);

    [[nodiscard]] const std::map<std::uint32_t, ImageItem>& items() const { return m_items; }

    /// Properties of an item: those of a sample entry, as far as images have them.
    [[nodiscard]] SampleDescription describe(const ImageItem& item);

    /// As above, of image number i of a grid; none when it is no H.265, or cannot be found.
    [[nodiscard]] std::optional<SampleDescription> describeImage(const ImageItem& grid, unsigned i);

    /// Where the table stands that names an item's properties.
    [[nodiscard]] std::optional<std::uint64_t> associationsOffset(const ImageItem& item) const;

    /// Where an item lies; none where that is nowhere that can be read, which is told.
    [[nodiscard]] std::optional<std::vector<Extent>> extentsOf(std::uint32_t uiItem, const ImageItem& item);

private:
    struct LocationLayout // 8.11.3: the widths of iloc's fields
    {
        unsigned uiVersion = 0;
        unsigned uiOffsetBytes = 0;
        unsigned uiLengthBytes = 0;
        unsigned uiBaseBytes = 0;
        unsigned uiIndexBytes = 0;
        unsigned uiIdBytes = 2;
        bool bValid = false;
    };

    static LocationLayout readLocationLayout(CFieldCursor& cursor);
    void readItemInfo(const Box& iinf);
    void readProperties(const Box& iprp);
    void readReferences(const Box& iref);
    void indexLocations();
    void checkPrimaryItem(const Box& pitm);
    void indexAssociations(std::size_t uiAssociation);
    [[nodiscard]] bool addExtents(std::vector<Extent>& extents, CFieldCursor& cursor, unsigned uiConstruction,
                                  std::uint64_t ulBase) const;
    void tell(const std::string& path, std::optional<std::uint64_t> ulOffset, std::string message,
              bool bUnread = false);

    CUnitOutput& m_output;
    CRandomSource& m_source;
    const std::uint64_t m_ulFileBegin;
    std::map<std::uint32_t, ImageItem> m_items;
    bool m_bAllKnown = true; // every item of iinf is among them
    std::vector<Box> m_properties;
    std::vector<Box> m_associations; // ipma
    std::optional<Box> m_iloc;
    std::optional<Box> m_idat;
    LocationLayout m_layout;
    unsigned m_uiImageIdBytes = 2; // of iref
};

} // namespace h265_container
