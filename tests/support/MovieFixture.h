#pragma once

#include <cstdint>
#include <initializer_list>
#include <vector>

#include "ByteSource.h"
#include "ContainerFiles.h"
#include "ContainerRecord.h"
#include "IsoBaseMedia.h"
#include "MovieWriter.h"

/// Small movies and images of the ISO base media file format, and their reading.
namespace h265_test::movies {

inline const Bytes VPS{0x40, 1, 0x0c, 1};
inline const Bytes SPS{0x42, 1, 1, 2, 3};
inline const Bytes OTHER_SPS{0x42, 1, 1, 9, 9};
inline const Bytes PPS{0x44, 1, 0xc1};
inline const Bytes IDR{0x26, 1, 0xaf, 7, 7, 7};
inline const Bytes TRAIL{0x02, 1, 0xd0, 5};

inline CContainerRecord read(const Bytes& file, const h265_container::ContainerOptions& options = {})
{
    CContainerRecord record;
    const auto pSource = h265_container::makeRandomSource(file);
    h265_container::readIsoBaseMedia(*pSource, options, record);
    return record;
}

inline CContainerRecord readForward(const Bytes& file, const h265_container::ContainerOptions& options = {})
{
    CContainerRecord record;
    const auto pSource = h265_container::makeForwardSource(h265_stream::makeByteSource(file));
    h265_container::readIsoBaseMedia(*pSource, options, record);
    return record;
}

inline const Bytes FTYP = box("ftyp", {text("isom"), be(4, 0)});

inline Bytes hvc1(std::initializer_list<Bytes> boxes = {box("hvcC", {hvcCContent({VPS, SPS, PPS})})})
{
    return visualEntry("hvc1", boxes);
}

// ftyp, mdat with the samples of one chunk, moov.
inline Bytes movie(TrackSyntax track, const std::vector<Bytes>& samples)
{
    Bytes data;
    for (const Bytes& sample : samples) {
        track.sizes.push_back(static_cast<std::uint32_t>(sample.size()));
        data = joined({data, sample});
    }
    track.chunks = {FTYP.size() + 8};
    track.runs = {{1, static_cast<std::uint32_t>(samples.size()), 1}};
    return joined({FTYP, box("mdat", {data}), box("moov", {trak(track)})});
}

// A fragment behind a moov without samples.
inline Bytes initSegment(bool bDefaults = false)
{
    TrackSyntax track;
    track.entries = {hvc1()};
    track.stts = fullBox("stts", 0, 0, {be(4, 0)});
    track.runs = {};
    const Bytes trex = fullBox("trex", 0, 0, {be(4, 1), be(4, 1), be(4, 4), be(4, bDefaults ? 8 : 0), be(4, 0)});
    return joined({FTYP, box("moov", {trak(track), box("mvex", {trex})})});
}

inline Bytes mediaSegment(std::uint32_t uiTime = 50)
{
    const Bytes sample = prefixed({SPS, IDR});
    const auto moof = [&](std::uint32_t uiOffset) {
        return box("moof",
                   {fullBox("mfhd", 0, 0, {be(4, 1)}),
                    box("traf",
                        {fullBox("tfhd", 0, 0x20000, {be(4, 1)}),
                         fullBox("tfdt", 0, 0, {be(4, uiTime)}),
                         fullBox("trun",
                                 0,
                                 0xf05,
                                 {be(4, 2),
                                  be(4, uiOffset),
                                  be(4, 0),
                                  be(4, 4),
                                  be(4, sample.size()),
                                  be(4, 0),
                                  be(4, 6),
                                  be(4, 4),
                                  be(4, 8),
                                  be(4, 0),
                                  be(4, 0)})})});
    };
    return joined({moof(static_cast<std::uint32_t>(moof(0).size() + 8)), box("mdat", {sample, prefixed({TRAIL})})});
}

// An image file: a grid of two items, one in idat, one in two pieces of the file.
inline Bytes imageFile(unsigned uiVersion = 1, unsigned uiConstruction = 1, const Bytes& moreInfo = {})
{
    const Bytes data = prefixed({IDR});
    const auto infe = [](unsigned uiItem, std::string_view type) {
        return fullBox("infe", 2, 0, {be(2, uiItem), be(2, 0), text(type), be(1, 0)});
    };
    const auto make = [&](std::uint64_t ulData) {
        const unsigned uiId = uiVersion == 2 ? 4 : 2;
        const auto extent = [](std::uint64_t ulOffset, std::uint64_t ulSize) {
            return joined({be(4, ulOffset), be(4, ulSize)});
        };
        const Bytes iloc = fullBox("iloc",
                                   uiVersion,
                                   0,
                                   {be(2, 0x4400),
                                    be(uiId, 2),
                                    be(uiId, 1),
                                    be(2, uiConstruction),
                                    be(2, 0),
                                    be(2, 1),
                                    extent(0, data.size()),
                                    be(uiId, 2),
                                    be(2, 0),
                                    be(2, 0),
                                    be(2, 2),
                                    extent(ulData, 3),
                                    extent(ulData + 5, data.size() - 3)});
        return box(
            "meta",
            {zeros(4),
             fullBox("hdlr", 0, 0, {zeros(4), text("pict"), zeros(13)}),
             fullBox("iinf", 0, 0, {be(2, 3), infe(1, "hvc1"), infe(2, "hvc1"), infe(3, "grid"), moreInfo}),
             fullBox("iref", 0, 0, {box("dimg", {be(2, 3), be(2, 2), be(2, 1), be(2, 2)})}),
             iloc,
             box("iprp",
                 {box("ipco",
                      {box("hvcC", {hvcCContent({VPS, SPS, PPS})}), fullBox("ispe", 0, 0, {be(4, 64), be(4, 64)})}),
                  fullBox("ipma",
                          0,
                          0,
                          {be(4, 2), be(2, 1), be(1, 2), be(1, 0x81), be(1, 2), be(2, 2), be(1, 1), be(1, 0x81)})}),
             box("idat", {data})});
    };
    const std::uint64_t ulData = FTYP.size() + make(0).size() + 8;
    const auto middle = data.begin() + 3;
    return joined(
        {FTYP, make(ulData), box("mdat", {Bytes(data.begin(), middle), {0xee, 0xee}, Bytes(middle, data.end())})});
}

} // namespace h265_test::movies
