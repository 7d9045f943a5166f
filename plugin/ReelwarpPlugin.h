#pragma once

#include "plugin/Plugin.h"
#include "tape/ReelwarpProcessor.h"

namespace qel
{

// The product's instance: builds its tree, fixes up channels, reports latency.
class ReelwarpPlugin : public Plugin
{
public:
    static constexpr const char* effectName = ReelwarpProcessor::elementName;

    ReelwarpPlugin();
    ~ReelwarpPlugin() override;

    void prepareToPlay(double sampleRate, int maximumExpectedSamplesPerBlock) override;
    void processHostBlock(HostAudioBlock& block) override;
    bool isBusesLayoutSupported(const BusesLayout& layouts) const override;

    // Latency in whole samples from the effect's low-latency switch.
    void updateLatency();
    void updateLatency(double sampleRate);
    static int latencyForSampleRate(double sampleRate, bool lowLatency) noexcept;
};

} // namespace qel
