#include "engine/instrument/dsp/MinBlepTable.h"

#include <cmath>
#include <complex>

namespace qel
{

namespace
{
using Complex = std::complex<double>;
constexpr double pi = 3.14159265358979323846;

// In-place radix-2 transform; inverse without the 1/n.
void fft(std::vector<Complex>& x, bool inverse)
{
    const size_t n = x.size();
    for (size_t i = 1, j = 0; i < n; ++i)
    {
        size_t bit = n >> 1;
        for (; (j & bit) != 0; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j)
            std::swap(x[i], x[j]);
    }
    for (size_t length = 2; length <= n; length <<= 1)
    {
        const double angle = (inverse ? 2.0 : -2.0) * pi / static_cast<double>(length);
        const Complex step(std::cos(angle), std::sin(angle));
        for (size_t start = 0; start < n; start += length)
        {
            Complex w(1.0, 0.0);
            for (size_t k = 0; k < length / 2; ++k)
            {
                const Complex a = x[start + k];
                const Complex b = x[start + k + length / 2] * w;
                x[start + k] = a + b;
                x[start + k + length / 2] = a - b;
                w *= step;
            }
        }
    }
}

// Blackman-Harris, four terms: side lobes near -92 dB.
double window(size_t i, size_t n)
{
    const double x = 2.0 * pi * static_cast<double>(i) / static_cast<double>(n - 1);
    return 0.35875 - 0.48829 * std::cos(x) + 0.14128 * std::cos(2.0 * x) - 0.01168 * std::cos(3.0 * x);
}

// The impulse with the same magnitude response and all its zeros inside the
// unit circle, by folding the real cepstrum onto positive times.
std::vector<double> minimumPhase(const std::vector<double>& impulse)
{
    size_t size = 1;
    while (size < impulse.size() * 8)
        size <<= 1; // padding keeps the cepstrum from wrapping onto itself
    std::vector<Complex> x(size);
    for (size_t i = 0; i < impulse.size(); ++i)
        x[i] = impulse[i];
    fft(x, false);
    for (auto& v : x)
        v = std::log(std::max(std::abs(v), 1e-12));
    fft(x, true);
    for (size_t i = 0; i < size; ++i)
    {
        const double c = x[i].real() / static_cast<double>(size);
        x[i] = i == 0 || i == size / 2 ? c : i < size / 2 ? 2.0 * c : 0.0;
    }
    fft(x, false);
    for (auto& v : x)
        v = std::exp(v);
    fft(x, true);
    std::vector<double> out(impulse.size());
    for (size_t i = 0; i < out.size(); ++i)
        out[i] = x[i].real() / static_cast<double>(size);
    return out;
}
} // namespace

MinBlepTable::MinBlepTable()
{
    // A windowed sinc at the oversampled rate, made minimum-phase and summed into a step.
    const size_t n = static_cast<size_t>(taps * oversampling);
    std::vector<double> impulse(n);
    for (size_t i = 0; i < n; ++i)
    {
        const double t = (static_cast<double>(i) - 0.5 * static_cast<double>(n - 1)) / oversampling;
        const double x = 2.0 * cutoff * t;
        impulse[i] = (x == 0.0 ? 1.0 : std::sin(pi * x) / (pi * x)) * window(i, n);
    }
    const auto shaped = minimumPhase(impulse);
    std::vector<double> step(n);
    double sum = 0.0;
    for (size_t i = 0; i < n; ++i)
        step[i] = sum += shaped[i];
    values.resize(n + 1);
    for (size_t i = 0; i < n; ++i)
        values[i] = static_cast<float>(step[i] / sum - 1.0);
    values[n] = 0.0f;
}

const MinBlepTable& MinBlepTable::get()
{
    static const MinBlepTable table;
    return table;
}

} // namespace qel
