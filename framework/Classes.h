#pragma once
// Base object and enumeration sets.

#include "wn_export.h"

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <type_traits>

class QObject;

namespace wn {

// Root of the package's plain (non-component) classes.
class WN_EXPORT TObject
{
public:
    virtual ~TObject() = default;
};

// The plain notification callback: who raised it.
using TNotifyEvent = std::function<void(QObject *Sender)>;

// A set of the values of an unscoped enumeration with at most 64 values. Bit n stands for the
// value with ordinal n, so Bits() is the set's memory layout (a one-byte set fits in the low byte).
template <typename E> class TSet
{
    static_assert(std::is_enum_v<E>, "TSet needs an enumeration");

public:
    constexpr TSet() = default;
    constexpr TSet(std::initializer_list<E> values)
    {
        for (E v : values)
            FBits |= Bit(v);
    }
    static constexpr TSet FromBits(std::uint64_t bits)
    {
        TSet s;
        s.FBits = bits;
        return s;
    }

    constexpr bool contains(E v) const { return (FBits & Bit(v)) != 0; }
    constexpr bool empty() const { return FBits == 0; }
    constexpr std::uint64_t Bits() const { return FBits; }

    constexpr TSet &operator+=(E v)
    {
        FBits |= Bit(v);
        return *this;
    }
    constexpr TSet &operator-=(E v)
    {
        FBits &= ~Bit(v);
        return *this;
    }
    constexpr TSet &operator|=(TSet o)
    {
        FBits |= o.FBits;
        return *this;
    }
    constexpr TSet &operator-=(TSet o)
    {
        FBits &= ~o.FBits;
        return *this;
    }
    constexpr TSet &operator&=(TSet o)
    {
        FBits &= o.FBits;
        return *this;
    }

    friend constexpr TSet operator|(TSet a, TSet b) { return a |= b; }
    friend constexpr TSet operator|(TSet a, E v) { return a += v; }
    friend constexpr TSet operator-(TSet a, TSet b) { return a -= b; }
    friend constexpr TSet operator-(TSet a, E v) { return a -= v; }
    friend constexpr TSet operator&(TSet a, TSet b) { return a &= b; }
    friend constexpr bool operator==(TSet a, TSet b) { return a.FBits == b.FBits; }

private:
    static constexpr std::uint64_t Bit(E v) { return std::uint64_t{1} << static_cast<unsigned>(v); }
    std::uint64_t FBits = 0;
};

} // namespace wn
