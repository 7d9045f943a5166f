#pragma once

#include <cmath>
#include <complex>
#include <cstddef>

namespace qel::test
{

// The amplitude of a sinusoid of the given frequency in n samples, through a
// four-term Blackman-Harris window: its side lobes (-92 dB) keep strong
// partials elsewhere from leaking into the reading.
inline double amplitudeAt(const float* x, size_t n, double frequency, double sampleRate)
{
    constexpr double pi = 3.14159265358979323846;
    std::complex<double> sum;
    double weight = 0.0;
    const double w = 2.0 * pi * frequency / sampleRate;
    for (size_t i = 0; i < n; ++i)
    {
        const double a = 2.0 * pi * static_cast<double>(i) / static_cast<double>(n - 1);
        const double window = 0.35875 - 0.48829 * std::cos(a) + 0.14128 * std::cos(2 * a) - 0.01168 * std::cos(3 * a);
        sum += static_cast<double>(x[i]) * window * std::polar(1.0, -w * static_cast<double>(i));
        weight += window;
    }
    return 2.0 * std::abs(sum) / weight;
}

inline double decibels(double ratio)
{
    return 20.0 * std::log10(std::max(ratio, 1e-30));
}

} // namespace qel::test
