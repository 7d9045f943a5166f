#include "ui/EngineProxy.h"

#include "engine/Engine.h"

#include <algorithm>

namespace qel
{

juce::StringArray pathSteps(const Path& path)
{
    juce::StringArray steps;
    steps.addTokens(path.toString(), "/", "");
    steps.removeEmptyStrings();
    return steps;
}

// --- ElementNode ---

ElementNode::ElementNode(EngineProxy& owner, String step, String parent)
    : proxy(&owner), name(std::move(step)), parentPath(std::move(parent))
{
    parameterFilter.max_load_factor(1.0f);
    parameterFilter.rehash(8);
}

ElementNode::~ElementNode()
{
    disconnectAll();
    if (heldProxyPath.isNotEmpty())
        proxy->releaseElementProxy(heldProxyPath);
}

String ElementNode::fullPath() const
{
    if (parentPath.isEmpty())
        return "/";
    const auto& parent = parentPath.toString();
    return (parent.endsWithChar('/') ? parent : parent + "/") + name.toString();
}

ElementNode& ElementNode::childNode(const String& step)
{
    auto& child = children[step];
    if (child == nullptr)
    {
        child = std::make_shared<ElementNode>(*proxy, step, fullPath());
        if (child->isWildcard())
            ++wildcardInterest;
        child->resolve(element);
        recountInterest();
    }
    return *child;
}

bool ElementNode::stepMatches(const String& step, const String& childName) const
{
    // Plain steps cost one comparison; wildcard steps match the part before "*".
    const int star = step.indexOfChar('*');
    if (star < 0)
        return step == childName;
    return childName.startsWith(step.substring(0, star));
}

void ElementNode::resolve(Element* parentElement)
{
    Element* found = nullptr;
    if (parentElement != nullptr)
    {
        if (isWildcard())
        {
            // The proxy is counted per hold: take the new one, then give back the old.
            const auto previous = heldProxyPath;
            found = proxy->getElementProxy(fullPath(), true);
            heldProxyPath = found != nullptr ? fullPath() : String();
            if (previous.isNotEmpty())
                proxy->releaseElementProxy(previous);
            // The same stand-in may now stand for other elements.
            setElement(found, true);
            return;
        }
        else if (auto* standIn = dynamic_cast<ElementProxy*>(parentElement))
        {
            for (auto* e : standIn->getElements())
                if ((found = e->findChild(name.toString())) != nullptr)
                    break;
        }
        else
        {
            found = parentElement->findChild(name.toString());
        }
    }
    setElement(found);
}

void ElementNode::setElement(Element* newElement, bool force)
{
    if (newElement == element && !force)
        return;
    disconnectAll();
    element = newElement;
    connectTo(element);
    rebuildFilter();

    // A listener may unbind itself or others while it is told.
    const auto told = listeners;
    for (const auto& l : told)
        if (std::find(listeners.begin(), listeners.end(), l) != listeners.end())
            l->elementChanged(element);
    std::vector<ParameterListener> watchers;
    for (const auto& [id, list] : parameterFilter)
        watchers.insert(watchers.end(), list.begin(), list.end());
    for (const auto& w : watchers)
        if (countParameterListeners(w->idInUse) > 0)
            w->elementChanged(element);

    for (auto& [step, child] : children)
        child->resolve(element);
    recountInterest();
}

void ElementNode::clear()
{
    for (auto& [step, child] : children)
        child->clear();
    setElement(nullptr);
}

void ElementNode::connectTo(Element* target)
{
    if (target == nullptr)
        return;
    auto& signals = target->getSignals();
    auto keep = [this](auto connection) { track(connection); };
    keep(signals.childAdded.connect([this](Element*, Element* child) { childAdded(child); }));
    keep(signals.childRemoved.connect([this](Element*, Element* child) { childRemoved(child); }));
    keep(signals.childRenamed.connect([this](Element* child, const String& newName) { childRenamed(child, newName); }));
    keep(signals.aboutToBeDeleted.connect([this](Element*) { clear(); }));

    // The values of a stand-in come from the elements it stands for.
    auto watchValues = [&](Element& e) {
        keep(e.getSignals().parameterChangedAsync.connect([this](const Element&, int id) { parameterChanged(id); }));
    };
    if (auto* standIn = dynamic_cast<ElementProxy*>(target))
        for (auto* e : standIn->getElements())
            watchValues(*e);
    else
        watchValues(*target);
}

void ElementNode::disconnectAll()
{
    disconnectTracked();
    if (descendantsConnection)
    {
        descendantsConnection();
        descendantsConnection = nullptr;
    }
}

void ElementNode::childAdded(Element* child)
{
    for (auto& [step, node] : children)
        if (stepMatches(step, child->getName()))
            node->resolve(element);
    recountInterest();
}

void ElementNode::childRemoved(Element* child)
{
    for (auto& [step, node] : children)
        if (node->element == child)
            node->clear();
        else if (node->isWildcard())
            node->resolve(element);
    recountInterest();
}

void ElementNode::childRenamed(Element* child, const String& newName)
{
    for (auto& [step, node] : children)
        if (node->element == child || node->isWildcard() || stepMatches(step, newName))
            node->resolve(element);
    recountInterest();
}

void ElementNode::parameterChanged(int id)
{
    const auto found = parameterFilter.find(static_cast<uint32_t>(id));
    if (found == parameterFilter.end())
        return;
    const auto watchers = found->second;
    for (const auto& w : watchers)
        w->valueChanged(static_cast<uint32_t>(id));
}

void ElementNode::rebuildFilter()
{
    std::vector<ParameterListener> all;
    for (const auto& [id, list] : parameterFilter)
        all.insert(all.end(), list.begin(), list.end());
    parameterFilter.clear();
    for (const auto& w : all)
        addParameterListener(w);
}

void ElementNode::recountInterest()
{
    childrenInterest = 0;
    for (const auto& [step, node] : children)
        if (node->element != nullptr)
            ++childrenInterest;
    // The wide signal is heard only while something below is bound.
    if (childrenInterest > 0 && element != nullptr && !descendantsConnection)
    {
        auto c = element->getSignals().descendantsChanged.connect([this](Element*, const String&) {
            for (auto& [step, node] : children)
                node->resolve(element);
        });
        descendantsConnection = [c]() mutable { c.disconnect(); };
    }
    else if ((childrenInterest == 0 || element == nullptr) && descendantsConnection)
    {
        descendantsConnection();
        descendantsConnection = nullptr;
    }
}

void ElementNode::addListener(const std::shared_ptr<ElementBoundListener>& listener)
{
    if (std::find(listeners.begin(), listeners.end(), listener) != listeners.end())
        return;
    listeners.push_back(listener);
    if (element != nullptr)
        listener->elementChanged(element);
}

void ElementNode::removeListener(const ElementBoundListener* listener)
{
    listeners.erase(std::remove_if(listeners.begin(), listeners.end(), [listener](const auto& l) { return l.get() == listener; }),
                    listeners.end());
}

void ElementNode::addParameterListener(const ParameterListener& listener)
{
    listener->idInUse = element != nullptr ? element->resolveParameterId(listener->askedId) : listener->askedId;
    parameterFilter[listener->idInUse].push_back(listener);
}

void ElementNode::removeParameterListener(const ElementParameterChangeListener* listener)
{
    for (auto it = parameterFilter.begin(); it != parameterFilter.end();)
    {
        auto& list = it->second;
        list.erase(std::remove_if(list.begin(), list.end(), [listener](const auto& l) { return l.get() == listener; }), list.end());
        it = list.empty() ? parameterFilter.erase(it) : std::next(it);
    }
}

size_t ElementNode::countParameterListeners(uint32_t id) const
{
    const auto found = parameterFilter.find(id);
    return found == parameterFilter.end() ? 0 : found->second.size();
}

// --- EngineProxy ---

EngineProxy::EngineProxy(void* ownerHandle, Element* root, bool forward) : owner(ownerHandle), forwardErrors(forward)
{
    setEngine(root);
    startTimerHz(10);
}

EngineProxy::~EngineProxy()
{
    stopTimer();
    disconnectTracked();
    // Nodes give their proxies back as they go.
    rootNode.reset();
    proxies.clear();
}

void EngineProxy::setEngine(Element* newEngine)
{
    if (newEngine == engine)
        return;
    {
        const RebindGate::Exclusive guard(rebindGate);
        engine = newEngine;
        if (rootNode != nullptr)
            rootNode->setElement(engine);
    }
    connectErrors();
    repeatErrors();
}

// The engine's error signal is heard only with forwarding on and someone to tell.
void EngineProxy::connectErrors()
{
    disconnectTracked();
    if (auto* root = dynamic_cast<Engine*>(engine); root != nullptr && forwardErrors && !errorListeners.empty())
        track(root->errorAdded.connect([this](const String& text, const String& path) { reportError(text, path); }));
}

void EngineProxy::repeatErrors()
{
    if (!forwardErrors)
        return;
    if (auto* root = dynamic_cast<Engine*>(engine))
        for (const auto& e : root->getErrors())
            reportError(e.message, e.path);
}

Element* EngineProxy::getElementProxy(const Path& path, bool forceProxy)
{
    if (engine == nullptr)
        return nullptr;
    const auto& text = path.toString();
    const auto local = text.startsWithChar('/') ? text.substring(1) : text;
    if (!text.containsChar('*') && !forceProxy)
        return local.isEmpty() ? engine : engine->findChild(local);

    juce::Array<Element*> found;
    if (local.containsChar('*'))
        engine->findElements(local, found);
    else if (auto* one = local.isEmpty() ? engine : engine->findChild(local))
        found.add(one);
    if (found.isEmpty())
        return nullptr;
    std::vector<Element*> elements(found.begin(), found.end());

    if (const auto it = proxies.find(text); it != proxies.end())
    {
        ++it->second->useCount;
        it->second->element->setElements(std::move(elements));
        return it->second->element.get();
    }
    auto entry = std::make_unique<Proxy>();
    entry->path = path;
    entry->element = std::make_unique<ElementProxy>(std::move(elements), text, pathSteps(path).strings.getLast());
    auto* result = entry->element.get();
    proxies.emplace(text, std::move(entry));
    return result;
}

void EngineProxy::releaseElementProxy(const Path& path)
{
    const auto it = proxies.find(path.toString());
    if (it != proxies.end() && --it->second->useCount <= 0)
        proxies.erase(it);
}

int EngineProxy::getProxyUseCount(const Path& path) const
{
    const auto it = proxies.find(path.toString());
    return it == proxies.end() ? 0 : it->second->useCount;
}

ElementNode& EngineProxy::nodeFor(const Path& path)
{
    if (rootNode == nullptr)
    {
        rootNode = std::make_unique<ElementNode>(*this, "/", String());
        rootNode->setElement(engine);
    }
    auto* node = rootNode.get();
    for (const auto& step : pathSteps(path))
        node = &node->childNode(step);
    return *node;
}

ElementNode* EngineProxy::findNode(const Path& path) const
{
    auto* node = rootNode.get();
    for (const auto& step : pathSteps(path))
    {
        if (node == nullptr)
            return nullptr;
        const auto it = node->children.find(step);
        node = it == node->children.end() ? nullptr : it->second.get();
    }
    return node;
}

void EngineProxy::bindElement(const Path& path, ElementCallback callback)
{
    const BoundKey key { callback.receiver, callback.slot, path.toString() };
    auto& listener = boundListeners[key];
    if (listener == nullptr)
        listener = std::make_shared<ElementBoundListener>(path, std::move(callback));
    const auto keep = listener;
    nodeFor(path).addListener(keep);
}

void EngineProxy::unbindElement(const Path& path, const ElementCallback& callback)
{
    const auto it = boundListeners.find(BoundKey { callback.receiver, callback.slot, path.toString() });
    if (it == boundListeners.end())
        return;
    const auto listener = it->second;
    boundListeners.erase(it);
    if (auto* node = findNode(path))
        node->removeListener(listener.get());
}

void EngineProxy::bindParameter(const Path& path, uint32_t id, ElementCallback onElement, ValueCallback onValue)
{
    const ParameterKey key { onElement.receiver, onElement.slot, onValue.slot, id, path.toString() };
    if (parameterListeners.count(key) != 0)
        return;
    auto listener = std::make_shared<ElementParameterChangeListener>(*this, path, id, std::move(onElement), std::move(onValue));
    parameterListeners[key] = listener;
    auto& node = nodeFor(path);
    node.addParameterListener(listener);
    if (node.element != nullptr)
        listener->elementChanged(node.element);
}

void EngineProxy::unbindParameter(const Path& path, uint32_t id, const ElementCallback& onElement, const ValueCallback& onValue)
{
    const auto it = parameterListeners.find(ParameterKey { onElement.receiver, onElement.slot, onValue.slot, id, path.toString() });
    if (it == parameterListeners.end())
        return;
    const auto listener = it->second;
    parameterListeners.erase(it);
    if (auto* node = findNode(path))
        node->removeParameterListener(listener.get());
}

void EngineProxy::addErrorListener(ErrorListener* listener)
{
    const bool first = errorListeners.empty();
    errorListeners.insert(listener);
    if (first)
        connectErrors();
}

void EngineProxy::removeErrorListener(ErrorListener* listener)
{
    errorListeners.erase(listener);
}

void EngineProxy::reportError(const String& text, const Path& path)
{
    const ProxyError error { path, text };
    for (auto* l : errorListeners)
        l->showError(error);
}

} // namespace qel
