#include "element/ElementProxy.h"

namespace qel
{

ElementProxy::ElementProxy(std::vector<Element*> list, const String& proxyPath, const String& proxyName)
    : Element({}, proxyName), path(proxyPath)
{
    setElements(std::move(list));
}

void ElementProxy::setElements(std::vector<Element*> newElements)
{
    elements = std::move(newElements);
    if (auto* first = getFirst())
        shareTypeNameOf(*first);
}

juce::CriticalSection& ElementProxy::getLock()
{
    return elements.empty() ? Element::getLock() : elements.front()->getLock();
}

uint32_t ElementProxy::resolveParameterId(uint32_t id) const
{
    return elements.empty() ? id : elements.front()->resolveParameterId(id);
}

uint32_t ElementProxy::findParameterId(const String& parameterName) const
{
    return elements.empty() ? 0 : elements.front()->findParameterId(parameterName);
}

Element* ElementProxy::findChild(const String& childPath) const
{
    return elements.empty() ? nullptr : elements.front()->findChild(childPath);
}

void ElementProxy::setParameterString(uint32_t id, const String& value)
{
    forEach([&](Element& e) { e.setParameterString(id, value); });
}

void ElementProxy::setParameterInt(uint32_t id, int value)
{
    forEach([&](Element& e) { e.setParameterInt(id, value); });
}

void ElementProxy::setParameterBool(uint32_t id, bool value)
{
    forEach([&](Element& e) { e.setParameterBool(id, value); });
}

void ElementProxy::setParameterFloat(uint32_t id, float value)
{
    forEach([&](Element& e) { e.setParameterFloat(id, value); });
}

void ElementProxy::setParameterStringDeferred(uint32_t id, const String& v, bool deferred)
{
    forEach([&](Element& e) { e.setParameterStringDeferred(id, v, deferred); });
}

void ElementProxy::setParameterIntDeferred(uint32_t id, int v, bool deferred)
{
    forEach([&](Element& e) { e.setParameterIntDeferred(id, v, deferred); });
}

void ElementProxy::setParameterBoolDeferred(uint32_t id, bool v, bool deferred)
{
    forEach([&](Element& e) { e.setParameterBoolDeferred(id, v, deferred); });
}

void ElementProxy::setParameterFloatDeferred(uint32_t id, float v, bool deferred)
{
    forEach([&](Element& e) { e.setParameterFloatDeferred(id, v, deferred); });
}

float ElementProxy::getParameterFloat(uint32_t id, Error* error) const
{
    return elements.empty() ? 0.0f : elements.front()->getParameterFloat(id, error);
}

ParameterInfo<float>* ElementProxy::findFloatParameter(uint32_t id) const
{
    return elements.empty() ? nullptr : elements.front()->findFloatParameter(id);
}

bool ElementProxy::getParameterBool(uint32_t id, Error* error) const
{
    return !elements.empty() && elements.front()->getParameterBool(id, error);
}

ParameterInfo<bool>* ElementProxy::findBoolParameter(uint32_t id) const
{
    return elements.empty() ? nullptr : elements.front()->findBoolParameter(id);
}

int ElementProxy::getParameterInt(uint32_t id, Error* error) const
{
    return elements.empty() ? 0 : elements.front()->getParameterInt(id, error);
}

ParameterInfo<int>* ElementProxy::findIntParameter(uint32_t id) const
{
    return elements.empty() ? nullptr : elements.front()->findIntParameter(id);
}

String ElementProxy::getParameterString(uint32_t id, Error* error) const
{
    return elements.empty() ? String() : elements.front()->getParameterString(id, error);
}

ParameterInfo<String>* ElementProxy::findStringParameter(uint32_t id) const
{
    return elements.empty() ? nullptr : elements.front()->findStringParameter(id);
}

} // namespace qel
