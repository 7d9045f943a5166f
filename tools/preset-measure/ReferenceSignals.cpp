#include "ReferenceSignals.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace qel::measure
{

namespace
{

constexpr double pi = 3.14159265358979323846;

size_t frames(double seconds) { return static_cast<size_t>(seconds * sampleRate); }

// White noise through a sum of one-pole low passes: close to -3 dB per octave.
Signal pink(size_t n, unsigned seed)
{
    std::mt19937 random(seed);
    std::normal_distribution<double> white(0.0, 1.0);
    double b0 = 0, b1 = 0, b2 = 0;
    Signal out(n);
    for (auto& s : out)
    {
        const double w = white(random);
        b0 = 0.99765 * b0 + w * 0.0990460;
        b1 = 0.96300 * b1 + w * 0.2965164;
        b2 = 0.57000 * b2 + w * 1.0526913;
        s = static_cast<float>((b0 + b1 + b2 + w * 0.1848) * 0.05);
    }
    return out;
}

void scaleToPeak(Signal& x, double db)
{
    float peak = 0.0f;
    for (const float s : x)
        peak = std::max(peak, std::abs(s));
    const auto g = static_cast<float>(std::pow(10.0, db / 20.0) / std::max(peak, 1e-9f));
    for (auto& s : x)
        s *= g;
}

} // namespace

Signal programSignal(double seconds, unsigned seed)
{
    auto x = pink(frames(seconds), seed);
    std::mt19937 random(seed + 1);
    std::uniform_real_distribution<double> noise(-1.0, 1.0);
    const auto beat = frames(0.25);
    for (size_t i = 0; i < x.size(); ++i)
    {
        // Bursts: 370 ms on, 120 ms off, with 5 ms ramps.
        const double t = std::fmod(static_cast<double>(i) / sampleRate, 0.49);
        const double gate = std::clamp(std::min(t, 0.37 - t) / 0.005, 0.0, 1.0);
        const double since = static_cast<double>(i % beat) / sampleRate;
        const double hit = noise(random) * std::exp(-since / 0.03) * 0.6
                         + std::sin(2.0 * pi * 80.0 * since) * std::exp(-since / 0.08) * 0.8;
        x[i] = static_cast<float>(x[i] * gate * 0.5 + hit);
    }
    scaleToPeak(x, programPeakDb);
    return x;
}

Signal pinkNoise(double seconds, unsigned seed)
{
    auto x = pink(frames(seconds), seed);
    double sum = 0.0;
    for (const float s : x)
        sum += static_cast<double>(s) * s;
    const auto g = static_cast<float>(0.1 / std::sqrt(sum / static_cast<double>(std::max<size_t>(x.size(), 1))));
    for (auto& s : x)
        s *= g;
    return x;
}

Signal sine(double seconds, double hertz)
{
    Signal x(frames(seconds));
    for (size_t i = 0; i < x.size(); ++i)
        x[i] = static_cast<float>(0.25 * std::sin(2.0 * pi * hertz * static_cast<double>(i) / sampleRate));
    return x;
}

Signal click(double seconds, double at)
{
    Signal x(frames(seconds), 0.0f);
    const auto start = frames(at);
    for (size_t i = 0; i < frames(0.001) && start + i < x.size(); ++i)
        x[start + i] = static_cast<float>(0.5 * std::sin(pi * static_cast<double>(i) / static_cast<double>(frames(0.001))));
    return x;
}

std::vector<Signal> stereoProgram(double seconds)
{
    const auto a = programSignal(seconds, 11), b = programSignal(seconds, 23);
    std::vector<Signal> out(2, Signal(a.size()));
    for (size_t i = 0; i < a.size(); ++i)
    {
        out[0][i] = a[i] + 0.5f * b[i];
        out[1][i] = a[i] - 0.5f * b[i];
    }
    float peak = 0.0f;
    for (const auto& c : out)
        for (const float s : c)
            peak = std::max(peak, std::abs(s));
    const auto g = static_cast<float>(std::pow(10.0, programPeakDb / 20.0)) / peak;
    for (auto& c : out)
        for (auto& s : c)
            s *= g;
    return out;
}

} // namespace qel::measure
