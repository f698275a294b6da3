#include <algorithm>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "ContainerFiles.h"
#include "ContainerRecord.h"
#include "EbmlWriter.h"
#include "IsoBaseMedia.h"
#include "Matroska.h"
#include "NalUnitWriter.h"

namespace live_pipe_test {

using namespace h265_container;
using namespace h265_test;

namespace {

// What has come of a file that is still being written to a pipe: behind it one would wait.
class CSoFar : public h265_stream::CByteSource
{
public:
    CSoFar(std::span<const unsigned char> bytes, std::size_t uiPiece) : m_bytes(bytes), m_uiPiece(uiPiece) {}
    std::span<const unsigned char> next() override
    {
        if (m_bytes.empty())
            throw h265_stream::CSourceError("more is waited for", 0);
        const auto piece = m_bytes.first(std::min(m_uiPiece, m_bytes.size()));
        m_bytes = m_bytes.subspan(piece.size());
        return piece;
    }
    std::span<const unsigned char> head() override { return {}; }

private:
    std::span<const unsigned char> m_bytes;
    const std::size_t m_uiPiece;
};

template <class TRead>
void expectEveryUnitThatHasCome(const std::string& name, const TRead& read)
{
    SCOPED_TRACE(name);
    const Bytes file = containerFile(name);
    CContainerRecord whole;
    read(*makeRandomSource(file), whole);
    const auto unitsUpTo = [](const CContainerRecord& record, std::uint64_t ulEnd) {
        // Those of a configuration, which have no time, come when all of it has.
        return std::ranges::count_if(record.m_units, [&](const CContainerRecord::Unit& unit) {
            return unit.time && unit.ulOffset && *unit.ulOffset + unit.ulSize <= ulEnd;
        });
    };
    ASSERT_GT(unitsUpTo(whole, file.size()), 10);
    for (const CContainerRecord::Unit& unit : whole.m_units) {
        if (!unit.time || !unit.ulOffset)
            continue;
        for (const std::uint64_t ulCome : {*unit.ulOffset + 1, *unit.ulOffset + unit.ulSize}) {
            CContainerRecord record;
            const auto bytes = std::span(file).first(static_cast<std::size_t>(ulCome));
            const auto pSource = makeForwardSource(std::make_unique<CSoFar>(bytes, 1 + ulCome % 7));
            EXPECT_THROW(read(*pSource, record), h265_stream::CSourceError);
            ASSERT_EQ(unitsUpTo(record, ulCome), unitsUpTo(whole, ulCome)) << ulCome;
        }
    }
}

TEST(LivePipe, DeliversEveryUnitOfAMovieThatHasCome)
{
    for (const char* const pName : {"fragmented.mp4", "faststart.mp4"})
        expectEveryUnitThatHasCome(
            pName, [](CRandomSource& source, CContainerSink& sink) { readIsoBaseMedia(source, {}, sink); });
}

// A start code behind a unit's length, whose bytes come one by one.
TEST(LivePipe, ReadsUnitsAsAFileHasThem)
{
    const Bytes set{0x42, 1, 1, 2, 3};
    const Bytes frame = prefixed({joined({{0, 0, 0, 1}, set})});
    const Bytes file = joined(
        {ebmlHeader(), segment({tracks({trackEntry(hvcCContent({set}))}), cluster(0, {simpleBlock(1, 0, frame)})})});
    const auto pSource = makeForwardSource(std::make_unique<CSoFar>(file, 1));
    CContainerRecord record;
    EXPECT_THROW(readMatroska(*pSource, {}, record), h265_stream::CSourceError);
    EXPECT_EQ(record.unitBytes(), (std::vector<Bytes>{set, set}));
}

TEST(LivePipe, DeliversEveryUnitOfMatroskaThatHasCome)
{
    for (const char* const pName : {"ffmpeg.mkv", "live.mkv"})
        expectEveryUnitThatHasCome(pName,
                                   [](CRandomSource& source, CContainerSink& sink) { readMatroska(source, {}, sink); });
}

} // namespace
} // namespace live_pipe_test
