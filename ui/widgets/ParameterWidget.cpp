#include "ui/widgets/ParameterWidget.h"

#include "element/BeatDivisions.h"
#include "ui/widgets/SimpleEditionSettingsPanel.h"

namespace qel
{

namespace
{
uint32_t syncId()
{
    return FrameworkParameters::get().syncToHost;
}

template <typename T>
bool outsideStrictRange(const ParameterDescription<T>& d, T value)
{
    return d.has(ParameterFlags::strictRange) && d.hasRange() && (value < d.minimum || value > d.maximum);
}
} // namespace

ParameterWidget::~ParameterWidget()
{
    if (settingsPanel != nullptr)
        delete settingsPanel.getComponent();
}

bool ParameterWidget::isSyncCapable() const
{
    const auto* d = getFloatDescription();
    return d != nullptr && isSyncedDisplayType(d->displayType);
}

void ParameterWidget::setParameter(const Path& path, uint32_t id)
{
    SimpleElementParameterView::setParameter(path, id);
    auto& registry = ParameterRegistry::get();
    if (registry.typeOf(id) == ValueType::floatValue && isSyncedDisplayType(registry.floatDescription(id).displayType))
        ElementParameterView::setParameter(path, syncId());
}

void ParameterWidget::elementChanged(Element* element)
{
    SimpleElementParameterView::elementChanged(element);
    readSyncState(element);
}

void ParameterWidget::readSyncState(Element* element)
{
    syncKnown = element != nullptr && isSyncCapable() && element->findBoolParameter(syncId()) != nullptr;
    syncOn = syncKnown && element->getParameterBool(syncId());
}

void ParameterWidget::dispatchValue(Element* element, uint32_t id)
{
    if (id != syncId() || id == getParameterId())
    {
        SimpleElementParameterView::dispatchValue(element, id);
        return;
    }
    const bool was = syncOn;
    readSyncState(element);
    if (syncKnown && syncOn != was)
        syncChanged();
}

const ParameterDescriptionBase* ParameterWidget::getParameterDescription() const
{
    switch (getValueType())
    {
        case ValueType::floatValue: return getFloatDescription();
        case ValueType::intValue: return getIntDescription();
        case ValueType::boolValue: return getBoolDescription();
        default:
        {
            auto* e = getElement();
            auto* b = e != nullptr ? e->findStringParameter(getParameterId()) : nullptr;
            return b != nullptr ? &b->description() : nullptr;
        }
    }
}

const ParameterDescription<float>* ParameterWidget::getFloatDescription() const
{
    if (descriptionOverride != nullptr)
        return descriptionOverride;
    auto* e = getElement();
    auto* b = e != nullptr ? e->findFloatParameter(getParameterId()) : nullptr;
    return b != nullptr ? &b->typedDescription() : nullptr;
}

const ParameterDescription<int>* ParameterWidget::getIntDescription() const
{
    auto* e = getElement();
    auto* b = e != nullptr ? e->findIntParameter(getParameterId()) : nullptr;
    return b != nullptr ? &b->typedDescription() : nullptr;
}

const ParameterDescription<bool>* ParameterWidget::getBoolDescription() const
{
    auto* e = getElement();
    auto* b = e != nullptr ? e->findBoolParameter(getParameterId()) : nullptr;
    return b != nullptr ? &b->typedDescription() : nullptr;
}

double ParameterWidget::readValue() const
{
    switch (getValueType())
    {
        case ValueType::floatValue: return getFloat();
        case ValueType::intValue: return getInt();
        case ValueType::boolValue: return getBool() ? 1.0 : 0.0;
        default: return 0.0;
    }
}

double ParameterWidget::defaultValue() const
{
    switch (getValueType())
    {
        case ValueType::floatValue: return getFloatDescription() != nullptr ? getFloatDescription()->defaultValue : 0.0;
        case ValueType::intValue: return getIntDescription() != nullptr ? getIntDescription()->defaultValue : 0.0;
        case ValueType::boolValue: return getBoolDescription() != nullptr && getBoolDescription()->defaultValue ? 1.0 : 0.0;
        default: return 0.0;
    }
}

void ParameterWidget::writeValue(double value)
{
    auto* e = getElement();
    if (e == nullptr)
        return;
    const auto id = getParameterId();
    switch (getValueType())
    {
        case ValueType::floatValue: e->setParameterFloatDeferred(id, static_cast<float>(value), true); break;
        case ValueType::intValue: e->setParameterIntDeferred(id, static_cast<int>(value), true); break;
        case ValueType::boolValue: e->setParameterBoolDeferred(id, value != 0.0, true); break;
        default: break;
    }
}

String ParameterWidget::textOfValue(double value) const
{
    auto* e = getElement();
    if (e == nullptr)
        return {};
    if (displayCallback != nullptr)
        return displayCallback->toText(*e, value);
    switch (getValueType())
    {
        case ValueType::floatValue: return getFloatDescription()->toString(e, static_cast<float>(value));
        case ValueType::intValue: return getIntDescription()->toString(e, static_cast<int>(value));
        case ValueType::boolValue: return getBoolDescription()->toString(e, value != 0.0);
        default: return getString();
    }
}

bool ParameterWidget::valueOfText(const String& text, double& value) const
{
    auto* e = getElement();
    if (e == nullptr)
        return false;
    if (displayCallback != nullptr)
        return displayCallback->fromText(*e, text, value);
    switch (getValueType())
    {
        case ValueType::floatValue:
        {
            const auto& d = *getFloatDescription();
            float v = 0.0f;
            if (!d.fromString(e, text, v))
                return false;
            // Synchronised, the text names a division and reads as its row.
            if (isSyncedDisplayType(d.displayType) && e->isSyncedToHost())
                v = BeatDivisions::ratioOfRow(static_cast<int>(v));
            else if (outsideStrictRange(d, v))
                return false;
            value = v;
            return true;
        }
        case ValueType::intValue:
        {
            int v = 0;
            if (!getIntDescription()->fromString(e, text, v) || outsideStrictRange(*getIntDescription(), v))
                return false;
            value = v;
            return true;
        }
        case ValueType::boolValue:
        {
            bool v = false;
            if (!getBoolDescription()->fromString(e, text, v))
                return false;
            value = v ? 1.0 : 0.0;
            return true;
        }
        default: return false;
    }
}

void ParameterWidget::beginGesture()
{
    if (proxy != nullptr && getElement() != nullptr)
        proxy->parameterGestureBegan(getElement(), getParameterId());
}

void ParameterWidget::endGesture()
{
    if (proxy != nullptr && getElement() != nullptr)
        proxy->parameterGestureEnded(getElement(), getParameterId());
}

bool ParameterWidget::openSettingsPanel(juce::Component& widget, bool alt)
{
    const auto* d = getParameterDescription();
    auto* parent = widget.getParentComponent();
    if (!(allowMidiEdit || allowAutomationEdit) || !isBound() || d == nullptr || !d->has(ParameterFlags::modulable)
        || settingsPanel != nullptr || getPath().isEmpty() || getValueType() == ValueType::stringValue || parent == nullptr)
        return false;
    if (alt ? !allowMidiEdit : !allowAutomationEdit)
        return false;
    auto* panel = new SimpleEditionSettingsPanel(*proxy, getPath(), getParameterId(), alt, !alt, allowHostAutomationEntry);
    parent->addAndMakeVisible(panel);
    panel->setBounds(panel->getBounds().withCentre(widget.getBounds().getCentre()).constrainedWithin(parent->getLocalBounds()));
    panel->enterModalState(true, nullptr, true);
    settingsPanel = panel;
    return true;
}

} // namespace qel
