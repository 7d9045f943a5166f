#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

// For the few small helpers of the per-sample path that the compiler would
// otherwise call out of line.
#if defined(__GNUC__)
#define QEL_ALWAYS_INLINE inline __attribute__((always_inline))
#else
#define QEL_ALWAYS_INLINE inline
#endif

namespace qel
{

// Two decks side by side in one register. The stages' arithmetic is written
// once, on a value type that is either double (one deck) or Double2 (both
// decks of a pair); lane i of a Double2 result equals the double result for
// deck i bit for bit, because every operation is the same IEEE one.
using Double2 = double __attribute__((vector_size(16)));
using Mask2 = int64_t __attribute__((vector_size(16)));

// The bits of a value as another type of the same size, for either form.
template <typename To, typename From>
To bitCast(From x) noexcept
{
    static_assert(sizeof(To) == sizeof(From));
    To y;
    std::memcpy(&y, &x, sizeof y);
    return y;
}

inline double select(bool m, double a, double b) noexcept { return m ? a : b; }
inline Double2 select(Mask2 m, Double2 a, Double2 b) noexcept { return m ? a : b; }

inline bool anyLane(bool m) noexcept { return m; }
inline bool anyLane(Mask2 m) noexcept { return (m[0] | m[1]) != 0; }
inline bool allLanes(bool m) noexcept { return m; }
inline bool allLanes(Mask2 m) noexcept { return (m[0] & m[1]) != 0; }

inline double absOf(double x) noexcept { return x < 0.0 ? -x : x; }
inline Double2 absOf(Double2 x) noexcept
{
    return bitCast<Double2>(bitCast<Mask2>(x) & Mask2 { INT64_MAX, INT64_MAX });
}

// The value of the later of two trial evaluations, which is what a search
// that evaluated them one after the other would have left behind.
inline double lastLane(double x) noexcept { return x; }
inline double lastLane(Double2 x) noexcept { return x[1]; }

inline double minOf(double a, double b) noexcept { return b < a ? b : a; }
inline Double2 minOf(Double2 a, Double2 b) noexcept { return b < a ? b : a; }

// True where x is neither infinite nor NaN.
inline bool finite(double x) noexcept { return x - x == 0.0; }
inline Mask2 finite(Double2 x) noexcept { return x - x == Double2 { 0.0, 0.0 }; }

inline Double2 pack(double a, double b) noexcept { return Double2 { a, b }; }

template <size_t N>
std::array<Double2, N> pack(const std::array<double, N>& a, const std::array<double, N>& b) noexcept
{
    std::array<Double2, N> v;
    for (size_t i = 0; i < N; ++i)
        v[i] = Double2 { a[i], b[i] };
    return v;
}

template <size_t N>
void unpack(const std::array<Double2, N>& v, std::array<double, N>& a, std::array<double, N>& b) noexcept
{
    for (size_t i = 0; i < N; ++i)
    {
        a[i] = v[i][0];
        b[i] = v[i][1];
    }
}

using Bits2 = uint64_t __attribute__((vector_size(16)));
template <typename T>
using BitsOf = std::conditional_t<std::is_same_v<T, Double2>, Bits2, uint64_t>;

} // namespace qel
