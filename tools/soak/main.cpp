// reelwarp-soak: hours of audio through the effect at its heaviest, faster
// than real time; fails when the output goes non-finite or wild, or memory grows.
#include "plugin/ReelwarpPlugin.h"

#include <juce_events/juce_events.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <iostream>

namespace
{

long residentKilobytes()
{
    long pages = 0, resident = 0;
    if (FILE* f = std::fopen("/proc/self/statm", "r"))
    {
        if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2)
            resident = 0;
        std::fclose(f);
    }
    return resident * 4;
}

// Everything on, at the settings that cost the most and ring the longest.
void heaviest(qel::Element& e)
{
    const auto set = [&e](const char* name, float v) { e.setParameterFloat(e.findParameterId(name), v); };
    const auto on = [&e](const char* name) { e.setParameterBool(e.findParameterId(name), true); };
    set("Feedback", 0.97f);
    set("Drive", 30.0f);
    set("Hysteresis", 0.8f);
    set("DegradeDepth", 1.0f);
    set("NoiseGain", -30.0f);
    set("Spacing", 0.5f);
    set("Thickness", 0.5f);
    set("Azimuth", 0.5f);
    set("WowMod", 1.0f);
    set("FlutterMod", 1.0f);
    set("NoiseMod", 1.0f);
    set("LFOFreq", 5.0f);
    set("MaxRelativeDelay", 0.015f);
    set("Delay", 1.0f);
    set("Mix", 0.5f);
    for (const char* name : { "ApplyCompander", "NoiseSync", "PhaseInvert" })
        on(name);
    e.setParameterInt(e.findParameterId("NoiseReductionEncoder"), 3);
    e.setParameterInt(e.findParameterId("NoiseReductionDecoder"), 3);
}

} // namespace

int main(int argc, char** argv)
{
    const double minutes = argc > 1 ? std::atof(argv[1]) : 60.0;
    const double sampleRate = argc > 2 ? std::atof(argv[2]) : 96000.0;
    if (!(minutes > 0.0) || !(sampleRate >= 8000.0 && sampleRate <= 384000.0))
    {
        std::cerr << "usage: reelwarp-soak [MINUTES=60] [SAMPLE_RATE=96000]\n";
        return 2;
    }
    const juce::ScopedJuceInitialiser_GUI juce;
    qel::ReelwarpPlugin plugin;
    auto& effect = *plugin.getEngine().findChild(qel::ReelwarpPlugin::effectName);
    heaviest(effect);
    const int blockSize = 512;
    plugin.prepareToPlay(sampleRate, blockSize);

    juce::AudioBuffer<float> buffer(2, blockSize);
    juce::MidiBuffer midi;
    const auto total = static_cast<int64_t>(minutes * 60.0 * sampleRate);
    const auto mixId = effect.findParameterId("Mix");
    juce::Random random(42);
    long warmedUp = 0, worstGrowth = 0;
    float peak = 0.0f;
    double phase = 0.0;
    const auto started = std::chrono::steady_clock::now();
    for (int64_t done = 0, block = 0; done < total; done += blockSize, ++block)
    {
        // A swept tone under bursts of noise and stretches of silence, so that
        // the gates, compander and feedback see every kind of input.
        const bool silent = (block / 2000) % 5 == 4;
        for (int i = 0; i < blockSize; ++i)
        {
            phase += 2.0 * M_PI * (100.0 + 3000.0 * (0.5 + 0.5 * std::sin(done * 1e-6))) / sampleRate;
            const float tone = silent ? 0.0f : 0.5f * static_cast<float>(std::sin(phase));
            const float noise = (block % 50 < 5 && !silent) ? random.nextFloat() - 0.5f : 0.0f;
            buffer.setSample(0, i, tone + noise);
            buffer.setSample(1, i, tone - noise);
        }
        if (block % 100 == 0) // the host automates now and then
            effect.setParameterFloatDeferred(mixId, 0.2f + 0.6f * random.nextFloat(), true);
        plugin.processBlock(buffer, midi);

        for (int c = 0; c < 2; ++c)
            for (int i = 0; i < blockSize; ++i)
            {
                const float s = buffer.getSample(c, i);
                if (!std::isfinite(s))
                {
                    std::cerr << "non-finite output at sample " << done + i << "\n";
                    return 1;
                }
                peak = std::max(peak, std::fabs(s));
            }
        if (peak > 64.0f)
        {
            std::cerr << "output out of bounds: peak " << peak << " at sample " << done << "\n";
            return 1;
        }
        const auto seconds = static_cast<int64_t>(done / sampleRate);
        if (block > 0 && done / static_cast<int64_t>(60 * sampleRate) != (done - blockSize) / static_cast<int64_t>(60 * sampleRate))
        {
            const long rss = residentKilobytes();
            if (warmedUp == 0)
                warmedUp = rss;
            worstGrowth = std::max(worstGrowth, rss - warmedUp);
            std::cout << "minute " << seconds / 60 << ": peak " << peak << ", resident " << rss / 1024 << " MB\n" << std::flush;
        }
    }
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    std::cout << "Soaked " << minutes << " min of stereo at " << sampleRate << " Hz in " << wall << " s ("
              << minutes * 60.0 / wall << "x real time); peak " << peak << "; resident growth after the first minute "
              << worstGrowth << " kB\n";
    if (worstGrowth > 8 * 1024)
    {
        std::cerr << "memory grew by " << worstGrowth << " kB\n";
        return 1;
    }
    return 0;
}
