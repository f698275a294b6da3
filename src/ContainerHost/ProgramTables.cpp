#include "ProgramTables.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <set>

#include "BytesAt.h"

namespace h265_container {

namespace {

constexpr unsigned char PAT_ID = 0x00;
constexpr unsigned char PMT_ID = 0x02;
constexpr unsigned char STUFFING = 0xff;
constexpr std::size_t SECTION_HEADER = 8; // with the version
constexpr std::size_t CRC_BYTES = 4;
constexpr std::size_t MAX_PROGRAMS = 16384;

using Bytes = std::span<const unsigned char>;

// Annex A of H.222.0: 0 over a section with its own CRC.
std::uint32_t crc32(Bytes bytes)
{
    std::uint32_t uiCrc = 0xffffffff;
    for (const unsigned char ucByte : bytes) {
        uiCrc ^= static_cast<std::uint32_t>(ucByte) << 24;
        for (unsigned i = 0; i < 8; ++i)
            uiCrc = (uiCrc & 0x80000000) != 0 ? uiCrc << 1 ^ 0x04c11db7 : uiCrc << 1;
    }
    return uiCrc;
}

// 2.6.95 HEVC video descriptor.
HevcDescriptorClaim readHevcDescriptor(Bytes d)
{
    HevcDescriptorClaim claim{};
    claim.profile_space = d[0] >> 6;
    claim.tier_flag = (d[0] & 0x20) != 0;
    claim.profile_idc = d[0] & 0x1f;
    claim.profile_compatibility_indication = static_cast<std::uint32_t>(uAt(d, 1, 4));
    claim.progressive_source_flag = (d[5] & 0x80) != 0;
    claim.interlaced_source_flag = (d[5] & 0x40) != 0;
    claim.non_packed_constraint_flag = (d[5] & 0x20) != 0;
    claim.frame_only_constraint_flag = (d[5] & 0x10) != 0;
    claim.copied_44bits = uAt(d, 5, 6) & 0xfffffffffff;
    claim.level_idc = d[11];
    claim.temporal_layer_subset_flag = (d[12] & 0x80) != 0;
    claim.HEVC_still_present_flag = (d[12] & 0x40) != 0;
    claim.HEVC_24hr_picture_present_flag = (d[12] & 0x20) != 0;
    claim.sub_pic_hrd_params_not_present_flag = (d[12] & 0x10) != 0;
    claim.HDR_WCG_idc = d[12] & 3;
    if (claim.temporal_layer_subset_flag && d.size() >= 15) {
        claim.temporal_id_min = d[13] >> 5;
        claim.temporal_id_max = d[14] >> 5;
    }
    return claim;
}

// Table 2-34: HEVC, its temporal and its layered parts.
bool isH265Type(unsigned char stream_type)
{
    return stream_type == 0x24 || stream_type == 0x25 || (stream_type >= 0x28 && stream_type <= 0x2b);
}

void takeDescriptors(ProgramStream& stream)
{
    constexpr unsigned char REGISTRATION = 0x05;
    constexpr unsigned char HEVC_VIDEO = 0x38;
    constexpr std::size_t HEVC_VIDEO_BYTES = 13;
    // Table 2-34: what says nothing of the content by itself.
    constexpr unsigned char PRIVATE_PES = 0x06;
    constexpr unsigned char USER_PRIVATE = 0x80;
    constexpr unsigned char MOTION_CONSTRAINED_TILES = 0x31; // of HEVC too, in parts that are not read by themselves
    const bool bOpen = stream.stream_type == PRIVATE_PES || stream.stream_type >= USER_PRIVATE;
    const Bytes bytes = stream.descriptors;
    for (std::size_t i = 0; i + 2 <= bytes.size() && i + 2 + bytes[i + 1] <= bytes.size(); i += 2U + bytes[i + 1]) {
        const Bytes content = bytes.subspan(i + 2, bytes[i + 1]);
        const bool bRegistration =
            bytes[i] == REGISTRATION && content.size() >= 4 && uAt(content, 0, 4) == 0x48455643; // "HEVC"
        if (bRegistration)
            stream.bIsH265 = true;
        if ((bRegistration || (bytes[i] == HEVC_VIDEO && stream.pOtherwise == nullptr)) && !bOpen &&
            !isH265Type(stream.stream_type) && stream.stream_type != MOTION_CONSTRAINED_TILES)
            stream.pOtherwise = bRegistration ? "its registration HEVC" : "its HEVC video descriptor";
        if (bytes[i] == HEVC_VIDEO && bOpen)
            stream.bIsH265 = true;
        if (bytes[i] == HEVC_VIDEO && content.size() >= HEVC_VIDEO_BYTES)
            stream.hevcDescriptor = readHevcDescriptor(content);
        else if (bytes[i] == HEVC_VIDEO)
            stream.uiShortDescriptor = content.size() + 2;
    }
}

// 2.4.4.8: behind the descriptors of the program.
std::vector<ProgramStream> streamsOf(Bytes map, std::uint16_t uiProgram, std::uint64_t ulOffset)
{
    std::vector<ProgramStream> streams;
    std::size_t i = SECTION_HEADER + 4 + (u16At(map, SECTION_HEADER + 2) & 0xfff);
    while (i + 5 <= map.size()) {
        ProgramStream stream{};
        stream.stream_type = map[i];
        stream.uiPid = static_cast<std::uint16_t>(u16At(map, i + 1) & 0x1fff);
        stream.uiProgram = uiProgram;
        stream.ulOffset = ulOffset;
        stream.bIsH265 = isH265Type(stream.stream_type);
        i += 5;
        const std::size_t uiInfo = std::min<std::size_t>(u16At(map, i - 2) & 0xfff, map.size() - i);
        stream.descriptors.assign(map.begin() + static_cast<std::ptrdiff_t>(i),
                                  map.begin() + static_cast<std::ptrdiff_t>(i + uiInfo));
        i += uiInfo;
        takeDescriptors(stream);
        streams.push_back(std::move(stream));
    }
    return streams;
}

} // namespace

ETrackKind kindOf(unsigned stream_type)
{
    constexpr std::array<unsigned, 9> VIDEO = {0x01, 0x02, 0x10, 0x1b, 0x20, 0x21, 0x33, 0x42, 0xea};
    constexpr std::array<unsigned, 9> AUDIO = {0x03, 0x04, 0x0f, 0x11, 0x1c, 0x81, 0x82, 0x83, 0x87};
    if (std::find(VIDEO.begin(), VIDEO.end(), stream_type) != VIDEO.end())
        return ETrackKind::Video;
    return std::find(AUDIO.begin(), AUDIO.end(), stream_type) != AUDIO.end() ? ETrackKind::Audio : ETrackKind::Other;
}

std::string typeText(unsigned stream_type)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "stream type 0x%02x", stream_type);
    return text.data();
}

void CSectionAssembler::take(Bytes bytes, const std::function<void(Bytes)>& onSection)
{
    m_section.insert(m_section.end(), bytes.begin(), bytes.end());
    while (m_section.size() >= 3 && m_section[0] != STUFFING) {
        const std::size_t uiSize = 3 + (u16At(m_section, 1) & 0xfff);
        if (m_section.size() < uiSize)
            return;
        onSection(Bytes(m_section).first(uiSize));
        m_section.erase(m_section.begin(), m_section.begin() + static_cast<std::ptrdiff_t>(uiSize));
    }
    if (!m_section.empty() && m_section[0] == STUFFING)
        drop();
}

void CSectionAssembler::feed(Bytes payload, bool bStart, const std::function<void(Bytes)>& onSection)
{
    if (!bStart) {
        if (m_bStarted && !m_section.empty())
            take(payload, onSection);
        return;
    }
    if (payload.empty())
        return;
    // pointer_field: the end of a section, then a new one.
    const std::size_t uiPointer = std::min<std::size_t>(payload[0], payload.size() - 1);
    if (m_bStarted && !m_section.empty())
        take(payload.subspan(1, uiPointer), onSection);
    drop();
    m_bStarted = true;
    take(payload.subspan(1 + uiPointer), onSection);
}

bool CProgramTables::isWhole(Section section, std::uint16_t uiPid, std::uint64_t ulOffset)
{
    if (section.size() >= SECTION_HEADER + CRC_BYTES && crc32(section) == 0)
        return true;
    m_output.findingFew(FEW_BAD_SECTIONS,
                        {ESeverity::Warning,
                         "PID " + std::to_string(uiPid),
                         ulOffset,
                         uiPid,
                         "a section of a program table is damaged; it is passed over"});
    return false;
}

void CProgramTables::feed(std::uint16_t uiPid, Section payload, bool bStart, std::uint64_t ulOffset,
                          const std::function<void(const ProgramStream&)>& onStream)
{
    const auto onSection = [&](Section section) {
        const unsigned char table_id = section[0];
        if (table_id != (uiPid == 0 ? PAT_ID : PMT_ID) || !isWhole(section, uiPid, ulOffset))
            return;
        const bool current_next_indicator = (section[5] & 1) != 0;
        if (!current_next_indicator)
            return;
        if (uiPid == 0)
            takeAssociation(section.first(section.size() - CRC_BYTES));
        else
            takeMap(uiPid, section, ulOffset, onStream);
    };
    (uiPid == 0 ? m_association : m_maps[uiPid]).feed(payload, bStart, onSection);
}

void CProgramTables::drop(std::uint16_t uiPid)
{
    (uiPid == 0 ? m_association : m_maps[uiPid]).drop();
}

// 2.4.4.3: a program that a section does not list any more is gone. Where files are joined, another one can have its
// PIDs.
void CProgramTables::takeAssociation(Section section)
{
    m_bAssociation = true;
    std::vector<Program> listed;
    for (std::size_t i = SECTION_HEADER; i + 4 <= section.size(); i += 4) {
        const auto uiProgram = static_cast<std::uint16_t>(u16At(section, i));
        const auto uiPid = static_cast<std::uint16_t>(u16At(section, i + 2) & 0x1fff);
        if (uiProgram != 0 && uiPid != 0) // 0: the network's
            listed.emplace_back(uiPid, uiProgram);
    }
    const unsigned section_number = section[6];
    const unsigned last_section_number = section[7];
    std::vector<Program> before = std::exchange(m_listed[section_number], listed);
    while (m_listed.rbegin()->first > std::max(section_number, last_section_number)) {
        const std::vector<Program>& gone = m_listed.rbegin()->second;
        before.insert(before.end(), gone.begin(), gone.end());
        m_listed.erase(std::prev(m_listed.end()));
    }
    const std::set<Program> kept(listed.begin(), listed.end());
    for (const Program& program : before) {
        if (!kept.contains(program))
            forget(program);
    }
    for (const Program& program : listed) {
        if (m_programs.size() >= MAX_PROGRAMS)
            break;
        m_maps.try_emplace(program.first);
        m_isTable.set(program.first);
        m_programs.try_emplace(program);
    }
}

void CProgramTables::forget(const Program& program)
{
    const auto found = m_programs.find(program);
    if (found == m_programs.end())
        return;
    forgetStreams(found->second);
    m_programs.erase(found);
    const std::uint16_t uiPid = program.first;
    const auto next = m_programs.lower_bound({uiPid, 0});
    if (next != m_programs.end() && next->first.first == uiPid)
        return; // of another program too
    m_maps.erase(uiPid);
    m_isTable.reset(uiPid);
    m_forgotten.push_back(uiPid);
}

void CProgramTables::forgetStreams(Map& map)
{
    for (const std::uint16_t uiPid : map.h265)
        --m_auiH265[uiPid];
    map.h265.clear();
}

void CProgramTables::tellChange(const Program& program, const Map& before, unsigned version_number,
                                std::uint64_t ulOffset)
{
    const unsigned uiKnown = *before.version_number;
    m_output.findingFew(FEW_NEW_VERSIONS,
                        {ESeverity::Note,
                         "PID " + std::to_string(program.first),
                         ulOffset,
                         program.first,
                         "the map table of program " + std::to_string(program.second) + " changes" +
                             (uiKnown == version_number ? ", its version stays " + std::to_string(uiKnown)
                                                        : " from version " + std::to_string(uiKnown) + " to " +
                                                              std::to_string(version_number))});
}

// 2.4.4.8. The version alone does not tell that it is known: where files are joined, another map has the same.
void CProgramTables::takeMap(std::uint16_t uiPid, Section section, std::uint64_t ulOffset,
                             const std::function<void(const ProgramStream&)>& onStream)
{
    const auto uiProgram = static_cast<std::uint16_t>(u16At(section, 3));
    const unsigned version_number = section[5] >> 1 & 0x1f;
    const auto found = m_programs.find({uiPid, uiProgram});
    if (found == m_programs.end() || section.size() < SECTION_HEADER + CRC_BYTES + 4)
        return; // of a program that the association does not put here, or empty
    Map& map = found->second;
    const std::uint64_t ulCrc = uAt(section, section.size() - CRC_BYTES, CRC_BYTES);
    if (map.version_number && map.ulCrc == ulCrc)
        return;
    if (map.version_number)
        tellChange(found->first, map, version_number, ulOffset);
    map.version_number = version_number;
    map.ulCrc = ulCrc;
    forgetStreams(map);
    const std::vector<ProgramStream> streams =
        streamsOf(section.first(section.size() - CRC_BYTES), uiProgram, ulOffset);
    for (const ProgramStream& stream : streams) {
        if (!stream.bIsH265)
            continue;
        map.h265.push_back(stream.uiPid);
        ++m_auiH265[stream.uiPid];
    }
    for (const ProgramStream& stream : streams)
        onStream(stream);
}

bool CProgramTables::isComplete() const
{
    return m_bAssociation && std::ranges::all_of(m_programs, [](const auto& program) {
               return program.second.version_number.has_value();
           });
}

} // namespace h265_container
