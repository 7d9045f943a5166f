#include "plugin/ExportedPluginParameter.h"
#include "plugin/Plugin.h"

#include "element/BeatDivisions.h"

#include <cmath>

namespace qel
{

namespace
{
constexpr int versionHint = 1;

bool holds(const Element& element, uint32_t id)
{
    switch (ParameterRegistry::get().typeOf(id))
    {
        case ValueType::floatValue: return element.findFloatParameter(id) != nullptr;
        case ValueType::intValue: return element.findIntParameter(id) != nullptr;
        case ValueType::boolValue: return element.findBoolParameter(id) != nullptr;
        default: return false;
    }
}
} // namespace

ExportedPluginParameter::ExportedPluginParameter(EngineProxy* proxy, int index, const String& stableId, String defaultName)
    : SimpleElementView(proxy), juce::AudioProcessorParameterWithID(juce::ParameterID(stableId, versionHint), defaultName),
      defaultDisplayName(std::move(defaultName)),
      slotIndex(index)
{
}

ExportedPluginParameter::~ExportedPluginParameter()
{
    cancelPendingUpdate();
    if (valueConnection)
        valueConnection();
}

void ExportedPluginParameter::followGestures(EngineProxy& proxy)
{
    auto mine = [this](Element* element, uint32_t id) { return resolved && element == getElement() && id == parameterId; };
    track(proxy.parameterGestureBegan.connect([this, mine](Element* e, uint32_t id) {
        if (mine(e, id))
            beginChangeGesture();
    }));
    track(proxy.parameterGestureEnded.connect([this, mine](Element* e, uint32_t id) {
        if (mine(e, id))
            endChangeGesture();
    }));
}

void ExportedPluginParameter::connectTo(const AutomationParameterInterface::Key& key, const String& name)
{
    targetPath = key.path;
    targetName = key.name;
    displayName = name;
    kind = noKind;
    resolved = false;
    setElementPath(key.path);
    // Bound before: the view was told nothing new, so resolve against what it holds.
    if (getElement() != nullptr && !resolved)
        resolve(true);
}

void ExportedPluginParameter::disconnectSlot(bool notify)
{
    if (!isConnected())
        return;
    previousPath = targetPath;
    previousName = targetName;
    clearElementPath();
    unresolve();
    targetPath = {};
    targetName = {};
    displayName = {};
    if (notify)
        tellHost();
}

void ExportedPluginParameter::unresolve()
{
    cancelPendingUpdate();
    if (valueConnection)
        valueConnection();
    valueConnection = nullptr;
    resolved = false;
    kind = noKind;
    description = nullptr;
}

void ExportedPluginParameter::elementChanged(Element* element)
{
    if (!isConnected())
        return;
    unresolve();
    if (element != nullptr)
        resolve(true);
    else
        changed();
}

void ExportedPluginParameter::resolve(bool notify)
{
    auto* element = getElement();
    if (element == nullptr)
    {
        if (notify)
            triggerAsyncUpdate();
        return;
    }
    unresolve();
    auto& registry = ParameterRegistry::get();
    const auto id = element->findParameterId(targetName);
    if (registry.isKnown(id))
    {
        if (holds(*element, id))
        {
            kind = static_cast<Kind>(registry.typeOf(id));
            parameterId = id;
            switch (kind)
            {
                case floatKind:
                    description = &registry.floatDescription(id);
                    defaultValue = normalise(registry.floatDescription(id).defaultValue);
                    break;
                case intKind:
                    description = &registry.intDescription(id);
                    defaultValue = normalise(static_cast<float>(registry.intDescription(id).defaultValue));
                    break;
                default:
                    description = &registry.boolDescription(id);
                    defaultValue = registry.boolDescription(id).defaultValue ? 1.0f : 0.0f;
                    break;
            }
            resolved = true;
            // Told below to read again, the host then knows this value: only a change from it is news.
            hostValue.store(normalise(currentValue()));
        }
        parameterId = id;
        // The host's listeners lock and may do anything: a change the audio
        // thread applies reaches them through the lock-free channel, on the
        // message thread a moment later; any other, at once.
        auto& signals = element->getSignals();
        auto now = signals.parameterChanged.connect([this](const Element&, int changedId) {
            if (!Plugin::isRenderingOnThisThread())
                elementValueChanged(changedId, true);
        });
        auto later = signals.parameterChangedAsync.connect(
            [this](const Element&, int changedId) { elementValueChanged(changedId, false); });
        valueConnection = [now, later]() mutable {
            now.disconnect();
            later.disconnect();
        };
    }
    changed();
    tellHost();
}

void ExportedPluginParameter::elementValueChanged(int id, bool asWritten)
{
    if (static_cast<uint32_t>(id) != parameterId || hostWriter.load() == std::this_thread::get_id() || !resolved)
        return;
    auto* element = getElement();
    if (element == nullptr)
        return;
    // Heard later, a write on its way may be newer than the one this news is
    // of: its writer told the host, or it is the host's own. Heard as it is
    // written, the write is the newest, and audio need not run for the host
    // to hear it.
    if (!asWritten)
        for (const auto& binding : element->getParameters())
            if (binding->id() == parameterId && binding->isPending())
                return;
    // A host's own write comes back through the element rounded by its range.
    const float value = getValue();
    if (std::fabs(value - hostValue.load()) < 1e-6f)
        return;
    hostValue.store(value);
    // Told, not written: the element already holds the value.
    sendValueChangedMessageToListeners(value);
}

namespace
{
// 0..1 for any number: a text or a host's value out of the range, even NaN
// (a log mapper's answer below its range), gives an end.
float clampPosition(float position) noexcept
{
    return position > 0.0f ? std::min(position, 1.0f) : 0.0f;
}
} // namespace

float ExportedPluginParameter::normaliseIn(Element* element, Kind kind, uint32_t id, float value)
{
    auto& registry = ParameterRegistry::get();
    switch (kind)
    {
        case floatKind:
        {
            float position = value;
            registry.floatDescription(id).mapper->unmap(element, position);
            return clampPosition(position);
        }
        case intKind:
        {
            const auto& d = registry.intDescription(id);
            return d.maximum > d.minimum ? clampPosition(static_cast<float>(value - static_cast<float>(d.minimum))
                                                         / static_cast<float>(d.maximum - d.minimum))
                                         : 0.0f;
        }
        case boolKind: return value != 0.0f ? 1.0f : 0.0f;
        default: return value;
    }
}

float ExportedPluginParameter::denormalise(float normalised) const
{
    auto& registry = ParameterRegistry::get();
    switch (kind)
    {
        case floatKind:
        {
            float value = clampPosition(normalised);
            registry.floatDescription(parameterId).mapper->map(getElement(), value);
            return value;
        }
        case intKind:
        {
            const auto& d = registry.intDescription(parameterId);
            return std::floor(clampPosition(normalised) * static_cast<float>(d.maximum - d.minimum) + static_cast<float>(d.minimum) + 0.5f);
        }
        case boolKind: return normalised > 0.5f ? 1.0f : 0.0f;
        default: return normalised;
    }
}

float ExportedPluginParameter::valueIn(const Element& element, Kind kind, uint32_t id)
{
    switch (kind)
    {
        case floatKind: return element.getParameterFloat(id);
        case intKind: return static_cast<float>(element.getParameterInt(id));
        case boolKind: return element.getParameterBool(id) ? 1.0f : 0.0f;
        default: return 0.0f;
    }
}

void ExportedPluginParameter::answerUntilRestored(Element* restored)
{
    if (restored == nullptr || !isConnected() || targetPath.containsChar('*'))
    {
        answeringRestored = false;
        return;
    }
    const auto local = targetPath.startsWithChar('/') ? targetPath.substring(1) : targetPath;
    auto* element = local.isEmpty() ? restored : restored->findChild(local);
    const auto id = element != nullptr ? element->findParameterId(targetName) : 0u;
    auto& registry = ParameterRegistry::get();
    if (element == nullptr || !registry.isKnown(id) || !holds(*element, id))
    {
        answeringRestored = false;
        return;
    }
    const auto type = static_cast<Kind>(registry.typeOf(id));
    restoredValue = normaliseIn(element, type, id, valueIn(*element, type, id));
    answeringRestored = true;
}

namespace
{
// The host may call from any thread, also while a restored tree is being
// bound: it never waits, and what it finds is whole.
RebindGate& gateOf(EngineProxy* proxy)
{
    static RebindGate unbound; // never closed
    return proxy != nullptr ? proxy->getRebindGate() : unbound;
}
} // namespace

float ExportedPluginParameter::getValue() const
{
    if (answeringRestored)
        return restoredValue.load();
    const RebindGate::Shared guard(gateOf(getProxy()));
    if (!guard)
        return lastValue.load();
    const float value = !resolved || getElement() == nullptr ? unresolvedValue.load() : normalise(currentValue());
    lastValue.store(value);
    return value;
}

void ExportedPluginParameter::setValue(float newValue)
{
    const RebindGate::Shared guard(gateOf(getProxy()));
    if (!guard)
        return; // the restore under way sets every value anyway
    hostWriter = std::this_thread::get_id();
    lastValue.store(newValue);
    hostValue.store(newValue);
    auto* element = getElement();
    if (!resolved || element == nullptr)
    {
        unresolvedValue = newValue;
    }
    else
    {
        // Through the pending slot: the host may call from any thread.
        const float value = denormalise(newValue);
        switch (kind)
        {
            case floatKind:
                if (value != element->getParameterFloat(parameterId))
                    element->setParameterFloatDeferred(parameterId, value, true);
                break;
            case intKind:
                if (static_cast<int>(value) != element->getParameterInt(parameterId))
                    element->setParameterIntDeferred(parameterId, static_cast<int>(value), true);
                break;
            case boolKind:
                if ((value != 0.0f) != element->getParameterBool(parameterId))
                    element->setParameterBoolDeferred(parameterId, value != 0.0f, true);
                break;
            default: break;
        }
    }
    hostWriter = std::thread::id {};
}

juce::String ExportedPluginParameter::getName(int maximumStringLength) const
{
    String name = defaultDisplayName;
    if (resolved)
        name = displayName.isNotEmpty() ? displayName : ParameterRegistry::get().displayName(parameterId);
    return maximumStringLength > 0 ? name.substring(0, maximumStringLength) : name;
}

int ExportedPluginParameter::getNumSteps() const
{
    if (resolved && kind == intKind)
    {
        const auto& d = ParameterRegistry::get().intDescription(parameterId);
        return d.maximum - d.minimum + 1;
    }
    if (resolved && kind == boolKind)
        return 2;
    return juce::AudioProcessor::getDefaultNumParameterSteps();
}

bool ExportedPluginParameter::isDiscrete() const
{
    return resolved && (kind == intKind || kind == boolKind);
}

bool ExportedPluginParameter::isBoolean() const
{
    return resolved && kind == boolKind;
}

juce::String ExportedPluginParameter::getText(float normalisedValue, int maximumStringLength) const
{
    if (!resolved)
        return {};
    auto& registry = ParameterRegistry::get();
    const float value = denormalise(normalisedValue);
    String text;
    switch (kind)
    {
        case floatKind: text = registry.floatDescription(parameterId).toString(getElement(), value); break;
        case intKind: text = registry.intDescription(parameterId).toString(getElement(), static_cast<int>(value)); break;
        case boolKind: text = registry.boolDescription(parameterId).toString(getElement(), value != 0.0f); break;
        default: break;
    }
    return maximumStringLength > 0 ? text.substring(0, maximumStringLength) : text;
}

float ExportedPluginParameter::getValueForText(const juce::String& text) const
{
    if (!resolved)
        return 0.0f;
    auto& registry = ParameterRegistry::get();
    switch (kind)
    {
        case floatKind:
        {
            const auto& d = registry.floatDescription(parameterId);
            float v = 0.0f;
            if (!d.fromString(getElement(), text, v))
                return getValue();
            // Synchronised, the text names a division's row, and the row is the position.
            if (isSyncedDisplayType(d.displayType) && getElement()->isSyncedToHost())
                return v / static_cast<float>(BeatDivisions::rows - 1);
            return normalise(v);
        }
        case intKind:
        {
            int v = 0;
            return registry.intDescription(parameterId).fromString(getElement(), text, v) ? normalise(static_cast<float>(v))
                                                                                          : getValue();
        }
        case boolKind:
        {
            // The printed words read back too, so that the text is a round trip.
            const auto& d = registry.boolDescription(parameterId);
            if (text.trim() == d.toString(getElement(), true))
                return 1.0f;
            if (text.trim() == d.toString(getElement(), false))
                return 0.0f;
            bool v = false;
            return d.fromString(getElement(), text, v) ? (v ? 1.0f : 0.0f) : getValue();
        }
        default: return 0.0f;
    }
}

} // namespace qel
