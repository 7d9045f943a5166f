#pragma once

#include "element/ProcessingElement.h"
#include "engine/Bus.h"
#include "engine/EngineEvent.h"
#include "engine/MidiStateTracker.h"
#include "engine/RenderContext.h"

#include <juce_core/juce_core.h>

#include <memory>
#include <vector>

namespace qel
{

// The root of the tree and the driver of one block: its own transport,
// global tuning, and the lock that guards the child list.
class Engine : public ProcessingElement
{
public:
    struct Ids
    {
        uint32_t globalTune, tempo, playing, recording, autoPlay, meterNumerator, meterDenominator;
        static const Ids& get();
    };

    Engine();
    ~Engine() override;

    // Message thread; waits for the lock. Children run in the order they were added.
    void addChild(std::unique_ptr<ProcessingElement> child);
    std::unique_ptr<Element> removeChild(ProcessingElement* child);
    int getNumProcessingChildren() const noexcept { return static_cast<int>(processing.size()); }
    ProcessingElement* getProcessingChild(int index) const noexcept { return processing[(size_t) index]; }

    void setFormat(double sampleRate, int maximumBlockSize);
    void setOutputStream(int index, Bus* bus) override;
    void postLoad() {}
    // The engine's own values, then each child marked as saved, in child order.
    bool save(tinyxml2::XMLElement& parent, const ElementSaveOptions& options) override;
    // Replaces every child by the ones the XML names, made through the registry.
    bool load(const tinyxml2::XMLElement& xml, const ElementLoadOptions& options, uint32_t version) override;
    void reset();

    bool isPrepared() const noexcept { return hasFlag(prepared); }
    float getEngineSampleRate() const noexcept { return getSampleRate(); }
    uint16_t getBlockSize() const noexcept { return getMaxBlockSize(); }

    // Audio thread: both only try the lock.
    void processEvents(RenderContext& context, const EngineEvent* events, int count, int frames) override;
    void render(RenderContext& context, int frames) override;
    void handleEvents(RenderContext& context, const EngineEvent* events, int count) override;
    void process(RenderContext& context, int frames, ProcessingElementState& state) override;
    void invalidateTail() override {}

    juce::CriticalSection& getLock() override { return engineLock; }

    // Transport and tuning, readable for tests and the parameter layer.
    bool isPlaying() const noexcept { return playing; }
    bool isRecording() const noexcept { return recording; }
    bool isCountInActive() const noexcept { return countInActive; }
    double getBeatPosition() const noexcept { return beatPosition; }
    double getStartPosition() const noexcept { return startPosition; }
    double getTempo() const noexcept { return tempo; }
    void setTempo(double bpm) noexcept { tempo = bpm; tempoFloat = (float) bpm; }
    void setSyncToHost(bool on) noexcept { syncToHost = on; }
    void setAutoPlay(bool on) noexcept { autoPlay = on; }
    void setGlobalTune(float hz) noexcept { globalTune = hz; }
    const MidiStateTracker* getMidiState() const override { return &midiState; }

    struct LoadError
    {
        String path;
        String message;
    };
    const std::vector<LoadError>& getErrors() const noexcept { return errors; }
    void setErrors(std::vector<LoadError> e) { errors = std::move(e); }
    void addError(LoadError e)
    {
        errors.push_back(e);
        errorAdded(e.message, e.path);
    }
    // (text, path) of each load error as it is recorded.
    SignalN<const String&, const String&> errorAdded;

private:
    void declareParameters();
    // The transport controllers' numbers: a press returns to the start,
    // toggles play, toggles recording.
    static constexpr int returnToStartController = 117;
    static constexpr int playController = 118;
    static constexpr int recordController = 119;

    struct TransportAdditions;
    void handleTransport(RenderContext& context, const EngineEvent* events, int count, int frames);
    void applyTransportEvent(RenderContext& context, const EngineEvent& e, TransportAdditions& added);
    void returnToStart(RenderContext& context, const EngineEvent& e, TransportAdditions& added);
    void togglePlay(const EngineEvent& e, double beatsIntoBlock, TransportAdditions& added);
    void toggleRecord(const EngineEvent& e, double spb, TransportAdditions& added);
    void startCountIn(double spb) noexcept;
    void advanceCountIn(int frames, TransportAdditions& added);
    void followHostTempoAndMeter(RenderContext& context);
    void writeMusicalPosition(RenderContext& context) const;
    void setPlaying(bool on) noexcept;
    void setRecording(bool on) noexcept;
    double samplesPerBeat(const RenderContext& context) const noexcept;
    // The transport moves its own values: published on this thread, then told.
    void notify(uint32_t id) noexcept
    {
        if (auto* b = findBinding(id))
            b->publish(this, getReferenceState());
        notifyParameterChanged(id);
    }

    std::vector<ProcessingElement*> processing;
    float globalTune = 440.0f;
    int32_t meterNumerator = 4;
    int32_t meterDenominator = 4;
    double tempo = 120.0;
    double beatPosition = 0.0;
    bool syncToHost = true;
    float tempoFloat = 120.0f;
    MidiStateTracker midiState;
    bool autoPlay = true;
    bool playing = false;
    bool recording = false;
    bool hostWasPlaying = false;
    double startPosition = 0.0;
    bool countInActive = false;
    int32_t countInSamplesLeft = 0;
    std::vector<LoadError> errors;
    juce::CriticalSection engineLock;
    Bus* mainBus = nullptr;
    int blockFrames = 0;
};

} // namespace qel
