#pragma once

#include <algorithm>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "ContainerRecord.h"
#include "NalUnitFinder.h"

namespace h265_test {

inline Bytes fileBytes(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    return {content.begin(), content.end()};
}

inline Bytes containerFile(const std::string& name)
{
    return fileBytes(std::string(H265_TEST_CONTAINERS) + '/' + name);
}

/// NAL units of a stream of the corpus: type and size, and of parameter sets the bytes.
struct StreamUnits : h265_stream::CNalUnitSink
{
    explicit StreamUnits(const std::string& name)
    {
        const Bytes bytes = fileBytes(std::string(H265_TEST_CORPUS) + '/' + name + ".hevc");
        h265_stream::CNalUnitFinder finder;
        (void)finder.feed(bytes, *this);
        (void)finder.finish(*this);
    }
    bool onNalUnit(const h265_stream::NalUnit& unit) override
    {
        if (h265_stream::isParameterSet(unit.header.nal_unit_type))
            m_sets.emplace_back(unit.bytes.begin(), unit.bytes.end());
        else if (unit.header.nal_unit_type < h265_stream::VPS_NUT)
            m_slices.emplace_back(unit.header.nal_unit_type, unit.ulSize);
        return true;
    }

    std::vector<Bytes> m_sets;
    std::vector<std::pair<unsigned, std::uint64_t>> m_slices;
};

/// Each of them once, sorted.
inline std::vector<Bytes> differentOnes(std::vector<Bytes> sets)
{
    std::sort(sets.begin(), sets.end());
    sets.erase(std::unique(sets.begin(), sets.end()), sets.end());
    return sets;
}

/// The parameter sets of what was delivered.
inline std::vector<Bytes> setsOf(const CContainerRecord& record)
{
    std::vector<Bytes> sets;
    for (const auto& unit : record.m_units) {
        if (h265_stream::isParameterSet(static_cast<unsigned char>(unit.nal_unit_type)))
            sets.push_back(unit.bytes);
    }
    return sets;
}

/// Types and sizes of the slices of what was delivered.
inline std::vector<std::pair<unsigned, std::uint64_t>> slicesOf(const CContainerRecord& record)
{
    std::vector<std::pair<unsigned, std::uint64_t>> slices;
    for (const auto& unit : record.m_units) {
        if (unit.nal_unit_type < h265_stream::VPS_NUT)
            slices.emplace_back(unit.nal_unit_type, unit.ulSize);
    }
    return slices;
}

/// Whether the slices are those of the stream, some with a zero byte behind.
inline bool areTheSlicesOf(const CContainerRecord& record, const StreamUnits& stream)
{
    return std::ranges::equal(slicesOf(record), stream.m_slices, [](const auto& one, const auto& other) {
        return one.first == other.first && one.second - other.second <= 1;
    });
}

/// Whether every unit with an offset stands there in the file.
inline bool standWhereTheySay(const CContainerRecord& record, const Bytes& file)
{
    return std::all_of(record.m_units.begin(), record.m_units.end(), [&](const auto& unit) {
        return !unit.ulOffset ||
               (*unit.ulOffset + unit.bytes.size() <= file.size() &&
                std::equal(
                    unit.bytes.begin(), unit.bytes.end(), file.begin() + static_cast<std::ptrdiff_t>(*unit.ulOffset)));
    });
}

/// Calls read with the file cut at every byte, and with single bits and bytes of it changed. The bytes are
/// heap blocks of their own, so that the sanitizers see a read past them.
inline void damageInEveryWay(const Bytes& file, unsigned uiChanges, const std::function<void(const Bytes&)>& read)
{
    for (std::size_t i = 0; i <= file.size(); ++i)
        read(Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(i)));
    std::mt19937 random(265);
    for (unsigned i = 0; i < uiChanges; ++i) {
        Bytes changed = file;
        for (unsigned j = random() % 4; j + 1 != 0; --j) {
            unsigned char& ucByte = changed[random() % changed.size()];
            ucByte = static_cast<unsigned char>(random() % 3 == 0 ? random() : ucByte ^ 1U << random() % 8);
        }
        read(changed);
    }
}

} // namespace h265_test
