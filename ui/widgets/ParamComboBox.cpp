#include "ui/widgets/ParamComboBox.h"

namespace qel
{

ParamComboBox::ParamComboBox(EngineProxy* proxy, const Path& path, uint32_t parameterId) : ParameterWidget(proxy)
{
    setName("ParamComboBox");
    setEnabled(false);
    onChange = [this] { choose(); };
    setParameter(path, parameterId);
}

void ParamComboBox::setShowsArrow(bool shows)
{
    getProperties().set("hideArrow", !shows);
    resized();
    repaint();
}

int ParamComboBox::firstValue() const
{
    const auto* d = getIntDescription();
    return d != nullptr && d->hasRange() ? d->minimum : 0;
}

void ParamComboBox::elementChanged(Element* element)
{
    ParameterWidget::elementChanged(element);
    clear(juce::dontSendNotification);
    auto* e = getElement();
    setEnabled(e != nullptr && getParameterDescription() != nullptr && getValueType() != ValueType::floatValue
               && getValueType() != ValueType::stringValue);
    if (!isEnabled())
        return;
    if (const auto* d = getIntDescription(); d != nullptr && d->hasRange())
        for (int v = d->minimum; v <= d->maximum; ++v)
            addItem(d->toString(e, v), v - d->minimum + 1);
    else if (const auto* b = getBoolDescription())
        for (int v = 0; v <= 1; ++v)
            addItem(b->toString(e, v != 0), v + 1);
    show(static_cast<int>(readValue()));
}

void ParamComboBox::show(int value)
{
    setSelectedId(value - firstValue() + 1, juce::dontSendNotification);
}

void ParamComboBox::choose()
{
    auto* e = getElement();
    if (e == nullptr || getSelectedId() == 0)
        return;
    int value = getSelectedId() - 1 + firstValue();
    if (valueCallback != nullptr)
        value = getValueType() == ValueType::boolValue ? (valueCallback->mapBool(*e, value != 0) ? 1 : 0)
                                                       : valueCallback->mapInt(*e, value);
    beginGesture();
    writeValue(value);
    endGesture();
}

juce::PopupMenu::Options ParamComboBox::popupOptions()
{
    const int height = getProperties().getWithDefault("menuHeight", getHeight());
    return juce::PopupMenu::Options()
        .withTargetComponent(this)
        .withItemThatMustBeVisible(getSelectedId())
        .withInitiallySelectedItem(getSelectedId())
        .withMinimumWidth(getWidth())
        .withMaximumNumColumns(1)
        .withStandardItemHeight(height);
}

void ParamComboBox::showPopup()
{
    juce::PopupMenu menu;
    for (juce::PopupMenu::MenuItemIterator it(*getRootMenu()); it.next();)
    {
        auto item = it.getItem();
        item.isTicked = item.itemID == getSelectedId();
        menu.addItem(item);
    }
    menu.showMenuAsync(popupOptions(), [safe = SafePointer<ParamComboBox>(this)](int chosen) {
        if (safe != nullptr)
        {
            safe->hidePopup();
            if (chosen != 0)
                safe->setSelectedId(chosen);
        }
    });
}

void ParamComboBox::mouseDown(const juce::MouseEvent& e)
{
    if (e.mods.isRightButtonDown())
        openSettingsPanel(*this, e.mods.isAltDown());
    else
        juce::ComboBox::mouseDown(e);
}

} // namespace qel
