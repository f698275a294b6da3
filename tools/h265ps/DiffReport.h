#pragma once

#include <string>

#include "JsonWriter.h"
#include "OutputStream.h"
#include "StreamDiff.h"

namespace h265ps {

/// Writes differences, one a line for people or as one JSON document.
class CDiffReport : public h265_inspect::CDifferenceSink
{
public:
    /// a and b: the sides as they were named.
    CDiffReport(COutputStream& output, bool bJson, std::string a, std::string b);

    bool onDifference(const h265_inspect::StreamDifference& difference) override;
    void end();

    [[nodiscard]] bool differs() const noexcept { return m_bDiffers; }

private:
    void writeJson(const h265_inspect::StreamDifference& difference);
    void writeText(const h265_inspect::StreamDifference& difference);
    void beginJson();

    COutputStream& m_output;
    CJsonWriter m_json;
    const bool m_bJson;
    const std::string m_a;
    const std::string m_b;
    bool m_bBegun = false;
    bool m_bDiffers = false;
};

} // namespace h265ps
