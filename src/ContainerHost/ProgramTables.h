#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "ContainerClaims.h"
#include "UnitOutput.h"

namespace h265_container {

/// ITU-T H.222.0 2.4.4: a stream as a program map table describes it.
struct ProgramStream
{
    std::uint16_t uiPid;
    std::uint16_t uiProgram;
    std::uint64_t ulOffset; // of the packet that its map ends in
    unsigned char stream_type;
    bool bIsH265;
    const char* pOtherwise = nullptr; // what says H.265 of a stream type that is not
    std::vector<unsigned char> descriptors;
    std::optional<HevcDescriptorClaim> hevcDescriptor;
    std::size_t uiShortDescriptor = 0; // bytes of one that is too short to be read
};

/// Table 2-34: the kind of track that a stream type is.
[[nodiscard]] ETrackKind kindOf(unsigned stream_type);

/// "stream type 0x24"
[[nodiscard]] std::string typeText(unsigned stream_type);

/// Puts the sections of one PID together.
class CSectionAssembler
{
public:
    /// The payload of a packet; hands every complete section on.
    void feed(std::span<const unsigned char> payload, bool bStart,
              const std::function<void(std::span<const unsigned char>)>& onSection);

    /// Bytes in front of what follows are lost.
    void drop() { m_section.clear(); }

private:
    void take(std::span<const unsigned char> bytes,
              const std::function<void(std::span<const unsigned char>)>& onSection);

    std::vector<unsigned char> m_section;
    bool m_bStarted = false;
};

/// Program association and program map tables, as they change.
class CProgramTables
{
public:
    explicit CProgramTables(CUnitOutput& output) : m_output(output) {}

    /// Whether sections of tables come in packets of the PID.
    [[nodiscard]] bool isTable(std::uint16_t uiPid) const { return m_isTable[uiPid]; }

    /// The payload of such a packet at ulOffset. onStream gets every stream of a map table that is new, or other
    /// than before.
    void feed(std::uint16_t uiPid, std::span<const unsigned char> payload, bool bStart, std::uint64_t ulOffset,
              const std::function<void(const ProgramStream&)>& onStream);

    void drop(std::uint16_t uiPid);

    /// The PIDs that tables came in and do not any more, each time once: what comes there begins anew.
    [[nodiscard]] std::vector<std::uint16_t> takeForgotten() { return std::exchange(m_forgotten, {}); }

    /// Whether the map of a program says that the stream is H.265.
    [[nodiscard]] bool isH265(std::uint16_t uiPid) const { return m_auiH265[uiPid] != 0; }

    /// Whether there is an association table, and the map table of every program has come.
    [[nodiscard]] bool isComplete() const;

private:
    using Section = std::span<const unsigned char>;
    using Program = std::pair<std::uint16_t, std::uint16_t>; // PID of its map, and number

    // The map of a program.
    struct Map
    {
        std::optional<unsigned> version_number; // none before it came
        std::uint64_t ulCrc = 0;
        std::vector<std::uint16_t> h265; // PIDs
    };

    [[nodiscard]] bool isWhole(Section section, std::uint16_t uiPid, std::uint64_t ulOffset);
    void takeAssociation(Section section);
    void forget(const Program& program);
    void takeMap(std::uint16_t uiPid, Section section, std::uint64_t ulOffset,
                 const std::function<void(const ProgramStream&)>& onStream);
    void tellChange(const Program& program, const Map& before, unsigned version_number, std::uint64_t ulOffset);
    void forgetStreams(Map& map);

    CUnitOutput& m_output;
    CSectionAssembler m_association;
    std::map<std::uint16_t, CSectionAssembler> m_maps; // by PID
    std::map<unsigned, std::vector<Program>> m_listed; // by the association's section_number
    std::map<Program, Map> m_programs;
    std::vector<std::uint16_t> m_forgotten;
    std::array<unsigned, 0x2000> m_auiH265{}; // maps that say so, by PID
    bool m_bAssociation = false;
    std::bitset<0x2000> m_isTable{1}; // by PID
};

} // namespace h265_container
