#include "ui/widgets/SimpleEditionSettingsPanel.h"

#include "element/SignalConnection.h"
#include "plugin/ExportTable.h"

#include <juce_audio_basics/juce_audio_basics.h>
#include <tinyxml2.h>

#include <algorithm>

namespace qel
{

namespace
{
constexpr const char* midiPrefix = "@MIDI CC ";

bool isExported(uint32_t id)
{
    const auto& ids = exportedParameterIds();
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

juce::String linkText(const juce::String& source)
{
    if (!source.startsWith(midiPrefix))
        return source;
    const auto text = SimpleEditionSettingsPanel::controllerText(source.substring(juce::String(midiPrefix).length()).getIntValue());
    return text.isNotEmpty() ? text : source.substring(1);
}
} // namespace

SimpleEditionSettingsPanel::SimpleEditionSettingsPanel(EngineProxy& owner, const Path& elementPath, uint32_t id,
                                                       bool isModulation, bool control, bool automation)
    : proxy(owner), path(elementPath), parameterId(id), modulation(isModulation), hostAutomation(automation)
{
    setSize(400, 150);
    setWantsKeyboardFocus(true);
    title.setText(ParameterRegistry::get().displayName(id), juce::dontSendNotification);
    title.setJustificationType(juce::Justification::centred);
    title.setFont(juce::Font(19.0f));
    caption.setText(isModulation ? "MIDI Modulation: " : control && automation ? "MIDI/Automation Control: " : "MIDI Control: ",
                    juce::dontSendNotification);
    caption.setJustificationType(juce::Justification::centredRight);
    value.setJustificationType(juce::Justification::centred);
    value.setColour(juce::Label::backgroundColourId, findColour(juce::ComboBox::backgroundColourId));
    value.setColour(juce::Label::textColourId, juce::Colours::white);
    value.setTooltip("Click to choose a MIDI controller");
    value.addMouseListener(this, false);
    for (auto* label : { &title, &caption })
        label->setColour(juce::Label::textColourId, findColour(juce::PopupMenu::textColourId));
    clearButton.onClick = [this] { clear(); };
    closeButton.onClick = [this] { close(); };
    for (auto* c : std::initializer_list<juce::Component*> { &title, &caption, &value, &clearButton, &closeButton })
        addAndMakeVisible(c);
    refresh();
}

juce::String SimpleEditionSettingsPanel::controllerText(int controller)
{
    const char* name = juce::MidiMessage::getControllerName(controller);
    return name == nullptr ? juce::String() : juce::String("MIDI CC %1 (%2)").replace("%1", juce::String(controller)).replace("%2", name);
}

juce::PopupMenu SimpleEditionSettingsPanel::controllerMenu()
{
    juce::PopupMenu menu;
    for (int id = 1; id <= 128; ++id)
        if (const auto text = controllerText(id - 1); text.isNotEmpty())
            menu.addItem(id, text);
    return menu;
}

Element* SimpleEditionSettingsPanel::element() const
{
    return proxy.getElementProxy(path, false);
}

juce::String SimpleEditionSettingsPanel::presentSource() const
{
    juce::StringArray sources;
    if (auto* e = element())
        e->listModulationSources(parameterId, sources);
    return sources.isEmpty() ? juce::String() : sources[0];
}

void SimpleEditionSettingsPanel::refresh()
{
    const auto source = presentSource();
    value.setText(source.isNotEmpty() ? linkText(source) : hostAutomation && isExported(parameterId) ? "Host Automation" : "None",
                  juce::dontSendNotification);
}

void SimpleEditionSettingsPanel::chooseController(int menuId)
{
    auto* e = element();
    if (e == nullptr || menuId < 1 || menuId > 128)
        return;
    // One controller at a time: a new choice replaces the former MIDI link.
    juce::StringArray sources;
    e->listModulationSources(parameterId, sources);
    for (const auto& s : sources)
        if (s.startsWith("@MIDI"))
            e->removeModulationSource(parameterId, s, true);
    tinyxml2::XMLDocument document;
    auto* link = document.NewElement("SignalConnection");
    link->SetAttribute("Source", SignalConnection::midiControllerSource(menuId - 1).toRawUTF8());
    link->SetAttribute("Destination", ParameterRegistry::get().nameOf(parameterId).toRawUTF8());
    link->SetAttribute("Ratio", 1.0f);
    link->SetAttribute("ConnectionMode", modulation ? 1 : 0);
    link->SetAttribute("Bypass", 0);
    e->addModulationSource(*link, true);
    close();
}

void SimpleEditionSettingsPanel::clear()
{
    if (auto* e = element(); e != nullptr && presentSource().isNotEmpty())
        e->removeModulationSource(parameterId, presentSource(), true);
    close();
}

void SimpleEditionSettingsPanel::close()
{
    if (isCurrentlyModal())
        exitModalState(0);
    else
        setVisible(false);
}

void SimpleEditionSettingsPanel::mouseDown(const juce::MouseEvent& e)
{
    if (e.eventComponent != &value)
        return;
    controllerMenu().showMenuAsync(juce::PopupMenu::Options().withTargetComponent(&value).withMaximumNumColumns(4),
                                   [safe = SafePointer<SimpleEditionSettingsPanel>(this)](int chosen) {
                                       if (safe != nullptr && chosen > 0)
                                           safe->chooseController(chosen);
                                   });
}

bool SimpleEditionSettingsPanel::keyPressed(const juce::KeyPress& key)
{
    if (key == juce::KeyPress::returnKey || key == juce::KeyPress::escapeKey)
    {
        close();
        return true;
    }
    return false;
}

void SimpleEditionSettingsPanel::resized()
{
    title.setBounds(10, 10, getWidth() - 20, 28);
    caption.setBounds(10, 58, 180, 26);
    value.setBounds(195, 58, getWidth() - 215, 26);
    closeButton.setBounds(getWidth() - 100, getHeight() - 40, 80, 26);
    clearButton.setBounds(getWidth() - 190, getHeight() - 40, 80, 26);
}

void SimpleEditionSettingsPanel::paint(juce::Graphics& g)
{
    const auto area = getLocalBounds().toFloat().reduced(0.5f);
    g.setColour(findColour(juce::PopupMenu::backgroundColourId));
    g.fillRoundedRectangle(area, 4.0f);
    g.setColour(findColour(juce::PopupMenu::headerTextColourId));
    g.drawRoundedRectangle(area, 4.0f, 1.0f);
}

} // namespace qel
