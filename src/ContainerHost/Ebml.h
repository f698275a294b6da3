#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "UnitOutput.h"

namespace h265_container {

/// RFC 8794 5: bytes of an element's id at most.
inline constexpr unsigned MAX_ID_BYTES = 4;

/// RFC 8794: an element with its place in the file.
struct EbmlElement
{
    std::uint32_t uiId = 0;      // with its length marker
    std::uint64_t ulOffset = 0;  // of its id
    std::uint64_t ulContent = 0; // behind its size
    std::uint64_t ulEnd = 0;     // not behind the end of what holds it
    bool bUnknownSize = false;

    [[nodiscard]] std::uint64_t contentSize() const { return ulEnd - ulContent; }
};

/// RFC 8794 4: a variable-size integer, without its length marker.
struct EbmlVint
{
    std::uint64_t ulValue;
    unsigned uiBytes;
    bool bAllOnes; // stands for an unknown size
};

/// Bytes of one at most.
inline constexpr std::size_t MAX_VINT_BYTES = 8;

/// The one that the bytes begin with; none when it is cut or longer than eight bytes.
std::optional<EbmlVint> vintIn(std::span<const unsigned char> bytes);

/// The same, of the bytes from ulOffset to ulEnd; waits for no more than its own.
std::optional<EbmlVint> readVint(CRandomSource& source, std::uint64_t ulOffset, std::uint64_t ulEnd);

/// The elements of a file or of an element, one after another.
class CEbmlWalk
{
public:
    CEbmlWalk(CRandomSource& source, CUnitOutput& output, std::string path, std::uint64_t ulBegin, std::uint64_t ulEnd)
        : m_source(source), m_output(output), m_path(std::move(path)), m_ulOffset(ulBegin), m_ulEnd(ulEnd)
    {}

    /// The next element; none at the end, or where there is none, which isBroken tells apart.
    std::optional<EbmlElement> next();

    [[nodiscard]] bool isBroken() const { return m_bBroken; }

    /// Where the next element begins.
    [[nodiscard]] std::uint64_t offset() const { return m_ulOffset; }
    void moveTo(std::uint64_t ulOffset)
    {
        m_ulOffset = ulOffset;
        m_bBroken = false;
    }

private:
    std::optional<EbmlElement> broken(std::string message);

    CRandomSource& m_source;
    CUnitOutput& m_output;
    const std::string m_path;
    std::uint64_t m_ulOffset;
    const std::uint64_t m_ulEnd;
    bool m_bBroken = false;
};

/// RFC 8794 7.2: an unsigned integer element; 0 of more than eight bytes.
std::uint64_t readEbmlUnsigned(CRandomSource& source, const EbmlElement& element);

/// The bytes of an element, uiMost at most.
std::vector<unsigned char> readEbmlBytes(CRandomSource& source, const EbmlElement& element, std::size_t uiMost);

/// The id as it is written: 0x1F43B675.
std::string ebmlIdText(std::uint32_t uiId);

} // namespace h265_container
