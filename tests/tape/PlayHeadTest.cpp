#include "tape/dsp/PlayHead.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <vector>

namespace
{

using Complex = std::complex<double>;
constexpr double pi = 3.14159265358979323846;

Complex dft(const std::vector<double>& h, double frequency, double sampleRate)
{
    const double w = 2.0 * pi * frequency / sampleRate;
    const Complex rotation = std::polar(1.0, -w);
    Complex phasor = 1.0, sum = 0.0;
    for (size_t n = 0; n < h.size(); ++n)
    {
        sum += h[n] * phasor;
        phasor *= rotation;
        if ((n & 4095) == 4095)
            phasor = std::polar(1.0, -w * static_cast<double>(n + 1)); // keep the recurrence exact
    }
    return sum;
}

Complex evaluate(const std::array<double, 6>& poly, Complex s)
{
    Complex v = 0.0;
    for (size_t i = poly.size(); i > 0; --i)
        v = v * s + poly[i - 1];
    return v;
}

// The filter against its prototype at each frequency's image under the
// bilinear map, where above the floor of double precision; else that low too.
void expectResponse(const std::function<double(double)>& filter, double sampleRate,
                    const std::function<Complex(Complex)>& prototype, const char* what)
{
    std::vector<double> h;
    double peak = 0.0;
    for (size_t n = 0, quiet = 0; n < (1u << 21) && (n <= 64 || quiet <= 2000); ++n)
    {
        h.push_back(filter(n == 0 ? 1.0 : 0.0));
        peak = std::max(peak, std::fabs(h.back()));
        quiet = std::fabs(h.back()) < 1e-15 * peak ? quiet + 1 : 0;
    }
    for (double f = 20.0; f <= 20000.0 && f < 0.45 * sampleRate; f *= 1.25)
    {
        const Complex expected = prototype({ 0.0, 2.0 * sampleRate * std::tan(pi * f / sampleRate) });
        const Complex measured = dft(h, f, sampleRate);
        const double expectedDb = 20.0 * std::log10(std::abs(expected));
        const double measuredDb = 20.0 * std::log10(std::abs(measured));
        if (expectedDb > -140.0)
        {
            // Direct form I at 192 kHz with the slowest tape loses a few
            // thousandths of a dB to coefficient rounding at 20 Hz.
            ASSERT_NEAR(measuredDb, expectedDb, 0.01) << what << " at " << f << " Hz, fs " << sampleRate;
            ASSERT_LT(std::abs(std::arg(measured / expected)), 1e-3) << what << " at " << f << " Hz";
        }
        else
            ASSERT_LT(measuredDb, -120.0) << what << " at " << f << " Hz";
    }
}

// Spacing, thickness and width, each against its own prototype, at rates
// and speeds from the slowest tape at 192 kHz to the fastest.
TEST(HeadLosses, EachFilterIsItsPrototypeSeenThroughTheBilinearMap)
{
    struct Setting { double sampleRate, speed, spacing, thickness, widthRatio; }; // Hz, m/s, m, m, ratio
    for (const auto p : { Setting { 44100.0, 1.0, 1e-5, 5e-6, 1.82 }, Setting { 48000.0, 0.1, 1e-4, 5e-5, 2.0 },
                          Setting { 96000.0, 0.5, 1e-5, 5e-6, 1.5 }, Setting { 192000.0, 0.1, 1e-5, 5e-6, 1.82 },
                          Setting { 192000.0, 1.9952623, 1e-4, 5e-5, 1.1 } })
    {
        qel::SpacingLoss<> spacing;
        spacing.design(p.spacing, p.speed, p.sampleRate);
        const double Ws = p.speed / p.spacing;
        expectResponse([&](double x) { return spacing.filter.process(x); }, p.sampleRate, [&](Complex s) {
            return evaluate(qel::SpacingLoss<>::numerator(Ws), s) / evaluate(qel::SpacingLoss<>::denominator(Ws), s);
        }, "spacing");

        qel::ThicknessLoss<> thickness;
        thickness.design(p.thickness, p.speed, p.sampleRate);
        const double Wt = p.speed / p.thickness;
        expectResponse([&](double x) { return thickness.process(x); }, p.sampleRate,
                       [&](Complex s) { return Wt / (s + 1.13639266981092 * Wt); }, "thickness");

        qel::WidthResponse<> width;
        width.design(p.widthRatio, p.speed, p.sampleRate);
        const double r = p.widthRatio - 1.0, Ww = p.speed / (r * 0.0005000000237487257);
        expectResponse([&](double x) { return width.filter.process(x); }, p.sampleRate, [&](Complex s) {
            const Complex D = evaluate(qel::WidthResponse<>::denominator(Ww), s);
            return (D + r * evaluate(qel::WidthResponse<>::fringing(Ww), s)) / D;
        }, "width");
    }
}

// A fractional moving average through a leaky integrator, in closed form with
// the comb's taps at M and M + 1, round the ring and up to the widest azimuth
// on the slowest tape at 192 kHz.
TEST(AzimuthLoss, ImpulseResponseIsTheFractionalCombThroughTheLeak)
{
    struct Case { double sampleRate, speed, azimuth; };
    for (const auto c : { Case { 44100.0, 0.5, 0.0001 }, Case { 44100.0, 0.5, 0.00037 }, Case { 192000.0, 0.5, 0.001 },
                          Case { 192000.0, 0.1, 1.0f * 0.00090000004f + 0.0001f } })
    {
        qel::AzimuthDelay delay;
        qel::AzimuthComb<> comb;
        delay.design(c.azimuth, c.speed, c.sampleRate, comb);
        ASSERT_LE(delay.whole + 1, qel::AzimuthDelay::ringSize);
        if (c.speed == 0.1)
            EXPECT_GT(delay.length, 600.0);
        const int M = delay.whole;
        auto process = [&](double x) {
            double A, B;
            delay.exchange(x, A, B);
            return comb.process(x, A, B);
        };
        for (int n = 0; n < 1300; ++n)
        {
            double expected = comb.g0 * std::pow(0.9999, n);
            if (n >= M)
                expected += comb.g1 * std::pow(0.9999, n - M);
            if (n >= M + 1)
                expected += comb.g2 * std::pow(0.9999, n - M - 1);
            ASSERT_NEAR(process(n == 0 ? 1.0 : 0.0), expected, 1e-9 * comb.g0) << n << " of M " << M;
        }
    }
}

} // namespace
