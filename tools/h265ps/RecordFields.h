#pragma once

#include <cstdint>
#include <span>

#include "DecParameterSetReader.h"

namespace h265ps {

/// How a field got its value.
enum class EPresence
{
    Coded,        // a syntax element, as coded
    Derived,      // computed from syntax elements
    NotCoded,     // the parameter set does not carry it: the record holds what it held before the reading
    NotApplicable // likewise, and the value means nothing: null in JSON
};

/// What else a person must know about a value.
struct FieldNote
{
    EPresence ePresence = EPresence::Coded;
    const char* pRemark = nullptr; // what the field holds when that is not what its name says
    unsigned uiCoded = 0;          // of an array whose entries the record may have no room for: how many are coded,
    const char* pOf = nullptr;     // and what they are of
};

/// The parts of a record that people look for, in record order.
enum class EGroup
{
    Identity,
    Layers,
    ProfileTierLevel,
    SubLayers,
    PresenceFlags,
    Picture,
    CodingBlocks,
    ScalingLists,
    Tools,
    Pcm,
    ShortTermRefPicSets,
    LongTermRefPics,
    Extensions,
    DerivedSizes,
    SliceHeaders,
    Quantisation,
    Tiles,
    LoopFilters
};

/// Receives the fields of a record in the record's order, arrays cut to the entries in use.
class CRecordVisitor
{
public:
    virtual ~CRecordVisitor() = default;

    virtual void group(EGroup eGroup) = 0;
    virtual void flag(const char* pName, bool bValue, FieldNote note = {}) = 0;
    virtual void number(const char* pName, std::int64_t iValue, FieldNote note = {}) = 0;
    virtual void flags(const char* pName, std::span<const bool> values, FieldNote note = {}) = 0;
    virtual void flagRows(const char* pName, std::span<const bool[32]> rows, FieldNote note = {}) = 0;
    virtual void numbers(const char* pName, std::span<const std::int64_t> values, FieldNote note = {}) = 0;
    /// A table that can be long; null data means that there is none.
    virtual void table(const char* pName, std::span<const unsigned> values, FieldNote note = {}) = 0;
    /// The same, of one entry for each CTB.
    virtual void addressTable(const char* pName, std::span<const unsigned> values, FieldNote note = {}) = 0;
    /// The embedded record; uiSubLayers is max_sub_layers_minus1.
    virtual void profileTierLevel(const char* pName, const h265_codec::profile_tile_level& ptl,
                                  unsigned uiSubLayers) = 0;
    /// Null data means that there is no array.
    virtual void refPicSets(const char* pName, std::span<const h265_codec::ShortTermRefPicSet> sets) = 0;
    virtual void scalingLists(const char* pName, const h265_codec::ScalingListData* pLists) = 0;
};

/// The one list of each record's fields.
void listFields(const h265_codec::VPS& vps, CRecordVisitor& visitor);
void listFields(const h265_codec::SPS& sps, CRecordVisitor& visitor);
void listFields(const h265_codec::PPS& pps, CRecordVisitor& visitor);
void listFields(const h265_codec::profile_tile_level& ptl, unsigned uiSubLayers, CRecordVisitor& visitor);
/// pReference: the set that inter prediction refers to; null for the first set.
void listFields(const h265_codec::ShortTermRefPicSet& set, const h265_codec::ShortTermRefPicSet* pReference,
                CRecordVisitor& visitor);

} // namespace h265ps
