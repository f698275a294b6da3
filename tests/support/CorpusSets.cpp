#include "CorpusSets.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <span>
#include <stdexcept>
#include <utility>

#include "NalUnitFinder.h"
#include "Rbsp.h"

using namespace h265_stream;

namespace h265_test {

namespace {

constexpr std::size_t HEADER_BYTES = 2;

// Collects the parameter sets of one stream after another.
class CCollector : public CNalUnitSink
{
public:
    void beginStream(std::string stream)
    {
        m_stream = std::move(stream);
        m_spsRbsps.clear();
    }

    bool onNalUnit(const NalUnit& unit) override
    {
        if (!isParameterSet(unit.header.nal_unit_type) || unit.bytes.size() < HEADER_BYTES)
            return true;
        const auto extracted = m_buffer.extract(unit.bytes.subspan(HEADER_BYTES));
        const std::vector<unsigned char> rbsp(extracted.begin(), extracted.end());
        const bool bPps = unit.header.nal_unit_type == PPS_NUT;
        const CorpusSet set{m_stream, unit.header.nal_unit_type, rbsp, bPps ? m_spsRbsps : decltype(m_spsRbsps){}};
        if (m_known.insert({set.nal_unit_type, set.rbsp, set.spsRbsps}).second)
            m_sets.push_back(set);
        if (unit.header.nal_unit_type == SPS_NUT && std::ranges::find(m_spsRbsps, rbsp) == m_spsRbsps.end())
            m_spsRbsps.push_back(rbsp);
        return true;
    }

    std::vector<CorpusSet> m_sets;

private:
    std::string m_stream;
    std::vector<std::vector<unsigned char>> m_spsRbsps;
    std::set<std::tuple<unsigned char, std::vector<unsigned char>, std::vector<std::vector<unsigned char>>>> m_known;
    CRbspBuffer m_buffer;
};

} // namespace

std::vector<CorpusSet> corpusSets()
{
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(H265_TEST_CORPUS)) {
        if (entry.path().extension() == ".hevc")
            files.push_back(entry.path());
    }
    std::ranges::sort(files);

    CCollector collector;
    for (const std::filesystem::path& path : files) {
        std::ifstream file(path, std::ios::binary);
        const std::string content{std::istreambuf_iterator<char>(file), {}};
        const std::vector<unsigned char> bytes(content.begin(), content.end());
        collector.beginStream(path.filename().string());
        CNalUnitFinder finder;
        finder.feed(bytes, collector);
        finder.finish(collector);
    }
    if (collector.m_sets.empty())
        throw std::runtime_error("no parameter sets in " H265_TEST_CORPUS);
    return std::move(collector.m_sets);
}

} // namespace h265_test
