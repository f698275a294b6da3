#pragma once

#include <array>
#include <cstddef>
#include <memory>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_syntax {

/// A structure that most sets do without: it takes memory when it is first written to, and keeps it
/// when the set is read into again. Read where there is none, it is all zero.
template <class T>
class Part
{
public:
    Part() = default;
    ~Part() = default;
    Part(Part&&) noexcept = default;
    Part& operator=(Part&&) noexcept = default;
    Part(const Part& other) : m_pHeld(other.m_pHeld ? std::make_unique<T>(*other.m_pHeld) : nullptr) {}
    Part& operator=(const Part& other)
    {
        if (this != &other)
            *this = Part(other);
        return *this;
    }

    const T& operator*() const { return m_pHeld ? *m_pHeld : empty(); }
    const T* operator->() const { return &**this; }
    T& operator*()
    {
        if (!m_pHeld)
            m_pHeld = std::make_unique<T>();
        return *m_pHeld;
    }
    T* operator->() { return &**this; }

private:
    static const T& empty()
    {
        static const T EMPTY{};
        return EMPTY;
    }

    std::unique_ptr<T> m_pHeld;
};

/// An array of structures each of which is a Part.
template <class T, std::size_t N>
class PartArray
{
public:
    T& operator[](std::size_t i) { return *m_aParts[i]; }
    const T& operator[](std::size_t i) const { return *m_aParts[i]; }

private:
    std::array<Part<T>, N> m_aParts;
};

} // namespace h265_syntax
