#pragma once

#include "element/AudioMonitor.h"
#include "element/Element.h"
#include "element/ElementParamEnvelope.h"
#include "engine/MidiStateTracker.h"
#include "engine/Bus.h"
#include "engine/EngineEvent.h"
#include "engine/RenderContext.h"

#include <array>
#include <atomic>
#include <memory>
#include <vector>

namespace qel
{

// An element that handles audio and events, and carries parameter values
// into its process state at the start of every block and every slice.
class ProcessingElement : public Element
{
public:
    static constexpr int sliceFrames = 32;
    static constexpr int eventRingSize = 64;

    enum ProcessingFlags : uint8_t
    {
        filtersEvents = 1,
        runsAsSource = 2,
        monitorsWhenBypassed = 4,
        initialBit = 8, // set from the start; nothing reads it
    };
    // A tail that never ends: the element is never put to sleep.
    static constexpr uint32_t unboundedTail = 0xFFFFFFFF;

    ProcessingElement(const String& typeName, const String& name);
    ~ProcessingElement() override;

    // --- virtual operations, after the element's ---
    virtual bool processesWhenBypassed() const { return false; }
    virtual uint32_t getTailFrames(RenderContext& context, int frames, ProcessingElementState& state);
    virtual void invalidateTail() = 0;
    virtual void processEvents(RenderContext& context, const EngineEvent* events, int count, int frames);
    virtual int getOutputCount() const { return 1; }
    virtual void getOutputCountHint(int& out) const { out = 1; }
    virtual void setOutputStream(int index, Bus* stream);
    virtual void render(RenderContext& context, int frames);
    virtual void reservedProcessing() {}
    virtual void handleEvent(const EngineEvent& event, int index);
    virtual void handleEvents(RenderContext& context, const EngineEvent* events, int count);
    virtual bool acceptEvent(const EngineEvent& event) const { juce::ignoreUnused(event); return true; }
    virtual void process(RenderContext& context, int frames, ProcessingElementState& state);
    virtual void processUnsliced(RenderContext& context, ProcessingElementState& state, int frames)
    {
        juce::ignoreUnused(context, state, frames);
    }

    void prepare() override;
    void resetProcessState() override;
    bool addModulationSource(const tinyxml2::XMLElement& description, bool lock) override;
    bool removeModulationSource(uint32_t parameterId, const String& sourcePath, bool lock) override;
    void listModulationSources(uint32_t parameterId, juce::StringArray& out) const override;
    // The engine's last MIDI values; the engine answers for the whole tree.
    virtual const MidiStateTracker* getMidiState() const;
    const std::vector<ElementParamEnvelope*>& getActiveConnections() const noexcept { return activeConnections; }

    // Queues an event for this element's next block; drops it when the ring is full.
    bool queueEvent(const EngineEvent& event) noexcept;

    // Block start: values of the reference state through the envelopes into the state.
    void updateState(RenderContext& context, int frames, ProcessingElementState& state);
    // One slice's values of the envelopes that moved in this block.
    void sliceUpdate(int slice, ProcessingElementState& state);

    ProcessingElementState& getProcessingState() const noexcept
    {
        return *static_cast<ProcessingElementState*>(getProcessState());
    }
    Bus* getOutput() const noexcept { return output; }
    // The meters' feed, made on first demand on the message thread. Once made
    // it lives as long as the element, so that the audio thread never frees it.
    std::shared_ptr<AudioMonitor> getAudioMonitor();
    const std::vector<ElementParamEnvelope*>& getConnections() const noexcept { return connectionList; }

protected:
    // Runs work(sliceFrames) for each slice of up to 32 frames, with the
    // slice's values in the state and its offset in sliceOffset.
    template <typename Work>
    void forEachSlice(int frames, ProcessingElementState& state, Work&& work)
    {
        state.stateFlags |= ElementState::slicing;
        state.sliceOffset = 0;
        for (int slice = 0; state.sliceOffset < static_cast<uint32_t>(frames); ++slice)
        {
            sliceUpdate(slice, state);
            work(std::min(sliceFrames, frames - static_cast<int>(state.sliceOffset)));
            state.sliceOffset += sliceFrames;
        }
        state.stateFlags &= static_cast<uint8_t>(~ElementState::slicing);
    }

    void parameterSetImmediately(ParameterInfoBase& binding) override;
    // Declares a binding and, for a modulable state-level one, its envelope.
    void declareParameter(std::unique_ptr<ParameterInfoBase> binding);
    uint8_t processingFlags = initialBit;

private:
    // Hands the stream's samples to the monitor, when one listens.
    void monitor(AudioMonitor::End end, int frames) noexcept;

    std::array<EngineEvent, eventRingSize> ring {};
    std::atomic<uint32_t> ringWrite { 0 };
    uint32_t ringRead = 0;
    Bus* output = nullptr;
    std::shared_ptr<AudioMonitor> audioMonitor;
    std::atomic<AudioMonitor*> liveAudioMonitor { nullptr };
    std::vector<std::unique_ptr<ElementParamEnvelope>> envelopes;
    std::vector<ElementParamEnvelope*> connectionList;
    std::vector<ElementParamEnvelope*> activeConnections;
    std::vector<ElementParamEnvelope*> glidingEnvelopes;
};

// Adds the slice loop of up to 32 frames that an effect plugs into, and
// sleep while its input is silent past its tail.
class BasicProcessingElement : public ProcessingElement
{
public:
    using ProcessingElement::ProcessingElement;

    virtual void processAudio(RenderContext& context, ProcessingElementState& state, int frames, float* const* channels,
                              void* extra) = 0;
    virtual void processIdle(RenderContext& context, ProcessingElementState& state, int frames)
    {
        juce::ignoreUnused(context, state, frames);
    }

    void invalidateTail() override { tailUnknown = true; }
    void setOutputStream(int index, Bus* stream) override;
    void process(RenderContext& context, int frames, ProcessingElementState& state) override;
    void prepare() override;

    bool isAsleep() const noexcept { return asleep; }
    uint32_t getSilentFrames() const noexcept { return silentFrames; }
    uint32_t getChannelCount() const noexcept { return channelCount; }

private:
    Bus* stream = nullptr;
    uint32_t channelCount = 0;
    uint32_t streamFlags = 0;
    bool asleep = true;
    uint32_t silentFrames = 0;
    uint32_t tailFrames = unboundedTail;
    bool tailUnknown = true;
};

} // namespace qel
