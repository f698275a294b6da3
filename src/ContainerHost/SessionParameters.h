#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "ContainerClaims.h"

// The words of a session description, and the parameters of its a=fmtp lines.

namespace h265_container {

/// Whether two words are the same in upper and lower case.
bool isSameWord(std::string_view one, std::string_view other);

/// Without the white space around it.
std::string_view trimmed(std::string_view text);

/// The part in front of the separator, which is taken out of the text with it.
std::string_view takeUpTo(std::string_view& text, std::string_view separators);

/// The next word, which is taken out of the text.
std::string_view takeWord(std::string_view& text);

/// "name=value"; the value as it is written, with the white space around it.
struct SessionParameter
{
    std::string_view name, value;
};

/// Where the first parameter begins that says what the stream is or has a set of it; npos when there is none.
std::size_t findParameters(std::string_view text);

/// The next parameter, which is taken out of the text with the semicolon behind it.
SessionParameter takeParameter(std::string_view& text);

/// What became of a parameter.
struct KeptClaim
{
    bool bClaim = false; // it is one that says what the stream is
    std::string wrong;   // why it could not be kept; empty: it was, or is no claim
};

/// Keeps a parameter that says what the stream is, RFC 7798 7.1.
KeptClaim keepClaim(const SessionParameter& parameter, SessionClaim& claim);

} // namespace h265_container
