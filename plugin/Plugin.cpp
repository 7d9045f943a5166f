#include "plugin/Plugin.h"

#include "engine/MusicalTime.h"

#include "ui/EditorFactory.h"

#include <cmath>
#include <limits>
#include <utility>
#include <xmmintrin.h>

namespace qel
{

std::atomic<int> Plugin::instanceCount { 0 };

namespace
{
constexpr unsigned mxcsrFlushToZero = 0x8000;
constexpr unsigned mxcsrDenormalsAreZero = 0x0040;

} // namespace

Plugin::Plugin()
    : juce::AudioProcessor(BusesProperties()
                               .withInput("Input", juce::AudioChannelSet::stereo(), true)
                               .withOutput("Output", juce::AudioChannelSet::stereo(), true)),
      engine(std::make_shared<Engine>()),
      renderContext(std::make_unique<RenderContext>()),
      settings(std::make_unique<Settings>(Settings::formatBranch(formatSuffix(wrapperType))))
{
    pendingEvents.reserve(pendingEventCapacity);
    block.main.reserve(8, 0);
    lifetime->plugin = this;
    ++instanceCount;
}

Plugin::~Plugin()
{
    endPostedWork();
    for (auto* slot : exported)
    {
        slot->parameterInfoChanged = nullptr;
        slot->disconnectSlot(false);
        slot->disconnectTracked();
        slot->setProxy(nullptr);
    }
    exported.clear();
    proxy.reset();
    std::shared_ptr<Engine> last;
    {
        const juce::ScopedLock guard(treeLock());
        last = std::move(engine);
    }
    --instanceCount;
}

juce::String Plugin::formatSuffix(WrapperType type)
{
    switch (type)
    {
        case wrapperType_VST: return "VST";
        case wrapperType_VST3: return "VST3";
        case wrapperType_LV2: return "LV2";
        case wrapperType_AAX: return "AAX";
        case wrapperType_Standalone: return "SA";
        default: return {};
    }
}

void Plugin::setEngine(std::shared_ptr<Engine> newEngine)
{
    if (newEngine == nullptr)
        return;
    if (proxy == nullptr)
        proxy = std::make_unique<EngineProxy>(this, newEngine.get(), true);
    else
        proxy->setEngine(newEngine.get());
    if (engine != nullptr && newEngine->getErrors().empty())
        for (const auto& e : engine->getErrors())
            newEngine->addError(e);
    std::shared_ptr<Engine> former; // freed after the lock
    const juce::ScopedLock guard(treeLock());
    former = std::exchange(engine, std::move(newEngine));
}

// --- the exported bank ---

void Plugin::addExportedParameter(const Key& key)
{
    auto slot = std::make_unique<ExportedPluginParameter>(proxy.get(), static_cast<int>(exported.size()), key.name);
    auto* raw = slot.get();
    if (proxy != nullptr)
        raw->followGestures(*proxy);
    raw->parameterInfoChanged = [this] { updateHostDisplay(ChangeDetails().withParameterInfoChanged(true)); };
    exported.push_back(raw);
    addParameter(slot.release());
    raw->connectTo(key, {});
}

bool Plugin::connect(const Key& key, const String& displayName)
{
    if (connections.count(key) != 0 || proxy == nullptr || exported.empty())
        return false;
    auto* element = proxy->getElementProxy(key.path, false);
    if (element == nullptr || element->findParameterId(key.name) == 0)
        return false;

    std::optional<size_t> chosen;
    for (size_t i = 0; i < exported.size() && !chosen; ++i)
        if (!exported[i]->isResolved() && exported[i]->getPrevious() == key)
            chosen = i;
    if (!chosen)
    {
        const auto count = static_cast<uint32_t>(exported.size());
        for (uint32_t step = 0; step < count && !chosen; ++step)
        {
            const auto i = (nextFreeSlot + step) % count;
            if (!exported[i]->isConnected())
            {
                chosen = i;
                nextFreeSlot = (i + 1) % count;
            }
        }
    }
    if (!chosen)
        return false;
    connections[key] = static_cast<int>(*chosen);
    exported[*chosen]->connectTo(key, displayName);
    return true;
}

void Plugin::disconnect(const Key& key)
{
    const auto it = connections.find(key);
    if (it == connections.end())
        return;
    const int index = it->second;
    connections.erase(it);
    exported[(size_t) index]->disconnectSlot(true);
}

bool Plugin::save(juce::XmlElement& parent) const
{
    bool any = false;
    for (auto* slot : exported)
    {
        if (!slot->isConnected())
            continue;
        auto* e = parent.createNewChildElement("AutomationConnection");
        e->setAttribute("sourceIndex", slot->getSlotIndex());
        e->setAttribute("targetPath", slot->getTarget().path);
        e->setAttribute("parameterName", slot->getTarget().name);
        e->setAttribute("parameterDisplayName", slot->getSlotDisplayName());
        any = true;
    }
    return any;
}

void Plugin::load(const juce::XmlElement& element)
{
    for (auto* slot : exported)
        slot->disconnectSlot(true);
    connections.clear();
    for (auto* e : element.getChildWithTagNameIterator("AutomationConnection"))
    {
        const int index = e->getIntAttribute("sourceIndex", -1);
        const Key key { e->getStringAttribute("targetPath"), e->getStringAttribute("parameterName") };
        // An entry this version cannot honour leaves its slot as it is.
        if (!e->hasAttribute("sourceIndex") || index < 0 || index >= getNumSlots() || key.path.isEmpty() || proxy == nullptr)
            continue;
        auto* target = proxy->getElementProxy(key.path, false);
        if (target == nullptr || target->findParameterId(key.name) == 0)
            continue;
        auto* slot = exported[(size_t) index];
        slot->disconnectSlot(true);
        slot->connectTo(key, e->getStringAttribute("parameterDisplayName"));
        connections[key] = index;
    }
}

void Plugin::disconnectAll()
{
    for (auto* slot : exported)
        slot->disconnectSlot(true);
    connections.clear();
}

void Plugin::disconnectSlot(int index)
{
    if (index < 0 || index >= getNumSlots())
        return;
    auto* slot = exported[(size_t) index];
    connections.erase(slot->getTarget());
    slot->disconnectSlot(true);
}

void Plugin::reconnectSlot(int index, const Key& key)
{
    if (index < 0 || index >= getNumSlots())
        return;
    disconnectSlot(index);
    disconnect(key);
    exported[(size_t) index]->connectTo(key, {});
    connections[key] = index;
}

std::optional<int> Plugin::findSlot(const String& elementPath, uint32_t parameterId) const
{
    for (auto* slot : exported)
        if (slot->isResolved() && slot->getParameterId() == parameterId && slot->getTarget().path == elementPath)
            return slot->getSlotIndex();
    return std::nullopt;
}

double Plugin::getTailLengthSeconds() const
{
    // A feedback effect never ends.
    return std::numeric_limits<double>::infinity();
}

void Plugin::prepareToPlay(double sampleRate, int blockSize)
{
    if (sampleRate == 0.0 || blockSize == 0)
        return;
    // Under the lock: a restore on the message thread may be swapping the engine.
    const juce::ScopedLock sl(renderLock);
    if (engine->isPrepared() && static_cast<double>(engine->getEngineSampleRate()) == sampleRate
        && engine->getBlockSize() == static_cast<uint16_t>(blockSize) && !needsPrepare)
        return;
    // What blocks use outside the lock is set up here, where the host plays no block,
    // and never by a restore, which may run beside one.
    renderContext->setSampleRate(sampleRate);
    const int mainChannels = getBus(false, 0) != nullptr ? getChannelCountOfBus(false, 0) : 0;
    // Room for the host's channels, so that blocks do not allocate.
    block.main.reserve(std::max(mainChannels, getTotalNumInputChannels()) + 2, blockSize);
    prepareEngine(sampleRate, blockSize);
    needsPrepare = false;
}

void Plugin::prepareEngine(double sampleRate, int blockSize)
{
    engine->setFormat(sampleRate, blockSize);

    for (size_t i = 0; i < furtherBuses.size(); ++i)
        engine->setOutputStream(static_cast<int>(i) + 1, nullptr);

    std::vector<std::shared_ptr<qel::Bus>> newFurther;
    int channelSum = 0;
    for (int i = 1; i < getBusCount(false); ++i)
    {
        const auto* bus = getBus(false, i);
        const int channels = bus != nullptr && bus->isEnabled() ? bus->getNumberOfChannels() : 0;
        auto further = std::make_shared<qel::Bus>(channels, blockSize, "Main Out");
        engine->setOutputStream(i + 1, further.get());
        channelSum += channels;
        newFurther.push_back(std::move(further));
    }

    const int mainChannels = getBus(false, 0) != nullptr ? getChannelCountOfBus(false, 0) : 0;
    auto newMain = std::make_unique<qel::Bus>(mainChannels, blockSize, "Main Out");
    channelSum += mainChannels;
    engine->setOutputStream(0, newMain.get());

    if (blockSize != silentBlockSize || channelSum != silentChannelCount)
    {
        const int rounded = (blockSize + 3) & ~3;
        silentChannels.setSize(std::max(channelSum, 1), rounded, false, true, false);
        silentBlockSize = blockSize;
        silentChannelCount = channelSum;
    }

    engine->postLoad();
    mainBus = std::move(newMain);
    furtherBuses = std::move(newFurther);
}

void Plugin::processorLayoutsChanged()
{
    needsPrepare = true;
}

bool Plugin::isBusesLayoutSupported(const BusesLayout& layouts) const
{
    // Stereo to stereo, mono to mono, mono to stereo.
    const auto in = layouts.getMainInputChannelSet();
    const auto out = layouts.getMainOutputChannelSet();
    using Set = juce::AudioChannelSet;
    return (in == Set::stereo() && out == Set::stereo()) || (in == Set::mono() && out == Set::mono())
        || (in == Set::mono() && out == Set::stereo());
}

void Plugin::reset()
{
    const juce::ScopedLock sl(renderLock);
    engine->reset();
}

juce::AudioProcessorEditor* Plugin::createEditor()
{
    return createPluginEditor(*this);
}

void Plugin::captureTransport(int frames)
{
    auto* playHead = getPlayHead();
    if (playHead == nullptr)
        return;
    const auto position = playHead->getPosition();
    if (!position.hasValue())
        return;

    RenderContext& ctx = *renderContext;
    TransportHead head {};
    std::memset(static_cast<void*>(&head), 0, sizeof head);
    head.tempo = static_cast<float>(position->getBpm().orFallback(120.0));
    const auto signature = position->getTimeSignature().orFallback(juce::AudioPlayHead::TimeSignature { 4, 4 });
    head.numerator = signature.numerator;
    head.denominator = signature.denominator;
    head.position = position->getPpqPosition().orFallback(0.0);

    const double barLength = musicalTime::beatsPerBar(head.numerator, head.denominator);
    const auto lastBarStart = position->getPpqPositionOfLastBarStart();
    if (lastBarStart.hasValue() && *lastBarStart > 0.0)
        head.positionInBar = head.position - *lastBarStart;
    else
        head.positionInBar = std::fmod(head.position, barLength);

    const auto loop = position->getLoopPoints();
    head.loopStart = loop.hasValue() ? loop->ppqStart : 0.0;
    head.loopEnd = loop.hasValue() ? loop->ppqEnd : 0.0;
    head.looping = position->getIsLooping();
    head.playing = position->getIsPlaying() ? 1 : 0;
    head.nonRealtime = isNonRealtime();

    if (head.playing != previousPosition.playing || std::fabs(expectedBeatPosition - head.position) > 1.0)
        head.changeFlags |= RenderContext::changedPosition;

    const double samplesPerBeat = musicalTime::samplesPerBeat(head.tempo, ctx.sampleRate);
    head.samplesToNextBar = (barLength - head.positionInBar) * samplesPerBeat;
    head.samplesToNextBeat = (1.0 - std::fmod(head.position, 1.0)) * samplesPerBeat;

    ctx.head() = head;

    if (head.playing == 1)
        expectedBeatPosition = static_cast<double>(head.tempo) * 0.016666666666666666 * frames
                                   / static_cast<double>(ctx.sampleRate)
                             + head.position;
    else
        expectedBeatPosition = head.position;
    previousPosition = head;
}

void Plugin::silenceNonFiniteInput(juce::AudioBuffer<float>& buffer, int channels) noexcept
{
    // A NaN or an infinity would live on in the tape's feedback and filters
    // for ever; what a host sends as such is taken as silence, here at the edge.
    for (int c = 0; c < channels; ++c)
    {
        float* data = buffer.getWritePointer(c);
        for (int i = 0; i < buffer.getNumSamples(); ++i)
            if (!std::isfinite(data[i]))
                data[i] = 0.0f;
    }
}

namespace
{
thread_local bool renderingHere = false;
}

bool Plugin::isRenderingOnThisThread() noexcept
{
    return renderingHere;
}

void Plugin::processBlock(juce::AudioBuffer<float>& buffer, juce::MidiBuffer& midi)
{
    const juce::ScopedValueSetter<bool> rendering(renderingHere, true);
    const int frames = buffer.getNumSamples();
    captureTransport(frames);

    if (!buffer.hasBeenCleared())
        for (int ch = getTotalNumInputChannels(); ch < buffer.getNumChannels(); ++ch)
            buffer.clear(ch, 0, frames);
    silenceNonFiniteInput(buffer, std::min(getTotalNumInputChannels(), buffer.getNumChannels()));

    editorMidi.drain([this](uint8_t status, uint8_t data1, uint8_t data2) {
        handleMidiEvent(0, status & 0x0F, status & 0xF0, data1, data2, 0);
    });
    for (const auto meta : midi)
    {
        const auto* bytes = meta.data;
        const int size = meta.numBytes;
        const int b0 = size > 0 ? bytes[0] : 0;
        const int b1 = size > 1 ? bytes[1] : 0;
        const int b2 = size > 2 ? bytes[2] : 0;
        handleMidiEvent(0, b0 & 0x0F, b0 & 0xF0, b1, b2, meta.samplePosition);
    }

    if (frames > 0)
    {
        const int mainOffset = getChannelIndexInProcessBlockBuffer(false, 0, 0);
        const int mainChannels = getBus(false, 0) != nullptr ? getChannelCountOfBus(false, 0) : 0;
        block.frames = frames;
        block.silent = false;
        block.main.set(buffer.getArrayOfWritePointers() + mainOffset,
                       std::min(mainChannels, buffer.getNumChannels() - mainOffset), frames);
        // This product has no further buses; they would be set up here.
        processHostBlock(block);
    }

    emitOutputEvents(midi);
}

bool Plugin::postEditorMidi(const juce::MidiMessage& message) noexcept
{
    if (message.getRawDataSize() > 3 || message.isSysEx())
        return false;
    const auto* bytes = message.getRawData();
    const int size = message.getRawDataSize();
    return editorMidi.post(bytes[0], size > 1 ? bytes[1] : 0, size > 2 ? bytes[2] : 0);
}

void Plugin::emitOutputEvents(juce::MidiBuffer& midi)
{
    midi.clear();
    RenderContext& ctx = *renderContext;
    for (size_t i = 0; i < ctx.outputEventCount; ++i)
    {
        const EngineEvent& e = ctx.outputEvents[i];
        const int channel = std::max(e.channel, 0) + 1;
        const int position = static_cast<int>(e.samplePosition);
        switch (e.type)
        {
            case 0x80: midi.addEvent(juce::MidiMessage::noteOff(channel, e.data1 & 127, (juce::uint8) (e.data2 & 127)), position); break;
            case 0x90: midi.addEvent(juce::MidiMessage::noteOn(channel, e.data1 & 127, (juce::uint8) (e.data2 & 127)), position); break;
            case 0xA0: midi.addEvent(juce::MidiMessage::aftertouchChange(channel, e.data1 & 127, e.data2 & 127), position); break;
            case 0xB0: midi.addEvent(juce::MidiMessage::controllerEvent(channel, e.data1 & 127, e.data2 & 127), position); break;
            case 0xE0: midi.addEvent(juce::MidiMessage::pitchWheel(channel, ((e.data2 << 7) | e.data1) & 0x3FFF), position); break;
            default: break;
        }
    }
    ctx.outputEventCount = 0;
}

void Plugin::handleMidiEvent(int port, int channel, int status, int data1, int data2, int sampleOffset)
{
    if (status == 0xF0)
        return;
    if (status == 0x90 && data2 == 0)
        status = 0x80;
    // The vector is reserved; a flood beyond it is dropped rather than allocated on the audio thread.
    if (pendingEvents.size() == pendingEvents.capacity())
        return;
    pendingEvents.push_back(EngineEvent::midi(status, channel, data1, data2, sampleOffset, port));
}

void Plugin::processHostBlock(HostAudioBlock& hostBlock)
{
    const unsigned saved = _mm_getcsr();
    _mm_setcsr(saved | mxcsrFlushToZero | mxcsrDenormalsAreZero);
    renderEngine(hostBlock);
    _mm_setcsr(saved);
}

void Plugin::renderEngine(HostAudioBlock& hostBlock)
{
    const juce::ScopedTryLock tl(renderLock);
    if (!tl.isLocked())
    {
        hostBlock.silent = true;
        return;
    }
    const int frames = hostBlock.frames;
    // Before the first prepare no bus is attached: the engine runs on its
    // defaults and the block's sound passes unchanged.
    if (mainBus != nullptr)
    {
        if (hostBlock.main.size() >= mainBus->getNumChannels())
            mainBus->setChannels(hostBlock.main.current());
        else
            mainBus->useOwnChannels();
        mainBus->clearSilent();
        if (getBus(true, 0) == nullptr || getChannelCountOfBus(true, 0) == 0)
            mainBus->setSilent(frames);
    }

    for (size_t i = 0; i < furtherBuses.size() && i < hostBlock.furtherOutputs.size(); ++i)
    {
        furtherBuses[i]->setChannels(hostBlock.furtherOutputs[i].current());
        furtherBuses[i]->setSilent(frames);
    }

    sortEventsByPosition(pendingEvents.begin(), pendingEvents.end());
    engine->processEvents(*renderContext, pendingEvents.data(), static_cast<int>(pendingEvents.size()), frames);
    engine->render(*renderContext, frames);

    if (mainBus != nullptr && mainBus->isSilent())
        hostBlock.silent = true;
    pendingEvents.clear();
    renderContext->endBlock(frames);
}

} // namespace qel
