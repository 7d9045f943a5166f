#pragma once

#include "ui/face/Footer.h"
#include "ui/presets/ABToolBar.h"
#include "ui/face/LFOPanels.h"
#include "ui/face/LFOWaveformDisplay.h"
#include "ui/face/PluginEditor.h"
#include "ui/face/ReelwarpEditor.h"

namespace qel
{

// The product's window: the face, the flange panel of its mode, the footer,
// and the two heights of the expand button.
class ReelwarpPluginUI : public PluginEditor
{
public:
    // Collapsed, the window is this much shorter than the definition's size.
    static constexpr int tapeSettingsHeight = 221;

    ReelwarpPluginUI(Plugin& plugin, Settings& settings);
    ~ReelwarpPluginUI() override;

    // The definition's size, less the tape settings when collapsed, and the
    // background of mode, settings and size.
    void updateLayout();
    static juce::String backgroundFor(int flangeMode, bool lfoSettings, bool expanded);

    void paint(juce::Graphics& g) override;
    void resized() override;

    ReelwarpEditor& getEditor() noexcept { return *editor; }
    ImageDisplay& getBackground() noexcept { return background; }
    Footer& getFooter() noexcept { return footer; }
    juce::Button& getExpandButton() noexcept { return expandButton; }
    juce::Button& getLFOSettingsButton() noexcept { return lfoSettingsButton; }
    LFOModeUI& getLFOModeUI() noexcept { return lfoMode; }
    ManualModeUI& getManualModeUI() noexcept { return manualMode; }
    LFOWaveformDisplay& getWaveform() noexcept { return waveform; }
    ParamComboBox& getModeCombo() noexcept { return modeCombo; }
    ABToolBar& getTopBar() noexcept { return topBar; }

private:
    void flangeModeChanged(int mode);

    Settings& settings;
    int flangeMode = 1;
    std::unique_ptr<ReelwarpEditor> editor;
    ImageDisplay background;
    ABToolBar topBar;
    Footer footer;
    Button expandButton;
    ParamButton syncButton;
    Button lfoSettingsButton;
    LFOModeUI lfoMode;
    LFOWaveformDisplay waveform;
    ParamComboBox modeCombo;
    ManualModeUI manualMode;
    std::unique_ptr<ElementParameterValue<int>> mode;
};

} // namespace qel
