#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "UnitOutput.h"

namespace h265_container {

/// A four-character code as it stands in a box.
constexpr std::uint32_t fourCC(std::string_view text)
{
    std::uint32_t uiCode = 0;
    for (const char c : text)
        uiCode = uiCode << 8 | static_cast<unsigned char>(c);
    return uiCode;
}

/// The code as text; bytes that are no printable ASCII as \xNN.
std::string fourCCText(std::uint32_t uiCode);

/// Big-endian integers of a range of a source, front to back. Behind the range's end everything is 0, and
/// isComplete says so.
class CFieldCursor
{
public:
    CFieldCursor(CRandomSource& source, std::uint64_t ulOffset, std::uint64_t ulEnd)
        : m_source(source), m_ulOffset(ulOffset), m_ulEnd(ulEnd)
    {}

    /// 0 to 8 bytes.
    std::uint64_t bytes(unsigned uiBytes);
    unsigned u8() { return static_cast<unsigned>(bytes(1)); }
    unsigned u16() { return static_cast<unsigned>(bytes(2)); }
    std::uint32_t u32() { return static_cast<std::uint32_t>(bytes(4)); }
    std::uint64_t u64() { return bytes(8); }
    void skip(std::uint64_t ulBytes);

    [[nodiscard]] bool isComplete() const { return m_bComplete; }
    [[nodiscard]] std::uint64_t offset() const { return m_ulOffset; }
    [[nodiscard]] std::uint64_t left() const { return m_ulEnd - m_ulOffset; }

private:
    CRandomSource& m_source;
    std::uint64_t m_ulOffset;
    std::uint64_t m_ulEnd;
    bool m_bComplete = true;
};

/// ISO/IEC 14496-12 4.2: a box with its place in the file.
struct Box
{
    std::uint32_t uiType = 0;
    std::uint64_t ulOffset = 0;  // of its header
    std::uint64_t ulContent = 0; // behind the header
    std::uint64_t ulEnd = 0;     // not behind the end of what holds it

    [[nodiscard]] std::uint64_t contentSize() const { return ulEnd - ulContent; }
};

/// Files of unknown length end here.
inline constexpr std::uint64_t NO_END = std::uint64_t{1} << 62;

/// The boxes of a file or a box, one after another. What does not fit is told.
class CBoxWalk
{
public:
    CBoxWalk(CRandomSource& source, CUnitOutput& output, std::string path, std::uint64_t ulBegin, std::uint64_t ulEnd)
        : m_source(source), m_output(output), m_path(std::move(path)), m_ulOffset(ulBegin), m_ulEnd(ulEnd)
    {}

    /// The boxes of a whole file.
    CBoxWalk(CRandomSource& source, CUnitOutput& output)
        : CBoxWalk(source, output, {}, 0, source.size().value_or(NO_END))
    {}

    /// The next box; none at the end, or where there is no box.
    std::optional<Box> next();

    /// The path of a box of this walk: moov/trak.
    [[nodiscard]] std::string pathOf(const Box& box) const;

private:
    std::optional<Box> readHeader();
    void tell(ESeverity eSeverity, const std::string& path, std::uint64_t ulOffset, std::string message,
              bool bUnread = false);
    bool fitIn(Box& box, std::uint64_t ulSize);
    void tellRest(std::size_t uiRead, bool bZeros);

    CRandomSource& m_source;
    CUnitOutput& m_output;
    const std::string m_path;
    std::uint64_t m_ulOffset;
    const std::uint64_t m_ulEnd;
};

/// ISO/IEC 14496-12 4.2.2: version and flags of a full box, which stand in front of its fields.
struct FullBox
{
    unsigned uiVersion;
    std::uint32_t uiFlags;
};
FullBox readFullBox(CFieldCursor& cursor);

} // namespace h265_container
