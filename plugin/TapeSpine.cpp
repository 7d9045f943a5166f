#include "plugin/TapeSpine.h"

#include <algorithm>
#include <cmath>

namespace qel
{

void TapeSpine::Channel::prepare(double rate)
{
    recordHead.prepare(rate);
    playHead.setSampleRate(rate);
    updateDriveCompensation(driveCompensation, driveCompensationTarget, recordHead.getA(), recordHead.getB(),
                            drive, rate);
    driveCompensation.jumpTo(static_cast<float>(driveCompensationTarget));
}

float TapeSpine::Channel::process(float x) noexcept
{
    const double u = std::tanh(static_cast<double>(x) * drive * 0.01) * 100.0;
    const auto compensation = static_cast<double>(driveCompensation.value());
    recordHead.setNoiseAmount(compensation * noiseGain);
    const double m = recordHead.process(u);
    const double h = playHead.process(m);
    driveCompensation.advance(1);
    return static_cast<float>(h / compensation);
}

void TapeSpine::setFormat(double rate, int maximumBlockSize)
{
    juce::ignoreUnused(maximumBlockSize);
    sampleRate = rate;
    prepareChannels();
}

void TapeSpine::setOutputStream(int index, Bus* bus)
{
    if (index != 0)
        return;
    output = bus;
    channels.resize(bus != nullptr ? (size_t) bus->getNumChannels() : 0);
    prepareChannels();
}

void TapeSpine::prepareChannels()
{
    if (sampleRate <= 0.0)
        return;
    for (auto& c : channels)
        c.prepare(sampleRate);
}

void TapeSpine::render(RenderContext& context, int frames)
{
    juce::ignoreUnused(context);
    if (output == nullptr)
        return;
    float* const* data = output->getChannels();
    const int n = std::min(output->getNumChannels(), static_cast<int>(channels.size()));
    for (int c = 0; c < n; ++c)
    {
        Channel& channel = channels[(size_t) c];
        float* x = data[c];
        for (int i = 0; i < frames; ++i)
            x[i] = channel.process(x[i]);
    }
    output->clearSilent();
}

void TapeSpine::reset()
{
    for (auto& c : channels)
    {
        c.recordHead.clear();
        c.playHead.clear();
    }
}

} // namespace qel
