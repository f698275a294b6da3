#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ParameterSetSyntax.h"

namespace h265_inspect {

/// What is common to the three sets, by type.
template <class TSet>
struct SetKind;
template <>
struct SetKind<h265_syntax::VideoParameterSet>
{
    static constexpr unsigned TYPE = h265_syntax::VPS_NUT;
    static constexpr const char* NAME = "vps";
    static constexpr std::size_t IDS = 16; // 7.4.3.1
    static std::uint32_t idOf(const h265_syntax::VideoParameterSet& set) { return set.vps_video_parameter_set_id; }
    static std::vector<unsigned char>& extensionData(h265_syntax::VideoParameterSet& set)
    {
        return set.vps_extension_data_flag;
    }
};
template <>
struct SetKind<h265_syntax::SequenceParameterSet>
{
    static constexpr unsigned TYPE = h265_syntax::SPS_NUT;
    static constexpr const char* NAME = "sps";
    static constexpr std::size_t IDS = 16; // 7.4.3.2.1
    static std::uint32_t idOf(const h265_syntax::SequenceParameterSet& set) { return set.sps_seq_parameter_set_id; }
    static std::vector<unsigned char>& extensionData(h265_syntax::SequenceParameterSet& set)
    {
        return set.sps_extension_data_flag;
    }
};
template <>
struct SetKind<h265_syntax::PictureParameterSet>
{
    static constexpr unsigned TYPE = h265_syntax::PPS_NUT;
    static constexpr const char* NAME = "pps";
    static constexpr std::size_t IDS = 64; // 7.4.3.3.1
    static std::uint32_t idOf(const h265_syntax::PictureParameterSet& set) { return set.pps_pic_parameter_set_id; }
    static std::vector<unsigned char>& extensionData(h265_syntax::PictureParameterSet& set)
    {
        return set.pps_extension_data_flag;
    }
};

/// "sps[0]"
template <class TSet>
std::string nameOf(const TSet& set)
{
    return std::string(SetKind<TSet>::NAME).append("[").append(std::to_string(SetKind<TSet>::idOf(set))).append("]");
}

/// The set without the bits of an unknown extension, of which there can be millions.
template <class TSet>
TSet withoutExtensionData(TSet set)
{
    SetKind<TSet>::extensionData(set).clear();
    return set;
}

/// An element of a set, by its path.
struct SetElement
{
    std::string path; // "vui_parameters.colour_primaries"
    h265_syntax::EDescriptor eDescriptor;
    unsigned uiBits;
    std::int64_t iValue;
};

/// "vui_parameters.colour_primaries"
std::string pathOf(const h265_syntax::Element& element);

/// "colour_primaries" of the above.
inline std::string_view lastNameOf(std::string_view path)
{
    return path.substr(path.rfind('.') + 1); // npos + 1 is 0
}

/// Whether an element is one of the bits of an extension that is not known. They are the last of a set, and
/// there can be millions of them: who looks for elements ends in front of them.
bool isExtensionData(const h265_syntax::Element& element);

/// h265_syntax::assign, of sets that need a context and of those that do not.
bool assignTo(h265_syntax::VideoParameterSet& set, std::string_view path, std::int64_t iValue,
              const h265_syntax::Context& context);
bool assignTo(h265_syntax::SequenceParameterSet& set, std::string_view path, std::int64_t iValue,
              const h265_syntax::Context& context);
bool assignTo(h265_syntax::PictureParameterSet& set, std::string_view path, std::int64_t iValue,
              const h265_syntax::Context& context);

/// The elements of a set in coding order, without the bits of unknown extensions.
std::vector<SetElement> elementsOf(const h265_syntax::VideoParameterSet& set);
std::vector<SetElement> elementsOf(const h265_syntax::SequenceParameterSet& set);
std::vector<SetElement> elementsOf(const h265_syntax::PictureParameterSet& set);

/// The element at a path.
std::optional<SetElement> elementAt(const h265_syntax::VideoParameterSet& set, std::string_view path);
std::optional<SetElement> elementAt(const h265_syntax::SequenceParameterSet& set, std::string_view path);
std::optional<SetElement> elementAt(const h265_syntax::PictureParameterSet& set, std::string_view path);

} // namespace h265_inspect
