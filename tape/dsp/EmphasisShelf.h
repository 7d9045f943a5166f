#pragma once

namespace qel
{

// A first-order shelf c (s + d) / (s + c d) and its exact inverse, kept in
// the unnormalised bilinear form so that the corner can move per sample.
struct EmphasisShelf
{
    double d = 10000.0; // zero, rad/s
    double c = 2.0;     // high-frequency gain
    double sampleRate = 44100.0;
    double x1 = 0.0;
    double y1 = 0.0;

    void prepare(double sampleRate) noexcept
    {
        this->sampleRate = sampleRate;
        clear();
    }

    void clear() noexcept { x1 = y1 = 0.0; }

    // Output for x without advancing the histories.
    template <typename T, typename Z>
    T evaluateEncoder(T x, Z zero) const noexcept
    {
        const Z cd = c * zero;
        const double twoF = 2.0 * sampleRate;
        return (x * (cd + c * twoF) + x1 * (cd - c * twoF) - y1 * (cd - twoF)) / (cd + twoF);
    }

    double evaluateDecoder(double x, double zero) const noexcept
    {
        const double cd = c * zero, twoF = 2.0 * sampleRate;
        return (x * (cd + twoF) + x1 * (cd - twoF) - y1 * (cd - c * twoF)) / (cd + c * twoF);
    }

    void advance(double x, double y) noexcept
    {
        x1 = x;
        y1 = y;
    }

    double encode(double x) noexcept
    {
        const double y = evaluateEncoder(x, d);
        advance(x, y);
        return y;
    }

    double decode(double x) noexcept
    {
        const double y = evaluateDecoder(x, d);
        advance(x, y);
        return y;
    }
};

} // namespace qel
