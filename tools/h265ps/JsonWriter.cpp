#include "JsonWriter.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "Utf8.h"

namespace h265ps {

namespace {

constexpr std::string_view REPLACEMENT = "\xef\xbf\xbd"; // U+FFFD

template <class T>
std::string_view digitsOf(T value, std::array<char, 24>& acDigits)
{
    const std::to_chars_result result = std::to_chars(acDigits.data(), acDigits.data() + acDigits.size(), value);
    return {acDigits.data(), static_cast<std::size_t>(result.ptr - acDigits.data())};
}

// The characters that stand as they are.
bool isPlain(char c)
{
    return static_cast<unsigned char>(c) >= ' ' && static_cast<unsigned char>(c) < 0x80 && c != '"' && c != '\\';
}

void appendEscape(CTextSink& sink, char c)
{
    constexpr char DIGITS[] = "0123456789abcdef";
    const unsigned uiCode = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
        const char acEscape[] = {'\\', c};
        return sink.append({acEscape, sizeof(acEscape)});
    }
    const char acEscape[] = {'\\', 'u', '0', '0', DIGITS[uiCode >> 4], DIGITS[uiCode & 0xf]};
    sink.append({acEscape, sizeof(acEscape)});
}

// A number of 8 bits behind its comma. Every entry is copied whole and counts for as long as it is.
struct SmallNumber
{
    char acText[4];
    unsigned char ucLength;
};

consteval std::array<SmallNumber, 256> makeSmallNumbers()
{
    std::array<SmallNumber, 256> all{};
    for (unsigned i = 0; i < all.size(); ++i) {
        SmallNumber& number = all[i];
        number.acText[number.ucLength++] = ',';
        for (unsigned uiUnit = i >= 100 ? 100 : i >= 10 ? 10 : 1; uiUnit != 0; uiUnit /= 10)
            number.acText[number.ucLength++] = static_cast<char>('0' + i / uiUnit % 10);
    }
    return all;
}

constexpr std::array<SmallNumber, 256> SMALL_NUMBERS = makeSmallNumbers();

} // namespace

void CJsonWriter::separate()
{
    if (!m_bFirst)
        m_sink.append(",");
    m_bFirst = false;
}

void CJsonWriter::value(std::string_view text)
{
    separate();
    m_sink.append(text);
}

void CJsonWriter::open(std::string_view bracket)
{
    separate();
    m_sink.append(bracket);
    m_bFirst = true;
}

void CJsonWriter::close(std::string_view bracket)
{
    m_sink.append(bracket);
    m_bFirst = false;
}

void CJsonWriter::key(std::string_view name)
{
    separate();
    m_sink.append("\"");
    m_sink.append(name);
    m_sink.append("\":");
    m_bFirst = true;
}

void CJsonWriter::number(std::int64_t iValue)
{
    std::array<char, 24> acDigits;
    value(digitsOf(iValue, acDigits));
}

void CJsonWriter::number(std::uint64_t ulValue)
{
    std::array<char, 24> acDigits;
    value(digitsOf(ulValue, acDigits));
}

void CJsonWriter::numbers(std::span<const unsigned char> values)
{
    openArray();
    while (!values.empty()) {
        const auto piece = values.first(std::min<std::size_t>(values.size(), 256));
        std::array<char, 256 * sizeof(SmallNumber::acText)> acText;
        std::size_t uiLength = 0;
        for (const unsigned char ucValue : piece) {
            const SmallNumber& number = SMALL_NUMBERS[ucValue];
            std::copy_n(number.acText, sizeof(number.acText), acText.data() + uiLength);
            uiLength += number.ucLength;
        }
        const std::size_t uiComma = m_bFirst ? 1 : 0; // in front of the very first
        m_sink.append({acText.data() + uiComma, uiLength - uiComma});
        m_bFirst = false;
        values = values.subspan(piece.size());
    }
    closeArray();
}

void CJsonWriter::text(std::string_view bytes)
{
    value("\"");
    while (!bytes.empty()) {
        std::size_t uiLength = 0;
        while (uiLength < bytes.size() && isPlain(bytes[uiLength]))
            ++uiLength;
        if (uiLength == 0 && static_cast<unsigned char>(bytes[0]) >= 0x80)
            uiLength = utf8SequenceLength(bytes);
        if (uiLength != 0)
            m_sink.append(bytes.substr(0, uiLength));
        else if (static_cast<unsigned char>(bytes[0]) >= 0x80)
            m_sink.append(REPLACEMENT);
        else
            appendEscape(m_sink, bytes[0]);
        bytes.remove_prefix(uiLength != 0 ? uiLength : 1);
    }
    m_sink.append("\"");
}

} // namespace h265ps
