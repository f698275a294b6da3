#pragma once

#include <map>
#include <string>
#include <vector>

#include "DecParameterSetReader.h"
#include "ModelPictureParameterSet.h"
#include "TestHost.h"

namespace h265_model {

/// Collects where module and model differ, in words.
class CDifferences
{
public:
    [[nodiscard]] bool isEmpty() const { return m_lines.empty(); }
    [[nodiscard]] std::string text() const;

    /// Goes before the names of what is compared from now on.
    void setPlace(std::string place) { m_place = std::move(place); }

    void add(const std::string& name, const std::string& module, const std::string& model);
    void check(const std::string& name, Value module, Value model)
    {
        if (module != model)
            add(name, std::to_string(module), std::to_string(model));
    }

private:
    std::string m_place;
    std::vector<std::string> m_lines;
};

/// Compares the module's records with the model's. Block numbers of the model are bound to the
/// module's pointers as they are met; a block that stays must keep its pointer.
class CComparison
{
public:
    CComparison(CDifferences& differences, const h265_test::CTestPool& pool) : m_differences(differences), m_pool(pool)
    {}

    void ptl(const h265_codec::profile_tile_level& module, const ModelPtl& model);
    void vps(const h265_codec::VPS& module, const ModelVps& model);
    void rps(const h265_codec::ShortTermRefPicSet& module, const ModelRps& model);
    void sps(const h265_codec::SPS& module, const ModelSps& model);
    void pps(const h265_codec::PPS& module, const ModelPps& model);
    void lists(const h265_codec::ScalingListData& module, const ModelScalingLists& model);
    void calls(const std::vector<h265_test::PoolCall>& module, const std::vector<ExpectedCall>& model);
    void lines(const std::vector<std::string>& module, const std::vector<std::string>& model);
    void state(const ReaderState& module, const ReaderState& model);

    /// Forgets the blocks of an earlier case.
    void forgetBlocks() { m_pointers.clear(); }

private:
    bool block(const char* pName, const void* pModule, int iBlock, std::size_t uiSize);
    void table(const char* pName, const unsigned* pModule, const ModelTable& model);

    CDifferences& m_differences;
    const h265_test::CTestPool& m_pool;
    std::map<int, const void*> m_pointers;
};

/// Lets the model's record start from what the module's holds (pointers left out).
void adopt(ModelVps& model, const h265_codec::VPS& module);
void adopt(ModelPtl& model, const h265_codec::profile_tile_level& module);
void adopt(ModelSps& model, const h265_codec::SPS& module);
void adopt(ModelPps& model, const h265_codec::PPS& module);

} // namespace h265_model
