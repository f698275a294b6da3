#include "TextOutput.h"

#include <algorithm>

#include <fmt/format.h>

#include "FailureReason.h"
#include "SetNames.h"
#include "TextRecord.h"
#include "Utf8.h"

namespace h265ps {

using h265_stream::ParameterSetEvent;

namespace {

// A stream can have any number of sets in front of its first SPS.
constexpr std::size_t MAX_WAITING = std::size_t{1} << 20;

std::string resultOf(const ParameterSetEvent& event, h265_stream::EBitReader eReader, const TextStyle& style)
{
    if (isNotRead(event))
        return fmt::format("{}NOT READ: {}{}", style.pBad, failureReason(event, eReader), style.pEnd);
    if (event.bPassedOver)
        return fmt::format("passed over: of layer {}, only layer 0 is read", event.header.nuh_layer_id);
    if (event.iVerify != 0)
        return fmt::format("read, {}NOT SUPPORTED: {}{}", style.pBad, failureReason(event, eReader), style.pEnd);
    if (!event.logLines.empty())
        return fmt::format(
            "read, supported, {}but with the messages below: values can be wrong{}", style.pBad, style.pEnd);
    return fmt::format("{}read, supported{}", style.pGood, style.pEnd);
}

// The module's lines, equal neighbours once.
std::string logOf(const ParameterSetEvent& event)
{
    std::string text;
    for (auto line = event.logLines.begin(); line != event.logLines.end();) {
        const auto other = std::find_if(line, event.logLines.end(), [&](const auto& l) { return l != *line; });
        text += other - line == 1 ? fmt::format("  log: {}\n", *line)
                                  : fmt::format("  log: {} ({} times)\n", *line, other - line);
        line = other;
    }
    return text;
}

// What repeats are counted under: sets that were read by their id, the others together.
CTextReport::RepeatKey repeatKey(const ParameterSetEvent& event)
{
    if (const std::optional<unsigned> uiId = idOf(event))
        return {event.header.nal_unit_type, CTextReport::ERepeats::OfId, *uiId};
    if (isNotRead(event))
        return {event.header.nal_unit_type, CTextReport::ERepeats::NotRead, 0U};
    return {event.header.nal_unit_type, CTextReport::ERepeats::OfLayer, event.header.nuh_layer_id};
}

std::string repeatName(const CTextReport::RepeatKey& key)
{
    const auto& [nal_unit_type, eRepeats, uiNumber] = key;
    if (eRepeats == CTextReport::ERepeats::NotRead)
        return fmt::format("{} not read", typeName(nal_unit_type));
    return fmt::format(
        "{} {}{}", typeName(nal_unit_type), eRepeats == CTextReport::ERepeats::OfLayer ? "of layer " : "", uiNumber);
}

std::string recordOf(const ParameterSetEvent& event, const TextStyle& style)
{
    if (event.vps != nullptr)
        return textOf(*event.vps, style);
    if (event.sps != nullptr)
        return textOf(*event.sps, style);
    if (event.pps != nullptr)
        return textOf(*event.pps, event.spsOfPps, style);
    return "";
}

} // namespace

std::string printable(const std::string& name)
{
    const auto isControl = [](unsigned char c) { return c < ' ' || (c >= 0x7f && c < 0xa0); };
    std::string text;
    for (std::size_t i = 0; i < name.size();) {
        const std::size_t uiLength = utf8Length(static_cast<unsigned char>(name[i]));
        const std::string_view rest = std::string_view(name).substr(i + 1);
        const bool bSequence = uiLength > 1 && rest.size() + 1 >= uiLength &&
                               std::all_of(rest.begin(),
                                           rest.begin() + static_cast<std::ptrdiff_t>(uiLength - 1),
                                           [](char c) { return isUtf8Continuation(static_cast<unsigned char>(c)); });
        const std::string_view piece = std::string_view(name).substr(i, bSequence ? uiLength : 1);
        // C1 controls are the sequences C2 80 to C2 9F.
        const bool bControl = bSequence ? piece[0] == '\xc2' && isControl(static_cast<unsigned char>(piece[1]))
                                        : isControl(static_cast<unsigned char>(piece[0]));
        text += bControl ? std::string_view("?") : piece;
        i += piece.size();
    }
    return text;
}

void CTextReport::begin(const std::string& file, std::optional<std::uint64_t> /* ulBytes */)
{
    if (m_options.bFileHeadings)
        m_output.append(fmt::format("{}{}==> {} <=={}\n",
                                    m_bFirstFile ? "" : "\n",
                                    m_options.style.pHeading,
                                    printable(file),
                                    m_options.style.pEnd));
    m_bFirstFile = false;
    m_bSummaryShown = false;
    m_summary.clear();
    m_waiting.clear();
    m_repeats.clear();
    m_ulShown = 0;
}

void CTextReport::add(const ParameterSetEvent& event, bool bShown)
{
    if (!m_bSummaryShown && event.sps != nullptr)
        showSummary(summaryOf(*event.sps));
    if (!bShown)
        return;
    ++m_ulShown;
    if ((event.bRepeat || event.bSeenBefore) && !m_options.bShowRepeats) {
        ++m_repeats[repeatKey(event)];
        return;
    }
    show(block(event));
}

std::string CTextReport::block(const ParameterSetEvent& event) const
{
    const std::optional<unsigned> uiId = idOf(event);
    std::string text = fmt::format("\n{}{}{}{} at byte {}, {} byte{}: {}{}\n",
                                   m_options.style.pHeading,
                                   typeName(event.header.nal_unit_type),
                                   uiId ? fmt::format(" {}", *uiId) : "",
                                   m_options.style.pEnd,
                                   event.ulOffset,
                                   event.ulSize,
                                   event.ulSize == 1 ? "" : "s",
                                   resultOf(event, m_options.eReader, m_options.style),
                                   event.bRepeat || event.bSeenBefore ? " (repeat)" : "");
    if (event.header.nuh_temporal_id_plus1 != 1)
        text += fmt::format("  nuh_temporal_id_plus1 {}\n", event.header.nuh_temporal_id_plus1);
    if (event.sps != nullptr && summaryOf(*event.sps) != m_summary)
        text += fmt::format("  {}{}{}\n", m_options.style.pHeading, summaryOf(*event.sps), m_options.style.pEnd);
    return text + logOf(event) + recordOf(event, m_options.style);
}

void CTextReport::showSummary(const std::string& summary)
{
    m_output.append(fmt::format("{}{}{}\n", m_options.style.pHeading, summary, m_options.style.pEnd));
    m_output.append(m_waiting);
    m_waiting.clear();
    m_summary = summary;
    m_bSummaryShown = true;
}

void CTextReport::show(const std::string& block)
{
    if (m_bSummaryShown)
        return m_output.append(block);
    m_waiting += block;
    if (m_waiting.size() > MAX_WAITING)
        showSummary("no SPS among the first parameter sets: one that comes later says its size itself");
}

void CTextReport::end(std::uint64_t /* ulBytes */)
{
    if (!m_bSummaryShown)
        showSummary("no SPS was read");
    if (m_ulShown == 0)
        m_output.append("\nno parameter set of the wanted type and id\n");
    if (m_repeats.empty())
        return;
    std::string repeats;
    for (const auto& [set, ulCount] : m_repeats)
        repeats += fmt::format("{}{} {}x", repeats.empty() ? "" : ", ", repeatName(set), ulCount);
    m_output.append(fmt::format("\nrepeats not shown: {} (--all shows them)\n", repeats));
}

} // namespace h265ps
