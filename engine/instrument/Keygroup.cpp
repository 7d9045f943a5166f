#include "engine/instrument/Keygroup.h"

#include "element/Bindings.h"
#include "engine/instrument/InstrumentContainer.h"
#include "tape/dsp/Decibels.h"

#include <tinyxml2.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace qel
{

namespace
{
constexpr int sustainPedal = 64;
constexpr int allSoundOff = 120;
constexpr int allNotesOff = 123;
constexpr float pitchBendSemitones = 2.0f;
} // namespace

const Keygroup::Ids& Keygroup::Ids::get()
{
    static const Ids ids = [] {
        auto& r = ParameterRegistry::get();
        Ids i {};
        i.volume = r.registerFloat(ParameterDescription<float>("Volume", -12.0f, { -60.0f, 6.0f }, decibels));
        i.lowKey = r.registerInt(ParameterDescription<int>("LowKey", 0, { 0, 127 }, midiKey));
        i.highKey = r.registerInt(ParameterDescription<int>("HighKey", 127, { 0, 127 }, midiKey));
        return i;
    }();
    return ids;
}

Keygroup::Keygroup() : ProcessingElement(typeName, typeName)
{
    setStates(std::make_unique<State>(this), std::make_unique<State>(this));
    const auto& ids = Ids::get();
    declareParameter(bindField<&State::volume>(ids.volume));
    declareParameter(bindField<&State::lowKey>(ids.lowKey));
    declareParameter(bindField<&State::highKey>(ids.highKey));
}

bool Keygroup::addOscillator(std::unique_ptr<MinBlepGenerator> oscillator)
{
    if (oscillator == nullptr || oscillatorCount == maxOscillators)
        return false;
    const juce::ScopedLock sl(getLock());
    auto* raw = oscillator.get();
    if (hasFlag(prepared))
        raw->setFormat(getSampleRate(), getMaxBlockSize());
    for (auto& v : voices)
        v.oscillators[(size_t) oscillatorCount].prepare(raw->getTable());
    Element::addChild(std::move(oscillator));
    oscillators[(size_t) oscillatorCount++] = raw;
    return true;
}

bool Keygroup::addModulator(std::unique_ptr<AdsrEnvelope> modulator)
{
    if (modulator == nullptr || modulatorCount == maxModulators)
        return false;
    const juce::ScopedLock sl(getLock());
    auto* raw = modulator.get();
    if (hasFlag(prepared))
        raw->setFormat(getSampleRate(), getMaxBlockSize());
    for (auto& v : voices)
        v.envelopes[(size_t) modulatorCount].reset();
    Element::addChild(std::move(modulator));
    modulators[(size_t) modulatorCount++] = raw;
    return true;
}

void Keygroup::addModulationLink(std::unique_ptr<SignalConnection> link, int modulatorIndex)
{
    if (link == nullptr || linkCount == maxLinks)
        return;
    const juce::ScopedLock sl(getLock());
    if (modulatorIndex >= 0 && modulatorIndex < modulatorCount)
        link->source = modulators[(size_t) modulatorIndex]->getName();
    links[(size_t) linkCount++] = link.get();
    Element::addChild(std::move(link));
}

void Keygroup::postLoad()
{
    const juce::ScopedLock sl(getLock());
    volumeLinkCount = 0;
    for (int l = 0; l < linkCount; ++l)
    {
        const auto* link = links[(size_t) l];
        if (link->parameterName() != "Volume")
            continue;
        for (int m = 0; m < modulatorCount; ++m)
            if (modulators[(size_t) m]->getName() == link->source)
            {
                volumeLinks[(size_t) volumeLinkCount++] = { m, link };
                break;
            }
    }
}

bool Keygroup::isSounding(const Voice& voice) const noexcept
{
    if (modulatorCount == 0)
        return voice.held || voice.sustained;
    for (int m = 0; m < modulatorCount; ++m)
        if (voice.envelopes[(size_t) m].isActive())
            return true;
    return false;
}

int Keygroup::getActiveVoiceCount() const noexcept
{
    int n = 0;
    for (const auto& v : voices)
        n += v.key >= 0 ? 1 : 0;
    return n;
}

void Keygroup::prepare()
{
    ProcessingElement::prepare();
    for (int i = 0; i < oscillatorCount; ++i)
        oscillators[(size_t) i]->setFormat(getSampleRate(), getMaxBlockSize());
    for (int i = 0; i < modulatorCount; ++i)
        modulators[(size_t) i]->setFormat(getSampleRate(), getMaxBlockSize());
    resetProcessState();
}

void Keygroup::silenceVoices() noexcept
{
    for (auto& v : voices)
    {
        v.key = -1;
        v.held = v.sustained = false;
        for (auto& o : v.oscillators)
            o.reset();
        for (auto& e : v.envelopes)
            e.reset();
    }
}

void Keygroup::resetProcessState()
{
    ProcessingElement::resetProcessState();
    silenceVoices();
    blockEventCount = 0;
    pedalDown = false;
}

// Kept for the block's render, which plays them at their sample.
void Keygroup::handleEvents(RenderContext&, const EngineEvent* events, int count)
{
    for (int i = 0; i < count && blockEventCount < maxBlockEvents; ++i)
    {
        const auto& e = events[i];
        if (e.type != EngineEvent::NoteOn && e.type != EngineEvent::NoteOff && e.type != EngineEvent::Controller)
            continue;
        blockEvents[(size_t) blockEventCount++] = { static_cast<int32_t>(std::max<int64_t>(e.samplePosition, 0)), e.type,
                                                    e.data1 & 127, e.data2 & 127 };
    }
}

void Keygroup::apply(const NoteEvent& e, const State& state)
{
    if (e.type == EngineEvent::NoteOn && e.data2 > 0)
    {
        if (e.data1 >= state.lowKey && e.data1 <= state.highKey)
            noteOn(e.data1, e.data2);
    }
    else if (e.type == EngineEvent::NoteOn || e.type == EngineEvent::NoteOff)
        noteOff(e.data1);
    else if (e.data1 == sustainPedal)
    {
        pedalDown = e.data2 >= 64;
        if (!pedalDown)
            releaseAll(true);
    }
    else if (e.data1 == allNotesOff)
        releaseAll(false);
    else if (e.data1 == allSoundOff)
        silenceVoices();
}

Keygroup::Voice& Keygroup::voiceFor(int key)
{
    Voice* chosen = nullptr;
    for (auto& v : voices)
        if (v.key == key)
            return v;
    for (auto& v : voices)
        if (v.key < 0)
            return v;
    // Steal: the quietest releasing voice, else the oldest.
    float quietest = 2.0f;
    for (auto& v : voices)
        if (modulatorCount > 0 && v.envelopes[0].isReleasing() && v.envelopes[0].level < quietest)
        {
            quietest = v.envelopes[0].level;
            chosen = &v;
        }
    if (chosen == nullptr)
        chosen = &*std::min_element(voices.begin(), voices.end(),
                                    [](const Voice& a, const Voice& b) { return a.age < b.age; });
    return *chosen;
}

void Keygroup::noteOn(int key, int velocity)
{
    auto& v = voiceFor(key);
    // A free voice starts from silence; a voice taken over keeps its phase and
    // level, so that the takeover does not click.
    if (v.key < 0)
    {
        for (auto& o : v.oscillators)
            o.reset();
        for (auto& e : v.envelopes)
            e.reset();
    }
    v.key = key;
    v.velocity = static_cast<float>(velocity) / 127.0f;
    v.age = ++noteCounter;
    v.held = true;
    v.sustained = false;
    for (int m = 0; m < modulatorCount; ++m)
    {
        modulators[(size_t) m]->configure(v.envelopes[(size_t) m], getSampleRate());
        v.envelopes[(size_t) m].start();
    }
}

void Keygroup::noteOff(int key)
{
    for (auto& v : voices)
        if (v.key == key && v.held)
        {
            v.held = false;
            if (pedalDown)
                v.sustained = true;
            else
                for (auto& e : v.envelopes)
                    e.release();
        }
}

void Keygroup::releaseAll(bool sustainedOnly)
{
    for (auto& v : voices)
        if (v.key >= 0 && (!sustainedOnly || v.sustained))
        {
            v.held = v.sustained = false;
            for (auto& e : v.envelopes)
                e.release();
        }
}

void Keygroup::retune(RenderContext& context)
{
    const auto* midi = getMidiState();
    const float bend = midi != nullptr ? (static_cast<float>(midi->pitchWheel) - 8192.0f) / 8192.0f * pitchBendSemitones : 0.0f;
    const double tune = context.globalTune > 0.0f ? context.globalTune : 440.0;
    for (auto& v : voices)
        if (v.key >= 0)
        {
            const double hertz = tune * std::exp2((v.key - 69 + bend) / 12.0);
            for (int o = 0; o < oscillatorCount; ++o)
                v.oscillators[(size_t) o].setFrequency(hertz, getSampleRate());
        }
}

void Keygroup::renderVoices(float* out, int frames, float gain) noexcept
{
    BlepOscillator::Shape shapes[maxOscillators];
    for (int o = 0; o < oscillatorCount; ++o)
        shapes[o] = oscillators[(size_t) o]->getShape();
    for (auto& v : voices)
    {
        if (v.key < 0)
            continue;
        const float level = gain * v.velocity;
        for (int i = 0; i < frames; ++i)
        {
            float sample = 0.0f;
            for (int o = 0; o < oscillatorCount; ++o)
                sample += v.oscillators[(size_t) o].next(shapes[o]);
            float envelope[maxModulators];
            for (int m = 0; m < modulatorCount; ++m)
                envelope[m] = v.envelopes[(size_t) m].next();
            // A link of depth d scales the level by 1 - d + d * envelope.
            float g = level;
            for (int l = 0; l < volumeLinkCount; ++l)
            {
                const auto* link = volumeLinks[(size_t) l].link;
                if (link->bypass)
                    continue;
                const float e = envelope[volumeLinks[(size_t) l].modulator];
                g *= 1.0f + link->ratio * ((link->inverted ? 1.0f - e : e) - 1.0f);
            }
            out[i] += sample * g;
        }
        if (!isSounding(v))
            v.key = -1;
    }
}

void Keygroup::process(RenderContext& context, int frames, ProcessingElementState& processState)
{
    auto& state = static_cast<State&>(processState);
    for (int o = 0; o < oscillatorCount; ++o)
        oscillators[(size_t) o]->beginBlock(context, frames);
    for (int m = 0; m < modulatorCount; ++m)
        modulators[(size_t) m]->beginBlock(context, frames);

    Bus* bus = getOutput();
    float* const* channels = nullptr;
    int next = 0;
    forEachSlice(frames, state, [&](int n) {
        const int start = static_cast<int>(state.sliceOffset);
        float mono[sliceFrames] {};
        bool sounded = false;
        for (int done = 0; done < n;)
        {
            while (next < blockEventCount && blockEvents[(size_t) next].position <= start + done)
                apply(blockEvents[(size_t) next++], state);
            const int until = next < blockEventCount ? std::min(n, blockEvents[(size_t) next].position - start) : n;
            if (getActiveVoiceCount() > 0)
            {
                retune(context);
                renderVoices(mono + done, until - done, decibelsToGain(state.volume));
                sounded = true;
            }
            done = until;
        }
        if (!sounded || bus == nullptr)
            return;
        if (channels == nullptr)
        {
            // A silent stream holds nothing worth keeping: it starts from zero for the whole block.
            const bool silent = bus->isSilent();
            channels = bus->getChannels();
            if (silent)
            {
                for (int c = 0; c < bus->getNumChannels(); ++c)
                    std::memset(channels[c], 0, sizeof(float) * (size_t) frames);
                bus->clearSilent();
            }
        }
        for (int c = 0; c < bus->getNumChannels(); ++c)
            for (int i = 0; i < n; ++i)
                channels[c][start + i] += mono[i];
    });
    while (next < blockEventCount)
        apply(blockEvents[(size_t) next++], state);
    blockEventCount = 0;
}

bool Keygroup::addModulationSource(const tinyxml2::XMLElement& description, bool lock)
{
    auto link = std::make_unique<SignalConnection>(String());
    if (!link->load(description, {}, currentLayoutVersion))
        return false;
    if (!isVoiceLink(*link))
        return ProcessingElement::addModulationSource(description, lock);
    if (linkCount == maxLinks)
        return false;
    {
        std::unique_ptr<juce::ScopedLock> guard;
        if (lock)
            guard = std::make_unique<juce::ScopedLock>(getLock());
        links[(size_t) linkCount++] = link.get();
        Element::addChild(std::move(link));
    }
    postLoad();
    return true;
}

bool Keygroup::removeModulationSource(uint32_t parameterId, const String& sourcePath, bool lock)
{
    for (int l = 0; l < linkCount; ++l)
    {
        auto* link = links[(size_t) l];
        if (link->source != sourcePath || findParameterId(link->parameterName()) != parameterId)
            continue;
        {
            std::unique_ptr<juce::ScopedLock> guard;
            if (lock)
                guard = std::make_unique<juce::ScopedLock>(getLock());
            std::copy(links.begin() + l + 1, links.begin() + linkCount, links.begin() + l);
            --linkCount;
            volumeLinkCount = 0; // bound again below, before the link goes
            removeChild(link);
        }
        postLoad();
        return true;
    }
    return ProcessingElement::removeModulationSource(parameterId, sourcePath, lock);
}

bool Keygroup::save(tinyxml2::XMLElement& parent, const ElementSaveOptions& options)
{
    bool ok = ProcessingElement::save(parent, options);
    std::vector<ProcessingElement*> parts(oscillators.begin(), oscillators.begin() + oscillatorCount);
    parts.insert(parts.end(), modulators.begin(), modulators.begin() + modulatorCount);
    return saveMembers(*parent.LastChildElement(), parts, options) && ok;
}

void Keygroup::removeParts()
{
    const juce::ScopedLock sl(getLock());
    volumeLinkCount = 0;
    while (oscillatorCount > 0)
        removeChild(oscillators[(size_t) --oscillatorCount]);
    while (modulatorCount > 0)
        removeChild(modulators[(size_t) --modulatorCount]);
}

// The links are the keygroup's wiring, not MIDI learn: they load with any state or preset.
bool Keygroup::load(const tinyxml2::XMLElement& xml, const ElementLoadOptions& options, uint32_t version)
{
    removeParts();
    auto own = options;
    own.loadConnections = 1;
    bool ok = ProcessingElement::load(xml, own, version);
    ok = loadMembers(xml, options, version, [this](std::unique_ptr<ProcessingElement> part) {
             if (auto* oscillator = dynamic_cast<MinBlepGenerator*>(part.get()))
             {
                 part.release();
                 return addOscillator(std::unique_ptr<MinBlepGenerator>(oscillator));
             }
             if (auto* envelope = dynamic_cast<AdsrEnvelope*>(part.get()))
             {
                 part.release();
                 return addModulator(std::unique_ptr<AdsrEnvelope>(envelope));
             }
             return false;
         })
      && ok;
    postLoad();
    return ok;
}

} // namespace qel
