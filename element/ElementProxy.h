#pragma once

#include "element/Element.h"

#include <vector>

namespace qel
{

// Stands for every element a path matches: parameter writes go to all of
// them, reads and look-ups come from the first. It shares the first
// element's type name, so code that asks for the type sees the real one.
class ElementProxy : public Element
{
public:
    ElementProxy(std::vector<Element*> elements, const String& path, const String& name);

    void setElements(std::vector<Element*> newElements);
    const std::vector<Element*>& getElements() const noexcept { return elements; }
    Element* getFirst() const noexcept { return elements.empty() ? nullptr : elements.front(); }

    juce::CriticalSection& getLock() override;
    String getPath() const override { return path; }
    uint32_t resolveParameterId(uint32_t id) const override;
    uint32_t findParameterId(const String& parameterName) const override;
    Element* findChild(const String& childPath) const override;

    void setParameterString(uint32_t id, const String& value) override;
    void setParameterInt(uint32_t id, int value) override;
    void setParameterBool(uint32_t id, bool value) override;
    void setParameterFloat(uint32_t id, float value) override;
    void setParameterStringDeferred(uint32_t id, const String& v, bool deferred) override;
    void setParameterIntDeferred(uint32_t id, int v, bool deferred) override;
    void setParameterBoolDeferred(uint32_t id, bool v, bool deferred) override;
    void setParameterFloatDeferred(uint32_t id, float v, bool deferred) override;

    float getParameterFloat(uint32_t id, Error* error = nullptr) const override;
    ParameterInfo<float>* findFloatParameter(uint32_t id) const override;
    bool getParameterBool(uint32_t id, Error* error = nullptr) const override;
    ParameterInfo<bool>* findBoolParameter(uint32_t id) const override;
    int getParameterInt(uint32_t id, Error* error = nullptr) const override;
    ParameterInfo<int>* findIntParameter(uint32_t id) const override;
    String getParameterString(uint32_t id, Error* error = nullptr) const override;
    ParameterInfo<String>* findStringParameter(uint32_t id) const override;

private:
    template <typename Write>
    void forEach(Write&& write)
    {
        for (auto* e : elements)
            write(*e);
    }

    std::vector<Element*> elements;
    String path;
};

} // namespace qel
