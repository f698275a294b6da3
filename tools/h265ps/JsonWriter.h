#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "OutputStream.h"

namespace h265ps {

/// Writes JSON into a sink, piece by piece, commas included. It takes no memory: a document that was begun
/// can always be ended.
class CJsonWriter
{
public:
    explicit CJsonWriter(CTextSink& sink) : m_sink(sink) {}

    /// In front of each document.
    void begin() { m_bFirst = true; }
    void openObject() { open("{"); }
    void closeObject() { close("}"); }
    void openArray() { open("["); }
    void closeArray() { close("]"); }

    /// In an object, in front of each value.
    void key(std::string_view name);
    void number(std::int64_t iValue);
    void number(std::uint64_t ulValue);
    /// An array of small numbers, of which a document can have a thousand for each byte of the stream.
    void numbers(std::span<const unsigned char> values);
    void flag(bool bValue) { value(bValue ? "true" : "false"); }
    void null() { value("null"); }
    /// A value that is JSON already.
    void raw(std::string_view json) { value(json); }
    /// Any bytes: what is no UTF-8 becomes U+FFFD.
    void text(std::string_view bytes);

private:
    void open(std::string_view bracket);
    void close(std::string_view bracket);
    void value(std::string_view text);
    void separate();

    CTextSink& m_sink;
    bool m_bFirst = true; // the next element is the first of its array or object, or the value of a key
};

} // namespace h265ps
