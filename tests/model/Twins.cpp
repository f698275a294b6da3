#include "Twins.h"

#include <algorithm>

namespace h265_model {

using namespace h265_codec;

template <class TReader>
CTwins<TReader>::CTwins(bool bFilled) : m_bFilled(bFilled)
{
    std::memset(&vps, bFilled ? 1 : 0, sizeof(vps));
    adopt(modelVps, vps);
}

template <class TReader>
CTwins<TReader>::~CTwins() = default;

template <class TReader>
void CTwins<TReader>::create(std::size_t uiFailTake)
{
    Reading reading;
    reading.uiFailTake = uiFailTake;
    step(
        reading,
        [&](TReader*, std::vector<Value>& result) {
            for (SPS*& pSps : apSps) {
                pSps = createSPS(pool.pool());
                result.push_back(pSps != nullptr);
            }
            pPps = createPPS(pool.pool());
            result.push_back(pPps != nullptr);
        },
        [&](CModelBits&, std::vector<Value>& result) {
            for (ModelSps& sps : aModelSps) {
                sps = modelCreateSps(host);
                result.push_back(sps.iBlock != 0);
            }
            modelPps = modelCreatePps(host);
            result.push_back(modelPps.iBlock != 0);
        });
    for (unsigned i = 0; i < SPS_COUNT; ++i) {
        if (apSps[i] != nullptr)
            comparison.sps(*apSps[i], aModelSps[i]);
    }
    if (pPps != nullptr)
        comparison.pps(*pPps, modelPps);
    fillRecords();
}

// Ones in every field tell a field that is left alone from one that is set to 0.
template <class TReader>
void CTwins<TReader>::fillRecords()
{
    if (!m_bFilled)
        return;
    for (unsigned i = 0; i < SPS_COUNT; ++i) {
        if (apSps[i] == nullptr)
            continue;
        std::memset(static_cast<void*>(apSps[i]), 1, offsetof(SPS, uiShortTermRefPicSetRoomPlus1));
        apSps[i]->pScalingList = nullptr;
        apSps[i]->pShortTermRefPicSet = nullptr;
        adopt(aModelSps[i], *apSps[i]);
    }
    if (pPps == nullptr)
        return;
    std::memset(static_cast<void*>(pPps), 1, offsetof(PPS, uiAddressTableRoom));
    pPps->CtbAddrTsToRs = pPps->CtbAddrRsToTs = pPps->TileId = pPps->colWidth = pPps->rowHeight = nullptr;
    pPps->pScalingList = pPps->pScalingListBuf = nullptr;
    adopt(modelPps, *pPps);
}

template <class TReader>
void CTwins<TReader>::destroy()
{
    differences.setPlace("destroying: ");
    step(
        Reading{},
        [&](TReader*, std::vector<Value>&) {
            for (SPS*& pSps : apSps) {
                destroySPS(pSps);
                pSps = nullptr;
            }
            destroyPPS(pPps);
            pPps = nullptr;
        },
        [&](CModelBits&, std::vector<Value>&) {
            for (ModelSps& sps : aModelSps)
                modelDestroySps(sps, host);
            modelDestroyPps(modelPps, host);
        });
}

template <class TReader>
Value CTwins<TReader>::readVps(const Reading& reading)
{
    Value result = 0;
    step(
        reading,
        [&](TReader* pBS, std::vector<Value>& results) {
            results = {readVPS(&vps, pBS), verifyVPS(&vps)};
            result = results[0];
        },
        [&](CModelBits& bits, std::vector<Value>& results) {
            const int iResult = modelReadVps(modelVps, bits);
            results = {iResult, modelVerifyVps(modelVps, host)};
        });
    comparison.vps(vps, modelVps);
    return result;
}

template <class TReader>
Value CTwins<TReader>::readSps(const Reading& reading, unsigned uiSps)
{
    Value result = 0;
    SPS* const pSps = apSps[uiSps];
    ModelSps& model = aModelSps[uiSps];
    step(
        reading,
        [&](TReader* pBS, std::vector<Value>& results) {
            const int iResult = readSPS(pSps, pBS, pool.pool());
            results = {iResult, verifySPS(pSps)};
            result = iResult;
        },
        [&](CModelBits& bits, std::vector<Value>& results) {
            const int iResult = modelReadSps(model, bits, host);
            results = {iResult, modelVerifySps(model, host)};
        });
    comparison.sps(*pSps, model);
    return result;
}

template <class TReader>
Value CTwins<TReader>::readPps(const Reading& reading)
{
    Value result = 0;
    step(
        reading,
        [&](TReader* pBS, std::vector<Value>& results) {
            result = readPPS(pPps, m_apTable, pBS, pool.pool());
            results = {result, verifyPPS(pPps)};
        },
        [&](CModelBits& bits, std::vector<Value>& results) {
            results = {modelReadPps(modelPps, m_modelTable, bits, host), 0};
        });
    comparison.pps(*pPps, modelPps);
    return result;
}

template <class TReader>
void CTwins<TReader>::fillTable(CRandom& random, unsigned uiEmptyPercent)
{
    for (unsigned i = 0; i < 256; ++i) {
        const unsigned uiSps = i % SPS_COUNT;
        const bool bEmpty = uiEmptyPercent != 0 && random.chance(uiEmptyPercent);
        m_apTable[i] = bEmpty ? nullptr : apSps[uiSps];
        m_modelTable[i] = m_apTable[i] == nullptr ? nullptr : &aModelSps[uiSps];
    }
}

template <class TReader>
void CTwins<TReader>::setPicture(unsigned uiSps, unsigned uiWidth, unsigned uiHeight, unsigned uiCtbLog2SizeY)
{
    apSps[uiSps]->PicWidthInCtbsY = static_cast<int>(uiWidth);
    apSps[uiSps]->PicHeightInCtbsY = static_cast<int>(uiHeight);
    apSps[uiSps]->CtbLog2SizeY = static_cast<unsigned short>(uiCtbLog2SizeY);
    aModelSps[uiSps].PicWidthInCtbsY = uiWidth;
    aModelSps[uiSps].PicHeightInCtbsY = uiHeight;
    aModelSps[uiSps].CtbLog2SizeY = uiCtbLog2SizeY;
}

template <class TReader>
void CTwins<TReader>::limitPicture(unsigned uiSps)
{
    const ModelSps& sps = aModelSps[uiSps];
    if (sps.PicWidthInCtbsY * sps.PicHeightInCtbsY > 20000)
        setPicture(uiSps,
                   static_cast<unsigned>(std::min<Value>(sps.PicWidthInCtbsY, 60)),
                   static_cast<unsigned>(std::min<Value>(sps.PicHeightInCtbsY, 60)),
                   static_cast<unsigned>(sps.CtbLog2SizeY));
}

template <class TReader>
void CTwins<TReader>::out(const std::vector<Value>& module, const std::vector<Value>& model)
{
    differences.check("results", static_cast<Value>(module.size()), static_cast<Value>(model.size()));
    for (std::size_t i = 0; i < std::min(module.size(), model.size()); ++i) {
        if (module[i] != model[i])
            differences.check("result " + std::to_string(i), module[i], model[i]);
    }
}

template class CTwins<CBitStreamReader>;
template class CTwins<CRbspReader>;

} // namespace h265_model
