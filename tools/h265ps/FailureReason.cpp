#include "FailureReason.h"

#include <string_view>

#include "DecParameterSetReader.h"

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

// What to make of a message, or of a result that came without one.
std::string_view meaning(const ParameterSetEvent& event)
{
    const std::string_view message = event.lastMessage;
    if (event.iRead == E_NO_MEMORY)
        return "its records need more memory than the reader grants";
    if (contains(message, "sps not found"))
        return "the SPS that it names was not read before it: missing, damaged, or the stream is cut at its start";
    if (contains(message, "not enough bits"))
        return "the payload ends too early: cut short or damaged";
    if (contains(message, "vps_max_layers"))
        return "the decoder reads streams of one layer";
    if (contains(message, "4:2:0"))
        return "the decoder reads no other chroma format: convert the video to 4:2:0";
    if (contains(message, "8bit"))
        return "the decoder reads no other bit depth: convert the video to 8 bits";
    if (event.iRead == 0)
        return "the decoder does not support it";
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

std::string failureReason(const ParameterSetEvent& event, EBitReader eReader)
{
    constexpr std::uint64_t NAL_UNIT_HEADER_BYTES = 2;
    constexpr std::uint64_t CACHE_WORD_BYTES = 8;
    if (event.header.forbidden_zero_bit)
        return "forbidden_zero_bit is set: damaged";
    const std::string_view explanation = meaning(event);
    // Running out of memory and contradictions have no message: the last one is of something else.
    const bool bOwnMessage = !event.lastMessage.empty() && event.iRead != E_NO_MEMORY;
    std::string reason =
        bOwnMessage ? std::string(event.lastMessage) + " (" + std::string(explanation) + ")" : std::string(explanation);
    if (eReader == EBitReader::Decoder && event.ulSize > NAL_UNIT_HEADER_BYTES + CACHE_WORD_BYTES)
        reason += "; --reader decoder delivers payloads longer than 8 bytes with gaps, --reader rbsp does not";
    return reason;
}

} // namespace h265ps
