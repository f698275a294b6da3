#pragma once

#include <cstring>

#include "BitWriter.h"
#include "Compare.h"
#include "PayloadWriter.h"

namespace h265_model {

/// What one reading starts from, apart from the records.
struct Reading
{
    std::vector<unsigned char> payload;
    unsigned char ucPadding = 0xa5;
    std::uint64_t ulTopBitMask = std::uint64_t{1} << 63;
    int iLogLevel = 0;
    std::size_t uiFailTake = 0; // the take of the pool that fails; 0: none
};

/// The model's reader for each of the module's.
template <class TReader>
struct ModelOf;
template <>
struct ModelOf<h265_codec::CBitStreamReader>
{
    using Bits = CModelDecoderBits;
};
template <>
struct ModelOf<h265_codec::CRbspReader>
{
    using Bits = CModelRbspBits;
};

/// The records of the module and those of the model, which go through the same readings and are
/// compared after each.
template <class TReader>
class CTwins
{
public:
    static constexpr unsigned SPS_COUNT = 2;

    explicit CTwins(bool bFilled);
    ~CTwins();
    CTwins(const CTwins&) = delete;
    CTwins& operator=(const CTwins&) = delete;

    /// Makes the SPS and PPS records; the uiFailTake-th block is not given.
    void create(std::size_t uiFailTake);
    void destroy();

    /// Readings into the records; 0 for success.
    Value readVps(const Reading& reading);
    Value readSps(const Reading& reading, unsigned uiSps);
    Value readPps(const Reading& reading);

    /// Fills the table that readPPS looks in: every slot with one of the two records, or none.
    void fillTable(CRandom& random, unsigned uiEmptyPercent);
    /// Gives a record a picture.
    void setPicture(unsigned uiSps, unsigned uiWidth, unsigned uiHeight, unsigned uiCtbLog2SizeY);
    /// Cuts a picture that would make tables of many megabytes.
    void limitPicture(unsigned uiSps);

    /// Lets module and model do one thing from the same start: module(pBS, out) and model(bits, out).
    /// What they put out, log, ask the pool for and leave in the reader is compared.
    template <class TModule, class TModel>
    void step(const Reading& reading, TModule module, TModel model)
    {
        const h265_test::CLogCatcher catcher(reading.iLogLevel);
        const h265_test::CPaddedPayload payload(reading.payload, reading.ucPadding);
        TReader bs = payload.template reader<TReader>();
        bs.m_ulTopBitMask = reading.ulTopBitMask;
        pool.forgetCalls();
        pool.failTake(reading.uiFailTake);
        std::vector<Value> moduleOut;
        module(&bs, moduleOut);

        const ModelPayload modelPayload{{payload.data(), payload.data() + payload.size() + 8}, payload.size()};
        host.m_iLogLevel = reading.iLogLevel;
        host.m_uiFailIn = reading.uiFailTake;
        host.m_lines.clear();
        host.m_calls.clear();
        typename ModelOf<TReader>::Bits bits(modelPayload, host, reading.ulTopBitMask);
        std::vector<Value> modelOut;
        model(bits, modelOut);
        pool.failTake(0);
        host.m_uiFailIn = 0;

        out(moduleOut, modelOut);
        comparison.lines(catcher.lines(), host.m_lines);
        comparison.calls(pool.calls(), host.m_calls);
        comparison.state({static_cast<std::size_t>(bs.m_pCurPos - payload.data()), bs.m_uiCachedBits, bs.m_ulCache},
                         bits.state());
    }

    CDifferences differences;
    h265_test::CTestPool pool;
    CModelHost host;
    CComparison comparison{differences, pool};
    h265_codec::VPS vps;
    ModelVps modelVps;
    h265_codec::SPS* apSps[SPS_COUNT] = {};
    ModelSps aModelSps[SPS_COUNT];
    h265_codec::PPS* pPps = nullptr;
    ModelPps modelPps;

private:
    void out(const std::vector<Value>& module, const std::vector<Value>& model);
    void fillRecords();

    bool m_bFilled; // records start with ones in place of zeros
    h265_codec::SPS* m_apTable[256] = {};
    ModelSpsTable m_modelTable{};
};

extern template class CTwins<h265_codec::CBitStreamReader>;
extern template class CTwins<h265_codec::CRbspReader>;

} // namespace h265_model
