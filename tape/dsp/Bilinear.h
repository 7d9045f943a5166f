#pragma once

#include <array>
#include <cstddef>
#include <utility>

namespace qel
{

// Digital coefficients of an analogue prototype N(s) / D(s) through the
// bilinear map s = 2f (1 - z^-1) / (1 + z^-1), without prewarping.
// Prototype coefficients are in ascending powers of s; the result is in
// ascending powers of z^-1 and normalised so that a[0] = 1.
namespace detail
{
template <typename T, size_t N, size_t... I>
std::array<T, N> shiftedIn(const std::array<T, N>& h, T newest, std::index_sequence<I...>) noexcept
{
    return { newest, h[I]... };
}
} // namespace detail

template <size_t Order, typename T = double>
struct DigitalCoefficients
{
    std::array<T, Order + 1> b {};
    std::array<T, Order + 1> a {};
};

template <size_t Order>
DigitalCoefficients<Order> bilinear(const std::array<double, Order + 1>& numerator,
                                    const std::array<double, Order + 1>& denominator, double sampleRate) noexcept
{
    // s^k becomes K^k (1 - z^-1)^k (1 + z^-1)^(Order - k) over (1 + z^-1)^Order.
    const double K = 2.0 * sampleRate;
    DigitalCoefficients<Order> out;
    double Kk = 1.0;
    for (size_t k = 0; k <= Order; ++k)
    {
        std::array<double, Order + 1> term {};
        term[0] = 1.0;
        size_t length = 1;
        auto multiply = [&](double sign) {
            for (size_t i = length; i > 0; --i)
                term[i] += sign * term[i - 1];
            ++length;
        };
        for (size_t i = 0; i < k; ++i)
            multiply(-1.0);
        for (size_t i = k; i < Order; ++i)
            multiply(1.0);
        for (size_t i = 0; i <= Order; ++i)
        {
            out.b[i] += numerator[k] * Kk * term[i];
            out.a[i] += denominator[k] * Kk * term[i];
        }
        Kk *= K;
    }
    const double a0 = out.a[0];
    for (size_t i = 0; i <= Order; ++i)
    {
        out.b[i] /= a0;
        out.a[i] /= a0;
    }
    return out;
}

// One sample of a direct form I; histories shift once per sample. T is
// double for one filter or Double2 for a pair of them.
template <typename T, size_t Order>
T directFormI(const std::array<T, Order + 1>& b, const std::array<T, Order + 1>& a, std::array<T, Order>& x,
              std::array<T, Order>& y, T in) noexcept
{
    // The newest output is added last, so that the recursion from one
    // sample to the next is a single multiply and add.
    T feedForward = b[0] * in;
    for (size_t i = 0; i < Order; ++i)
        feedForward += b[i + 1] * x[i];
    T olderFeedback {};
    for (size_t i = Order - 1; i > 0; --i)
        olderFeedback -= a[i + 1] * y[i];
    const T out = (feedForward + olderFeedback) - a[1] * y[0];
    // Element by element: a shifting loop compiles to a library memmove.
    x = detail::shiftedIn(x, in, std::make_index_sequence<Order - 1>());
    y = detail::shiftedIn(y, out, std::make_index_sequence<Order - 1>());
    return out;
}

// Direct form I, for one filter (double) or a pair of them (Double2).
template <size_t Order, typename T = double>
struct DirectFormI
{
    DigitalCoefficients<Order, T> c;
    std::array<T, Order> x {};
    std::array<T, Order> y {};

    void clear() noexcept
    {
        x.fill(T {});
        y.fill(T {});
    }

    T process(T in) noexcept { return directFormI(c.b, c.a, x, y, in); }
};

} // namespace qel
