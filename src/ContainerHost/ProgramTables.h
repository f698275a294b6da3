#pragma once

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
    unsigned char stream_type;
    bool bIsH265;
    std::vector<unsigned char> descriptors;
    std::optional<HevcDescriptorClaim> hevcDescriptor;
    std::size_t uiShortDescriptor = 0; // bytes of one that is too short to be read
};

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

/// Program association and program map tables, with their versions.
class CProgramTables
{
public:
    explicit CProgramTables(CUnitOutput& output) : m_output(output) {}

    /// Whether sections of tables come in packets of the PID.
    [[nodiscard]] bool isTable(std::uint16_t uiPid) const { return m_isTable[uiPid]; }

    /// The payload of such a packet at ulOffset. onStream gets every stream of a map table whose version is new.
    void feed(std::uint16_t uiPid, std::span<const unsigned char> payload, bool bStart, std::uint64_t ulOffset,
              const std::function<void(const ProgramStream&)>& onStream);

    void drop(std::uint16_t uiPid);

    /// Whether there is an association table, and the map table of every program has come.
    [[nodiscard]] bool isComplete() const;

private:
    using Section = std::span<const unsigned char>;

    [[nodiscard]] bool isWhole(Section section, std::uint16_t uiPid, std::uint64_t ulOffset);
    void takeAssociation(Section section);
    void takeMap(std::uint16_t uiPid, Section section, std::uint64_t ulOffset,
                 const std::function<void(const ProgramStream&)>& onStream);

    CUnitOutput& m_output;
    CSectionAssembler m_association;
    std::map<std::uint16_t, CSectionAssembler> m_maps;                                     // by PID
    std::map<std::pair<std::uint16_t, std::uint16_t>, std::optional<unsigned>> m_versions; // by PID and program
    bool m_bAssociation = false;
    std::bitset<0x2000> m_isTable{1}; // by PID
};

} // namespace h265_container
