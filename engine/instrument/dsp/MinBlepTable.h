#pragma once

#include <cstddef>
#include <vector>

namespace qel
{

// What a band-limited step adds to an ideal one, finely sampled: laid over the
// samples after a jump of a naive waveform, it takes away the jump's energy
// above half the sample rate. The step is minimum-phase, so it is causal: a
// jump needs no look-ahead, and the oscillator no latency.
class MinBlepTable
{
public:
    // Samples of the output rate that a jump's correction spans.
    static constexpr int taps = 48;
    static constexpr int oversampling = 64;
    // The band edge of the step's filter, as a fraction of the sample rate:
    // below a half, so that what folds back round half the rate is already
    // attenuated.
    static constexpr double cutoff = 0.45;

    // The one table of the process, computed on first use (the message thread).
    static const MinBlepTable& get();

    // The correction t samples after the jump, for a jump of 1: band-limited
    // step minus ideal step, 0 from taps on.
    float residual(double t) const noexcept
    {
        const double position = t * oversampling;
        const int index = static_cast<int>(position);
        if (index >= taps * oversampling)
            return 0.0f;
        const float fraction = static_cast<float>(position - index);
        return values[(std::size_t) index] + fraction * (values[(std::size_t) index + 1] - values[(std::size_t) index]);
    }

    // A table built directly; get() shares one.
    MinBlepTable();

private:
    std::vector<float> values; // taps * oversampling + 1 points, the last 0
};

} // namespace qel
