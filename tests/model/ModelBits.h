#pragma once

#include <vector>

#include "ModelHost.h"

namespace h265_model {

/// What a reader's fields hold, the read position as an offset.
struct ReaderState
{
    std::size_t uiPos;
    unsigned uiCachedBits;
    std::uint64_t ulCache;

    bool operator==(const ReaderState&) const = default;
};

/// A payload with the eight bytes behind it that a refill may load.
struct ModelPayload
{
    std::vector<unsigned char> bytes; // padding included
    std::size_t uiCount;              // without it
};

/// Hands out the bits of a payload one at a time. The operations of the module's readers are spelled
/// out here on top of that; a subclass knows where the next bit comes from.
class CModelBits
{
public:
    CModelBits(CModelHost& host, std::uint64_t ulTopBitMask) : m_host(host), m_ulTopBitMask(ulTopBitMask) {}
    virtual ~CModelBits() = default;
    CModelBits(const CModelBits&) = delete;
    CModelBits& operator=(const CModelBits&) = delete;

    /// u(n). value also holds what a failed read leaves.
    virtual int readBits(unsigned uiBitCount, std::uint32_t& value) = 0;
    int readFlag(bool& flag);
    /// ue(v) in 32 bits; value is left alone on failure.
    int readUe(std::uint32_t& value);
    int readSe(Value& value);
    virtual void readTailing() = 0;
    [[nodiscard]] virtual ReaderState state() const = 0;

    /// u(n) into a field, also what a failed read leaves. Stops on failure, as all the following do.
    void u(unsigned uiBitCount, Value& field);
    /// u(n) whose field stays alone on failure.
    Value u(unsigned uiBitCount);
    /// u(1) into a field: 0 on failure.
    void flag(Value& field);
    /// ue(v), in 32 bits.
    Value ue();
    /// se(v).
    Value se();

protected:
    [[nodiscard]] virtual bool isEmpty() const = 0;
    /// The next bit, which must be there.
    virtual bool takeBit() = 0;

    int failBits();
    int failFlag();

    CModelHost& m_host;
    std::uint64_t m_ulTopBitMask;
};

/// The decoder's reader: each refill of eight bytes hands out 32 zeros and the first four of them.
class CModelDecoderBits final : public CModelBits
{
public:
    CModelDecoderBits(const ModelPayload& payload, CModelHost& host, std::uint64_t ulTopBitMask);

    int readBits(unsigned uiBitCount, std::uint32_t& value) override;
    void readTailing() override;
    [[nodiscard]] ReaderState state() const override;

private:
    [[nodiscard]] bool isEmpty() const override { return m_uiCounted == 0; }
    bool takeBit() override;

    unsigned refill();
    void drop(unsigned uiBitCount);
    [[nodiscard]] std::uint64_t top(unsigned uiBitCount) const;

    const ModelPayload& m_payload;
    std::size_t m_uiPos = 0;
    std::vector<bool> m_word; // of a refill, first bit first
    unsigned m_uiShifted = 0; // bits of it that are gone
    unsigned m_uiCounted = 0; // bits of the rest that count
};

/// The reader of whole streams: one bit after the other, and that is all.
class CModelRbspBits final : public CModelBits
{
public:
    CModelRbspBits(const ModelPayload& payload, CModelHost& host, std::uint64_t ulTopBitMask);

    int readBits(unsigned uiBitCount, std::uint32_t& value) override;
    void readTailing() override;
    [[nodiscard]] ReaderState state() const override;

private:
    [[nodiscard]] bool isEmpty() const override { return m_uiNext == m_bits.size(); }
    bool takeBit() override;

    std::vector<bool> m_bits;
    std::size_t m_uiNext = 0;
};

} // namespace h265_model
