#pragma once

#include "tape/dsp/LinearRamp.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace qel
{

// Speed of the tape during each control tick of the last two seconds.
using SpeedRing = std::vector<double>;

// A head a fixed length of tape behind the record point. Its position in time
// is found by integrating the speed history until that length is covered.
struct ReadHead
{
    static constexpr int samplesPerTick = 32;

    double delay = 0.25;     // seconds at nominal speed
    double distance = 0.25;  // delay x tape speed
    LinearRamp distanceRamp;
    double travelled = 0.0;  // in speed x ticks, from the tail to the present tick
    uint64_t tail = 1;
    bool firstBlock = true;
    double controlRate = 0.0;
    double speed = 1.0;
    uint64_t ticks = 0;
    double positionBefore = 0.0;
    double positionNow = 0.0;

    void prepare(double rate) noexcept
    {
        controlRate = rate;
        reinitialise();
    }

    void reinitialise() noexcept
    {
        travelled = 0.0;
        tail = 1;
        firstBlock = true;
        distanceRamp.jumpTo(static_cast<float>(distance));
    }

    void setDelay(double d) noexcept
    {
        delay = d;
        distance = d * speed;
        applyDistance();
    }

    void setTapeSpeed(double v) noexcept
    {
        speed = v;
        distance = v * delay;
        applyDistance();
    }

    // Half a second, in ticks, except while the first block runs.
    void applyDistance() noexcept
    {
        if (controlRate > 0.0 && !firstBlock)
            distanceRamp.rampTo(static_cast<float>(distance), static_cast<int32_t>(controlRate * 0.5));
        else
            distanceRamp.jumpTo(static_cast<float>(distance));
    }

    // Samples behind the write point at sample count c; slides linearly between ticks.
    double position(uint64_t c) const noexcept
    {
        const auto r = static_cast<double>(static_cast<int32_t>(c % samplesPerTick));
        return (positionNow - positionBefore) * r + (positionBefore + 1.0) * samplesPerTick - 1.0;
    }

    // The amortised search at tick k: the tail moves only as far as the tape did.
    void update(uint64_t k, const SpeedRing& S) noexcept
    {
        const auto R = static_cast<uint64_t>(S.size());
        const double target = static_cast<double>(distanceRamp.value()) * controlRate;
        travelled += S[k % R];
        if (travelled < target)
        {
            while (tail != (k + 1) % R)
            {
                tail = (tail - 1 + R) % R;
                travelled += S[tail];
                if (travelled >= target)
                    break;
            }
        }
        double frac = 0.0;
        while (travelled > target)
        {
            if (tail == k % R)
                break;
            travelled -= S[tail];
            // In [0, 1) for a moving tape; an entry of a tape not yet started
            // (speed 0) would give a huge negative value, so it gives none.
            frac = std::max((target - travelled) / (S[tail] + 1e-16), 0.0);
            tail = (tail + 1) % R;
        }
        positionBefore = positionNow;
        positionNow = static_cast<double>((R - tail + k) % R) + frac;
        if (tail == (k + 1) % R)
        {
            travelled -= S[tail];
            tail = (tail + 1) % R;
        }
        ++ticks;
        distanceRamp.advance(1);
    }
};

} // namespace qel
