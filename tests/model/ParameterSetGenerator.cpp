#include "ParameterSetGenerator.h"

namespace h265_model {

namespace {

// Mostly small, now and then up to uiEnd - 1.
unsigned mostlySmall(CRandom& random, unsigned uiSmallEnd, unsigned uiEnd, unsigned uiPercent)
{
    return random.chance(uiPercent) ? random.below(uiEnd) : random.below(uiSmallEnd);
}

void writeProfile(CPayloadWriter& writer, CRandom& random)
{
    writer.u(2, random.chance(90) ? 0 : random.next());
    writer.u(1, random.next());
    writer.u(5, random.next());
    writer.u(32, random.next());
    writer.u(4, random.next());
    writer.u(44, random.chance(80) ? 0 : random.next());
}

void writeOrdering(CPayloadWriter& writer, CRandom& random, unsigned uiHighest)
{
    const bool bEach = writer.flag(random.chance(50));
    for (unsigned i = bEach ? 0 : uiHighest; i <= uiHighest; ++i) {
        writer.ue(random.below(16), 32);
        writer.ue(random.below(16), 32);
        writer.ue(random.below(20), 32);
    }
}

void writePictureFormat(CPayloadWriter& writer, CRandom& random)
{
    writer.ue(random.below(16), 8);
    if (writer.ue(random.chance(70) ? 1 : random.below(4), 8) % 256 == 3)
        writer.flag(random.chance(50));
    writer.ue(8 + random.below(1000), 16);
    writer.ue(8 + random.below(1000), 16);
    if (writer.flag(random.chance(40))) {
        for (unsigned i = 0; i < 4; ++i)
            writer.ue(random.below(50), 16);
    }
    writer.ue(random.chance(70) ? 0 : random.below(9), 8);
    writer.ue(random.chance(70) ? 0 : random.below(9), 8);
}

// Returns the length of a picture order count LSB.
unsigned writePocLength(CPayloadWriter& writer, CRandom& random)
{
    const unsigned uiWish = random.chance(93) ? random.below(13) : random.below(70);
    return writer.ue(random.chance(1) ? 0xfffffffc : uiWish, 32) + 4;
}

void writeBlockSizes(CPayloadWriter& writer, CRandom& random)
{
    writer.ue(random.below(3), 8);
    writer.ue(random.below(4), 8);
    writer.ue(random.below(3), 8);
    writer.ue(random.below(4), 8);
    writer.ue(random.below(5), 8);
    writer.ue(random.below(5), 8);
    if (writer.flag(random.chance(25)) && writer.flag(random.chance(60)))
        writeScalingLists(writer, random);
}

void writePcm(CPayloadWriter& writer, CRandom& random)
{
    if (!writer.flag(random.chance(40)))
        return;
    writer.u(4, random.next());
    writer.u(4, random.next());
    writer.ue(random.below(3), 8);
    writer.ue(random.below(3), 8);
    writer.flag(random.chance(50));
}

void writeShortTermRefPicSets(CPayloadWriter& writer, CRandom& random)
{
    const unsigned uiWish = random.chance(1) ? random.below(256) : mostlySmall(random, 6, 65, 4);
    const unsigned uiCount = writer.ue(uiWish, 8) % 256;
    std::vector<WrittenRps> sets;
    for (unsigned i = 0; i < uiCount; ++i)
        writeRps(writer, random, sets, i, uiCount);
}

void writeLongTermRefPics(CPayloadWriter& writer, CRandom& random, unsigned uiPocLength)
{
    if (!writer.flag(random.chance(35)))
        return;
    const unsigned uiCount = writer.ue(mostlySmall(random, 4, 34, 20), 8) % 256;
    for (unsigned i = 0; i < uiCount; ++i) {
        writer.u(uiPocLength < 64 ? uiPocLength : 64, random.next());
        writer.flag(random.chance(50));
    }
}

// 7.4.8 as far as the entries of a predicted set matter here.
WrittenRps predictedRps(const WrittenRps& reference, int deltaRps, const std::vector<bool>& use)
{
    std::vector<int> candidates = reference.negative;
    candidates.insert(candidates.end(), reference.positive.begin(), reference.positive.end());
    candidates.push_back(0);
    WrittenRps result;
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        const int dPoc = candidates[i] + deltaRps;
        if (!use[i] || dPoc == 0)
            continue;
        std::vector<int>& entries = dPoc < 0 ? result.negative : result.positive;
        std::size_t uiPlace = 0;
        while (uiPlace < entries.size() && (dPoc < 0 ? entries[uiPlace] > dPoc : entries[uiPlace] < dPoc))
            ++uiPlace;
        entries.insert(entries.begin() + static_cast<std::ptrdiff_t>(uiPlace), dPoc);
    }
    return result;
}

WrittenRps writePredictedRps(CPayloadWriter& writer, CRandom& random, const WrittenRps& reference)
{
    const bool bNegative = writer.flag(random.chance(50));
    const unsigned uiAbsolute = writer.ue(mostlySmall(random, 6, 256, 10), 8) % 256 + 1;
    const unsigned uiByte = bNegative ? 256 - uiAbsolute : uiAbsolute % 256;
    const int deltaRps = uiByte > 127 ? static_cast<int>(uiByte) - 256 : static_cast<int>(uiByte);
    std::vector<bool> use;
    const std::size_t uiFlags = (reference.negative.size() + reference.positive.size()) % 256 + 1;
    for (std::size_t i = 0; i < uiFlags; ++i) {
        const bool bUsed = writer.flag(random.chance(60));
        use.push_back(bUsed || writer.flag(random.chance(60)));
    }
    use.resize(reference.negative.size() + reference.positive.size() + 1);
    return predictedRps(reference, deltaRps, use);
}

WrittenRps writeExplicitRps(CPayloadWriter& writer, CRandom& random)
{
    const unsigned uiEnd = random.chance(10) ? 20 : 5;
    const unsigned num_negative_pics = writer.ue(random.below(uiEnd), 8) % 256;
    const unsigned num_positive_pics = writer.ue(random.below(uiEnd), 8) % 256;
    WrittenRps result;
    unsigned uiPoc = 0;
    for (unsigned i = 0; i < num_negative_pics; ++i) {
        uiPoc -= 1 + writer.ue(random.below(4), 32);
        result.negative.push_back(static_cast<int>(uiPoc) % 100000);
        writer.flag(random.chance(60));
    }
    uiPoc = 0;
    for (unsigned i = 0; i < num_positive_pics; ++i) {
        uiPoc += 1 + writer.ue(random.below(4), 32);
        result.positive.push_back(static_cast<int>(uiPoc) % 100000);
        writer.flag(random.chance(60));
    }
    return result;
}

void writeSliceDefaults(CPayloadWriter& writer, CRandom& random)
{
    writer.u(7, random.next());
    writer.ue(random.below(16), 8);
    writer.ue(random.below(16), 8);
    writer.se(static_cast<int>(random.below(78)) - 52, 8);
    writer.u(2, random.next());
    if (writer.flag(random.chance(50)))
        writer.ue(random.below(4), 8);
    writer.se(static_cast<int>(random.below(25)) - 12, 8);
    writer.se(static_cast<int>(random.below(25)) - 12, 8);
    writer.u(4, random.next());
}

void writeTiles(CPayloadWriter& writer, CRandom& random, PictureInCtbs picture)
{
    const unsigned uiLimit = random.chance(95) ? 8 : 40;
    const unsigned uiColumnEnd = picture.uiWidth < uiLimit && !random.chance(5) ? picture.uiWidth : uiLimit;
    const unsigned uiRowEnd = picture.uiHeight < uiLimit && !random.chance(5) ? picture.uiHeight : uiLimit;
    const unsigned uiColumns = writer.ue(uiColumnEnd == 0 ? 0 : random.below(uiColumnEnd), 32);
    const unsigned uiRows = writer.ue(uiRowEnd == 0 ? 0 : random.below(uiRowEnd), 32);
    if (!writer.flag(random.chance(50))) {
        writeTileSizes(writer, random, uiColumns, picture.uiWidth);
        writeTileSizes(writer, random, uiRows, picture.uiHeight);
    }
    if (uiColumns != 0 || uiRows != 0)
        writer.flag(random.chance(50));
}

void writeTrailing(CPayloadWriter& writer, CRandom& random)
{
    if (random.chance(20))
        writer.u(random.below(64), random.next());
    writer.flag(true);
    writer.u((8 - writer.size() % 8) % 8, 0);
    while (random.chance(40))
        writer.u(32, random.next());
}

} // namespace

void writePtl(CPayloadWriter& writer, CRandom& random, unsigned max_sub_layers_minus1)
{
    writeProfile(writer, random);
    writer.u(8, random.next());
    if (max_sub_layers_minus1 == 0)
        return;
    std::vector<bool> present;
    for (unsigned i = 0; i < 2 * max_sub_layers_minus1; ++i)
        present.push_back(writer.flag(random.chance(40)));
    if (max_sub_layers_minus1 < 8)
        writer.u(16 - 2 * max_sub_layers_minus1, random.chance(80) ? 0 : random.next());
    for (unsigned i = 0; i < max_sub_layers_minus1; ++i) {
        if (present[2 * i])
            writeProfile(writer, random);
        if (present[2 * i + 1])
            writer.u(8, random.next());
    }
}

void writeVps(CPayloadWriter& writer, CRandom& random)
{
    writer.u(4, random.next());
    writer.u(2, 3);
    writer.u(6, random.chance(80) ? 0 : random.next());
    const auto uiHighest = static_cast<unsigned>(writer.u(3, mostlySmall(random, 3, 8, 40)));
    writer.flag(random.chance(50));
    writer.u(16, 0xffff);
    writePtl(writer, random, uiHighest);
    writeOrdering(writer, random, uiHighest);
    writer.u(6, random.next());
    writer.ue(random.chance(80) ? 0 : random.below(1024), 32);
    writer.u(2, random.next());
    writeTrailing(writer, random);
}

void writeSps(CPayloadWriter& writer, CRandom& random)
{
    writer.u(4, random.next());
    const auto uiHighest = static_cast<unsigned>(writer.u(3, mostlySmall(random, 3, 8, 40)));
    writer.flag(random.chance(50));
    writePtl(writer, random, uiHighest);
    writePictureFormat(writer, random);
    const unsigned uiPocLength = writePocLength(writer, random);
    writeOrdering(writer, random, uiHighest);
    writeBlockSizes(writer, random);
    writer.u(2, random.next());
    writePcm(writer, random);
    writeShortTermRefPicSets(writer, random);
    writeLongTermRefPics(writer, random, uiPocLength);
    writer.u(4, random.next());
    writeTrailing(writer, random);
}

void writePps(CPayloadWriter& writer, CRandom& random, PictureInCtbs picture, unsigned pps_seq_parameter_set_id)
{
    writer.ue(random.below(64), 8);
    writer.ue(pps_seq_parameter_set_id, 8);
    writeSliceDefaults(writer, random);
    const bool bTiles = writer.flag(random.chance(60));
    writer.flag(random.chance(50));
    if (bTiles)
        writeTiles(writer, random, picture);
    writer.flag(random.chance(50));
    if (writer.flag(random.chance(50))) {
        writer.flag(random.chance(50));
        if (!writer.flag(random.chance(40))) {
            writer.se(static_cast<int>(random.below(13)) - 6, 8);
            writer.se(static_cast<int>(random.below(13)) - 6, 8);
        }
    }
    if (writer.flag(random.chance(20)))
        writeScalingLists(writer, random);
    writer.flag(random.chance(50));
    writer.ue(random.below(5), 8);
    writer.u(2, random.next());
    writeTrailing(writer, random);
}

void writeScalingLists(CPayloadWriter& writer, CRandom& random)
{
    const unsigned uiExplicitShare = random.chance(50) ? 10 : random.below(100);
    for (unsigned uiSizeId = 0; uiSizeId < 4; ++uiSizeId) {
        for (unsigned uiMatrixId = 0; uiMatrixId < (uiSizeId == 3 ? 2U : 6U); ++uiMatrixId) {
            if (writer.flag(random.chance(uiExplicitShare)))
                writeExplicitMatrix(writer, random, uiSizeId);
            else
                writer.ue(random.below(uiMatrixId + 1), 8);
        }
    }
}

void writeExplicitMatrix(CPayloadWriter& writer, CRandom& random, unsigned uiSizeId)
{
    const bool bWild = random.chance(10);
    if (uiSizeId > 1)
        writer.se(static_cast<int>(random.below(20)) - 7);
    for (unsigned i = 0; i < (uiSizeId == 0 ? 16U : 64U); ++i) {
        const int iDelta = static_cast<int>(random.below(bWild ? 1000 : 7)) - (bWild ? 500 : 3);
        writer.se(iDelta, random.chance(50) ? 32 : 8);
    }
}

void writeTileSizes(CPayloadWriter& writer, CRandom& random, unsigned uiCount_minus1, unsigned uiSide)
{
    unsigned uiLeft = uiSide;
    for (unsigned i = 0; i < uiCount_minus1 && i < 5000; ++i) {
        const unsigned uiOthers = uiCount_minus1 - i;
        const unsigned uiRoom = uiLeft > uiOthers ? uiLeft - uiOthers : 1;
        const unsigned uiSize = writer.ue(random.chance(1) ? 0xffffffff : random.below(uiRoom), 32) + 1;
        uiLeft = uiSize < uiLeft ? uiLeft - uiSize : 0;
    }
}

void writeRps(CPayloadWriter& writer, CRandom& random, std::vector<WrittenRps>& sets, unsigned stRpsIdx,
              unsigned uiCount)
{
    if (stRpsIdx == 0 || !writer.flag(random.chance(60))) {
        sets.push_back(writeExplicitRps(writer, random));
        return;
    }
    WrittenRps reference;
    if (stRpsIdx == uiCount) {
        const unsigned uiWish = random.chance(90) ? random.below(stRpsIdx) : random.chance(50) ? 255 : stRpsIdx;
        const unsigned delta_idx = (writer.ue(uiWish, 8) + 1) % 256;
        if (delta_idx != 0 && delta_idx <= stRpsIdx && stRpsIdx - delta_idx < sets.size())
            reference = sets[stRpsIdx - delta_idx];
    } else if (stRpsIdx <= sets.size()) {
        reference = sets[stRpsIdx - 1];
    }
    sets.push_back(writePredictedRps(writer, random, reference));
}

} // namespace h265_model
