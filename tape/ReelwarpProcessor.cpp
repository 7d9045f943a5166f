#include "tape/ReelwarpProcessor.h"

#include "element/BeatDivisions.h"
#include "tape/ReelwarpParameters.h"

#include <tinyxml2.h>

#include <algorithm>
#include <cmath>

namespace qel
{

namespace
{
constexpr float perMinute = 0.016666668f;
} // namespace

ReelwarpProcessor::ReelwarpProcessor() : BasicProcessingElement(elementName, elementName)
{
    setPerVoice(false);
    setStates(std::make_unique<State>(this), std::make_unique<State>(this));
    for (auto& binding : makeReelwarpBindings())
        declareParameter(std::move(binding));
    declareParameter(std::make_unique<ParameterInfo<bool>>(
        &ParameterRegistry::get().boolDescription(FrameworkParameters::get().syncToHost),
        [](const void* e, const uint16_t*) { return static_cast<const ReelwarpProcessor*>(e)->isLfoSynced(); },
        [](void* e, const uint16_t*, bool on) { static_cast<ReelwarpProcessor*>(e)->setSyncToHost(on); }));
    bindingsDeclared = true;
}

ReelwarpProcessor::~ReelwarpProcessor() = default;

ReelwarpProcessor::State& ReelwarpProcessor::getReelwarpState() const noexcept
{
    return *static_cast<State*>(getProcessState());
}

const ReelwarpProcessor::State& ReelwarpProcessor::getReferenceReelwarpState() const noexcept
{
    return *static_cast<const State*>(getReferenceState());
}

void ReelwarpProcessor::notifyParameter(ReelwarpParameter parameter)
{
    // While the defaults are written at construction nobody listens yet.
    if (bindingsDeclared)
        notifyParameterChanged(reelwarpParameterId(parameter));
}

uint32_t ReelwarpProcessor::resolveParameterId(uint32_t id) const
{
    const auto& framework = FrameworkParameters::get();
    if (id >= framework.param(0) && id < framework.param(reelwarpParameterCount))
        return reelwarpParameterId(static_cast<ReelwarpParameter>(id - framework.param(0)));
    return id;
}

bool ReelwarpProcessor::saveParameters(tinyxml2::XMLElement& element, int& versionOut) const
{
    versionOut = 1;
    return BasicProcessingElement::saveParameters(element, versionOut);
}

namespace
{
// Files before version 1 kept the magnetic resistance on another scale.
float resistanceFromOldScale(float old) noexcept
{
    return (old * 2.0f + 1.0f) * 0.33333334f;
}
} // namespace

bool ReelwarpProcessor::loadParameters(const tinyxml2::XMLElement& element, int version)
{
    const bool ok = BasicProcessingElement::loadParameters(element, version);
    const auto& resistance = reelwarpParameterRow(ReelwarpParameter::Hysteresis);
    // The value as loaded, already clamped to the range (NaN to its minimum), not the raw text.
    const auto id = reelwarpParameterId(resistance.parameter);
    if (version < 1 && element.FindAttribute(resistance.name) != nullptr)
        setParameterFloat(id, resistanceFromOldScale(getParameterFloat(id)));
    return ok;
}

float ReelwarpProcessor::convertPresetValue(uint32_t id, float value, int version) const
{
    if (version < 1 && id == reelwarpParameterId(ReelwarpParameter::Hysteresis))
        return resistanceFromOldScale(value);
    return value;
}

void ReelwarpProcessor::prepare()
{
    BasicProcessingElement::prepare();
    if (displayRing != nullptr)
        displayRing->resize(static_cast<size_t>(getSampleRate()));
}

// The channel count arrives with the stream, after the format: the decks follow it.
void ReelwarpProcessor::setOutputStream(int index, Bus* stream)
{
    BasicProcessingElement::setOutputStream(index, stream);
    if (index != 0 || !hasFlag(prepared))
        return;
    const auto& state = getReelwarpState();
    if (!state.isPrepared() || state.decks.size() != std::max<size_t>(getChannelCount(), 1))
        getProcessState()->prepare(getSampleRate(), getMaxBlockSize());
}

std::shared_ptr<DisplayRing> ReelwarpProcessor::getDisplayRing()
{
    if (displayRing == nullptr)
    {
        auto ring = std::make_shared<DisplayRing>();
        if (hasFlag(prepared))
            ring->resize(static_cast<size_t>(getSampleRate()));
        displayRing = ring;
        liveDisplayRing.store(ring.get(), std::memory_order_release);
    }
    return displayRing;
}

// Changing to synced turns the LFO frequency into beats per cycle, and back;
// the parameter's own setter then gives the decks their rate.
void ReelwarpProcessor::setSyncToHost(bool on)
{
    if (isLfoSynced() == on)
        return;
    syncFlag.store(on ? 1 : 0, std::memory_order_relaxed);
    if (!bindingsDeclared)
        return;
    const auto id = reelwarpParameterId(ReelwarpParameter::LFOFreq);
    const float frequency = getParameterFloat(id);
    const float tempo = getSyncedTempo();
    const float converted = on ? BeatDivisions::ratioOfRow(BeatDivisions::rowOfRatio(tempo / frequency * perMinute))
                               : std::clamp(tempo * perMinute / frequency, 0.01f, 10.0f);
    setParameterFloat(id, converted);
}

void ReelwarpProcessor::followHostTempo(const RenderContext& context, State& state) noexcept
{
    if (!isLfoSynced() || context.tempo == getSyncedTempo())
        return;
    syncedTempo.store(context.tempo, std::memory_order_relaxed);
    state.setLfoRate(syncedLfoRate(context.tempo, state.lfoFrequency));
}

// After a jump or a start the LFO stands where the host's position puts it,
// at every slice of that block; in between it runs free. The position is that
// of the block's start.
void ReelwarpProcessor::followHostPosition(const RenderContext& context, State& state) noexcept
{
    if ((context.changeFlags & RenderContext::transportChanges) == 0)
        return;
    const float beatsPerCycle = isLfoSynced() ? state.lfoFrequency : getSyncedTempo() / state.lfoFrequency * perMinute;
    const auto phase = static_cast<float>(std::fmod(context.position / static_cast<double>(beatsPerCycle), 1.0));
    state.forEachDeck([phase](TapeDeck& d) { d.restartLfoAt(phase); });
}

void ReelwarpProcessor::processAudio(RenderContext& context, ProcessingElementState& base, int frames,
                                     float* const* channels, void* extra)
{
    juce::ignoreUnused(extra);
    auto& state = static_cast<State&>(base);
    if (!state.isPrepared())
        return;
    // The modes of the first channel choose the loop for all: read once per slice.
    const DeckPair& first = state.decks.front();
    const auto process = selectChannelProcessor(first);
    const auto processTwo = selectChannelPairProcessor(first, state.laneWidth);
    if (process == nullptr || processTwo == nullptr)
        return;

    followHostTempo(context, state);
    followHostPosition(context, state);

    auto* modulation = context.arenas[0].allocateArray<float>(static_cast<size_t>(frames));
    float* dry[2] { context.arenas[0].allocateArray<float>(static_cast<size_t>(frames)),
                    context.arenas[0].allocateArray<float>(static_cast<size_t>(frames)) };
    const auto dryDelay = static_cast<double>(state.latency * getSampleRate());
    const float wetGain = state.mix * state.outputGain * state.outputPad;
    const float dryGain = 1.0f - state.mix;
    const size_t count = std::min(static_cast<size_t>(getChannelCount()), state.decks.size());
    // Channels two at a time: their decks run side by side, which overlaps
    // their dependency chains; the modulation ends as the last channel's.
    for (size_t c = 0; c < count; c += 2)
    {
        const size_t together = std::min<size_t>(2, count - c);
        for (size_t k = 0; k < together; ++k)
        {
            auto& line = state.dryLines[c + k];
            line.write(channels[c + k], frames);
            line.read(dry[k], frames, dryDelay, dryDelay);
            line.advance(frames);
        }
        if (together == 2)
            processTwo(state.decks[c], state.decks[c + 1], channels[c], channels[c + 1], frames, modulation);
        else
            process(state.decks[c], channels[c], frames, modulation);
        // The dry path takes neither output gain nor pad.
        for (size_t k = 0; k < together; ++k)
        {
            float* samples = channels[c + k];
            for (int i = 0; i < frames; ++i)
                samples[i] = samples[i] * wetGain + dry[k][i] * dryGain;
        }
    }

    lastRelativeDelay.store(static_cast<float>(2.0 * first.deckB.getRelativePosition() - 1.0), std::memory_order_relaxed);
    auto* ring = liveDisplayRing.load(std::memory_order_acquire);
    if (ring != nullptr && count > 0)
        ring->write(modulation, static_cast<uint32_t>(frames));
    // The tape hisses and the delays ring on: the output is not silent.
    if (auto* bus = getOutput())
        bus->clearSilent();
}

} // namespace qel
