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

// A stage's state written once, as a struct whose every field is a T or an
// array of T: the two decks' copies zip into one struct of Double2, lane 0
// for the first and lane 1 for the second, and unzip back the same way.
template <template <typename> class State>
State<Double2> zipLanes(const State<double>& a, const State<double>& b) noexcept
{
    constexpr size_t n = sizeof(State<double>) / sizeof(double);
    static_assert(sizeof(State<Double2>) == n * sizeof(Double2), "every field a T or an array of T");
    static_assert(std::is_trivially_copyable_v<State<double>> && std::is_trivially_copyable_v<State<Double2>>);
    double first[n], second[n];
    std::memcpy(first, &a, sizeof a);
    std::memcpy(second, &b, sizeof b);
    Double2 both[n];
    for (size_t i = 0; i < n; ++i)
        both[i] = Double2 { first[i], second[i] };
    State<Double2> lanes;
    std::memcpy(&lanes, both, sizeof lanes);
    return lanes;
}

template <template <typename> class State>
void unzipLanes(const State<Double2>& lanes, State<double>& a, State<double>& b) noexcept
{
    constexpr size_t n = sizeof(State<double>) / sizeof(double);
    static_assert(sizeof(State<Double2>) == n * sizeof(Double2), "every field a T or an array of T");
    Double2 both[n];
    std::memcpy(both, &lanes, sizeof lanes);
    double first[n], second[n];
    for (size_t i = 0; i < n; ++i)
    {
        first[i] = both[i][0];
        second[i] = both[i][1];
    }
    std::memcpy(&a, first, sizeof a);
    std::memcpy(&b, second, sizeof b);
}

using Bits2 = uint64_t __attribute__((vector_size(16)));
template <typename T>
using BitsOf = std::conditional_t<std::is_same_v<T, Double2>, Bits2, uint64_t>;

} // namespace qel
