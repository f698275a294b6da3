#include "ParameterSetSyntax.h"

#include "Description.h"
#include "Descriptions.h"

namespace h265_syntax {

namespace {

// The three sets by one name.
template <class TUse>
void describe(TUse& use, Of<TUse, VideoParameterSet>& set, const Context&)
{
    video_parameter_set_rbsp(use, set);
}
template <class TUse>
void describe(TUse& use, Of<TUse, SequenceParameterSet>& set, const Context& context)
{
    seq_parameter_set_rbsp(use, set, context);
}
template <class TUse>
void describe(TUse& use, Of<TUse, PictureParameterSet>& set, const Context&)
{
    pic_parameter_set_rbsp(use, set);
}

// Elements that begin here, or behind, were not read.
std::uint64_t endOf(const Stop& stop)
{
    switch (stop.eStop) {
    case EStop::none:
        return UINT64_MAX;
    case EStop::countTooLarge:
        return stop.uiBit + 1;
    default:
        return stop.uiBit;
    }
}

// Finds the element that begins at a bit.
class CLocate : public CTellUse
{
public:
    explicit CLocate(Stop& stop) : m_stop(stop) {}

protected:
    bool onElement(const Element& element, std::int64_t&) override
    {
        if (element.uiBit < m_stop.uiBit)
            return true;
        m_stop.element = element.nameWithIndices();
        m_stop.structure = element.structure;
        return false;
    }

private:
    Stop& m_stop;
};

template <class TSet>
void locate(TSet& set, const Context& context)
{
    CLocate use(set.stop);
    describe<CTellUse>(use, set, context);
    if (use.stopped()) {
        set.stop.element = use.stopped().element;
        set.stop.structure = use.stopped().structure;
    }
}

template <class TSet>
EStop readInto(TSet& set, CReadUse& use, const Context& context)
{
    describe<CReadUse>(use, set, context);
    use.trailing(set.rbsp_trailing);
    return use.stopped();
}

// Reads a set that stops early once more: what it does not have shall not be what the structure held before.
template <class TSet>
[[gnu::noinline, gnu::cold]] void readAnew(TSet& set, const CNalUnit& nalUnit, const Context& context)
{
    set = TSet();
    set.nal_unit_header = nalUnit.header();
    CReadUse use(nalUnit.rbsp());
    set.stop.eStop = readInto(set, use, context);
    set.stop.uiBit = use.stopBit();
    set.stop.iValue = use.stopValue();
    locate(set, context);
}

template <class TSet>
bool readSet(TSet& set, const CNalUnit& nalUnit, const Context& context)
{
    set.nal_unit_header = nalUnit.header();
    CReadUse use(nalUnit.rbsp());
    set.stop.eStop = readInto(set, use, context);
    if (set.stop.eStop == EStop::none) [[likely]]
        return true;
    readAnew(set, nalUnit, context);
    return false;
}

class CTrace : public CTellUse
{
public:
    CTrace(CElementSink& sink, const CNalUnit* pNalUnit) : m_sink(sink), m_pNalUnit(pNalUnit) {}

protected:
    bool onElement(const Element& element, std::int64_t&) override
    {
        if (m_pNalUnit == nullptr)
            return m_sink.onElement(element);
        Element placed = element;
        placed.uiNalBit = m_pNalUnit->nalBit(element.uiBit);
        return m_sink.onElement(placed);
    }

private:
    CElementSink& m_sink;
    const CNalUnit* m_pNalUnit;
};

template <class TSet>
void traceSet(const TSet& set, CElementSink& sink, const CNalUnit* pNalUnit)
{
    CTrace use(sink, pNalUnit);
    use.endAt(endOf(set.stop));
    describe<CTellUse>(use, set, {});
}

// Collects the bits of what it is told.
class CWrite : public CEditUse
{
public:
    void append(std::uint64_t uiValue, unsigned uiBits)
    {
        while (uiBits > 0) {
            if (m_uiFree == 0) {
                m_bytes.push_back(0);
                m_uiFree = 8;
            }
            --uiBits;
            --m_uiFree;
            m_bytes.back() = static_cast<unsigned char>(m_bytes.back() | (uiValue >> uiBits & 1) << m_uiFree);
        }
    }

    [[nodiscard]] const std::vector<unsigned char>& bytes() const { return m_bytes; }
    [[nodiscard]] unsigned freeBits() const { return m_uiFree; }

protected:
    bool onElement(const Element& element, std::int64_t&) override
    {
        const auto uiValue = static_cast<std::uint64_t>(element.iValue);
        if (element.eDescriptor == EDescriptor::u) {
            append(uiValue, element.uiBits);
        } else {
            const std::uint64_t uiCode = element.eDescriptor == EDescriptor::ue ? uiValue : codeNumOf(element.iValue);
            append(uiCode + 1, element.uiBits);
        }
        return true;
    }

private:
    std::vector<unsigned char> m_bytes;
    unsigned m_uiFree = 0;
};

void appendTrailing(CWrite& use, const RbspTrailing& trailing)
{
    if (trailing.bRegular) {
        use.append(1, 1);
        use.append(0, use.freeBits());
        return;
    }
    for (std::size_t i = 0; i < trailing.uiBits && i / 8 < trailing.bytes.size(); ++i)
        use.append(trailing.bytes[i / 8] >> (7 - i % 8) & 1U, 1);
}

template <class TSet>
Stop writeSet(TSet& set, std::vector<unsigned char>& nalUnit, const Context& context)
{
    nalUnit.clear();
    if (set.stop)
        return set.stop;
    CWrite use;
    describe<CEditUse>(use, set, context);
    if (use.stopped())
        return use.stopped();
    appendTrailing(use, set.rbsp_trailing);
    appendNalUnit(nalUnit, set.nal_unit_header, use.bytes());
    return {};
}

class CPathSink : public CElementSink
{
public:
    explicit CPathSink(std::string_view path) : m_path(path) {}

    bool onElement(const Element& element) override
    {
        if (!isAt(element, m_path))
            return true;
        m_value = element.iValue;
        return false;
    }

    static bool isAt(const Element& element, std::string_view path)
    {
        if (!element.structure.empty()) {
            if (!path.starts_with(element.structure) || path.size() <= element.structure.size() ||
                path[element.structure.size()] != '.')
                return false;
            path.remove_prefix(element.structure.size() + 1);
        }
        return path.starts_with(element.pName) && path == element.nameWithIndices();
    }

    std::optional<std::int64_t> m_value;

private:
    std::string_view m_path;
};

class CAssign : public CEditUse
{
public:
    CAssign(std::string_view path, std::int64_t iValue) : m_path(path), m_iValue(iValue) {}

    bool m_bFound = false;

protected:
    bool onElement(const Element& element, std::int64_t& iValue) override
    {
        if (CPathSink::isAt(element, m_path)) {
            iValue = m_iValue;
            m_bFound = true;
        }
        return true;
    }

private:
    std::string_view m_path;
    std::int64_t m_iValue;
};

template <class TSet>
bool assignIn(TSet& set, std::string_view path, std::int64_t iValue, const Context& context)
{
    CAssign use(path, iValue);
    describe<CEditUse>(use, set, context);
    return use.m_bFound && use.stopped().eStop != EStop::doesNotFit;
}

template <class TSet>
std::optional<std::int64_t> valueIn(const TSet& set, std::string_view path)
{
    CPathSink sink(path);
    traceSet(set, sink, nullptr);
    return sink.m_value;
}

} // namespace

bool read(VideoParameterSet& set, const CNalUnit& nalUnit)
{
    return readSet(set, nalUnit, {});
}
bool read(SequenceParameterSet& set, const CNalUnit& nalUnit, const Context& context)
{
    return readSet(set, nalUnit, context);
}
bool read(PictureParameterSet& set, const CNalUnit& nalUnit)
{
    return readSet(set, nalUnit, {});
}

void trace(const VideoParameterSet& set, CElementSink& sink, const CNalUnit* pNalUnit)
{
    traceSet(set, sink, pNalUnit);
}
void trace(const SequenceParameterSet& set, CElementSink& sink, const CNalUnit* pNalUnit)
{
    traceSet(set, sink, pNalUnit);
}
void trace(const PictureParameterSet& set, CElementSink& sink, const CNalUnit* pNalUnit)
{
    traceSet(set, sink, pNalUnit);
}

Stop write(VideoParameterSet& set, std::vector<unsigned char>& nalUnit)
{
    return writeSet(set, nalUnit, {});
}
Stop write(SequenceParameterSet& set, std::vector<unsigned char>& nalUnit, const Context& context)
{
    return writeSet(set, nalUnit, context);
}
Stop write(PictureParameterSet& set, std::vector<unsigned char>& nalUnit)
{
    return writeSet(set, nalUnit, {});
}

bool assign(VideoParameterSet& set, std::string_view path, std::int64_t iValue)
{
    return assignIn(set, path, iValue, {});
}
bool assign(SequenceParameterSet& set, std::string_view path, std::int64_t iValue, const Context& context)
{
    return assignIn(set, path, iValue, context);
}
bool assign(PictureParameterSet& set, std::string_view path, std::int64_t iValue)
{
    return assignIn(set, path, iValue, {});
}

std::optional<std::int64_t> valueOf(const VideoParameterSet& set, std::string_view path)
{
    return valueIn(set, path);
}
std::optional<std::int64_t> valueOf(const SequenceParameterSet& set, std::string_view path)
{
    return valueIn(set, path);
}
std::optional<std::int64_t> valueOf(const PictureParameterSet& set, std::string_view path)
{
    return valueIn(set, path);
}

} // namespace h265_syntax
