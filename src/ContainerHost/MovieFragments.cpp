#include "MovieFragments.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "CountedText.h"

namespace h265_container {

namespace {

MovieTrack* findTrack(std::vector<MovieTrack>& tracks, std::uint32_t uiTrack)
{
    const auto found = std::ranges::find(tracks, uiTrack, &MovieTrack::uiTrack);
    return found == tracks.end() ? nullptr : &*found;
}

// What a track fragment's boxes share.
struct TrackFragment
{
    MovieTrack* pTrack = nullptr;
    FragmentDefaults defaults;
    std::uint64_t ulBase = 0; // that offsets of runs count from
    std::uint64_t ulNext = 0; // where a run without an offset begins
};

// 8.8.7 tfhd.
void readFragmentHeader(TrackFragment& fragment, CRandomSource& source, const Box& tfhd, std::uint64_t ulMoof,
                        std::vector<MovieTrack>& tracks)
{
    CFieldCursor cursor(source, tfhd.ulContent, tfhd.ulEnd);
    const std::uint32_t uiFlags = readFullBox(cursor).uiFlags;
    fragment.pTrack = findTrack(tracks, cursor.u32());
    if (fragment.pTrack != nullptr)
        fragment.defaults = fragment.pTrack->defaults;
    if ((uiFlags & 0x1) != 0)
        fragment.ulBase = cursor.u64() + (fragment.pTrack != nullptr ? fragment.pTrack->ulFileBegin : 0);
    else if ((uiFlags & 0x20000) != 0)
        fragment.ulBase = ulMoof;
    fragment.ulNext = fragment.ulBase;
    if ((uiFlags & 0x2) != 0)
        fragment.defaults.uiDescription = cursor.u32();
    if ((uiFlags & 0x8) != 0)
        fragment.defaults.uiDuration = cursor.u32();
    if ((uiFlags & 0x10) != 0)
        fragment.defaults.uiSize = cursor.u32();
}

// 8.8.8 trun: the layout that its flags say.
struct Run
{
    std::uint32_t uiFlags;
    std::uint32_t uiSamples;

    [[nodiscard]] bool has(std::uint32_t uiFlag) const { return (uiFlags & uiFlag) != 0; }
    [[nodiscard]] unsigned entryBytes() const
    {
        return 4U * (unsigned{has(0x100)} + unsigned{has(0x200)} + unsigned{has(0x400)} + unsigned{has(0x800)});
    }
};

// Samples that nobody wants count too: the next traf's data can begin behind them.
void deliverRunSamples(CUnitOutput& output, CRandomSource& source, TrackFragment& fragment, const Run& run,
                       CFieldCursor& cursor)
{
    MovieTrack* const pTrack = fragment.pTrack;
    const auto isWanted = [&] { return pTrack != nullptr && pTrack->isH265() && !output.isTrackDone(pTrack->uiTrack); };
    if (!isWanted() && !run.has(0x200)) {
        fragment.ulNext += std::uint64_t{run.uiSamples} * fragment.defaults.uiSize;
        return;
    }
    for (std::uint32_t i = 0; i < run.uiSamples; ++i) {
        if (output.isStopped() || !output.spend(source, 1))
            return;
        const std::uint32_t uiDuration = run.has(0x100) ? cursor.u32() : fragment.defaults.uiDuration;
        const std::uint32_t uiSize = run.has(0x200) ? cursor.u32() : fragment.defaults.uiSize;
        if (run.has(0x400))
            cursor.skip(4);
        const auto iShift = static_cast<std::int32_t>(run.has(0x800) ? cursor.u32() : 0);
        const std::uint64_t ulBegin = std::exchange(fragment.ulNext, fragment.ulNext + uiSize);
        if (!isWanted())
            continue;
        const std::uint64_t ulTime = pTrack->ulDecodeTime + static_cast<std::uint64_t>(std::int64_t{iShift});
        pTrack->ulDecodeTime += uiDuration;
        const Sample sample{++pTrack->ulSamples, uiSize, static_cast<std::int64_t>(ulTime)};
        if (const auto ulEnd = source.size(); ulEnd && ulBegin >= *ulEnd && uiSize != 0) {
            output.findingOnce(ONCE_OUTSIDE,
                               {ESeverity::Error,
                                "moof/traf/trun",
                                *ulEnd,
                                pTrack->uiTrack,
                                "sample " + std::to_string(sample.ulNumber) + " begins at byte " +
                                    std::to_string(ulBegin) + ", behind the end of the file at " +
                                    std::to_string(*ulEnd) + "; it and all others there are lost",
                                true});
            return;
        }
        deliverSample(output, source, *pTrack, fragment.defaults.uiDescription, ulBegin, sample);
    }
}

void deliverRun(CUnitOutput& output, CRandomSource& source, TrackFragment& fragment, const Box& trun,
                const std::string& path)
{
    CFieldCursor cursor(source, trun.ulContent, trun.ulEnd);
    Run run{readFullBox(cursor).uiFlags, cursor.u32()};
    if (run.has(0x1))
        fragment.ulNext =
            fragment.ulBase + static_cast<std::uint64_t>(std::int64_t{static_cast<std::int32_t>(cursor.u32())});
    if (run.has(0x4))
        cursor.skip(4);
    const std::uint64_t ulRoom = run.entryBytes() == 0 ? run.uiSamples : cursor.left() / run.entryBytes();
    if (!cursor.isComplete() || run.uiSamples > ulRoom) {
        output.finding(
            {ESeverity::Error,
             path,
             trun.ulOffset,
             fragment.pTrack != nullptr ? std::optional<std::uint64_t>(fragment.pTrack->uiTrack) : std::nullopt,
             "counts " + countedText(run.uiSamples, "sample") + " and has room for " + std::to_string(ulRoom)});
        run.uiSamples = static_cast<std::uint32_t>(ulRoom);
    }
    // Samples without bytes and without entries are as many as somebody likes.
    if (run.entryBytes() == 0 && fragment.defaults.uiSize == 0)
        return;
    deliverRunSamples(output, source, fragment, run, cursor);
}

// Delivers the samples of a traf; where the next one's data begins unless it says so.
std::uint64_t deliverTrackFragment(CUnitOutput& output, CRandomSource& source, const Box& moof, const Box& traf,
                                   const std::string& path, std::uint64_t ulBase, std::vector<MovieTrack>& tracks)
{
    TrackFragment fragment;
    fragment.ulBase = ulBase;
    fragment.ulNext = ulBase;
    CBoxWalk walk(source, output, path, traf.ulContent, traf.ulEnd);
    while (const auto box = walk.next()) {
        if (box->uiType == fourCC("tfhd")) {
            readFragmentHeader(fragment, source, *box, moof.ulOffset, tracks);
            if (fragment.pTrack == nullptr)
                output.findingOnce(ONCE_NO_DESCRIPTION,
                                   {ESeverity::Error,
                                    walk.pathOf(*box),
                                    box->ulOffset,
                                    std::nullopt,
                                    "a fragment of a track that no moov describes; its samples are not read",
                                    true});
            else if (fragment.pTrack->isH265() && !fragment.pTrack->bHasDefaults)
                output.findingOnce(ONCE_NO_DEFAULTS,
                                   {ESeverity::Error,
                                    walk.pathOf(*box),
                                    box->ulOffset,
                                    fragment.pTrack->uiTrack,
                                    "a fragment of a track that no trex in moov/mvex announces: players that go by "
                                    "moov do not look for it [14496-12 8.8.3]"});
        } else if (box->uiType == fourCC("tfdt") && fragment.pTrack != nullptr) {
            CFieldCursor cursor(source, box->ulContent, box->ulEnd);
            fragment.pTrack->ulDecodeTime = readFullBox(cursor).uiVersion == 1 ? cursor.u64() : cursor.u32();
        } else if (box->uiType == fourCC("trun"))
            deliverRun(output, source, fragment, *box, walk.pathOf(*box));
    }
    return fragment.ulNext;
}

} // namespace

void readFragmentDefaults(CUnitOutput& output, CRandomSource& source, const Box& mvex, std::vector<MovieTrack>& tracks)
{
    CBoxWalk walk(source, output, "moov/mvex", mvex.ulContent, mvex.ulEnd);
    while (const auto box = walk.next()) {
        if (box->uiType != fourCC("trex"))
            continue;
        CFieldCursor cursor(source, box->ulContent, box->ulEnd);
        (void)readFullBox(cursor);
        if (MovieTrack* const pTrack = findTrack(tracks, cursor.u32())) {
            pTrack->defaults = {cursor.u32(), cursor.u32(), cursor.u32()};
            pTrack->bHasDefaults = true;
        }
    }
}

void deliverFragment(CUnitOutput& output, CRandomSource& source, const Box& moof, std::vector<MovieTrack>& tracks)
{
    CBoxWalk walk(source, output, "moof", moof.ulContent, moof.ulEnd);
    std::uint64_t ulBase = moof.ulOffset;
    while (const auto box = walk.next()) {
        if (box->uiType == fourCC("traf"))
            ulBase = deliverTrackFragment(output, source, moof, *box, walk.pathOf(*box), ulBase, tracks);
    }
}

} // namespace h265_container
