#pragma once

#include "plugin/Plugin.h"
#include "tape/ReelwarpProcessor.h"
#include "ui/ElementView.h"

namespace qel
{

// The product's instance: builds its tree, fixes up channels, reports latency.
class ReelwarpPlugin : public Plugin
{
public:
    static constexpr const char* effectName = ReelwarpProcessor::elementName;
    static constexpr const char* effectPath = "/Reelwarp";

    ReelwarpPlugin();
    ~ReelwarpPlugin() override;

    void prepareToPlay(double sampleRate, int maximumExpectedSamplesPerBlock) override;
    void processHostBlock(HostAudioBlock& block) override;
    bool isBusesLayoutSupported(const BusesLayout& layouts) const override;
    // After the restore: the new tree is clean, and the latency follows it.
    void setStateInformation(const void* data, int sizeInBytes) override;

    // Latency in whole samples from the effect's low-latency switch.
    void updateLatency();
    void updateLatency(double sampleRate);
    static int latencyForSampleRate(double sampleRate, bool lowLatency) noexcept;

    // The effect's row in the element registry, once per process however
    // many instances are made at once; true for the call that registered it.
    static bool registerElementType();

protected:
    void shapeRestoredTree(Engine& loaded) override;

private:
    // Declared in the reverse of their teardown: the view goes, then the forwarder.
    std::unique_ptr<AsyncUpdateForwarder> latencyForwarder;
    std::unique_ptr<SimpleElementParameterView> lowLatencyView;
};

} // namespace qel
