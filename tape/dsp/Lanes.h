#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

// For the few small helpers of the per-sample path that the compiler would
// otherwise call out of line.
#if defined(__GNUC__)
#define QEL_ALWAYS_INLINE inline __attribute__((always_inline))
#define QEL_INLINE_LAMBDA __attribute__((always_inline))
#else
#define QEL_ALWAYS_INLINE inline
#define QEL_INLINE_LAMBDA
#endif

namespace qel
{

// Decks side by side in one register. The stages' arithmetic is written
// once, on a value type that is double (one deck), Double2 (both decks of a
// pair) or Double4 (two pairs); lane i of a result equals the double result
// for deck i bit for bit, because every operation is the same IEEE one.
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

inline double minOf(double a, double b) noexcept { return b < a ? b : a; }
inline Double2 minOf(Double2 a, Double2 b) noexcept { return b < a ? b : a; }

// True where x is neither infinite nor NaN.
inline bool finite(double x) noexcept { return x - x == 0.0; }
inline Mask2 finite(Double2 x) noexcept { return x - x == Double2 { 0.0, 0.0 }; }

// Four decks, both pairs of a stereo instance, in one AVX register; only
// code compiled for AVX2 sees this width.
#if defined(__AVX2__)
using Double4 = double __attribute__((vector_size(32)));
using Mask4 = int64_t __attribute__((vector_size(32)));
using Bits4 = uint64_t __attribute__((vector_size(32)));

inline Double4 select(Mask4 m, Double4 a, Double4 b) noexcept { return m ? a : b; }
inline bool anyLane(Mask4 m) noexcept { return (m[0] | m[1] | m[2] | m[3]) != 0; }
inline bool allLanes(Mask4 m) noexcept { return (m[0] & m[1] & m[2] & m[3]) != 0; }
inline Double4 absOf(Double4 x) noexcept
{
    return bitCast<Double4>(bitCast<Mask4>(x) & Mask4 { INT64_MAX, INT64_MAX, INT64_MAX, INT64_MAX });
}
inline Double4 minOf(Double4 a, Double4 b) noexcept { return b < a ? b : a; }
inline Mask4 finite(Double4 x) noexcept { return x - x == Double4 {}; }
#endif

// Decks in a lane type: 1 for double.
template <typename T>
constexpr size_t laneCount = sizeof(T) / sizeof(double);

// A lane value from each deck's double, each(k) for lane k in the order of
// the lanes, built in registers: a vector written lane by lane in memory and
// read back whole stalls the processor.
template <typename T, typename Each, size_t... K>
QEL_ALWAYS_INLINE T lanesFrom(Each&& each, std::index_sequence<K...>) noexcept
{
    return T { each(std::integral_constant<size_t, K>())... };
}

template <typename T, typename Each>
QEL_ALWAYS_INLINE T lanesFrom(Each&& each) noexcept
{
    return lanesFrom<T>(each, std::make_index_sequence<laneCount<T>>());
}

// A stage's state written once, as a struct whose every field is a T or an
// array of T: the copies of several decks zip into one struct of lanes, lane
// k for deck k, and unzip back the same way.
template <template <typename> class State, typename T, size_t N>
State<T> zipLanes(const std::array<const State<double>*, N>& decks) noexcept
{
    static_assert(N == laneCount<T>);
    constexpr size_t n = sizeof(State<double>) / sizeof(double);
    static_assert(sizeof(State<T>) == n * sizeof(T), "every field a T or an array of T");
    static_assert(std::is_trivially_copyable_v<State<double>> && std::is_trivially_copyable_v<State<T>>);
    double each[N][n];
    for (size_t k = 0; k < N; ++k)
        std::memcpy(each[k], decks[k], sizeof(State<double>));
    T all[n];
    for (size_t i = 0; i < n; ++i)
        for (size_t k = 0; k < N; ++k)
            all[i][k] = each[k][i];
    State<T> lanes;
    std::memcpy(&lanes, all, sizeof lanes);
    return lanes;
}

template <template <typename> class State, typename T, size_t N>
void unzipLanes(const State<T>& lanes, const std::array<State<double>*, N>& decks) noexcept
{
    static_assert(N == laneCount<T>);
    constexpr size_t n = sizeof(State<double>) / sizeof(double);
    static_assert(sizeof(State<T>) == n * sizeof(T), "every field a T or an array of T");
    T all[n];
    std::memcpy(all, &lanes, sizeof lanes);
    double each[N][n];
    for (size_t i = 0; i < n; ++i)
        for (size_t k = 0; k < N; ++k)
            each[k][i] = all[i][k];
    for (size_t k = 0; k < N; ++k)
        std::memcpy(decks[k], each[k], sizeof(State<double>));
}

using Bits2 = uint64_t __attribute__((vector_size(16)));
template <typename T>
using BitsOf = std::conditional_t<std::is_same_v<T, Double2>, Bits2,
#if defined(__AVX2__)
                                  std::conditional_t<std::is_same_v<T, Double4>, Bits4, uint64_t>
#else
                                  uint64_t
#endif
                                  >;

} // namespace qel
