#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace qel
{

// One voice's amplitude envelope: a linear attack, then exponential decay to
// the sustain level and exponential release. Decay and release times are
// times to fall by 60 dB; the release ends the voice at -80 dB.
struct Adsr
{
    enum class Stage : uint8_t
    {
        idle,
        attack,
        decay,
        sustain,
        release,
    };

    static constexpr float endLevel = 1e-4f;

    void configure(float attackSeconds, float decaySeconds, float sustainLevel, float releaseSeconds,
                   double sampleRate) noexcept
    {
        const double rate = std::max(sampleRate, 1.0);
        attackStep = static_cast<float>(1.0 / std::max(attackSeconds * rate, 1.0));
        decayFactor = fallFactor(decaySeconds, rate);
        sustain = std::clamp(sustainLevel, 0.0f, 1.0f);
        releaseFactor = fallFactor(releaseSeconds, rate);
    }

    // From the level it holds: a retriggered or stolen voice does not jump.
    void start() noexcept { stage = Stage::attack; }
    void release() noexcept
    {
        if (stage != Stage::idle)
            stage = Stage::release;
    }
    void reset() noexcept
    {
        stage = Stage::idle;
        level = 0.0f;
    }
    bool isActive() const noexcept { return stage != Stage::idle; }
    bool isReleasing() const noexcept { return stage == Stage::release; }

    float next() noexcept
    {
        switch (stage)
        {
            case Stage::attack:
                level += attackStep;
                if (level >= 1.0f)
                {
                    level = 1.0f;
                    stage = Stage::decay;
                }
                break;
            case Stage::decay:
                level = sustain + (level - sustain) * decayFactor;
                if (level - sustain < 1e-5f)
                {
                    level = sustain;
                    stage = Stage::sustain;
                }
                break;
            case Stage::release:
                level *= releaseFactor;
                if (level < endLevel)
                    reset();
                break;
            default: break;
        }
        return level;
    }

    Stage stage = Stage::idle;
    float level = 0.0f;

private:
    static float fallFactor(float seconds, double rate) noexcept
    {
        return static_cast<float>(std::exp(std::log(0.001) / std::max(seconds * rate, 1.0)));
    }

    float attackStep = 1.0f;
    float decayFactor = 0.0f;
    float sustain = 1.0f;
    float releaseFactor = 0.0f;
};

} // namespace qel
