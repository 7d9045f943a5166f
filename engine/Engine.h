#pragma once

#include "engine/BlockElement.h"
#include "engine/Bus.h"
#include "engine/EngineEvent.h"
#include "engine/MidiStateTracker.h"
#include "engine/RenderContext.h"

#include <juce_core/juce_core.h>

#include <array>
#include <atomic>
#include <memory>
#include <vector>

namespace qel
{

// The root of the tree and the driver of one block: its own transport,
// global tuning, and the lock that guards the child list.
class Engine
{
public:
    struct Error
    {
        juce::String path;
        juce::String message;
    };

    static constexpr int eventRingSize = 64;

    Engine();
    ~Engine();

    // Message thread; waits for the lock.
    void addChild(std::shared_ptr<BlockElement> child);
    void removeChild(BlockElement* child);
    int getNumChildren() const noexcept { return static_cast<int>(children.size()); }
    BlockElement* getChild(int index) const noexcept { return children[(size_t) index].get(); }
    BlockElement* findChild(const juce::String& name) const noexcept;

    void setFormat(double sampleRate, int maximumBlockSize);
    void setOutputStream(int index, Bus* bus);
    void postLoad() {}
    void reset();

    bool isPrepared() const noexcept { return prepared; }
    float getSampleRate() const noexcept { return sampleRate; }
    uint16_t getBlockSize() const noexcept { return blockSize; }

    // Audio thread: both only try the lock.
    void processEvents(RenderContext& context, const EngineEvent* events, int count, int frames);
    void render(RenderContext& context, int frames);

    // Queues an event for the next block that gets the lock; drops it when the ring is full.
    bool queueEvent(const EngineEvent& e) noexcept;

    juce::CriticalSection& getLock() noexcept { return engineLock; }

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
    const MidiStateTracker& getMidiState() const noexcept { return midiState; }
    const std::vector<Error>& getErrors() const noexcept { return errors; }
    void setErrors(std::vector<Error> e) { errors = std::move(e); }

private:
    void handleEvents(RenderContext& context, const EngineEvent* events, int count, int frames);
    double samplesPerBeat(const RenderContext& context) const noexcept;
    void notify(const char* parameterName) noexcept { juce::ignoreUnused(parameterName); }

    std::vector<std::shared_ptr<BlockElement>> children;
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
    std::vector<Error> errors;
    juce::CriticalSection engineLock;

    float sampleRate = 44100.0f;
    uint16_t blockSize = 0;
    bool prepared = false;
    Bus* mainBus = nullptr;

    std::array<EngineEvent, eventRingSize> eventRing {};
    std::atomic<uint32_t> ringWrite { 0 };
    uint32_t ringRead = 0;
};

} // namespace qel
