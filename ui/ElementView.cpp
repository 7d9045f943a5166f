#include "ui/ElementView.h"

#include <algorithm>

namespace qel
{

ElementView::~ElementView()
{
    if (proxy == nullptr)
        return;
    for (const auto& p : boundPaths)
        proxy->unbindElement(p, elementCallback());
}

ElementCallback ElementView::elementCallback()
{
    return { this, 0, [this](Element* e) { elementChanged(e); } };
}

void ElementView::addElementBinding(const Path& path)
{
    if (proxy == nullptr)
        return;
    boundPaths.push_back(path);
    proxy->bindElement(path, elementCallback());
}

void ElementView::removeElementBinding(const Path& path)
{
    const auto it = std::find(boundPaths.begin(), boundPaths.end(), path);
    if (it == boundPaths.end())
        return;
    boundPaths.erase(it);
    if (proxy != nullptr)
        proxy->unbindElement(path, elementCallback());
}

// --- ElementParameterView ---

ElementParameterView::~ElementParameterView()
{
    unbindAllParameters();
}

ValueCallback ElementParameterView::valueCallback()
{
    return { this, 0, [this](Element* e, uint32_t id) { dispatchValue(e, id); } };
}

void ElementParameterView::unbindAllParameters()
{
    if (proxy != nullptr)
        for (const auto& [p, id] : parameterBindings)
            proxy->unbindParameter(p, id, elementCallback(), valueCallback());
    parameterBindings.clear();
}

void ElementParameterView::setParameter(const Path& path, uint32_t id)
{
    if (proxy == nullptr)
        return;
    parameterBindings.emplace_back(path, id);
    proxy->bindParameter(path, id, elementCallback(), valueCallback());
}

void ElementParameterView::removeParameterBinding(const Path& path, uint32_t id)
{
    const auto it = std::find(parameterBindings.begin(), parameterBindings.end(), std::make_pair(path, id));
    if (it == parameterBindings.end())
        return;
    parameterBindings.erase(it);
    if (proxy != nullptr)
        proxy->unbindParameter(path, id, elementCallback(), valueCallback());
}

void ElementParameterView::dispatchValue(Element* element, uint32_t id)
{
    if (element == nullptr)
        return;
    switch (ParameterRegistry::get().typeOf(id))
    {
        case ValueType::floatValue:
            if (element->findFloatParameter(id) != nullptr)
                parameterChanged(element->getParameterFloat(id));
            break;
        case ValueType::intValue:
            if (element->findIntParameter(id) != nullptr)
                parameterChanged(element->getParameterInt(id));
            break;
        case ValueType::boolValue:
            if (element->findBoolParameter(id) != nullptr)
                parameterChanged(element->getParameterBool(id));
            break;
        case ValueType::stringValue:
            if (element->findStringParameter(id) != nullptr)
                parameterChanged(element->getParameterString(id));
            break;
        default: break;
    }
}

// --- SimpleElementView ---

SimpleElementView::~SimpleElementView()
{
    if (proxy != nullptr && hasPath)
        proxy->unbindElement(path, pathCallback());
}

void SimpleElementView::setElementPath(const Path& newPath)
{
    if (proxy == nullptr)
        return;
    Element* const before = element;
    const auto callback = pathCallback();
    if (hasPath)
    {
        proxy->unbindElement(path, callback);
        element = nullptr;
    }
    path = newPath;
    hasPath = true;
    proxy->bindElement(path, callback);
    if (before != nullptr && element == nullptr)
        elementChanged(nullptr);
}

void SimpleElementView::clearElementPath()
{
    if (proxy == nullptr || !hasPath)
        return;
    proxy->unbindElement(path, pathCallback());
    hasPath = false;
    path = {};
    if (element != nullptr)
    {
        element = nullptr;
        elementChanged(nullptr);
    }
}

// --- SimpleElementParameterView ---

void SimpleElementParameterView::setParameter(const Path& newPath, uint32_t id)
{
    unbindAllParameters();
    const bool wasBound = element != nullptr;
    element = nullptr;
    path = newPath;
    askedId = id;
    idInUse = id;
    ElementParameterView::setParameter(newPath, id);
    if (wasBound && element == nullptr)
        elementChanged(nullptr);
}

void SimpleElementParameterView::elementChanged(Element* newElement)
{
    element = newElement;
    if (element == nullptr)
    {
        valueType = ValueType::unknown;
        return;
    }
    auto& registry = ParameterRegistry::get();
    idInUse = element->resolveParameterId(askedId);
    valueType = registry.typeOf(askedId);
    if (valueType == ValueType::nameOnly)
        valueType = registry.typeOf(idInUse);
}

float SimpleElementParameterView::getFloat() const
{
    return element != nullptr && element->findFloatParameter(idInUse) != nullptr ? element->getParameterFloat(idInUse) : 0.0f;
}

int SimpleElementParameterView::getInt() const
{
    return element != nullptr && element->findIntParameter(idInUse) != nullptr ? element->getParameterInt(idInUse) : 0;
}

bool SimpleElementParameterView::getBool() const
{
    return element != nullptr && element->findBoolParameter(idInUse) != nullptr && element->getParameterBool(idInUse);
}

String SimpleElementParameterView::getString() const
{
    return element != nullptr && element->findStringParameter(idInUse) != nullptr ? element->getParameterString(idInUse) : String();
}

} // namespace qel
