#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "ReadUse.h"
#include "WalkUse.h"

// How a syntax structure is described: a function template over the use that is made of it, which goes
// through the structure s as its table does. A line of the table is
//
//     U(4, sps_video_parameter_set_id);                 u(4)
//     UV(v, lt_ref_pic_poc_lsb_sps, i);                 u(v), v bits; with its indices
//     FLAG(sps_temporal_id_nesting_flag);               u(1)
//     FLAGS(general_profile_compatibility_flag);        u(1) for each entry of the array, in order
//     UE(sps_seq_parameter_set_id);                     ue(v)
//     UE_UPTO(64, num_short_term_ref_pic_sets);         ue(v), a count that sizes arrays
//     SE(init_qp_minus26);                              se(v)
//     FLAGS_TO_END(sps_extension_data_flag);            while( more_rbsp_data( ) ) u(1)
//     INFER(use_delta_flag, 1, j);                      absent: inferred; for the else of its condition
//
// which names the element once. AS makes one line of an element that is stored elsewhere or indexed
// otherwise than the table has it. The loops over what a count sizes run to upTo( count ). A list that
// grows as it is coded gets entry i by ROOM(list, i), and is looked into by ENTRY(list, i).

#define H265_AT(name, ...) ::h265_syntax::at(s.name __VA_OPT__(, ) __VA_ARGS__)
#define H265_INDICES(...) __VA_OPT__(, ) __VA_ARGS__

#define U(width, name, ...) use.u(width, #name, H265_AT(name, __VA_ARGS__) H265_INDICES(__VA_ARGS__))
#define U_AS(width, name, value, ...) use.u(width, #name, value H265_INDICES(__VA_ARGS__))
#define UV(width, name, ...) use.uv(width, #name, H265_AT(name, __VA_ARGS__) H265_INDICES(__VA_ARGS__))
#define UV_AS(width, name, value, ...) use.uv(width, #name, value H265_INDICES(__VA_ARGS__))
#define FLAG(name, ...) U(1, name, __VA_ARGS__)
#define FLAGS(name, ...) use.flags(#name, H265_AT(name, __VA_ARGS__) H265_INDICES(__VA_ARGS__))
#define UE(name, ...) use.ue(#name, H265_AT(name, __VA_ARGS__) H265_INDICES(__VA_ARGS__))
#define UE_AS(name, value, ...) use.ue(#name, value H265_INDICES(__VA_ARGS__))
#define UE_UPTO(max, name, ...) use.ueUpTo(max, #name, H265_AT(name, __VA_ARGS__) H265_INDICES(__VA_ARGS__))
#define SE(name, ...) use.se(#name, H265_AT(name, __VA_ARGS__) H265_INDICES(__VA_ARGS__))
#define SE_AS(name, value, ...) use.se(#name, value H265_INDICES(__VA_ARGS__))
#define FLAGS_TO_END(name) use.flagsToEnd(#name, s.name)
#define INFER(name, value, ...) use.infer(H265_AT(name, __VA_ARGS__), value)
#define ROOM(name, i) use.room(#name, s.name, i)
#define ROOM_IN(name, i, ...) use.room(#name, H265_AT(name, __VA_ARGS__), i)
#define ENTRY(name, ...) H265_AT(name, __VA_ARGS__)

/// Instantiates a room's description for each use: X is a macro of the use.
#define H265_FOR_EACH_USE(X) X(CReadUse) X(CTellUse) X(CEditUse)

namespace h265_syntax {

template <class T>
constexpr T& at(T& value)
{
    return value;
}

// An entry that a list has too few for (ROOM has stopped the walk then) is as good as any.
template <class T>
const T& entryOf(const std::vector<T>& list, std::uint64_t i)
{
    static const T NONE{};
    return i < list.size() ? list[static_cast<std::size_t>(i)] : NONE;
}
template <class T>
constexpr auto& entryOf(T& array, std::uint64_t i)
{
    return array[static_cast<std::size_t>(i)];
}

template <class T, class... I>
constexpr auto& at(T& array, std::uint64_t i, I... further)
{
    return at(entryOf(array, i), further...);
}

/// The structure as the use takes it: const where it changes nothing.
template <class TUse, class T>
using Of = std::conditional_t<TUse::CHANGES, T, const T>;

/// A structure inside another: elements told meanwhile stand in it.
template <class TUse>
class Inside
{
public:
    Inside(TUse& use, const char* pName) : m_use(use) { use.enter(pName); }
    Inside(TUse& use, const char* pName, std::uint64_t uiIndex) : m_use(use) { use.enter(pName, uiIndex); }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;
    ~Inside() { m_use.leave(); }

private:
    TUse& m_use;
};

/// Ceil( Log2( uiValues ) ): the length of an element with so many values.
constexpr unsigned ceilLog2(std::uint64_t uiValues)
{
    return uiValues <= 1 ? 0 : static_cast<unsigned>(std::bit_width(uiValues - 1));
}

} // namespace h265_syntax
