// Images: items wherever they lie, grids and properties.

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ContainerFiles.h"
#include "MovieFixture.h"

namespace iso_base_media_items_test {

using namespace h265_container;
using namespace h265_test;
using namespace h265_test::movies;

namespace {

// Two images of 64x48 and what a grid makes of them, in idat.
Bytes gridFile(const Bytes& grid, std::uint32_t uiWidth, std::uint32_t uiHeight, unsigned uiImages = 2,
               const Bytes& secondProperties = {0x81, 2}, const Bytes& image = prefixed({IDR}))
{
    const auto infe = [](unsigned uiItem, std::string_view type) {
        return fullBox("infe", 2, 0, {be(2, uiItem), be(2, 0), text(type), be(1, 0)});
    };
    const auto place = [](unsigned uiItem, std::size_t uiOffset, std::size_t uiSize) {
        return joined({be(2, uiItem), be(2, 1), be(2, 0), be(2, 1), be(4, uiOffset), be(4, uiSize)});
    };
    const auto ispe = [](std::uint32_t uiW, std::uint32_t uiH) {
        return fullBox("ispe", 0, 0, {be(4, uiW), be(4, uiH)});
    };
    Bytes images;
    for (unsigned i = 0; i < uiImages; ++i)
        images = joined({images, be(2, 1 + i % 2)});
    Bytes otherFormat = hvcCContent({VPS, SPS, PPS});
    otherFormat[16] = 0xfe; // 4:2:2
    otherFormat[17] = 0xfa; // 10 bits
    const Bytes properties = box("ipco",
                                 {box("hvcC", {hvcCContent({VPS, SPS, PPS})}),
                                  ispe(64, 48),
                                  ispe(uiWidth, uiHeight),
                                  ispe(64, 64),
                                  box("hvcC", {otherFormat})});
    const Bytes associations = fullBox(
        "ipma",
        0,
        0,
        {be(4, 3), {0, 1, 2, 0x81, 2}, be(2, 2), be(1, secondProperties.size()), secondProperties, {0, 3, 1, 3}});
    return joined({FTYP,
                   box("meta",
                       {zeros(4),
                        fullBox("iloc",
                                1,
                                0,
                                {be(2, 0x4400),
                                 be(2, 3),
                                 place(1, grid.size(), image.size()),
                                 place(2, grid.size(), image.size()),
                                 place(3, 0, grid.size())}),
                        fullBox("iinf", 0, 0, {be(2, 3), infe(1, "hvc1"), infe(2, "hvc1"), infe(3, "grid")}),
                        fullBox("iref", 0, 0, {box("dimg", {be(2, 3), be(2, uiImages), images})}),
                        box("iprp", {properties, associations}),
                        box("idat", {grid, image})})});
}

TEST(IsoBaseMedia, FindsTheUnitsOfAnImage)
{
    const Bytes file = containerFile("single.heic");
    const CContainerRecord record = read(file);
    EXPECT_EQ(record.findings(), "");
    ASSERT_EQ(record.m_claims.size(), 1U);
    EXPECT_EQ(record.m_claims[0].imageSize->value.width, 64);
    EXPECT_EQ(record.m_claims[0].imageSize->value.height, 64);
    EXPECT_EQ(setsOf(record).size(), 3U);
    EXPECT_EQ(slicesOf(record).size(), 1U);
    EXPECT_TRUE(standWhereTheySay(record, file));
    EXPECT_EQ(record.m_units.back().place.substr(0, 5), "item ");
}

TEST(IsoBaseMedia, ReadsImageItemsWhereverTheyLie)
{
    for (const unsigned uiVersion : {1U, 2U}) {
        const Bytes file = imageFile(uiVersion);
        const CContainerRecord record = read(file);
        EXPECT_EQ(record.findings(), "");
        EXPECT_EQ(record.places(),
                  (std::vector<std::string>{"item 1, hvcC",
                                            "item 1, hvcC",
                                            "item 1, hvcC",
                                            "item 1",
                                            "item 2, hvcC",
                                            "item 2, hvcC",
                                            "item 2, hvcC",
                                            "item 2"}));
        EXPECT_EQ(record.m_units[3].bytes, IDR);
        EXPECT_EQ(record.m_units[7].bytes, IDR);
        EXPECT_TRUE(record.m_units[3].ulOffset);
        EXPECT_FALSE(record.m_units[7].ulOffset); // in pieces
        EXPECT_TRUE(standWhereTheySay(record, file));
        ASSERT_EQ(record.m_tracks.size(), 3U);
        EXPECT_EQ(record.m_tracks[2].codec, "grid");
        EXPECT_EQ(record.m_tracks[2].reason, "it is made of 2 other items");
        EXPECT_EQ(record.m_claims[0].imageSize->value.width, 64);
        EXPECT_FALSE(record.m_claims[1].imageSize);
    }
}

// An item that lies byte by byte in the file, from its end to its beginning: pieces are joined as they are listed.
TEST(IsoBaseMedia, TellsOfAPrimaryItemThatIsNotThere)
{
    const auto infe = [](unsigned uiVersion, unsigned uiItem) {
        const std::string_view name = uiVersion < 2 ? "name" : "hvc1";
        return fullBox("infe", uiVersion, 0, {be(2, uiItem), be(2, 0), text(name), be(1, 0)});
    };
    const auto with = [&](const Bytes& pitm, const Bytes& info) {
        return read(joined({FTYP, box("meta", {zeros(4), pitm, fullBox("iinf", 0, 0, {be(2, 2), infe(2, 1), info})})}));
    };
    const std::string told = "names item 9 as the one to show, which iinf does not have";
    const Bytes ninth = fullBox("pitm", 0, 0, {be(2, 9)});
    const CContainerRecord record = with(ninth, infe(2, 2));
    ASSERT_TRUE(record.tells(told)) << record.findings();
    EXPECT_EQ(record.finding(told)->box, "meta/pitm");
    EXPECT_EQ(record.finding(told)->ulOffset, FTYP.size() + 12);
    EXPECT_TRUE(with(fullBox("pitm", 1, 0, {be(4, 9)}), infe(2, 2)).tells(told));
    EXPECT_FALSE(with(ninth, infe(2, 9)).tells(told));
    EXPECT_FALSE(with(fullBox("pitm", 1, 0, {be(4, 9)}), infe(2, 9)).tells(told));
    EXPECT_FALSE(with(ninth, infe(1, 9)).tells(told)); // of an older edition
    EXPECT_EQ(with(fullBox("pitm", 0, 0, {be(1, 9)}), infe(2, 2)).finding("ends inside its fields")->box, "meta/pitm");
}

TEST(IsoBaseMedia, JoinsAnItemOfManyPieces)
{
    const Bytes data = prefixed({VPS, SPS, PPS, IDR});
    const auto make = [&](std::uint64_t ulData) {
        Bytes iloc = joined({be(2, 0x4400), be(2, 1), be(2, 1), be(2, 0), be(2, 0), be(2, data.size())});
        for (std::size_t i = 0; i < data.size(); ++i)
            iloc = joined({iloc, be(4, ulData + 2 * (data.size() - 1 - i)), be(4, 1)});
        return box(
            "meta",
            {zeros(4),
             fullBox("hdlr", 0, 0, {zeros(4), text("pict"), zeros(13)}),
             fullBox("iinf", 0, 0, {be(2, 1), fullBox("infe", 2, 0, {be(2, 1), be(2, 0), text("hvc1"), be(1, 0)})}),
             fullBox("iloc", 1, 0, {iloc})});
    };
    Bytes scattered;
    for (std::size_t i = data.size(); i-- > 0;) {
        scattered.push_back(data[i]);
        scattered.push_back(0xee);
    }
    const CContainerRecord record =
        read(joined({FTYP, make(FTYP.size() + make(0).size() + 8), box("mdat", {scattered})}));
    ASSERT_EQ(record.m_units.size(), 4U);
    EXPECT_EQ(record.m_units[0].bytes, VPS);
    EXPECT_EQ(record.m_units[1].bytes, SPS);
    EXPECT_EQ(record.m_units[2].bytes, PPS);
    EXPECT_EQ(record.m_units[3].bytes, IDR);
}

TEST(IsoBaseMedia, HoldsWhatAGridClaimsAgainstItsImages)
{
    const auto grid = [](unsigned uiRows, unsigned uiColumns, unsigned uiWidth, unsigned uiHeight) {
        return joined({be(2, 0), be(1, uiRows - 1), be(1, uiColumns - 1), be(2, uiWidth), be(2, uiHeight)});
    };
    EXPECT_EQ(read(gridFile(grid(1, 2, 128, 48), 128, 48)).findings(), "");
    EXPECT_EQ(read(gridFile(grid(2, 1, 60, 90), 60, 90)).findings(), "");
    const Bytes large = joined({{0, 1, 0, 1}, be(4, 128), be(4, 48)});
    EXPECT_EQ(read(gridFile(large, 128, 48)).findings(), "");
    const CContainerRecord size = read(gridFile(grid(1, 2, 128, 48), 120, 48));
    ASSERT_TRUE(size.tells("says 120x48, the grid makes a picture of 128x48"));
    EXPECT_EQ(size.m_findings[0].box, "meta/iprp/ipco/ispe");
    EXPECT_EQ(size.m_findings[0].ulTrack, 3U);
    EXPECT_EQ(read(gridFile(grid(1, 2, 130, 48), 130, 48)).findings().substr(0, 8), "grid at ");
    EXPECT_TRUE(read(gridFile(grid(1, 2, 130, 48), 130, 48))
                    .tells("makes a picture of 130x48, which 2x1 images of 64x48 do not fill"));
    EXPECT_TRUE(read(gridFile(grid(1, 2, 128, 49), 128, 49)).tells("do not fill"));
    EXPECT_TRUE(read(gridFile(grid(2, 2, 128, 96), 128, 96)).tells("is a grid of 2x2 images, and iref names 2"));
    EXPECT_TRUE(read(gridFile(grid(1, 2, 128, 48), 128, 48, 3)).tells("is a grid of 2x1 images, and iref names 3"));
    EXPECT_TRUE(read(gridFile({0, 0, 0, 1, 0, 128, 0}, 128, 48)).tells("ends inside its fields"));
}

// As of samples: what hvcC says of the lengths may not be so.
TEST(IsoBaseMedia, ReadsItemsByTheLengthsThatTheyHave)
{
    const Bytes grid = joined({{0, 0, 0, 1}, be(2, 128), be(2, 48)});
    for (const Bytes& image : {prefixed({IDR}, 2), byteStream({IDR})}) {
        const CContainerRecord record = read(gridFile(grid, 128, 48, 2, {0x81, 2}, image));
        EXPECT_TRUE(record.tells("and not lengths of 4 bytes as lengthSizeMinusOne says"));
        EXPECT_EQ(record.m_findings.size(), 2U);
        EXPECT_EQ(record.m_units.back().bytes, IDR);
    }
}

TEST(IsoBaseMedia, HoldsTheImagesOfAGridAgainstOneAnother)
{
    const Bytes grid = joined({{0, 0, 0, 1}, be(2, 128), be(2, 48)});
    const CContainerRecord size = read(gridFile(grid, 128, 48, 2, {0x81, 4}));
    ASSERT_EQ(size.m_findings.size(), 1U);
    EXPECT_EQ(size.m_findings[0].message,
              "image 2 of it is 64x64, the first one 64x48: all have one size [23008-12 6.6.2.3.1]");
    EXPECT_EQ(size.m_findings[0].eSeverity, ESeverity::Error);
    EXPECT_EQ(size.m_findings[0].ulTrack, 3U);
    const CContainerRecord format = read(gridFile(grid, 128, 48, 2, {0x85, 2}));
    ASSERT_EQ(format.m_findings.size(), 1U);
    EXPECT_EQ(format.m_findings[0].message,
              "image 2 of it is 10-bit 4:2:2, the first one 8-bit 4:2:0: few players show that");
    EXPECT_EQ(format.m_findings[0].eSeverity, ESeverity::Warning);
    EXPECT_EQ(read(gridFile(grid, 128, 48, 2, {0x81})).findings(), "");
}

// 23008-12 9.3.1: one ipma for each version and flags.
TEST(IsoBaseMedia, ReadsPropertiesFromSeveralAssociations)
{
    const Bytes file = imageFile();
    const Bytes iprp = box("iprp", {});
    const Bytes one = fullBox("ipma", 0, 0, {be(4, 1), be(2, 1), be(1, 2), be(1, 0x81), be(1, 2)});
    const Bytes wide = fullBox("ipma", 1, 1, {be(4, 1), be(4, 2), be(1, 1), be(2, 0x8001)});
    const Bytes old =
        fullBox("ipma", 0, 0, {be(4, 2), be(2, 1), be(1, 2), be(1, 0x81), be(1, 2), be(2, 2), be(1, 1), be(1, 0x81)});
    // In the place of the old one, and of free space in front of the data.
    const auto replace = [](Bytes in, const Bytes& from, const Bytes& to) {
        const auto at = std::search(in.begin(), in.end(), from.begin(), from.end());
        const auto uiAt = at - in.begin();
        in.erase(at, at + static_cast<std::ptrdiff_t>(from.size()));
        in.insert(in.begin() + uiAt, to.begin(), to.end());
        return in;
    };
    const auto uiMore = static_cast<std::uint32_t>(one.size() + wide.size() - old.size());
    Bytes grown = replace(file, old, joined({one, wide}));
    for (const char* pType : {"meta", "iprp"}) {
        const Bytes type = text(pType);
        const auto at = std::search(grown.begin(), grown.end(), type.begin(), type.end()) - 4;
        *(at + 3) = static_cast<unsigned char>(*(at + 3) + uiMore);
        if (*(at + 3) < uiMore)
            ++*(at + 2);
    }
    const CContainerRecord record = read(grown);
    ASSERT_EQ(record.m_claims.size(), 2U);
    EXPECT_TRUE(record.m_claims[0].hvcC);
    EXPECT_TRUE(record.m_claims[1].hvcC);
    EXPECT_FALSE(record.tells("has neither hvcC nor lhvC"));
    Bytes many = one;
    for (unsigned i = 0; i < 16; ++i)
        many = joined({many, one});
    EXPECT_TRUE(read(box("meta", {zeros(4), box("iprp", {many})})).tells("more than 16 of them"));
}

TEST(IsoBaseMedia, TellsWhyAnItemCannotBeRead)
{
    EXPECT_TRUE(read(imageFile(1, 2)).tells("item 1 is made from other items' bytes"));
    const Bytes protectedItem = fullBox("infe", 2, 0, {be(2, 9), be(2, 1), text("hvc1"), be(1, 0)});
    const CContainerRecord record = read(imageFile(1, 1, protectedItem));
    EXPECT_EQ(record.m_tracks.back().reason, "it is protected; only what its properties say is read");
    EXPECT_TRUE(record.tells("item 9 has no place in the file"));
    EXPECT_TRUE(record.tells("has neither hvcC nor lhvC"));
    EXPECT_TRUE(read(imageFile(1, 1, fullBox("infe", 2, 0, {be(2, 9)}))).tells("ends inside its fields"));

    const auto changed = [](std::string_view mark, std::size_t uiBehind, const Bytes& bytes) {
        Bytes file = imageFile();
        const Bytes type = text(mark);
        const auto at = std::search(file.begin(), file.end(), type.begin(), type.end());
        std::copy(bytes.begin(), bytes.end(), at + static_cast<std::ptrdiff_t>(4 + uiBehind));
        return read(file);
    };
    EXPECT_TRUE(changed("iloc", 4, be(1, 0x94)).tells("a layout that is not defined"));
    EXPECT_TRUE(changed("iloc", 6, be(2, 9)).tells("items without a place"));
    EXPECT_TRUE(changed("iloc", 4 + 2 + 2 + 2 + 2, be(2, 1)).tells("item 1 lies in another file"));
    EXPECT_TRUE(changed("iloc", 4 + 2 + 2 + 2 + 2 + 2 + 2, be(4, 0x7fffffff)).tells("beyond the end of what holds it"));
    EXPECT_TRUE(changed("ipma", 4, be(4, 99)).tells("items are missing"));
    EXPECT_TRUE(changed("ipma", 4 + 4 + 2 + 1, be(1, 0x7f)).tells("names property 127 of 2"));
    EXPECT_TRUE(changed("idat", static_cast<std::size_t>(-4), text("free")).tells("an idat that is missing"));
}

TEST(IsoBaseMedia, EndsAHeadOfATrackApartFromThatOfAnItemOfItsNumber)
{
    const Bytes images = imageFile();
    TrackSyntax track;
    track.entries = {hvc1({box("hvcC", {hvcCContent({SPS})})})};
    const Bytes sample = prefixed({OTHER_SPS, IDR});
    track.sizes = {static_cast<std::uint32_t>(sample.size())};
    track.chunks = {images.size() + 8};
    const CContainerRecord record =
        read(joined({images, box("mdat", {sample}), box("moov", {trak(track)})}), {.bHead = true});
    EXPECT_EQ(record.findings(), "");
    ASSERT_EQ(record.m_units.size(), 8U + 3U);
    EXPECT_EQ(record.m_units[9].bytes, OTHER_SPS);
}

} // namespace

} // namespace iso_base_media_items_test
