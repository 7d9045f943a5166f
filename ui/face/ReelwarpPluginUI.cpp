#include "ui/face/ReelwarpPluginUI.h"

#include "element/ParameterRegistry.h"
#include "plugin/Plugin.h"
#include "plugin/PluginDefinition.h"
#include "plugin/ReelwarpPlugin.h"
#include "ui/look/ReelwarpLookAndFeel.h"

namespace qel
{

namespace
{
constexpr int lfoFlangeMode = 1;
}

juce::String ReelwarpPluginUI::backgroundFor(int flangeMode, bool lfoSettings, bool expanded)
{
    const juce::String name = flangeMode != lfoFlangeMode ? "manual" : (lfoSettings ? "lfo-edit" : "lfo");
    return "_flanger/_bkg_" + name + (expanded ? "_max.png" : "_min.png");
}

ReelwarpPluginUI::ReelwarpPluginUI(Plugin& p, Settings& store)
    : PluginEditor(p, false), settings(store),
      editor(std::make_unique<ReelwarpEditor>(*proxy, Path(ReelwarpPlugin::effectPath), store)),
      topBar(proxy, Path(ReelwarpPlugin::effectPath)),
      syncButton(proxy, Path(ReelwarpPlugin::effectPath), FrameworkParameters::get().syncToHost),
      lfoMode(proxy, Path(ReelwarpPlugin::effectPath)), waveform(proxy, Path(ReelwarpPlugin::effectPath)),
      modeCombo(proxy, Path(ReelwarpPlugin::effectPath), reelwarpParameterId(ReelwarpParameter::FlangeMode)),
      manualMode(proxy, Path(ReelwarpPlugin::effectPath))
{
    ReelwarpLookAndFeel::getInstance();
    setOpaque(true);

    background.setImage(backgroundFor(flangeMode, false, false));
    for (auto* c : { (juce::Component*) &background, (juce::Component*) &topBar, (juce::Component*) editor.get() })
        addAndMakeVisible(*c);
    addChildComponent(manualMode);
    manualMode.setBounds(403, 262, 329, 97);
    addChildComponent(lfoMode);
    lfoMode.setBounds(416, 262, 300, 97);
    addAndMakeVisible(footer);

    expandButton.setClickingTogglesState(true);
    expandButton.setToggleState(settings.getBool("ui.expanded", false), juce::dontSendNotification);
    expandButton.setImagesFromAssets("b_expand");
    expandButton.setTooltip("Show tape settings");
    expandButton.setBounds(1075, 395, 33, 33);
    expandButton.onClick = [this] { updateLayout(); };
    addAndMakeVisible(expandButton);

    syncButton.setImagesFromAssets("b_sync");
    syncButton.setTooltip("Sync to host");
    syncButton.setBounds(914, 16, 27, 26);
    syncButton.allowMidiEdit = syncButton.allowHostAutomationEntry = false;
    addAndMakeVisible(syncButton);

    lfoSettingsButton.setClickingTogglesState(true);
    lfoSettingsButton.setImagesFromAssets("_flanger/b_lfo");
    lfoSettingsButton.setTooltip("Show LFO Settings");
    lfoSettingsButton.setBounds(590, 234, 101, 30);
    lfoSettingsButton.onClick = [this] {
        updateLayout();
        lfoMode.setShowEdit(lfoSettingsButton.getToggleState());
    };
    addChildComponent(lfoSettingsButton);

    waveform.setBounds(603, 240, 64, 18);
    addChildComponent(waveform);

    styleFaceCombo(modeCombo);
    modeCombo.setTooltip("Select mode (LFO/Manual)");
    modeCombo.setBounds(448, 248, 74, 18);
    modeCombo.getProperties().set("menuHeight", 22);
    withoutSettingsPanel(modeCombo);
    addAndMakeVisible(modeCombo);

    flangeModeChanged(flangeMode);
    mode = std::make_unique<ElementParameterValue<int>>(proxy, Path(ReelwarpPlugin::effectPath),
                                                        reelwarpParameterId(ReelwarpParameter::FlangeMode),
                                                        [this](int m) { flangeModeChanged(m); });
}

ReelwarpPluginUI::~ReelwarpPluginUI()
{
    settings.setBool("ui.expanded", expandButton.getToggleState());
}

void ReelwarpPluginUI::flangeModeChanged(int newMode)
{
    flangeMode = newMode;
    const bool lfo = newMode == lfoFlangeMode;
    lfoMode.setVisible(lfo);
    lfoSettingsButton.setVisible(lfo);
    waveform.setVisible(lfo);
    manualMode.setVisible(!lfo);
    updateLayout();
}

void ReelwarpPluginUI::updateLayout()
{
    const bool expanded = expandButton.getToggleState();
    background.setImage(backgroundFor(flangeMode, lfoSettingsButton.getToggleState(), expanded));
    footer.setExpanded(expanded);
    const auto& definition = ReelwarpPluginDefinition::get();
    const int height = definition.getEditorHeight();
    setSize(definition.getEditorWidth(), expanded ? height : height - tapeSettingsHeight);
}

void ReelwarpPluginUI::paint(juce::Graphics& g)
{
    g.fillAll(juce::Colours::lightgrey);
}

void ReelwarpPluginUI::resized()
{
    const int w = getWidth(), h = getHeight();
    background.setBounds(0, 0, w, h);
    topBar.setBounds(0, 0, w, 45);
    editor->setBounds(0, 45, w, h - 65);
    footer.setBounds(0, h - 20, w, 20);
}

} // namespace qel
