#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "BitWriter.h"

namespace h265_test {

/// What a record is filled with before it is read into: a field that still holds it is untouched.
inline constexpr unsigned char UNTOUCHED = 0xcd;

/// Fills a record with UNTOUCHED.
template <class T>
void spoil(T& record)
{
    std::memset(static_cast<void*>(&record), UNTOUCHED, sizeof(record));
}

/// Whether every byte of the field is UNTOUCHED.
template <class T>
bool isUntouched(const T& field)
{
    const unsigned char* const pBytes = reinterpret_cast<const unsigned char*>(&field);
    for (std::size_t i = 0; i < sizeof(field); ++i) {
        if (pBytes[i] != UNTOUCHED)
            return false;
    }
    return true;
}

/// A payload of exactly these bits, which need not be whole bytes: the bits in front of it, which fill it
/// up, are read away.
class CCutPayload
{
public:
    explicit CCutPayload(const CBitWriter& bits)
        : m_uiInFront(static_cast<unsigned>((8 - bits.size() % 8) % 8)),
          m_payload(CBitWriter().u(m_uiInFront, 0x55).append(bits).bytes())
    {}

    [[nodiscard]] h265_codec::CRbspReader reader() const
    {
        h265_codec::CRbspReader bs = m_payload.reader<h265_codec::CRbspReader>();
        unsigned uiDropped = 0;
        EXPECT_EQ(bs.readBits(m_uiInFront, uiDropped), 0);
        return bs;
    }

private:
    unsigned m_uiInFront;
    CPaddedPayload m_payload;
};

/// The elements of a structure in the order of its syntax table, each with its field and value: what is
/// to be in the record when the payload ends anywhere.
class CElementWalk
{
public:
    template <class T>
    CElementWalk& u(const char* pName, T& field, unsigned uiBits, std::uint64_t ulValue)
    {
        return add({pName, &field, sizeof(field), E_U, CBitWriter().u(uiBits, ulValue), ulValue});
    }

    CElementWalk& flag(const char* pName, bool& field, bool bValue)
    {
        return add({pName, &field, sizeof(field), E_U, CBitWriter().flag(bValue), bValue ? 1U : 0U});
    }

    /// uiAdded: what the record's field exceeds the coded value by.
    template <class T>
    CElementWalk& ue(const char* pName, T& field, std::uint64_t ulCoded, unsigned uiAdded = 0)
    {
        return add({pName, &field, sizeof(field), E_UE, CBitWriter().ue(ulCoded), ulCoded + uiAdded});
    }

    CElementWalk& dropped(unsigned uiBits) { return add({"dropped", nullptr, 0, E_U, CBitWriter().u(uiBits, 0), 0}); }

    [[nodiscard]] CBitWriter bits() const
    {
        CBitWriter writer;
        for (const Element& element : m_elements)
            writer.append(element.bits);
        return writer;
    }

    /// Expects the record as it is after the first uiBitCount bits: a u(n) that is cut leaves its bits and
    /// zeros, a ue(v) that is cut leaves its field alone.
    void expectFields(std::size_t uiBitCount) const
    {
        bool bEnded = false;
        for (const Element& element : m_elements) {
            SCOPED_TRACE(element.name);
            const std::size_t uiBits = element.bits.size();
            if (bEnded || (uiBits > uiBitCount && element.descriptor == E_UE)) {
                expectUntouched(element);
                bEnded = true;
            } else if (uiBits > uiBitCount) {
                const std::uint64_t ulMissing = (std::uint64_t{1} << (uiBits - uiBitCount)) - 1;
                expectValue(element, element.ulStored & ~ulMissing);
                bEnded = true;
            } else {
                expectValue(element, element.ulStored);
                uiBitCount -= uiBits;
            }
        }
    }

private:
    enum EDescriptor
    {
        E_U,
        E_UE
    };

    struct Element
    {
        std::string name;
        void* pField; // null: none
        std::size_t uiSize;
        EDescriptor descriptor;
        CBitWriter bits;
        std::uint64_t ulStored;
    };

    CElementWalk& add(const Element& element)
    {
        m_elements.push_back(element);
        return *this;
    }

    static void expectUntouched(const Element& element)
    {
        for (std::size_t i = 0; i < element.uiSize; ++i)
            EXPECT_EQ(static_cast<const unsigned char*>(element.pField)[i], UNTOUCHED);
    }

    // The field, an unsigned number of the processor's byte order.
    static std::uint64_t numberIn(const Element& element)
    {
        const unsigned char* const pBytes = static_cast<const unsigned char*>(element.pField);
        std::uint64_t ulValue = 0;
        for (std::size_t i = 0; i < element.uiSize; ++i) {
            const bool bLittle = std::endian::native == std::endian::little;
            ulValue = ulValue << 8 | pBytes[bLittle ? element.uiSize - 1 - i : i];
        }
        return ulValue;
    }

    static void expectValue(const Element& element, std::uint64_t ulExpected)
    {
        if (element.pField == nullptr)
            return;
        EXPECT_EQ(numberIn(element), ulExpected);
    }

    std::vector<Element> m_elements;
};

} // namespace h265_test
