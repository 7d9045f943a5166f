#pragma once

#include "ui/EngineProxy.h"

#include <functional>
#include <utility>
#include <vector>

namespace qel
{

// A component's hold on elements by path: bindings are undone when it goes.
class ElementView
{
public:
    explicit ElementView(EngineProxy* proxy = nullptr) : proxy(proxy) {}
    virtual ~ElementView();
    ElementView(const ElementView&) = delete;
    ElementView& operator=(const ElementView&) = delete;

    virtual void elementChanged(Element* element) { juce::ignoreUnused(element); }
    virtual void elementAboutToChange() {}

    void setProxy(EngineProxy* newProxy) { proxy = newProxy; }
    EngineProxy* getProxy() const noexcept { return proxy; }
    void addElementBinding(const Path& path);
    void removeElementBinding(const Path& path);

protected:
    ElementCallback elementCallback();

    EngineProxy* proxy;
    std::vector<Path> boundPaths;
};

// A view that also hears the values of parameters, by their value type.
class ElementParameterView : public ElementView
{
public:
    using ElementView::ElementView;
    ~ElementParameterView() override;

    void elementChanged(Element* element) override { juce::ignoreUnused(element); }
    virtual void parameterChanged(float value) { juce::ignoreUnused(value); }
    virtual void parameterChanged(int value) { juce::ignoreUnused(value); }
    virtual void parameterChanged(bool value) { juce::ignoreUnused(value); }
    virtual void parameterChanged(const String& value) { juce::ignoreUnused(value); }
    // Reads the newest value and hands it to the typed callback.
    virtual void dispatchValue(Element* element, uint32_t id);
    virtual void setParameter(const Path& path, uint32_t id);

    void removeParameterBinding(const Path& path, uint32_t id);

protected:
    ValueCallback valueCallback();
    void unbindAllParameters();

    std::vector<std::pair<Path, uint32_t>> parameterBindings;
};

// One path: replacing it unbinds the old one first.
class SimpleElementView : public ElementView
{
public:
    using ElementView::ElementView;
    ~SimpleElementView() override;

    void setElementPath(const Path& path);
    // Unbinds, telling the view of the loss.
    void clearElementPath();
    const Path& getElementPath() const noexcept { return path; }
    Element* getElement() const noexcept { return element; }

private:
    ElementCallback pathCallback()
    {
        return { this, 1, [this](Element* e) {
                    element = e;
                    elementChanged(e);
                } };
    }

    Path path;
    Element* element = nullptr;
    bool hasPath = false;
};

// One parameter of the element at one path.
class SimpleElementParameterView : public ElementParameterView
{
public:
    using ElementParameterView::ElementParameterView;

    void elementChanged(Element* element) override;
    void setParameter(const Path& path, uint32_t id) override;

    const Path& getPath() const noexcept { return path; }
    uint32_t getParameterId() const noexcept { return idInUse; }
    uint32_t getAskedId() const noexcept { return askedId; }
    ValueType getValueType() const noexcept { return valueType; }
    Element* getElement() const noexcept { return element; }
    bool isBound() const noexcept { return element != nullptr; }

    float getFloat() const;
    int getInt() const;
    bool getBool() const;
    String getString() const;

private:
    Path path;
    uint32_t idInUse = 0;
    uint32_t askedId = 0;
    ValueType valueType = ValueType::unknown;
    Element* element = nullptr;
};

// The editor's cached copy of one parameter, with a function called once per change.
template <typename T>
class ElementParameterValue : public SimpleElementParameterView
{
public:
    using OnChange = std::function<void(const T&)>;

    ElementParameterValue(EngineProxy* proxy, const Path& path, uint32_t id, OnChange onChange = {})
        : SimpleElementParameterView(proxy), onChange(std::move(onChange))
    {
        setParameter(path, id);
    }

    const T& get() const noexcept { return value; }

    // Writes through the element's pending slot, safe while audio runs; the
    // echo does not call the function again.
    void set(const T& newValue)
    {
        auto* e = getElement();
        if (e == nullptr)
            return;
        writing = true;
        if constexpr (std::is_same_v<T, float>)
            e->setParameterFloatDeferred(getParameterId(), newValue, true);
        else if constexpr (std::is_same_v<T, int>)
            e->setParameterIntDeferred(getParameterId(), newValue, true);
        else if constexpr (std::is_same_v<T, bool>)
            e->setParameterBoolDeferred(getParameterId(), newValue, true);
        else
            e->setParameterStringDeferred(getParameterId(), newValue, true);
        writing = false;
        value = newValue;
    }

    void elementChanged(Element* element) override
    {
        SimpleElementParameterView::elementChanged(element);
        if (element != nullptr)
            dispatchValue(element, getParameterId());
    }

    void parameterChanged(float v) override { take(v); }
    void parameterChanged(int v) override { take(v); }
    void parameterChanged(bool v) override { take(v); }
    void parameterChanged(const String& v) override { take(v); }

private:
    template <typename V>
    void take(const V& v)
    {
        if constexpr (std::is_convertible_v<V, T>)
        {
            const T incoming = static_cast<T>(v);
            if (writing || (known && incoming == value))
                return;
            value = incoming;
            known = true;
            if (onChange)
                onChange(value);
        }
    }

    OnChange onChange;
    T value {};
    bool known = false;
    bool writing = false;
};

} // namespace qel
