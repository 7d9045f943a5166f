#include "element/ProcessingElement.h"

#include "element/Bindings.h"
#include "element/SignalConnection.h"

#include <algorithm>

namespace qel
{

ProcessingElement::ProcessingElement(const String& typeName, const String& name) : Element(typeName, name)
{
    setStates(std::make_unique<ProcessingElementState>(this), std::make_unique<ProcessingElementState>(this));
    const auto& ids = FrameworkParameters::get();
    auto& r = ParameterRegistry::get();
    declareParameter(std::make_unique<ParameterInfo<String>>(
        &r.stringDescription(ids.displayType),
        [](const void* e, const uint16_t*) { return static_cast<const Element*>(e)->getTypeName(); },
        [](void*, const uint16_t*, String) {}));
    declareParameter(bindField<&ProcessingElementState::bypass>(ids.bypass));
}

ProcessingElement::~ProcessingElement() = default;

void ProcessingElement::declareParameter(std::unique_ptr<ParameterInfoBase> binding)
{
    auto* raw = binding.get();
    addParameter(std::move(binding));
    const auto& d = raw->description();
    if (!d.has(ParameterFlags::modulable) || d.has(ParameterFlags::readOnly) || d.has(ParameterFlags::elementLevel))
        return;
    envelopes.push_back(std::make_unique<ElementParamEnvelope>(*this, *raw));
    connectionList.push_back(envelopes.back().get());
    // Room for every envelope, so that a block never allocates.
    glidingEnvelopes.reserve(connectionList.size());
}

void ProcessingElement::parameterSetImmediately(ParameterInfoBase& binding)
{
    for (auto* e : connectionList)
        if (&e->getBinding() == &binding)
        {
            const auto id = binding.id();
            switch (binding.valueType())
            {
                case ValueType::intValue: e->jumpTo(static_cast<float>(getParameterInt(id))); break;
                case ValueType::boolValue: e->jumpTo(getParameterBool(id) ? 1.0f : 0.0f); break;
                default: e->jumpTo(getParameterFloat(id)); break;
            }
        }
}

const MidiStateTracker* ProcessingElement::getMidiState() const
{
    if (auto* p = dynamic_cast<const ProcessingElement*>(getParent()))
        return p->getMidiState();
    return nullptr;
}

// A link named by its file form; the destination names a parameter of this element.
bool ProcessingElement::addModulationSource(const tinyxml2::XMLElement& description, bool lock)
{
    auto link = std::make_unique<SignalConnection>(String());
    if (!link->load(description, {}, currentLayoutVersion))
        return false;
    const auto id = findParameterId(link->parameterName());
    auto* binding = findBinding(id);
    ElementParamEnvelope* envelope = nullptr;
    for (auto* e : connectionList)
        if (binding != nullptr && &e->getBinding() == binding)
            envelope = e;
    if (envelope == nullptr || !binding->description().has(ParameterFlags::modulable))
        return false;
    std::unique_ptr<juce::ScopedLock> guard;
    if (lock)
        guard = std::make_unique<juce::ScopedLock>(getLock());
    if (link->getName().isEmpty())
        link->setName(makeUniqueConnectionName(id));
    auto* raw = link.get();
    addChild(std::move(link));
    envelope->addLink(raw, getMidiState());
    if (std::find(activeConnections.begin(), activeConnections.end(), envelope) == activeConnections.end())
        activeConnections.push_back(envelope);
    glidingEnvelopes.reserve(connectionList.size());
    return true;
}

bool ProcessingElement::removeModulationSource(uint32_t parameterId, const String& sourcePath, bool lock)
{
    auto* binding = findBinding(parameterId);
    std::unique_ptr<juce::ScopedLock> guard;
    if (lock)
        guard = std::make_unique<juce::ScopedLock>(getLock());
    for (auto* e : connectionList)
        if (binding != nullptr && &e->getBinding() == binding && e->removeLink(sourcePath))
        {
            if (!e->hasLiveLink())
                activeConnections.erase(std::remove(activeConnections.begin(), activeConnections.end(), e),
                                        activeConnections.end());
            for (int i = 0; i < getNumChildren(); ++i)
                if (auto* link = dynamic_cast<SignalConnection*>(getChild(i)); link != nullptr && link->source == sourcePath)
                {
                    removeChild(link);
                    break;
                }
            return true;
        }
    return false;
}

void ProcessingElement::listModulationSources(uint32_t parameterId, juce::StringArray& out) const
{
    auto* binding = findBinding(parameterId);
    for (auto* e : connectionList)
        if (binding != nullptr && &e->getBinding() == binding)
            e->listSources(out);
}

uint32_t ProcessingElement::getTailFrames(RenderContext& context, int frames, ProcessingElementState& state)
{
    juce::ignoreUnused(context, frames, state);
    return unboundedTail;
}

void ProcessingElement::prepare()
{
    Element::prepare();
    for (auto* e : connectionList)
        e->setFormat(getSampleRate());
}

void ProcessingElement::resetProcessState()
{
    Element::resetProcessState();
}

bool ProcessingElement::queueEvent(const EngineEvent& event) noexcept
{
    const uint32_t w = ringWrite.load(std::memory_order_relaxed);
    if (w - ringRead >= static_cast<uint32_t>(eventRingSize))
        return false;
    ring[w % eventRingSize] = event;
    ringWrite.store(w + 1, std::memory_order_release);
    return true;
}

void ProcessingElement::setOutputStream(int index, Bus* stream)
{
    if (index == 0)
        output = stream;
}

void ProcessingElement::updateState(RenderContext& context, int frames, ProcessingElementState& state)
{
    juce::ignoreUnused(context);
    const uint16_t previous = state.version;
    state.version = getStateVersion();
    glidingEnvelopes.clear();
    // With nothing new and nothing still moving, only envelopes with live links run.
    if ((state.stateFlags & ElementState::fullUpdateDue) == 0 && previous == state.version)
    {
        for (auto* e : activeConnections)
            if (e->update(state, state.version, frames))
            {
                e->writeSlice(state, 0);
                if (e->glidesInBlock())
                    glidingEnvelopes.push_back(e);
            }
        return;
    }
    state.stateFlags &= static_cast<uint8_t>(~ElementState::fullUpdateDue);
    bool stillMoving = false;
    for (auto* e : connectionList)
    {
        if (e->update(state, state.version, frames))
        {
            e->writeSlice(state, 0);
            if (e->glidesInBlock())
                glidingEnvelopes.push_back(e);
        }
        stillMoving = stillMoving || e->isRamping();
    }
    // A ramp asks for the next block too.
    if (stillMoving)
        state.stateFlags |= ElementState::fullUpdateDue;
}

void ProcessingElement::sliceUpdate(int slice, ProcessingElementState& state)
{
    for (auto* e : glidingEnvelopes)
        e->writeSlice(state, slice);
}

std::shared_ptr<AudioMonitor> ProcessingElement::getAudioMonitor()
{
    if (audioMonitor == nullptr)
    {
        audioMonitor = std::make_shared<AudioMonitor>();
        liveAudioMonitor.store(audioMonitor.get(), std::memory_order_release);
    }
    return audioMonitor;
}

// A silent stream gives nothing: its meter falls.
void ProcessingElement::monitor(AudioMonitor::End end, int frames) noexcept
{
    auto* m = liveAudioMonitor.load(std::memory_order_acquire);
    if (m == nullptr || output == nullptr || output->isSilent())
        return;
    m->raise(end, output->peekChannels(), output->getNumChannels(), std::min(frames, output->getNumFrames()));
}

void ProcessingElement::render(RenderContext& context, int frames)
{
    const auto mark = context.arenas[0].mark();
    auto& state = getProcessingState();
    flushPending();
    updateState(context, frames, state);
    monitor(AudioMonitor::input, frames);
    if (state.bypass && !processesWhenBypassed())
    {
        // The stream keeps what it holds: the input passes through.
        if ((state.stateFlags & ElementState::slicing) == 0)
        {
            state.stateFlags |= ElementState::slicing;
            sliceUpdate(frames > 0 ? (frames + sliceFrames - 1) / sliceFrames - 1 : 0, state);
            state.stateFlags &= static_cast<uint8_t>(~ElementState::slicing);
        }
    }
    else
    {
        process(context, frames, state);
    }
    monitor(AudioMonitor::output, frames);
    context.arenas[0].restore(mark);
}

void ProcessingElement::process(RenderContext& context, int frames, ProcessingElementState& state)
{
    if ((state.stateFlags & ElementState::slicing) != 0)
    {
        processUnsliced(context, state, frames);
        return;
    }
    forEachSlice(frames, state, [&](int n) { processUnsliced(context, state, n); });
}

void ProcessingElement::processEvents(RenderContext& context, const EngineEvent* events, int count, int frames)
{
    juce::ignoreUnused(frames);
    if (getProcessingState().bypass)
        return;
    const uint32_t w = ringWrite.load(std::memory_order_acquire);
    const int queued = static_cast<int>(w - ringRead);
    if (queued == 0 && (processingFlags & filtersEvents) == 0)
    {
        handleEvents(context, events, count);
        return;
    }
    auto* merged = context.arenas[1].allocateArray<EngineEvent>(static_cast<size_t>(queued + count));
    int n = 0;
    for (int i = 0; i < count; ++i)
        if (acceptEvent(events[i]))
            merged[n++] = events[i];
    for (int i = 0; i < queued; ++i)
        merged[n++] = ring[(ringRead + static_cast<uint32_t>(i)) % eventRingSize];
    ringRead = w;
    sortEventsByPosition(merged, merged + n);
    handleEvents(context, merged, n);
}

void ProcessingElement::handleEvents(RenderContext& context, const EngineEvent* events, int count)
{
    juce::ignoreUnused(context);
    for (int i = 0; i < count; ++i)
        handleEvent(events[i], i);
}

// Parameter events: 267 a float, 268 an int, 269 a bool, for this element
// (or none named) and sub-index 0, set as a deferred value that is not deferred.
void ProcessingElement::handleEvent(const EngineEvent& event, int index)
{
    juce::ignoreUnused(index);
    if (event.type < EngineEvent::ParameterImmediate || event.type > EngineEvent::ParameterEvent)
        return;
    const auto target = event.tail.parameter.target;
    if ((target != 0 && target != static_cast<uint32_t>(getElementId()) + 1) || event.data1 != 0)
        return;
    const auto id = event.tail.parameter.parameterId;
    const double value = event.tail.parameter.value;
    if (event.type == EngineEvent::ParameterImmediate && findFloatParameter(id) != nullptr)
        setParameterFloatDeferred(id, static_cast<float>(value), false);
    else if (event.type == EngineEvent::ParameterDeferred && findIntParameter(id) != nullptr)
        setParameterIntDeferred(id, static_cast<int>(value), false);
    else if (event.type == EngineEvent::ParameterEvent && findBoolParameter(id) != nullptr)
        setParameterBoolDeferred(id, value != 0.0, false);
}

// --- the slice loop of an effect ---

void BasicProcessingElement::setOutputStream(int index, Bus* newStream)
{
    ProcessingElement::setOutputStream(index, newStream);
    if (index != 0)
        return;
    stream = newStream;
    channelCount = newStream != nullptr ? static_cast<uint32_t>(newStream->getNumChannels()) : 0;
}

void BasicProcessingElement::prepare()
{
    ProcessingElement::prepare();
    tailUnknown = true;
}

void BasicProcessingElement::process(RenderContext& context, int frames, ProcessingElementState& state)
{
    if (stream == nullptr)
        return;
    const bool silent = stream->isSilent();
    if (silent)
    {
        if (tailUnknown)
        {
            tailFrames = getTailFrames(context, frames, state);
            tailUnknown = false;
        }
        else if (silentFrames == 0)
            tailFrames = getTailFrames(context, frames, state);

        if (tailFrames == unboundedTail)
        {
            silentFrames += static_cast<uint32_t>(frames);
            asleep = false;
        }
        else
        {
            if (!asleep && silentFrames >= tailFrames)
                asleep = true;
            silentFrames += static_cast<uint32_t>(frames);
            if (asleep)
            {
                if ((state.stateFlags & ElementState::slicing) != 0)
                {
                    processIdle(context, state, frames);
                    return;
                }
                forEachSlice(frames, state, [&](int n) { processIdle(context, state, n); });
                return;
            }
        }
    }
    else
    {
        silentFrames = 0;
        asleep = false;
    }

    state.sliceOffset = 0;
    float* const* channels = stream->getChannels();
    if ((state.stateFlags & ElementState::slicing) != 0)
    {
        processAudio(context, state, frames, channels, nullptr);
        return;
    }
    constexpr uint32_t maxChannels = 32;
    const uint32_t count = std::min(channelCount, maxChannels);
    float* offset[maxChannels];
    forEachSlice(frames, state, [&](int n) {
        for (uint32_t c = 0; c < count; ++c)
            offset[c] = channels[c] + state.sliceOffset;
        processAudio(context, state, n, offset, nullptr);
    });
}

} // namespace qel
