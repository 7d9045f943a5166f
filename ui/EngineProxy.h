#pragma once

#include "element/ElementProxy.h"
#include "element/Trackable.h"
#include "files/Path.h"
#include "ui/RebindGate.h"

#include <juce_events/juce_events.h>

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <tuple>
#include <unordered_map>
#include <vector>

namespace qel
{

class EngineProxy;

// A receiver and one of its functions; (receiver, slot) tells two functions
// of one receiver apart, as a member-function pointer would.
struct ElementCallback
{
    const void* receiver = nullptr;
    int slot = 0;
    std::function<void(Element*)> function;
};

struct ValueCallback
{
    const void* receiver = nullptr;
    int slot = 0;
    std::function<void(Element*, uint32_t)> function;
};

// Someone who wants to know which element a path names.
class ElementBoundListener
{
public:
    ElementBoundListener(Path path, ElementCallback callback) : path(std::move(path)), callback(std::move(callback)) {}
    virtual ~ElementBoundListener() = default;
    virtual void elementChanged(Element* element)
    {
        if (callback.function)
            callback.function(element);
    }

    const Path path;
    const ElementCallback callback;
};

// Someone who watches one parameter of the element at a path.
class ElementParameterChangeListener : public ElementBoundListener, public Trackable
{
public:
    ElementParameterChangeListener(EngineProxy& owner, Path path, uint32_t askedId, ElementCallback onElement, ValueCallback onValue)
        : ElementBoundListener(std::move(path), std::move(onElement)), proxy(owner), idInUse(askedId), askedId(askedId),
          valueCallback(std::move(onValue))
    {
    }

    void elementChanged(Element* newElement) override
    {
        element = newElement;
        ElementBoundListener::elementChanged(newElement);
    }
    void valueChanged(uint32_t id)
    {
        if (valueCallback.function)
            valueCallback.function(element, id);
    }

    EngineProxy& proxy;
    uint32_t idInUse;
    const uint32_t askedId;
    const ValueCallback valueCallback;
    Element* element = nullptr;
};

// One step of a bound path, mirroring the element tree below the engine.
class ElementNode : public Trackable
{
public:
    using ParameterListener = std::shared_ptr<ElementParameterChangeListener>;

    ElementNode(EngineProxy& owner, String name, String parentPath);
    ~ElementNode() override;

    String fullPath() const;
    bool isWildcard() const noexcept { return name.toString().containsChar('*'); }

    ElementNode& childNode(const String& step);
    void resolve(Element* parentElement);
    void setElement(Element* newElement, bool force = false);
    void clear();

    void addListener(const std::shared_ptr<ElementBoundListener>& listener);
    void removeListener(const ElementBoundListener* listener);
    void addParameterListener(const ParameterListener& listener);
    void removeParameterListener(const ElementParameterChangeListener* listener);
    size_t countParameterListeners(uint32_t id) const;

    std::map<String, std::shared_ptr<ElementNode>> children;
    EngineProxy* proxy;
    Element* element = nullptr;
    Path name;
    Path parentPath;
    int32_t childrenInterest = 0;
    int32_t wildcardInterest = 0;
    std::vector<std::shared_ptr<ElementBoundListener>> listeners;
    std::unordered_map<uint32_t, std::vector<ParameterListener>> parameterFilter;

private:
    void connectTo(Element* target);
    void disconnectAll();
    void childAdded(Element* child);
    void childRemoved(Element* child);
    void childRenamed(Element* child, const String& newName);
    void parameterChanged(int id);
    void rebuildFilter();
    void recountInterest();
    bool stepMatches(const String& step, const String& childName) const;

    // The element's own signals are tracked; this one comes and goes with interest.
    std::function<void()> descendantsConnection;
    String heldProxyPath;
};

// An error of the engine for whoever shows errors.
struct ProxyError
{
    Path path;
    String text;
};

class ErrorListener
{
public:
    virtual ~ErrorListener() = default;
    virtual void showError(const ProxyError& error) = 0;
};

// The editor's only way to the engine: views name a path and a parameter and
// are told when the element appears, changes or goes away. Message thread only.
class EngineProxy : private juce::Timer, public Trackable
{
public:
    using GestureSignal = SignalN<Element*, uint32_t>;

    EngineProxy(void* owner, Element* engine, bool forwardErrors);
    ~EngineProxy() override;

    // Waits for host threads that are inside a slot before the tree changes.
    void setEngine(Element* newEngine);
    Element* getEngine() const noexcept { return engine; }
    // Closed while the views are rebound; host threads pass it without waiting.
    RebindGate& getRebindGate() noexcept { return rebindGate; }

    // The element at a path, or an ElementProxy for a wildcard path (or when
    // forced); a proxy is shared and counted, releaseElementProxy gives it back.
    Element* getElementProxy(const Path& path, bool forceProxy);
    void releaseElementProxy(const Path& path);
    int getProxyUseCount(const Path& path) const;

    void bindElement(const Path& path, ElementCallback callback);
    void unbindElement(const Path& path, const ElementCallback& callback);
    void bindParameter(const Path& path, uint32_t id, ElementCallback onElement, ValueCallback onValue);
    void unbindParameter(const Path& path, uint32_t id, const ElementCallback& onElement, const ValueCallback& onValue);

    void addErrorListener(ErrorListener* listener);
    void removeErrorListener(ErrorListener* listener);
    void reportError(const String& text, const Path& path);

    GestureSignal parameterGestureBegan;
    GestureSignal parameterGestureEnded;

    // For tests: the node of a path, or none.
    ElementNode* findNode(const Path& path) const;

private:
    struct Proxy
    {
        int useCount = 1;
        Path path;
        std::unique_ptr<ElementProxy> element;
    };

    using BoundKey = std::tuple<const void*, int, String>;
    using ParameterKey = std::tuple<const void*, int, int, uint32_t, String>;

    // The wheel turns and nothing hangs on it.
    void timerCallback() override {}
    ElementNode& nodeFor(const Path& path);
    void connectErrors();
    void repeatErrors();

    Element* engine = nullptr;
    RebindGate rebindGate;
    void* owner;
    std::unique_ptr<ElementNode> rootNode;
    std::map<String, std::unique_ptr<Proxy>> proxies;
    std::map<BoundKey, std::shared_ptr<ElementBoundListener>> boundListeners;
    std::map<ParameterKey, std::shared_ptr<ElementParameterChangeListener>> parameterListeners;
    bool forwardErrors;
    std::set<ErrorListener*> errorListeners;
};

juce::StringArray pathSteps(const Path& path);

} // namespace qel
