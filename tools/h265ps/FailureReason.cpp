#include "FailureReason.h"

#include <string_view>

#include "DecParameterSetReader.h"
#include "FormattedText.h"
#include "Gist.h"

namespace h265ps {

using namespace h265_codec;
using h265_stream::EBitReader;
using h265_stream::ERefusal;
using h265_stream::ParameterSetEvent;

namespace {

bool contains(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

// What verifySPS found: it takes 8-bit 4:2:0.
std::string unsupportedSamples(const SPS& sps)
{
    const bool bFormat = sps.chroma_format_idc != 1 || sps.separate_colour_plane_flag;
    const bool bDepth = sps.BitDepthY != 8 || sps.BitDepthC != 8;
    if (bFormat && bDepth)
        return samplesOf(sps) + ", this decoder takes 8-bit 4:2:0";
    if (bFormat)
        return chromaFormatOf(sps) + " samples, this decoder takes 4:2:0";
    return bitDepthOf(sps) + " samples, this decoder takes 8";
}

std::string notSupported(const ParameterSetEvent& event)
{
    if (event.sps != nullptr)
        return unsupportedSamples(*event.sps);
    if (event.vps != nullptr)
        return formatted("{} layers, this decoder takes 1", unsigned{event.vps->vps_max_layers_minus1} + 1);
    return "the decoder does not take it";
}

std::string refused(const ParameterSetEvent& event)
{
    if (event.eRefusal == ERefusal::PictureTooLarge)
        return formatted("it has tiles, and the picture of SPS {} has more coding tree blocks than any level allows",
                         event.spsOfPps->sps_seq_parameter_set_id);
    return "too much work: the parameter sets up to here cost more than a stream of so many bytes may";
}

// What to make of a message, or of a result that came without one.
std::string notRead(const ParameterSetEvent& event)
{
    const std::string_view message = event.lastMessage;
    if (event.bCutOff)
        return "cut off: one byte long, half of its header";
    if (event.header.forbidden_zero_bit)
        return "damaged: forbidden_zero_bit is set";
    if (event.eRefusal != ERefusal::None)
        return refused(event);
    if (event.iRead == E_NO_MEMORY)
        return "its records need more memory than the reader grants";
    if (event.missingSps)
        return formatted("it needs SPS {}, which was not read: missing, damaged, or the stream is cut at its start",
                         event.missingSps->pps_seq_parameter_set_id);
    if (contains(message, "sps not found"))
        return "the SPS that it needs was not read: missing, damaged, or the stream is cut at its start";
    if (contains(message, "not enough bits"))
        return "the payload ends too early: cut short or damaged";
    return "its values do not fit together or its payload ends too early: damaged";
}

} // namespace

bool isNotRead(const ParameterSetEvent& event)
{
    return event.bCutOff || event.header.forbidden_zero_bit || event.eRefusal != ERefusal::None || event.missingSps ||
           event.iRead.value_or(0) != 0;
}

bool isFailure(const ParameterSetEvent& event)
{
    return isNotRead(event) || event.iVerify.value_or(0) != 0;
}

FailureReason failureReason(const ParameterSetEvent& event, EBitReader eReader)
{
    constexpr std::uint64_t NAL_UNIT_HEADER_BYTES = 2;
    constexpr std::uint64_t CACHE_WORD_BYTES = 8;
    FailureReason reason{isNotRead(event) ? notRead(event) : notSupported(event), ""};
    // Running out of memory and contradictions have no message: the last one is of something else.
    if (event.iRead.has_value() && event.iRead != E_NO_MEMORY)
        reason.message = event.lastMessage;
    if (eReader == EBitReader::Decoder && event.iRead.has_value() &&
        event.ulSize > NAL_UNIT_HEADER_BYTES + CACHE_WORD_BYTES)
        reason.words += "; --reader decoder delivers payloads longer than 8 bytes with gaps, --reader rbsp does not";
    return reason;
}

} // namespace h265ps
