#include "SessionDescription.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "SessionParameters.h"
#include "SetText.h"
#include "UnitOutput.h"

namespace h265_container {

namespace {

using std::string_view;

// RFC 7798 7.1: the parameters that hold sets, in the order that sets refer to each other.
struct SetParameter
{
    string_view name;
    unsigned char nal_unit_type;
};

constexpr SetParameter SET_PARAMETERS[] = {
    {"sprop-vps", h265_stream::VPS_NUT},
    {"sprop-sps", h265_stream::SPS_NUT},
    {"sprop-pps", h265_stream::PPS_NUT},
};

constexpr string_view SET_NAMES[] = {"a VPS", "an SPS", "a PPS"};

// One line, with those that it is folded into: what stands behind its "=".
struct Line
{
    char cType;
    string_view value;
};

// RFC 8866 clause 5: a letter and "=". What begins with neither goes on with the line in front, as it was broken.
bool beginsLine(string_view line)
{
    constexpr string_view TYPES = "vosiuepcbtrzkam";
    return line.size() >= 2 && line[1] == '=' && TYPES.find(line[0]) != string_view::npos;
}

std::vector<Line> linesOf(string_view text)
{
    std::vector<Line> lines;
    for (std::size_t uiBegin = 0; uiBegin < text.size();) {
        const std::size_t uiEnd = std::min(text.find('\n', uiBegin), text.size());
        const string_view line = text.substr(uiBegin, uiEnd - uiBegin);
        if (beginsLine(line))
            lines.push_back({line[0], line.substr(2)});
        else if (!lines.empty())
            lines.back().value = {lines.back().value.data(), line.data() + line.size()};
        uiBegin = uiEnd + 1;
    }
    return lines;
}

struct Format
{
    string_view payloadType;
    string_view parameters;
};

// RFC 8866 5.14: "m=" and what belongs to it.
struct Media
{
    std::uint64_t ulNumber = 0;
    string_view kind;                             // video, audio, …
    string_view line;                             // what "m=" has
    std::map<string_view, string_view> encodings; // rtpmap: by payload type
    std::vector<Format> formats;                  // fmtp
    std::set<string_view> h265;                   // payload types
};

// Its registered one, and what is written in its place.
bool isNameOfH265(string_view name)
{
    return isSameWord(name, "H265") || isSameWord(name, "HEVC") || isSameWord(name, "H.265");
}

ETrackKind kindOfMedia(string_view kind)
{
    if (isSameWord(kind, "video"))
        return ETrackKind::Video;
    if (isSameWord(kind, "audio"))
        return ETrackKind::Audio;
    return isSameWord(kind, "text") ? ETrackKind::Text : ETrackKind::Other;
}

class CDescriptionReading
{
public:
    CDescriptionReading(string_view text, CUnitOutput& output) : m_text(text), m_output(output) {}

    void read()
    {
        const std::vector<Line> lines = linesOf(m_text);
        if (std::ranges::find(lines, 'm', &Line::cType) == lines.end()) {
            readLoose(lines);
            if (m_media.ulNumber != 0)
                return;
        }
        for (const Line& line : lines) {
            if (line.cType == 'm')
                begin(line.value);
            else if (line.cType == 'a' && m_media.ulNumber != 0)
                attribute(line.value);
            if (m_output.isStopped())
                return;
        }
        end();
        if (m_media.ulNumber == 0)
            tell(ESeverity::Warning, {}, m_text, "no media section (m=) in it");
    }

private:
    // Lines that were taken out of a description, and what a program wrote of them: all of one media section.
    void readLoose(const std::vector<Line>& lines)
    {
        m_media.ulNumber = 1;
        m_media.kind = "video";
        m_media.line = m_text;
        for (const Line& line : lines) {
            if (line.cType == 'a')
                attribute(line.value);
        }
        if (m_media.formats.empty()) {
            for (string_view rest = m_text; !rest.empty();) {
                const string_view line = takeUpTo(rest, "\n");
                const std::size_t uiBegin = findParameters(line);
                if (uiBegin != string_view::npos)
                    m_media.formats.push_back({{}, line.substr(uiBegin)});
            }
        }
        if (std::ranges::any_of(m_media.formats, [this](const Format& format) { return isH265(format); }))
            end();
        else
            m_media = {};
    }

    [[nodiscard]] std::uint64_t offsetOf(string_view part) const
    {
        return static_cast<std::uint64_t>(part.data() - m_text.data());
    }

    [[nodiscard]] std::string box(string_view parameter) const
    {
        const std::string text = "media " + std::to_string(m_media.ulNumber);
        return parameter.empty() ? text : text + ", " + std::string(parameter);
    }

    void tell(ESeverity eSeverity, string_view parameter, string_view where, const std::string& message)
    {
        const bool bMedia = m_media.ulNumber != 0;
        m_output.finding({eSeverity,
                          bMedia ? box(parameter) : std::string(),
                          offsetOf(where),
                          bMedia ? std::optional(m_media.ulNumber) : std::nullopt,
                          message});
    }

    void begin(string_view line)
    {
        end();
        m_media = {
            .ulNumber = m_media.ulNumber + 1, .kind = {}, .line = line, .encodings = {}, .formats = {}, .h265 = {}};
        m_media.kind = takeWord(line);
    }

    void attribute(string_view value)
    {
        const string_view name = takeUpTo(value, ":");
        const string_view payloadType = takeWord(value);
        if (name == "rtpmap")
            m_media.encodings.emplace(payloadType, takeUpTo(value, "/"));
        else if (name == "fmtp")
            m_media.formats.push_back({payloadType, value});
    }

    // A payload type that nothing is said of is H.265's when it has what only that has.
    bool isH265(const Format& format) const
    {
        const auto encoding = m_media.encodings.find(format.payloadType);
        if (encoding != m_media.encodings.end())
            return isNameOfH265(trimmed(encoding->second));
        return std::ranges::any_of(SET_PARAMETERS, [&](const SetParameter& parameter) {
            return format.parameters.find(std::string(parameter.name) + '=') != string_view::npos;
        });
    }

    void end()
    {
        if (m_media.ulNumber == 0 || m_output.isStopped())
            return;
        for (const auto& [payloadType, encoding] : m_media.encodings) {
            const string_view name = trimmed(encoding);
            if (!isNameOfH265(name))
                continue;
            m_media.h265.insert(payloadType);
            if (!isSameWord(name, "H265"))
                tell(ESeverity::Error,
                     "a=rtpmap",
                     encoding,
                     std::string(name) +
                         " is no encoding name of H.265: that is H265, and receivers go by it [RFC 7798 7.1]");
        }
        for (const Format& format : m_media.formats) {
            if (isH265(format))
                m_media.h265.insert(format.payloadType);
        }
        if (!m_output.keep(TRACK_BYTES)) {
            tell(ESeverity::Error, {}, m_media.line, "too many media sections: this one and what follows is not read");
            m_output.stop();
            return;
        }
        track();
        if (m_media.h265.size() == 1) // what several say of their streams is not told apart
            claims();
        if (!m_media.h265.empty())
            sets();
    }

    void track()
    {
        const bool bH265 = !m_media.h265.empty();
        string_view codec = "H265";
        if (!bH265) {
            string_view line = m_media.line;
            (void)takeWord(line); // kind
            (void)takeWord(line); // port
            codec = m_media.encodings.empty() ? takeWord(line) : trimmed(m_media.encodings.begin()->second);
        }
        m_output.track({m_media.ulNumber,
                        kindOfMedia(m_media.kind),
                        std::string(codec.substr(0, MAX_CODEC)),
                        bH265,
                        bH265 ? "" : "it is no H.265",
                        "media",
                        true});
    }

    void claims()
    {
        Claim<SessionClaim> claim{{}, box("a=fmtp"), std::nullopt};
        for (const Format& format : m_media.formats) {
            if (isH265(format))
                claimsOf(format, claim);
        }
        if (!claim.ulOffset)
            return;
        ContainerClaims claims;
        claims.ulTrack = m_media.ulNumber;
        claims.codec = "H265";
        claims.session = claim;
        m_output.claims(claims);
    }

    void claimsOf(const Format& format, Claim<SessionClaim>& claim)
    {
        for (string_view rest = format.parameters; !rest.empty();) {
            const SessionParameter parameter = takeParameter(rest);
            const KeptClaim kept = keepClaim(parameter, claim.value);
            if (kept.bClaim && !claim.ulOffset)
                claim.ulOffset = offsetOf(format.parameters);
            if (!kept.wrong.empty())
                tell(ESeverity::Warning, parameter.name, parameter.value, kept.wrong);
        }
    }

    void sets()
    {
        bool bAny = false;
        for (const SetParameter& parameter : SET_PARAMETERS) {
            for (const Format& format : m_media.formats) {
                if (isH265(format))
                    bAny = parametersOf(format, parameter) || bAny;
            }
        }
        if (!bAny)
            tell(ESeverity::Warning,
                 {},
                 m_media.line,
                 "no sprop-vps, sprop-sps or sprop-pps: its parameter sets are in the stream alone");
    }

    bool parametersOf(const Format& format, const SetParameter& wanted)
    {
        bool bFound = false;
        for (string_view rest = format.parameters; !rest.empty();) {
            const SessionParameter parameter = takeParameter(rest);
            if (isSameWord(parameter.name, wanted.name)) {
                bFound = true;
                setsOf(parameter.value, format, wanted);
            }
        }
        return bFound;
    }

    void setsOf(string_view value, const Format& format, const SetParameter& parameter)
    {
        const bool bSeveral = std::ranges::count(value, ',') != 0;
        std::string name(parameter.name);
        if (m_media.h265.size() > 1)
            name += " of payload type " + std::string(format.payloadType);
        UnitPlace place{m_media.ulNumber, "media", name, 0, {}, 0, std::nullopt};
        if (bSeveral)
            place.part = "set";
        const string_view all = value;
        do {
            place.ulPart += bSeveral ? 1 : 0;
            set(takeUpTo(value, ","), place, parameter);
        } while (!value.empty());
        if (!all.empty() && all.back() == ',')
            tell(ESeverity::Warning, name, all.substr(all.size() - 1), "a comma with nothing behind it");
    }

    void set(string_view text, const UnitPlace& place, const SetParameter& parameter)
    {
        const auto fail = [&](string_view where, const std::string& message, ESeverity eSeverity = ESeverity::Error) {
            m_output.finding({eSeverity,
                              placeText(place),
                              offsetOf(where),
                              m_media.ulNumber,
                              message,
                              eSeverity == ESeverity::Error});
        };
        const auto bytes = bytesOfText(text, ETextForm::Base64);
        if (const auto* const pError = std::get_if<TextError>(&bytes))
            return fail(text.substr(pError->uiOffset), pError->message);
        const std::vector<unsigned char>& unit = std::get<0>(bytes);
        if (unit.empty())
            return fail(text, "there is no set");
        const unsigned nal_unit_type = unit[0] >> 1 & 0x3f;
        if (nal_unit_type != parameter.nal_unit_type)
            fail(text,
                 "a NAL unit of type " + std::to_string(nal_unit_type) + ", not " +
                     std::string(SET_NAMES[parameter.nal_unit_type - h265_stream::VPS_NUT]) + " (type " +
                     std::to_string(parameter.nal_unit_type) + ')');
        m_output.unit(place, unit, unit.size(), std::nullopt);
    }

    static constexpr std::size_t TRACK_BYTES = 256; // that a track is counted as
    static constexpr std::size_t MAX_CODEC = 64;    // characters of a name

    const string_view m_text;
    CUnitOutput& m_output;
    Media m_media;
};

// All of it, as far as it is read.
std::string textOf(CRandomSource& source)
{
    constexpr std::size_t PIECE = std::size_t{64} << 10;
    std::vector<unsigned char> bytes;
    for (std::size_t uiRead = PIECE; uiRead == PIECE && bytes.size() <= MAX_SET_TEXT_BYTES;) {
        bytes.resize(bytes.size() + PIECE);
        uiRead = source.read(bytes.size() - PIECE, std::span(bytes).last(PIECE));
        bytes.resize(bytes.size() - PIECE + uiRead);
    }
    return {bytes.begin(), bytes.end()};
}

} // namespace

void readSessionDescription(CRandomSource& source, const ContainerOptions& options, CContainerSink& sink)
{
    CUnitOutput output(sink, options);
    std::string text = textOf(source);
    if (text.size() > MAX_SET_TEXT_BYTES) {
        text.resize(MAX_SET_TEXT_BYTES);
        output.finding({ESeverity::Error,
                        {},
                        MAX_SET_TEXT_BYTES,
                        std::nullopt,
                        "the description has more than " + std::to_string(MAX_SET_TEXT_BYTES) +
                            " bytes: what follows is not read"});
    }
    CDescriptionReading(text, output).read();
    output.finish();
}

} // namespace h265_container
