#include "element/Element.h"

#include <algorithm>
#include <optional>
#include <type_traits>

namespace qel
{

namespace
{
std::atomic<uint16_t> elementCounter { 0 };

// A "*" in the pattern compares the part of the name up to it.
bool matchesPattern(const String& name, const String& pattern)
{
    const int star = pattern.indexOfChar('*');
    if (star < 0)
        return name == pattern;
    return name.startsWith(pattern.substring(0, star));
}
} // namespace

juce::CriticalSection& treeLock() noexcept
{
    static juce::CriticalSection lock;
    return lock;
}

Element::Element(const String& type, const String& elementName)
    : selfReference(std::make_shared<Element*>(this)),
      typeName(std::make_shared<String>(type)),
      name(std::make_shared<String>(elementName)),
      elementId(elementCounter.fetch_add(1))
{
}

Element::~Element()
{
    if (signals != nullptr)
        signals->aboutToBeDeleted(this);
    children.clear();
    *selfReference = nullptr;
}

void Element::finishLoading()
{
    for (auto& c : children)
        c->finishLoading();
}

void Element::bindReferences()
{
    for (auto& c : children)
        c->bindReferences();
    children.shrink_to_fit();
    forwardPendingLinks();
}

ElementState* Element::createVoiceState(ScratchArena& arena)
{
    flushPending();
    auto* clone = referenceState != nullptr ? referenceState->cloneState(arena) : nullptr;
    if (clone != nullptr)
        clone->prepare(sampleRate, maxBlockSize);
    return clone;
}

void Element::resetProcessState()
{
    if ((flags & prepared) != 0 && processState != nullptr)
        processState->reset();
}

juce::CriticalSection& Element::getLock()
{
    if (parent != nullptr)
        return parent->getLock();
    static juce::CriticalSection rootLock;
    return rootLock;
}

String Element::getPath() const
{
    String path = *name;
    for (auto* p = parent; p != nullptr; p = p->parent)
        path = p->getName() + "/" + path;
    return path;
}

String Element::makeUniqueChildName(const String& base, int index) const
{
    for (;; ++index)
    {
        const auto candidate = base + String(index);
        if (findChild(candidate) == nullptr)
            return candidate;
    }
}

uint32_t Element::findParameterId(const String& parameterName) const
{
    for (const auto& b : parameters)
        if (b->description().name == parameterName)
            return b->id();
    return 0;
}

Element* Element::findChildByName(const String& childName) const
{
    const auto it = std::lower_bound(children.begin(), children.end(), childName,
                                     [](const std::unique_ptr<Element>& c, const String& n) { return c->getName() < n; });
    return it != children.end() && (*it)->getName() == childName ? it->get() : nullptr;
}

Element* Element::findChild(const String& requested) const
{
    // A property works as an alias.
    String path = requested;
    const auto alias = properties.find(path);
    if (alias != properties.end() && alias->second.value.has_value())
        path = *alias->second.value;

    if (auto* child = findChildByName(path))
        return child;
    if (!path.containsChar('/') && !path.startsWithChar('$'))
        return nullptr;

    const Element* current = this;
    if (path.startsWithChar('/'))
    {
        while (current->parent != nullptr)
            current = current->parent;
        path = path.substring(1);
    }
    else if (path.startsWithChar('$'))
    {
        const auto type = path.substring(1).upToFirstOccurrenceOf("/", false, false);
        while (current != nullptr && current->getTypeName() != type)
            current = current->parent;
        if (current == nullptr)
            return nullptr;
        path = path.fromFirstOccurrenceOf("/", false, false);
    }

    juce::StringArray parts;
    parts.addTokens(path, "/", "");
    for (const auto& part : parts)
    {
        if (part.isEmpty() || part == ".")
            continue;
        current = part == ".." ? current->parent : current->findChild(part);
        if (current == nullptr)
            return nullptr;
    }
    return const_cast<Element*>(current);
}

Element* Element::getSharedControlSource(const String& sourceName, bool lock)
{
    return parent != nullptr ? parent->getSharedControlSource(sourceName, lock) : nullptr;
}

void Element::releaseSharedControlSource(Element* source)
{
    if (parent != nullptr)
        parent->releaseSharedControlSource(source);
}

void Element::findElements(const String& requested, juce::Array<Element*>& out) const
{
    String pattern = requested;
    const auto alias = properties.find(pattern);
    if (alias != properties.end() && alias->second.value.has_value())
        pattern = *alias->second.value;
    const auto first = pattern.upToFirstOccurrenceOf("/", false, false);
    const auto rest = pattern.fromFirstOccurrenceOf("/", false, false);
    for (const auto& c : children)
    {
        if (!matchesPattern(c->getName(), first))
            continue;
        if (pattern.containsChar('/'))
            c->findElements(rest, out);
        else
            out.add(c.get());
    }
}

void Element::voiceStarted(void* voiceContext, const void* noteData)
{
    juce::ignoreUnused(voiceContext, noteData);
    flushPending();
}

String Element::makeUniqueConnectionName(uint32_t parameterId) const
{
    juce::ignoreUnused(parameterId);
    for (int i = 0;; ++i)
    {
        const auto candidate = String("SignalConnection %1").replace("%1", String(i));
        if (findChild(candidate) == nullptr)
            return candidate;
    }
}

bool Element::addModulationSource(const tinyxml2::XMLElement& description, bool lock)
{
    juce::ignoreUnused(description, lock);
    return false;
}

bool Element::removeModulationSource(uint32_t parameterId, const String& sourcePath, bool lock)
{
    juce::ignoreUnused(parameterId, sourcePath, lock);
    return false;
}

void Element::listModulationSources(uint32_t parameterId, juce::StringArray& out) const
{
    juce::ignoreUnused(parameterId, out);
}

void Element::addPendingLink(Element* link)
{
    if (parent != nullptr)
        parent->addPendingLink(link);
    else
        pendingLinks.push_back(link);
}

void Element::forwardPendingLinks()
{
    if (parent == nullptr || pendingLinks.empty())
        return;
    for (auto* link : pendingLinks)
        parent->addPendingLink(link);
    pendingLinks.clear();
}

void Element::setPerVoice(bool enabled)
{
    if (enabled)
        flags.fetch_or(perVoice);
    else
        flags.fetch_and(static_cast<uint8_t>(~perVoice));
}

void Element::prepare()
{
    if (processState != nullptr)
        processState->prepare(sampleRate, maxBlockSize);
}

float Element::getMemoryUsage() const
{
    return static_cast<float>(parameters.size() * 72 + 240) * 9.536743e-7f;
}

ElementState* Element::createState(ScratchArena& arena)
{
    return referenceState != nullptr ? referenceState->cloneState(arena) : nullptr;
}

// --- parameters ---

void* Element::targetOf(const ParameterDescriptionBase& d, ElementState* state) const
{
    if (d.has(ParameterFlags::elementLevel) || d.has(ParameterFlags::readOnly))
        return const_cast<Element*>(this);
    return state;
}

void Element::addParameter(std::unique_ptr<ParameterInfoBase> binding)
{
    if (binding == nullptr)
        return;
    const uint32_t id = binding->id();
    const auto at = std::lower_bound(parameters.begin(), parameters.end(), id,
                                     [](const std::unique_ptr<ParameterInfoBase>& b, uint32_t i) { return b->id() < i; });
    auto* raw = binding.get();
    if (at != parameters.end() && (*at)->id() == id)
        *at = std::move(binding);
    else
        parameters.insert(at, std::move(binding));

    // The default goes into both states; an element-level value is the element's own.
    const auto& d = raw->description();
    if (d.has(ParameterFlags::readOnly) || d.has(ParameterFlags::elementLevel))
    {
        raw->publish(this, referenceState.get());
        return;
    }
    auto writeDefault = [&](auto* typed) {
        const auto value = typed->typedDescription().defaultValue;
        if (referenceState != nullptr)
            typed->set(referenceState.get(), value);
        if (processState != nullptr)
            typed->set(processState.get(), value);
    };
    switch (raw->valueType())
    {
        case ValueType::floatValue: writeDefault(static_cast<ParameterInfo<float>*>(raw)); break;
        case ValueType::intValue: writeDefault(static_cast<ParameterInfo<int>*>(raw)); break;
        case ValueType::boolValue: writeDefault(static_cast<ParameterInfo<bool>*>(raw)); break;
        case ValueType::stringValue: writeDefault(static_cast<ParameterInfo<String>*>(raw)); break;
        default: break;
    }
    publishAll();
}

ParameterInfoBase* Element::findBinding(uint32_t requested) const
{
    const uint32_t id = resolveParameterId(requested);
    const auto at = std::lower_bound(parameters.begin(), parameters.end(), id,
                                     [](const std::unique_ptr<ParameterInfoBase>& b, uint32_t i) { return b->id() < i; });
    return at != parameters.end() && (*at)->id() == id ? at->get() : nullptr;
}

namespace
{
template <typename T>
constexpr ValueType valueTypeOf()
{
    if constexpr (std::is_same_v<T, float>)
        return ValueType::floatValue;
    else if constexpr (std::is_same_v<T, int>)
        return ValueType::intValue;
    else if constexpr (std::is_same_v<T, bool>)
        return ValueType::boolValue;
    else
        return ValueType::stringValue;
}
} // namespace

template <typename T>
ParameterInfo<T>* Element::find(uint32_t id) const
{
    auto* b = findBinding(id);
    return b != nullptr && b->valueType() == valueTypeOf<T>() ? static_cast<ParameterInfo<T>*>(b) : nullptr;
}

template <typename T>
T Element::read(uint32_t id, Error* error) const
{
    if (error != nullptr)
        *error = false;
    auto* binding = find<T>(id);
    if (binding == nullptr)
    {
        if (error != nullptr)
            *error = true;
        return T {};
    }
    const auto& d = binding->description();
    if (d.has(ParameterFlags::readOnly))
        return binding->get(this);
    T pending;
    if (binding->peekPending(pending))
        return pending;
    if constexpr (std::is_same_v<T, String>)
        return binding->get(targetOf(d, referenceState.get()));
    else
        return binding->published();
}

template <typename T>
void Element::setImmediate(uint32_t id, const T& value)
{
    auto* binding = find<T>(id);
    if (binding == nullptr || binding->description().has(ParameterFlags::readOnly))
        return;
    binding->clearPending();
    const auto& d = binding->description();
    {
        // Numbers are saved from their published cells, and a handler may set
        // one on the audio thread; a text is read where it is written.
        std::optional<juce::ScopedLock> guard;
        if constexpr (std::is_same_v<T, String>)
            guard.emplace(treeLock());
        if (d.has(ParameterFlags::elementLevel))
            binding->set(this, value);
        else
        {
            if (referenceState != nullptr)
                binding->set(referenceState.get(), value);
            if (processState != nullptr)
                binding->set(processState.get(), value);
        }
        publishAll();
    }
    parameterSetImmediately(*binding);
    notifyParameterChanged(binding->id());
}

// A setter may move other parameters too (a handler), so all are published.
void Element::publishAll() noexcept
{
    for (auto& b : parameters)
        b->publish(this, referenceState.get());
}

template <typename T>
void Element::setDeferred(uint32_t id, const T& value, bool deferred)
{
    auto* binding = find<T>(id);
    if (binding == nullptr || binding->description().has(ParameterFlags::readOnly))
        return;
    if (deferred)
    {
        binding->setPending(value);
        pendingAny.store(1);
        pendingParameters.store(1);
    }
    else
    {
        binding->clearPending();
        std::optional<juce::ScopedLock> guard;
        if constexpr (std::is_same_v<T, String>)
            guard.emplace(treeLock());
        binding->set(targetOf(binding->description(), referenceState.get()), value);
        pendingAny.store(1);
    }
    notifyParameterChanged(binding->id());
}

template ParameterInfo<float>* Element::find<float>(uint32_t) const;
template ParameterInfo<int>* Element::find<int>(uint32_t) const;
template ParameterInfo<bool>* Element::find<bool>(uint32_t) const;
template ParameterInfo<String>* Element::find<String>(uint32_t) const;
template float Element::read<float>(uint32_t, Error*) const;
template int Element::read<int>(uint32_t, Error*) const;
template bool Element::read<bool>(uint32_t, Error*) const;
template String Element::read<String>(uint32_t, Error*) const;
template void Element::setImmediate<float>(uint32_t, const float&);
template void Element::setImmediate<int>(uint32_t, const int&);
template void Element::setImmediate<bool>(uint32_t, const bool&);
template void Element::setImmediate<String>(uint32_t, const String&);
template void Element::setDeferred<float>(uint32_t, const float&, bool);
template void Element::setDeferred<int>(uint32_t, const int&, bool);
template void Element::setDeferred<bool>(uint32_t, const bool&, bool);
template void Element::setDeferred<String>(uint32_t, const String&, bool);

// Persistent changes mark the element, then listeners hear it: at once, then on the message thread.
void Element::notifyParameterChanged(uint32_t id)
{
    auto* b = findBinding(id);
    if (b != nullptr && b->description().has(ParameterFlags::persistent))
        markModified();
    if (signals == nullptr)
        return;
    signals->parameterChanged(*this, static_cast<int>(id));
    signals->parameterChangedAsync.post(*this, static_cast<int>(id));
}

void Element::flushPending() noexcept
{
    if (pendingAny.exchange(0) == 0)
        return;
    ++stateVersion;
    if (pendingParameters.exchange(0) == 1)
        for (auto& b : parameters)
            if (b->isPending())
                b->applyPending(this, referenceState.get());
    publishAll();
}

bool Element::isSyncedToHost() const
{
    const auto id = FrameworkParameters::get().syncToHost;
    return findBoolParameter(id) != nullptr && getParameterBool(id);
}

// --- tree ---

void Element::addChild(std::unique_ptr<Element> child)
{
    if (child == nullptr)
        return;
    auto* raw = child.get();
    {
        const juce::ScopedLock guard(treeLock());
        const auto at = std::lower_bound(children.begin(), children.end(), raw->getName(),
                                         [](const std::unique_ptr<Element>& c, const String& n) { return c->getName() < n; });
        children.insert(at, std::move(child));
        raw->setParent(this);
    }
    raw->forwardPendingLinks();
    if (signals != nullptr)
        signals->childAdded(this, raw);
    markModified();
}

std::unique_ptr<Element> Element::removeChild(Element* child)
{
    const auto it = std::find_if(children.begin(), children.end(), [child](const auto& c) { return c.get() == child; });
    if (it == children.end())
        return nullptr;
    std::unique_ptr<Element> owned;
    {
        const juce::ScopedLock guard(treeLock());
        owned = std::move(*it);
        children.erase(it);
        owned->setParent(nullptr);
    }
    if (signals != nullptr)
        signals->childRemoved(this, owned.get());
    markModified();
    return owned;
}

void Element::dirtyDone()
{
    clearModified();
    if (parent == nullptr)
        return;
    for (const auto& sibling : parent->children)
        if (sibling->isModified())
            return;
    parent->dirtyDone();
}

void Element::setName(const String& newName)
{
    {
        const juce::ScopedLock guard(treeLock());
        *name = newName;
        // Keep the parent's children in name order.
        if (parent != nullptr)
            std::sort(parent->children.begin(), parent->children.end(),
                      [](const auto& a, const auto& b) { return a->getName() < b->getName(); });
    }
    if (parent != nullptr && parent->signals != nullptr)
        parent->signals->childRenamed(this, newName);
}

void Element::setFormat(double rate, int maximumBlockSize)
{
    flags.fetch_or(prepared);
    sampleRate = static_cast<float>(rate);
    maxBlockSize = static_cast<uint16_t>(maximumBlockSize);
    prepare();
    publishAll();
}

void Element::setProperty(const String& key, const ElementProperty& value)
{
    {
        const juce::ScopedLock guard(treeLock());
        properties[key] = value;
    }
    if (signals != nullptr)
        signals->propertyChanged(key, value);
}

ElementProperty Element::getProperty(const String& key) const
{
    const auto it = properties.find(key);
    return it == properties.end() ? ElementProperty {} : it->second;
}

bool Element::hasProperty(const String& key) const
{
    return properties.count(key) != 0;
}

void Element::setStates(std::unique_ptr<ElementState> reference, std::unique_ptr<ElementState> process)
{
    referenceState = std::move(reference);
    processState = std::move(process);
}

void Element::markModified()
{
    for (auto* e = this; e != nullptr; e = e->parent)
        if ((e->flags.fetch_or(modified) & modified) == 0)
        {
            if (e->signals != nullptr)
                e->signals->modifiedChanged(e);
        }
}

void Element::clearModified()
{
    if ((flags.fetch_and(static_cast<uint8_t>(~modified)) & modified) == 0)
        return;
    if (signals != nullptr)
        signals->modifiedChanged(this);
}

ElementSignals& Element::getSignals()
{
    if (signals == nullptr)
        signals = std::make_unique<ElementSignals>();
    return *signals;
}

} // namespace qel
