#pragma once

#include "engine/Bus.h"
#include "engine/Engine.h"
#include "engine/RenderContext.h"
#include "files/Settings.h"
#include "plugin/EditorMidiInbox.h"
#include "plugin/ExportedPluginParameter.h"
#include "plugin/HostAudioBlock.h"
#include "ui/EngineProxy.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace tinyxml2
{
class XMLDocument;
}

namespace qel
{

// Stands between the host's wrapper and the engine: turns each host call into
// operations on one Engine.
class Plugin : public juce::AudioProcessor, public AutomationParameterInterface, public juce::VST3ClientExtensions
{
public:
    static constexpr size_t pendingEventCapacity = 1024;

    Plugin();
    ~Plugin() override;

    // juce::AudioProcessor
    const juce::String getName() const override { return "Reel Warp"; }
    void prepareToPlay(double sampleRate, int maximumExpectedSamplesPerBlock) override;
    void releaseResources() override {}
    void processBlock(juce::AudioBuffer<float>& buffer, juce::MidiBuffer& midi) override;
    using juce::AudioProcessor::processBlock;
    bool canAddBus(bool) const override { return false; }
    bool canRemoveBus(bool) const override { return false; }
    double getTailLengthSeconds() const override;
    bool acceptsMidi() const override { return true; }
    bool producesMidi() const override { return false; }
    bool supportsMPE() const override { return false; }
    bool isMidiEffect() const override { return false; }
    void reset() override;
    juce::AudioProcessorEditor* createEditor() override;
    bool hasEditor() const override { return true; }
    int getNumPrograms() override { return 1; }
    int getCurrentProgram() override { return 0; }
    void setCurrentProgram(int) override {}
    const juce::String getProgramName(int) override { return programName; }
    void changeProgramName(int, const juce::String& name) override { programName = name; }
    void getStateInformation(juce::MemoryBlock& destData) override;
    void setStateInformation(const void* data, int sizeInBytes) override;
    void processorLayoutsChanged() override;
    bool isBusesLayoutSupported(const BusesLayout& layouts) const override;

    // The product's own operations.
    virtual void handleMidiEvent(int port, int channel, int status, int data1, int data2, int sampleOffset);
    virtual void processHostBlock(HostAudioBlock& block);
    // Non-finite input samples become zeros, before anything reads them.
    static void silenceNonFiniteInput(juce::AudioBuffer<float>& buffer, int channels) noexcept;
    virtual void renderEngine(HostAudioBlock& block);
    virtual bool wantsHostIdle() const { return false; }

    Engine& getEngine() const noexcept { return *engine; }
    // The message thread's mirror of the tree; none before the first setEngine.
    EngineProxy* getProxy() const noexcept { return proxy.get(); }
    RenderContext& getRenderContext() noexcept { return *renderContext; }
    qel::Bus* getMainBus() const noexcept { return mainBus.get(); }
    const std::vector<EngineEvent>& getPendingEvents() const noexcept { return pendingEvents; }

    // AutomationParameterInterface
    bool connect(const Key& key, const String& displayName) override;
    void disconnect(const Key& key) override;
    bool save(juce::XmlElement& parent) const override;
    void load(const juce::XmlElement& element) override;

    // The bank, for the editor.
    void disconnectAll();
    void disconnectSlot(int index);
    void reconnectSlot(int index, const Key& key);
    std::optional<int> findSlot(const String& elementPath, uint32_t parameterId) const;
    int getNumSlots() const noexcept { return static_cast<int>(exported.size()); }
    ExportedPluginParameter* getSlot(int index) const noexcept { return exported[(size_t) index]; }

    static int getInstanceCount() noexcept { return instanceCount.load(); }
    // True inside processBlock on the calling thread: what happens here must not wait.
    static bool isRenderingOnThisThread() noexcept;
    // The branch of this instance's plug-in format.
    Settings& getSettings() noexcept { return *settings; }
    static juce::String formatSuffix(WrapperType type);

    // A host state given but not yet restored; null when there is none.
    std::shared_ptr<tinyxml2::XMLDocument> getPendingState() const;

    // Message thread: a note or controller played on the editor, heard from
    // the next block on as if it came with the block's MIDI at its start.
    bool postEditorMidi(const juce::MidiMessage& message) noexcept;

protected:
    // Runs now on the message thread, else posts; a post outliving this plug-in does nothing.
    void onMessageThread(std::function<void(Plugin&)> work);
    // First thing in the destructor of the class that is made: waits for a
    // posted task that is running, and lets none start after.
    void endPostedWork();
    void setEngine(std::shared_ptr<Engine> newEngine);
    // A slot the host sees, connected at once and never in the map.
    void addExportedParameter(const Key& key);
    juce::CriticalSection& getRenderLock() noexcept { return renderLock; }
    void prepareEngine(double sampleRate, int blockSize);
    // A tree loaded from a state, before it is used: a chance to bring it to
    // the shape this wrapper builds.
    virtual void shapeRestoredTree(Engine& loaded) { juce::ignoreUnused(loaded); }

private:
    void captureTransport(int frames);
    void saveState(tinyxml2::XMLDocument& document);
    void restoreState(const std::shared_ptr<tinyxml2::XMLDocument>& document, std::shared_ptr<Engine> loaded);
    void emitOutputEvents(juce::MidiBuffer& midi);

    std::shared_ptr<Engine> engine;
    // Declared after the engine, so that it goes first.
    std::unique_ptr<EngineProxy> proxy;
    std::unique_ptr<qel::Bus> mainBus;
    std::vector<std::shared_ptr<qel::Bus>> furtherBuses;
    // Owned by the processor base; disconnected before the proxy goes.
    std::vector<ExportedPluginParameter*> exported;
    std::map<Key, int> connections;
    uint32_t nextFreeSlot = 0;
    HostAudioBlock block;
    std::unique_ptr<RenderContext> renderContext;
    std::vector<EngineEvent> pendingEvents;
    EditorMidiInbox editorMidi;
    juce::CriticalSection renderLock;
    double expectedBeatPosition = 0.0;
    TransportHead previousPosition;
    juce::AudioBuffer<float> silentChannels;
    std::unique_ptr<Settings> settings;
    int silentBlockSize = 0;
    int silentChannelCount = 0;
    bool needsPrepare = true;
    juce::String programName { "Default" };
    // Between a setStateInformation and the end of its restore.
    std::shared_ptr<tinyxml2::XMLDocument> stateDocument;
    juce::SpinLock stateDocumentLock;
    // Posted work runs under this lock while the plug-in lives; a host may
    // destroy an instance on its own thread while the message thread is busy.
    struct Lifetime
    {
        juce::CriticalSection lock;
        Plugin* plugin = nullptr;
    };
    std::shared_ptr<Lifetime> lifetime { std::make_shared<Lifetime>() };

    static std::atomic<int> instanceCount;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR(Plugin)
};

} // namespace qel
