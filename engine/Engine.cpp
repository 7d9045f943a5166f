#include "engine/Engine.h"

#include <algorithm>
#include <cmath>

namespace qel
{

Engine::Engine() = default;

Engine::~Engine()
{
    const juce::ScopedLock sl(engineLock);
    children.clear();
}

void Engine::addChild(std::shared_ptr<BlockElement> child)
{
    if (child == nullptr)
        return;
    const juce::ScopedLock sl(engineLock);
    if (prepared)
        child->setFormat(sampleRate, blockSize);
    if (mainBus != nullptr)
        child->setOutputStream(0, mainBus);
    children.push_back(std::move(child));
}

void Engine::removeChild(BlockElement* child)
{
    const juce::ScopedLock sl(engineLock);
    children.erase(std::remove_if(children.begin(), children.end(),
                                  [child](const auto& c) { return c.get() == child; }),
                   children.end());
}

BlockElement* Engine::findChild(const juce::String& name) const noexcept
{
    for (const auto& c : children)
        if (c->getName() == name)
            return c.get();
    return nullptr;
}

void Engine::setFormat(double rate, int maximumBlockSize)
{
    sampleRate = static_cast<float>(rate);
    blockSize = static_cast<uint16_t>(maximumBlockSize);
    prepared = true;
    for (auto& c : children)
        c->setFormat(rate, maximumBlockSize);
}

void Engine::setOutputStream(int index, Bus* bus)
{
    if (index != 0)
        return;
    mainBus = bus;
    for (auto& c : children)
        c->setOutputStream(0, bus);
}

void Engine::reset()
{
    for (auto& c : children)
        c->reset();
}

bool Engine::queueEvent(const EngineEvent& e) noexcept
{
    const uint32_t w = ringWrite.load(std::memory_order_relaxed);
    if (w - ringRead >= (uint32_t) eventRingSize)
        return false;
    eventRing[w % eventRingSize] = e;
    ringWrite.store(w + 1, std::memory_order_release);
    return true;
}

void Engine::processEvents(RenderContext& context, const EngineEvent* events, int count, int frames)
{
    const juce::ScopedTryLock tl(engineLock);
    if (!tl.isLocked())
    {
        for (int i = 0; i < count; ++i)
            queueEvent(events[i]);
        return;
    }

    // Merge the queued events with the block's, by sample position.
    const uint32_t w = ringWrite.load(std::memory_order_acquire);
    const int queued = static_cast<int>(w - ringRead);
    if (queued == 0)
    {
        handleEvents(context, events, count, frames);
        return;
    }
    auto* merged = context.arenas[1].allocateArray<EngineEvent>((size_t) (queued + count));
    for (int i = 0; i < queued; ++i)
        merged[i] = eventRing[(ringRead + (uint32_t) i) % eventRingSize];
    ringRead = w;
    std::copy(events, events + count, merged + queued);
    sortEventsByPosition(merged, merged + queued + count);
    handleEvents(context, merged, queued + count, frames);
}

double Engine::samplesPerBeat(const RenderContext& context) const noexcept
{
    return 60.0 / tempo * static_cast<double>(context.sampleRate);
}

void Engine::handleEvents(RenderContext& context, const EngineEvent* events, int count, int frames)
{
    // Room for every given event plus what this block can add: two per
    // event, the end of a count-in, and an auto-play change.
    auto* local = context.arenas[1].allocateArray<EngineEvent>((size_t) (3 * count + 2));
    int localCount = 0;
    auto append = [&](int32_t type, int64_t offset) { local[localCount++] = EngineEvent::transport(type, offset); };

    for (int i = 0; i < count; ++i)
    {
        const EngineEvent& e = events[i];
        const double offset = static_cast<double>(e.samplePosition);
        const double spb = samplesPerBeat(context);
        switch (e.type)
        {
            case EngineEvent::StartPlaying:
                beatPosition = startPosition - offset / spb;
                if (!playing) { playing = true; notify("Playing"); }
                break;
            case EngineEvent::StopPlaying:
                countInActive = false;
                startPosition = beatPosition + offset / spb;
                if (playing) { playing = false; notify("Playing"); }
                break;
            case EngineEvent::StartRecording:
                if (!playing)
                {
                    countInActive = true;
                    countInSamplesLeft = static_cast<int32_t>(spb * 3.95);
                    beatPosition = (-1.0 - std::floor(spb * 4.0)) / spb;
                }
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
                if (e.data1 == 117)
                {
                    append(EngineEvent::StopPlaying, e.samplePosition);
                    startPosition = 0.0;
                    beatPosition = 0.0 - offset / spb;
                    context.changeFlags |= RenderContext::changedPosition;
                    if (playing) { playing = false; notify("Playing"); }
                    if (recording)
                    {
                        append(EngineEvent::StopRecording, e.samplePosition);
                        recording = false;
                        notify("Recording");
                    }
                }
                else if (e.data1 == 118)
                {
                    if (playing && !recording)
                    {
                        append(EngineEvent::StopPlaying, e.samplePosition);
                        startPosition = beatPosition + offset / spb;
                        playing = false;
                        notify("Playing");
                    }
                    else if (playing && recording)
                    {
                        append(EngineEvent::StopRecording, e.samplePosition);
                        recording = false;
                        notify("Recording");
                    }
                    else
                    {
                        append(EngineEvent::StartPlaying, e.samplePosition);
                        beatPosition = startPosition - offset / spb;
                        playing = true;
                        notify("Playing");
                    }
                }
                else if (e.data1 == 119)
                {
                    if (recording)
                        append(EngineEvent::StopRecording, e.samplePosition);
                    else
                    {
                        append(EngineEvent::StartRecording, e.samplePosition);
                        if (!playing)
                        {
                            countInActive = true;
                            countInSamplesLeft = static_cast<int32_t>(spb * 3.95);
                            beatPosition = (-1.0 - std::floor(spb * 4.0)) / spb;
                        }
                    }
                    recording = !recording;
                    notify("Recording");
                }
                break;
            default:
                break;
        }
    }

    if (countInActive && !playing)
    {
        if (countInSamplesLeft < frames)
        {
            countInActive = false;
            append(EngineEvent::StartPlaying, countInSamplesLeft);
            playing = true;
            notify("Playing");
        }
        countInSamplesLeft -= frames;
    }
    else
    {
        countInActive = false;
    }

    context.globalTune = globalTune;

    if (syncToHost)
    {
        if (context.tempo != tempoFloat)
        {
            tempo = context.tempo;
            tempoFloat = context.tempo;
            notify("Tempo");
        }
        if (context.numerator != meterNumerator) { meterNumerator = context.numerator; notify("MeterNumerator"); }
        if (context.denominator != meterDenominator) { meterDenominator = context.denominator; notify("MeterDenominator"); }
    }
    else
    {
        context.tempo = static_cast<float>(tempo);
    }

    const int32_t hostState = context.playing;
    const double spb = samplesPerBeat(context);
    if (hostState == 1)
    {
        context.previousPosition = context.position;
    }
    else
    {
        const double oldPosition = context.position;
        context.position = beatPosition;
        const double barLength = static_cast<double>(meterNumerator) / meterDenominator * 4.0;
        context.positionInBar = std::fmod(beatPosition, barLength);
        context.samplesToNextBar = std::fmod(barLength - context.positionInBar, barLength) * spb;
        context.samplesToNextBeat = (1.0 - std::fmod(beatPosition, 1.0)) * spb;
        if (hostState == 0)
            context.previousPosition = oldPosition;
        else
            context.previousPosition = playing ? beatPosition : startPosition;
    }

    const bool hostPlaying = hostState == 1;
    const bool autoPlayChange = autoPlay && hostPlaying != hostWasPlaying;
    context.playing = playing ? 1 : 0;

    midiState.update(events, count);

    if (localCount == 0 && !autoPlayChange)
    {
        for (auto& c : children)
            c->processEvents(context, events, count, frames);
    }
    else
    {
        for (int i = 0; i < count; ++i)
            local[localCount++] = events[i];
        if (autoPlayChange)
        {
            append(hostWasPlaying ? EngineEvent::StopPlaying : EngineEvent::StartPlaying, 0);
            playing = !hostWasPlaying;
            notify("Playing");
            context.playing = playing ? 1 : 0;
        }
        sortEventsByPosition(local, local + localCount);
        for (auto& c : children)
            c->processEvents(context, local, localCount, frames);
    }

    hostWasPlaying = hostPlaying;
    beatPosition += static_cast<double>(frames) / spb;
}

void Engine::render(RenderContext& context, int frames)
{
    const juce::ScopedTryLock tl(engineLock);
    if (!tl.isLocked())
        return;
    // The first arena is a stack per call.
    const auto mark = context.arenas[0].mark();
    for (auto& c : children)
        c->render(context, frames);
    context.arenas[0].restore(mark);
}

} // namespace qel
