#include "plugin/ReelwarpPlugin.h"

#include "files/Mounting.h"
#include "plugin/PluginDefinition.h"
#include "tape/ReelwarpParameters.h"

#include <cstring>

namespace qel
{

ReelwarpPlugin::ReelwarpPlugin()
{
    mountOncePerProcess(ReelwarpPluginDefinition::get().getBundleIdentifier());
    auto newEngine = std::make_shared<Engine>();
    newEngine->addChild(std::make_unique<ReelwarpProcessor>());
    setEngine(std::move(newEngine));
}

ReelwarpPlugin::~ReelwarpPlugin() = default;

int ReelwarpPlugin::latencyForSampleRate(double sampleRate, bool lowLatency) noexcept
{
    if (lowLatency)
        return static_cast<int>(static_cast<float>(0.01 * sampleRate));
    return static_cast<int>(static_cast<float>(static_cast<double>(0.06f) * sampleRate));
}

void ReelwarpPlugin::updateLatency()
{
    updateLatency(getEngine().isPrepared() ? static_cast<double>(getEngine().getEngineSampleRate()) : 0.0);
}

void ReelwarpPlugin::updateLatency(double sampleRate)
{
    if (sampleRate <= 0.0)
        return;
    bool lowLatency = false;
    if (auto* effect = getEngine().findChild(effectName))
        if (const auto id = reelwarpParameterId(ReelwarpParameter::ApplyLowLatency); effect->findBoolParameter(id) != nullptr)
            lowLatency = effect->getParameterBool(id);
    setLatencySamples(latencyForSampleRate(sampleRate, lowLatency));
}

void ReelwarpPlugin::prepareToPlay(double sampleRate, int maximumExpectedSamplesPerBlock)
{
    Plugin::prepareToPlay(sampleRate, maximumExpectedSamplesPerBlock);
    updateLatency(sampleRate);
}

void ReelwarpPlugin::processHostBlock(HostAudioBlock& block)
{
    const int in = getBus(true, 0) != nullptr ? getChannelCountOfBus(true, 0) : 0;
    const int out = getBus(false, 0) != nullptr ? getChannelCountOfBus(false, 0) : 0;
    if (in < out)
    {
        float* const* channels = block.main.current();
        const int available = block.main.size();
        for (int c = in; c < out && c < available; ++c)
            std::memset(channels[c], 0, sizeof(float) * (size_t) block.frames);
        // Mono in, stereo out: the effect sees two identical channels.
        if (in == 1 && available > 1)
            std::memcpy(channels[1], channels[0], sizeof(float) * (size_t) block.frames);
    }
    Plugin::processHostBlock(block);
}

bool ReelwarpPlugin::isBusesLayoutSupported(const BusesLayout& layouts) const
{
    using Set = juce::AudioChannelSet;
    const auto in = layouts.inputBuses.isEmpty() ? Set::disabled() : layouts.getMainInputChannelSet();
    const auto out = layouts.outputBuses.isEmpty() ? Set::disabled() : layouts.getMainOutputChannelSet();
    if (wrapperType == wrapperType_Standalone)
        return out == in || in == Set::disabled();
    if (in == Set::mono())
        return out == Set::mono() || out == Set::stereo();
    if (in == Set::stereo())
        return out == Set::stereo();
    return false;
}

} // namespace qel
