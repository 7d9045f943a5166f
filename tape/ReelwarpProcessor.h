#pragma once

#include "element/ProcessingElement.h"
#include "tape/dsp/Decibels.h"
#include "tape/dsp/DeckPair.h"
#include "tape/dsp/FourLanes.h"
#include "tape/dsp/DryDelayLine.h"
#include "tape/dsp/Transport.h"

#include <atomic>
#include <memory>
#include <vector>

namespace qel
{

enum class ReelwarpParameter : uint16_t;

// The deck LFO's rate for a cycle of a number of beats at a tempo.
inline float syncedLfoRate(float tempo, float beatsPerCycle) noexcept
{
    return tempo * 0.016666668f / beatsPerCycle;
}

// The product: per channel two tape machines whose drift against each other
// is the flange, a dry path aligned with them, and the mix.
class ReelwarpProcessor : public BasicProcessingElement
{
public:
    class State;

    static constexpr const char* elementName = "Reelwarp";
    static constexpr const char* displayName = "Reel Warp";
    static constexpr float normalLatencySeconds = 0.06f;
    static constexpr float lowLatencySeconds = 0.01f;
    // Keeps deck B's slowest delay above zero at the short main tap.
    static constexpr float lowLatencyMaxRelativeDelay = 0.009f;

    ReelwarpProcessor();
    ~ReelwarpProcessor() override;

    uint32_t resolveParameterId(uint32_t id) const override;
    bool saveParameters(tinyxml2::XMLElement& element, int& versionOut) const override;
    bool loadParameters(const tinyxml2::XMLElement& element, int version) override;
    float convertPresetValue(uint32_t id, float value, int version) const override;
    void prepare() override;
    void setOutputStream(int index, Bus* stream) override;
    void processAudio(RenderContext& context, ProcessingElementState& state, int frames, float* const* channels,
                      void* extra) override;
    void processIdle(RenderContext&, ProcessingElementState&, int) override {}

    // The editor's feed of deck B's speed deviation. Once asked for, the ring
    // lives as long as the processor, so that the audio thread never frees it.
    std::shared_ptr<DisplayRing> getDisplayRing();
    // 2 x deck B's relative position of the first channel, minus 1, as of the last slice.
    float getLastRelativeDelay() const noexcept { return lastRelativeDelay.load(std::memory_order_relaxed); }

    bool isLfoSynced() const noexcept { return syncFlag.load(std::memory_order_relaxed) != 0; }
    float getSyncedTempo() const noexcept { return syncedTempo.load(std::memory_order_relaxed); }
    State& getReelwarpState() const noexcept;
    const State& getReferenceReelwarpState() const noexcept;

    // Tells listeners that a parameter's value or text moved with another one.
    void notifyParameter(ReelwarpParameter parameter);

private:
    void setSyncToHost(bool on);
    void followHostTempo(const RenderContext& context, State& state) noexcept;
    void followHostPosition(const RenderContext& context, State& state) noexcept;

    std::atomic<float> lastRelativeDelay { 0.0f };
    std::atomic<float> syncedTempo { 120.0f };
    std::atomic<uint8_t> syncFlag { 0 };
    std::shared_ptr<DisplayRing> displayRing;
    std::atomic<DisplayRing*> liveDisplayRing { nullptr };
    bool bindingsDeclared = false;
};

// What the audio path reads, one per process and reference side.
class ReelwarpProcessor::State : public ProcessingElementState
{
public:
    explicit State(ReelwarpProcessor* owner);

    void prepare(double sampleRate, int maximumBlockSize) override;
    void reset() override;
    // A voice's copy: the decks and the LFO frequency; the rest starts afresh.
    ElementState* cloneState(ScratchArena& arena) const override;

    ReelwarpProcessor& processor() const noexcept { return *static_cast<ReelwarpProcessor*>(element); }
    bool isPrepared() const noexcept { return !dryLines.empty(); }
    const TapeDeck& firstDeckA() const noexcept { return decks.front().deckA; }
    const TapeDeck& firstDeckB() const noexcept { return decks.front().deckB; }

    template <typename Action>
    void forEachDeck(Action&& action)
    {
        for (auto& pair : decks)
            pair.forBothDecks(action);
    }

    // The handlers of the switches and choices that act on more than one field.
    void setFlangeMode(FlangeMode mode);
    void setEncoderChoice(NoiseReductionMode mode);
    void setDecoderChoice(NoiseReductionMode mode);
    void setLink(bool on);
    void setCompanderOn(bool on);
    void setLowLatency(bool on);
    void setNoiseUnsync(bool on);
    void setLfoFrequency(float value);
    void setLfoRate(float hertz);

    std::vector<DeckPair> decks;
    std::vector<DryDelayLine> dryLines;
    float mix = 1.0f;
    float outputGain = 1.0f;
    float lfoFrequency = 0.1f;
    bool noiseUnsync = false;
    bool link = true;
    bool companderOn = false;
    NoiseReductionMode encoderChoice = NoiseReductionMode::none;
    NoiseReductionMode decoderChoice = NoiseReductionMode::none;
    float latency = normalLatencySeconds;
    bool lowLatency = false;
    float outputPad = decibelsToGain(-1.0f);
    // Chosen at prepare from what the processor offers.
    LaneWidth laneWidth = LaneWidth::two;

private:
    uint32_t nextUnsyncDraw() noexcept;
    uint32_t unsyncGenerator;
};

} // namespace qel
