#include "ui/ParameterMenu.h"

#include "tape/ReelwarpParameters.h"
#include "ui/PresetFiles.h"
#include "ui/widgets/SimpleEditionSettingsPanel.h"

#include <juce_audio_processors/juce_audio_processors.h>

namespace qel::ParameterMenu
{

namespace
{
juce::StringArray midiSources(Element& element, uint32_t parameterId)
{
    juce::StringArray sources;
    element.listModulationSources(parameterId, sources);
    juce::StringArray midi;
    for (const auto& s : sources)
        if (s.startsWith("@MIDI"))
            midi.add(s);
    return midi;
}

void openLearnPanel(EngineProxy& proxy, const Path& effectPath, juce::Component& component, uint32_t parameterId)
{
    juce::Component* editor = component.findParentComponentOfClass<juce::AudioProcessorEditor>();
    if (editor == nullptr)
        editor = component.getTopLevelComponent();
    auto* panel = new SimpleEditionSettingsPanel(proxy, effectPath, parameterId, false, false, false);
    editor->addAndMakeVisible(panel);
    panel->setCentrePosition(editor->getLocalBounds().getCentre());
    panel->enterModalState(true, nullptr, true);
}
} // namespace

const std::array<uint32_t, 5>& lockableParameters()
{
    static const std::array<uint32_t, 5> ids = {
        reelwarpParameterId(ReelwarpParameter::Mix),        reelwarpParameterId(ReelwarpParameter::InputGain),
        reelwarpParameterId(ReelwarpParameter::OutputGain), reelwarpParameterId(ReelwarpParameter::Drive),
        reelwarpParameterId(ReelwarpParameter::ApplyLowLatency),
    };
    return ids;
}

int learnedController(Element& element, uint32_t parameterId)
{
    const auto sources = midiSources(element, parameterId);
    const juce::String prefix = "@MIDI CC ";
    if (sources.isEmpty() || !sources[0].startsWith(prefix))
        return -1;
    return sources[0].substring(prefix.length()).getIntValue();
}

juce::PopupMenu build(Element& element, uint32_t parameterId)
{
    juce::PopupMenu menu;
    menu.addItem(locked, "Locked", true, isParameterLocked(element, parameterId));
    menu.addItem(unlockAll, "Unlock all Parameters");
    menu.addItem(midiLearn, "MIDI Learn");
    const int controller = learnedController(element, parameterId);
    if (controller >= 0)
        menu.addItem(midiUnlearn, juce::String("MIDI Unlearn (CC #%1)").replace("%1", juce::String(controller)));
    else
        menu.addItem(midiUnlearn, "MIDI Unlearn", false);
    return menu;
}

void apply(int choice, EngineProxy& proxy, const Path& effectPath, juce::Component& component, uint32_t parameterId)
{
    auto* element = proxy.getElementProxy(effectPath, false);
    if (element == nullptr)
        return;
    switch (choice)
    {
        case locked: setParameterLocked(*element, parameterId, !isParameterLocked(*element, parameterId)); break;
        case unlockAll:
            for (const auto id : lockableParameters())
                if (isParameterLocked(*element, id))
                    setParameterLocked(*element, id, false);
            break;
        case midiLearn: openLearnPanel(proxy, effectPath, component, parameterId); break;
        case midiUnlearn:
            for (const auto& source : midiSources(*element, parameterId))
                element->removeModulationSource(parameterId, source, true);
            break;
        default: break;
    }
}

void show(EngineProxy& proxy, const Path& effectPath, juce::Component& component, uint32_t parameterId)
{
    auto* element = proxy.getElementProxy(effectPath, false);
    if (element == nullptr)
        return;
    build(*element, parameterId)
        .showMenuAsync(juce::PopupMenu::Options().withTargetComponent(&component).withStandardItemHeight(itemHeight),
                       [&proxy, effectPath, safe = juce::Component::SafePointer<juce::Component>(&component), parameterId](int choice) {
                           if (safe != nullptr && choice != 0)
                               apply(choice, proxy, effectPath, *safe, parameterId);
                       });
}

} // namespace qel::ParameterMenu
