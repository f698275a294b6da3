#include "InputStream.h"

#include "FileTracks.h"
#include "StreamLooks.h"

namespace h265ps {

using h265_container::EFileKind;
using h265_container::FileKind;

FileKind kindOf(h265_stream::CByteSource& source)
{
    while (!h265_container::isFileKindSettled(source.head()) && source.growHead()) {
    }
    return h265_container::fileKind(source.head());
}

std::optional<std::string> foreignReason(const FileKind& kind, std::span<const unsigned char> head)
{
    std::string name(kind.name);
    if (kind.eKind == EFileKind::ByteStream || kind.eKind == EFileKind::Unknown) {
        const std::optional<std::string_view> video = otherVideo(head);
        if (!video)
            return std::nullopt;
        name = *video;
    }
    std::string reason = "not an Annex B byte stream of H.265: it looks like " + name;
    if (!kind.command.empty())
        reason += "; an H.265 stream comes out of it with: " + std::string(kind.command);
    return reason;
}

} // namespace h265ps
