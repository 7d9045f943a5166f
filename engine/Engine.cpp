#include "engine/Engine.h"
#include "engine/MusicalTime.h"

#include "element/Bindings.h"
#include "element/ElementRegistry.h"

#include <tinyxml2.h>

#include <algorithm>
#include <cmath>

namespace qel
{

const Engine::Ids& Engine::Ids::get()
{
    static const Ids ids = [] {
        auto& r = ParameterRegistry::get();
        Ids i {};
        i.globalTune = r.registerFloat(ParameterDescription<float>("GlobalTune", 440.0f, { 391.99542f, 493.8833f }, hertz,
                                                                   0, nullptr, false, true));
        i.tempo = r.registerFloat(ParameterDescription<float>("Tempo", 120.0f, { 10.0f, 400.0f }, plainNumber, 0, nullptr,
                                                              false, true));
        ParameterDescription<bool> playingDescription("Playing", false, false, true);
        playingDescription.flags &= static_cast<uint8_t>(~ParameterFlags::persistent);
        i.playing = r.registerBool(playingDescription);
        ParameterDescription<bool> recordingDescription("Recording", false, false, true);
        recordingDescription.flags &= static_cast<uint8_t>(~ParameterFlags::persistent);
        i.recording = r.registerBool(recordingDescription);
        i.autoPlay = r.registerBool(ParameterDescription<bool>("AutoPlay", true, false, true));
        i.meterNumerator = r.registerInt(ParameterDescription<int>("MeterNumerator", 4, { 1, 99 }, plainNumber, 0, false, true));
        i.meterDenominator = r.registerInt(ParameterDescription<int>("MeterDenominator", 4, { 1, 16 }, plainNumber, 0, false, true));
        return i;
    }();
    return ids;
}

Engine::Engine() : ProcessingElement("Engine", "Engine")
{
    setPerVoice(false);
    declareParameters();
}

void Engine::declareParameters()
{
    const auto& ids = Ids::get();
    declareParameter(bindField<&Engine::globalTune>(ids.globalTune));
    // Tempo keeps its double and float mirrors together.
    declareParameter(std::make_unique<ParameterInfo<float>>(
        &ParameterRegistry::get().floatDescription(ids.tempo),
        [](const void* e, const uint16_t*) { return static_cast<const Engine*>(e)->tempoFloat; },
        [](void* e, const uint16_t*, float v) { static_cast<Engine*>(e)->setTempo(v); }));
    // The shared SyncToHost is off by default; the engine's follows the host
    // unless a state says otherwise.
    static const auto engineSync = [] {
        auto d = ParameterRegistry::get().boolDescription(FrameworkParameters::get().syncToHost);
        d.defaultValue = true;
        return d;
    }();
    declareParameter(std::make_unique<ParameterInfo<bool>>(
        &engineSync, [](const void* e, const uint16_t*) { return static_cast<const Engine*>(e)->syncToHost; },
        [](void* e, const uint16_t*, bool on) { static_cast<Engine*>(e)->syncToHost = on; }));
    declareParameter(bindField<&Engine::playing>(ids.playing));
    declareParameter(bindField<&Engine::recording>(ids.recording));
    declareParameter(bindField<&Engine::autoPlay>(ids.autoPlay));
    declareParameter(bindField<&Engine::meterNumerator>(ids.meterNumerator));
    declareParameter(bindField<&Engine::meterDenominator>(ids.meterDenominator));
}

Engine::~Engine()
{
    const juce::ScopedLock sl(engineLock);
    processing.clear();
}

void Engine::addChild(std::unique_ptr<ProcessingElement> child)
{
    if (child == nullptr)
        return;
    const juce::ScopedLock sl(engineLock);
    auto* raw = child.get();
    if (isPrepared())
        raw->setFormat(getSampleRate(), getMaxBlockSize());
    if (mainBus != nullptr)
        raw->setOutputStream(0, mainBus);
    Element::addChild(std::move(child));
    processing.push_back(raw);
}

bool Engine::save(tinyxml2::XMLElement& parentXml, const ElementSaveOptions& options)
{
    bool ok = ProcessingElement::save(parentXml, options);
    auto* xml = parentXml.LastChildElement();
    for (int i = 0; i < getNumChildren() && xml != nullptr; ++i)
        if (getChild(i)->hasFlag(persistentElement))
            ok = getChild(i)->save(*xml, options) && ok;
    return ok;
}

bool Engine::load(const tinyxml2::XMLElement& xml, const ElementLoadOptions& options, uint32_t version)
{
    while (!processing.empty())
        removeChild(processing.back());
    bool ok = ProcessingElement::load(xml, options, version);
    for (auto* child = xml.FirstChildElement(); child != nullptr; child = child->NextSiblingElement())
    {
        const auto type = textFromUtf8(child->Name());
        if (type == "Connections" || type == "Properties" || type == "Automation")
            continue; // the engine's own parts
        auto made = ElementRegistry::instance().create(type);
        auto* processor = dynamic_cast<ProcessingElement*>(made.get());
        if (processor == nullptr || processor->getTypeName() == getTypeName())
        {
            // A type this build does not know fails the load of that child, and the others go on.
            const auto name = textFromUtf8(child->Attribute("Name"));
            addError({ getPath() + "/" + (name.isNotEmpty() ? name : type), "unknown element type \"" + type + "\"" });
            ok = false;
            continue;
        }
        made.release();
        std::unique_ptr<ProcessingElement> owned(processor);
        if (owned->load(*child, options, version))
            addChild(std::move(owned));
        else
        {
            addError({ getPath() + "/" + owned->getName(), "\"" + type + "\" failed to load" });
            ok = false;
        }
    }
    return ok;
}

std::unique_ptr<Element> Engine::removeChild(ProcessingElement* child)
{
    const juce::ScopedLock sl(engineLock);
    processing.erase(std::remove(processing.begin(), processing.end(), child), processing.end());
    return Element::removeChild(child);
}

void Engine::setFormat(double rate, int maximumBlockSize)
{
    Element::setFormat(rate, maximumBlockSize);
    for (auto* c : processing)
        c->setFormat(rate, maximumBlockSize);
}

void Engine::setOutputStream(int index, Bus* bus)
{
    ProcessingElement::setOutputStream(index, bus);
    if (index != 0)
        return;
    mainBus = bus;
    for (auto* c : processing)
        c->setOutputStream(0, bus);
}

void Engine::reset()
{
    resetProcessState();
    for (auto* c : processing)
        c->resetProcessState();
}

void Engine::processEvents(RenderContext& context, const EngineEvent* events, int count, int frames)
{
    const juce::ScopedTryLock tl(engineLock);
    if (!tl.isLocked())
    {
        // Seen in the next block that gets the lock.
        if (!getProcessingState().bypass)
            for (int i = 0; i < count; ++i)
                queueEvent(events[i]);
        return;
    }
    blockFrames = frames;
    ProcessingElement::processEvents(context, events, count, frames);
}

void Engine::handleEvents(RenderContext& context, const EngineEvent* events, int count)
{
    handleTransport(context, events, count, blockFrames);
}

double Engine::samplesPerBeat(const RenderContext& context) const noexcept
{
    return musicalTime::samplesPerBeat(tempo, context.sampleRate);
}

// The events this block adds to the ones it was given, in the context's arena.
struct Engine::TransportAdditions
{
    EngineEvent* events;
    int count = 0;
    void add(int32_t type, int64_t at) noexcept { events[count++] = EngineEvent::transport(type, at); }
};

void Engine::handleTransport(RenderContext& context, const EngineEvent* events, int count, int frames)
{
    // Room for every given event plus what this block can add: two per
    // event, the end of a count-in, and an auto-play change.
    TransportAdditions added { context.arenas[1].allocateArray<EngineEvent>((size_t) (3 * count + 2)) };
    for (int i = 0; i < count; ++i)
        applyTransportEvent(context, events[i], added);
    advanceCountIn(frames, added);
    context.globalTune = globalTune;
    followHostTempoAndMeter(context);
    const bool hostPlaying = context.playing == 1;
    writeMusicalPosition(context);
    const bool autoPlayChange = autoPlay && hostPlaying != hostWasPlaying;
    context.playing = playing ? 1 : 0;

    midiState.update(events, count);
    if (added.count == 0 && !autoPlayChange)
    {
        for (auto* c : processing)
            c->processEvents(context, events, count, frames);
    }
    else
    {
        for (int i = 0; i < count; ++i)
            added.events[added.count++] = events[i];
        if (autoPlayChange)
        {
            added.add(hostWasPlaying ? EngineEvent::StopPlaying : EngineEvent::StartPlaying, 0);
            setPlaying(!hostWasPlaying);
            context.playing = playing ? 1 : 0;
        }
        sortEventsByPosition(added.events, added.events + added.count);
        for (auto* c : processing)
            c->processEvents(context, added.events, added.count, frames);
    }
    hostWasPlaying = hostPlaying;
    beatPosition += static_cast<double>(frames) / samplesPerBeat(context);
}

void Engine::applyTransportEvent(RenderContext& context, const EngineEvent& e, TransportAdditions& added)
{
    const double offset = static_cast<double>(e.samplePosition);
    const double spb = samplesPerBeat(context);
    switch (e.type)
    {
        case EngineEvent::StartPlaying:
            beatPosition = startPosition - offset / spb;
            if (!playing)
                setPlaying(true);
            break;
        case EngineEvent::StopPlaying:
            countInActive = false;
            startPosition = beatPosition + offset / spb;
            if (playing)
                setPlaying(false);
            break;
        case EngineEvent::StartRecording:
            if (!playing)
                startCountIn(spb);
            break;
        case EngineEvent::SetPosition:
            startPosition = e.positionValue();
            beatPosition = e.positionValue() - offset / spb;
            context.changeFlags |= RenderContext::changedPosition;
            break;
        case EngineEvent::Controller:
            // A transport button sends a press and a release; only the press acts.
            if (e.data2 <= 0)
                break;
            if (e.data1 == returnToStartController)
                returnToStart(context, e, added);
            else if (e.data1 == playController)
                togglePlay(e, offset / spb, added);
            else if (e.data1 == recordController)
                toggleRecord(e, spb, added);
            break;
        default:
            break;
    }
}

void Engine::returnToStart(RenderContext& context, const EngineEvent& e, TransportAdditions& added)
{
    added.add(EngineEvent::StopPlaying, e.samplePosition);
    startPosition = 0.0;
    beatPosition = 0.0 - static_cast<double>(e.samplePosition) / samplesPerBeat(context);
    context.changeFlags |= RenderContext::changedPosition;
    if (playing)
        setPlaying(false);
    if (recording)
    {
        added.add(EngineEvent::StopRecording, e.samplePosition);
        setRecording(false);
    }
}

void Engine::togglePlay(const EngineEvent& e, double beatsIntoBlock, TransportAdditions& added)
{
    if (playing && !recording)
    {
        added.add(EngineEvent::StopPlaying, e.samplePosition);
        startPosition = beatPosition + beatsIntoBlock;
        setPlaying(false);
    }
    else if (playing && recording)
    {
        added.add(EngineEvent::StopRecording, e.samplePosition);
        setRecording(false);
    }
    else
    {
        added.add(EngineEvent::StartPlaying, e.samplePosition);
        beatPosition = startPosition - beatsIntoBlock;
        setPlaying(true);
    }
}

void Engine::toggleRecord(const EngineEvent& e, double spb, TransportAdditions& added)
{
    if (recording)
        added.add(EngineEvent::StopRecording, e.samplePosition);
    else
    {
        added.add(EngineEvent::StartRecording, e.samplePosition);
        if (!playing)
            startCountIn(spb);
    }
    setRecording(!recording);
}

// Four beats before the first, the last sample of the count one beat's 5% early.
void Engine::startCountIn(double spb) noexcept
{
    countInActive = true;
    countInSamplesLeft = static_cast<int32_t>(spb * 3.95);
    beatPosition = (-1.0 - std::floor(spb * 4.0)) / spb;
}

void Engine::advanceCountIn(int frames, TransportAdditions& added)
{
    if (!countInActive || playing)
    {
        countInActive = false;
        return;
    }
    if (countInSamplesLeft < frames)
    {
        countInActive = false;
        added.add(EngineEvent::StartPlaying, countInSamplesLeft);
        setPlaying(true);
    }
    countInSamplesLeft -= frames;
}

void Engine::followHostTempoAndMeter(RenderContext& context)
{
    if (!syncToHost)
    {
        context.tempo = static_cast<float>(tempo);
        return;
    }
    if (context.tempo != tempoFloat)
    {
        tempo = context.tempo;
        tempoFloat = context.tempo;
        notify(Ids::get().tempo);
    }
    if (context.numerator != meterNumerator)
    {
        meterNumerator = context.numerator;
        notify(Ids::get().meterNumerator);
    }
    if (context.denominator != meterDenominator)
    {
        meterDenominator = context.denominator;
        notify(Ids::get().meterDenominator);
    }
}

// A playing host gives the position; otherwise the engine's own transport does.
void Engine::writeMusicalPosition(RenderContext& context) const
{
    const int32_t hostState = context.playing;
    if (hostState == 1)
    {
        context.previousPosition = context.position;
        return;
    }
    const double spb = samplesPerBeat(context);
    const double oldPosition = context.position;
    context.position = beatPosition;
    const double barLength = musicalTime::beatsPerBar(meterNumerator, meterDenominator);
    context.positionInBar = std::fmod(beatPosition, barLength);
    context.samplesToNextBar = std::fmod(barLength - context.positionInBar, barLength) * spb;
    context.samplesToNextBeat = (1.0 - std::fmod(beatPosition, 1.0)) * spb;
    if (hostState == 0)
        context.previousPosition = oldPosition;
    else
        context.previousPosition = playing ? beatPosition : startPosition;
}

void Engine::setPlaying(bool on) noexcept
{
    playing = on;
    notify(Ids::get().playing);
}

void Engine::setRecording(bool on) noexcept
{
    recording = on;
    notify(Ids::get().recording);
}

void Engine::render(RenderContext& context, int frames)
{
    const juce::ScopedTryLock tl(engineLock);
    if (!tl.isLocked())
        return;
    ProcessingElement::render(context, frames);
}

void Engine::process(RenderContext& context, int frames, ProcessingElementState& state)
{
    juce::ignoreUnused(state);
    for (auto* c : processing)
        c->render(context, frames);
}

} // namespace qel
