#include "plugin/ReelwarpPlugin.h"

#include "element/ElementRegistry.h"
#include "files/Mounting.h"
#include "engine/instrument/InstrumentContainer.h"
#include "engine/instrument/TestInstrument.h"
#include "plugin/ExportTable.h"
#include "plugin/PluginDefinition.h"
#include "tape/ReelwarpParameters.h"

#include <atomic>
#include <cstring>
#include <thread>

namespace qel
{

namespace
{
Element* makeReelwarp()
{
    return new ReelwarpProcessor();
}
} // namespace

bool ReelwarpPlugin::registerElementType()
{
    static std::atomic<bool> busy { false };
    static bool registered = false;
    while (busy.exchange(true, std::memory_order_acquire))
        std::this_thread::yield();
    const bool first = !registered;
    if (first)
    {
        ElementRegistry::instance().add({ "Reel Warp", ReelwarpProcessor::elementName, &makeReelwarp, ElementRegistry::fx, 2,
                                          ElementRegistry::effectFlags });
        testInstrument::registerTypes();
        registered = true;
    }
    busy.store(false, std::memory_order_release);
    return first;
}

namespace
{
// Any news of the low-latency switch reads the latency again: a cached copy of
// the switch, compared with each notice, misses a change whose notice read the
// value just before the audio thread took it.
struct LatencySwitchView : SimpleElementParameterView
{
    LatencySwitchView(EngineProxy* proxy, const char* path, std::function<void()> news)
        : SimpleElementParameterView(proxy), onNews(std::move(news))
    {
        setParameter(path, reelwarpParameterId(ReelwarpParameter::ApplyLowLatency));
    }
    void elementChanged(Element* element) override
    {
        SimpleElementParameterView::elementChanged(element);
        if (element != nullptr)
            onNews();
    }
    using SimpleElementParameterView::parameterChanged;
    void parameterChanged(bool) override { onNews(); }
    std::function<void()> onNews;
};
} // namespace

ReelwarpPlugin::ReelwarpPlugin()
{
    mountOncePerProcess(ReelwarpPluginDefinition::get().getBundleIdentifier());
    registerElementType();
    auto newEngine = std::make_shared<Engine>();
    if (wrapperType == wrapperType_Standalone)
        testInstrument::addTo(*newEngine);

    latencyForwarder = std::make_unique<AsyncUpdateForwarder>();
    latencyForwarder->connect([this] { updateLatency(); });

    auto effect = std::make_unique<ReelwarpProcessor>();
    effect->setName(effectName);
    auto* processor = effect.get();
    newEngine->addChild(std::move(effect));
    setEngine(std::move(newEngine));

    lowLatencyView = std::make_unique<LatencySwitchView>(getProxy(), effectPath, [this] { latencyForwarder->trigger(); });
    for (const auto id : exportedParameterIds())
        addExportedParameter({ effectPath, ParameterRegistry::get().nameOf(id) });
    processor->dirtyDone();
}

ReelwarpPlugin::~ReelwarpPlugin()
{
    endPostedWork();
    lowLatencyView.reset();
    latencyForwarder.reset();
}

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

void ReelwarpPlugin::setStateInformation(const void* data, int sizeInBytes)
{
    Plugin::setStateInformation(data, sizeInBytes);
    // Posted after the restore, so it runs after it.
    onMessageThread([](Plugin& self) {
        auto& engine = self.getEngine();
        engine.dirtyDone();
        if (auto* effect = engine.findChild(effectName))
            effect->dirtyDone();
        static_cast<ReelwarpPlugin&>(self).updateLatency();
    });
}

// The standalone application's instrument sounds ahead of the effect, also
// after a state saved without it; a plug-in plays no instrument of its own,
// also after a state saved with it.
void ReelwarpPlugin::shapeRestoredTree(Engine& loaded)
{
    const auto isInstrument = [&](int i) { return dynamic_cast<Program*>(loaded.getProcessingChild(i)) != nullptr; };
    int instruments = 0;
    for (int i = 0; i < loaded.getNumProcessingChildren(); ++i)
        instruments += isInstrument(i) ? 1 : 0;
    const bool standalone = wrapperType == wrapperType_Standalone;
    if (standalone ? instruments == 1 && isInstrument(0) : instruments == 0)
        return;
    std::vector<std::unique_ptr<ProcessingElement>> effects;
    while (loaded.getNumProcessingChildren() > 0)
    {
        const bool instrument = isInstrument(0);
        auto removed = loaded.removeChild(loaded.getProcessingChild(0));
        if (!instrument)
            effects.emplace_back(static_cast<ProcessingElement*>(removed.release()));
    }
    if (standalone)
        testInstrument::addTo(loaded);
    for (auto& effect : effects)
        loaded.addChild(std::move(effect));
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
