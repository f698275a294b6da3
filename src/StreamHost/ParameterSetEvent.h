#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "H265psExport.h"
#include "NalUnit.h"

namespace H265PS_EXPORT h265_codec {
struct VPS;
struct SPS;
struct PPS;
} // namespace h265_codec

namespace H265PS_EXPORT h265_stream {

/// Why a set of layer 0 was not given to the module, though its NAL unit is sound.
enum class ERefusal
{
    None,
    PictureTooLarge, // PPS with tiles: the picture of its SPS has more CTBs than tables are built for
    TooMuchWork      // the sets before it cost more than the stream's bytes pay for
};

/// The ids that a PPS carries in front of everything that its SPS is needed for.
struct PpsIds
{
    unsigned pps_pic_parameter_set_id;
    unsigned pps_seq_parameter_set_id;
};

/// One VPS, SPS or PPS NAL unit and what became of it, in stream order; only a PPS that comes before its
/// SPS stands behind that SPS, or at the end when it never comes. Valid during the call only.
struct ParameterSetEvent
{
    NalUnitHeader header;   // nal_unit_type is VPS_NUT, SPS_NUT or PPS_NUT
    std::uint64_t ulOffset; // of the NAL unit header in the stream
    std::uint64_t ulSize;   // bytes, header included; neither start code nor trailing zero bytes
    // The first MAX_PARAMETER_SET_BYTES of these.
    std::span<const unsigned char> bytes;
    bool bCutOff;     // one byte long: nuh_layer_id and nuh_temporal_id_plus1 are not known, nothing is read
    bool bWaiting;    // a PPS whose SPS has not come: told by CParameterSetTables only, its event comes later
    bool bPassedOver; // of another layer, cut off or damaged (forbidden_zero_bit is set): not read
    bool bRepeat;     // the same bytes as the set in force under its id (of a PPS: and the same SPS): not read again
    bool bSeenBefore; // of one that did not come into force: the same bytes came to the same end before. Read again
    std::uint64_t ulReading; // number of the reading that made the record: the same for its repeats, new for each
                             // other one; 0 when nothing was read
    std::optional<std::uint64_t> ulSameAs; // offset of the first earlier set of the same bytes and the same record
    std::optional<std::uint64_t> ulReadAt; // of a PPS that came before its SPS: offset of the SPS that it was read at
    std::optional<PpsIds> missingSps;      // of a PPS whose SPS never came: the ids of both
    ERefusal eRefusal;
    std::optional<PpsIds> refusedPps;      // of a refused PPS: the ids of both, where they can be read
    std::optional<int> iRead;              // result of readVPS, readSPS or readPPS; none when passed over or refused
    std::optional<int> iVerify;            // result of verify…; none unless iRead is 0
    std::span<const std::string> logLines; // of the module, without their newlines; a repeat's are those of its reading
    std::string_view lastMessage; // the module's last line without its level, whatever the log level; empty without any
    const h265_codec::VPS* vps;   // the record of the matching type when iRead is 0, else all null
    const h265_codec::SPS* sps;
    const h265_codec::PPS* pps;
    const h265_codec::SPS* spsOfPps; // of a PPS: the SPS that it was read against, or whose picture is too large
};

} // namespace h265_stream
