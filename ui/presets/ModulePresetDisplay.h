#pragma once

#include "ui/PresetFiles.h"
#include "ui/presets/PresetName.h"
#include "ui/widgets/Button.h"

#include <map>

namespace tinyxml2
{
class XMLElement;
}

namespace qel
{

// Where a browser finds and keeps its presets.
struct PresetPlaces
{
    Path factoryRoot;
    Path userRoot;
    juce::String propertyKey;
};

// The whole-preset browser: menu, previous and next, the current name, and
// the load and save dialogs.
class ModulePresetDisplay : public juce::Component,
                            public SimpleElementView,
                            public juce::Button::Listener,
                            private juce::AsyncUpdater
{
public:
    static constexpr int menuLoad = 1, menuSave = 2, menuDefault = 3;

    // A compact browser's save leaves the element marked as modified.
    ModulePresetDisplay(EngineProxy* proxy, const Path& elementPath, PresetPlaces places = wholePresetPlaces(), bool compact = false);
    ~ModulePresetDisplay() override;

    // Tests point the browser at folders of their own.
    void setRoots(const Path& factoryRoot, const Path& userRoot);
    const PresetPlaces& getPlaces() const noexcept { return places; }
    static PresetPlaces wholePresetPlaces();

    bool loadPreset(const Path& path);
    void loadDefault();
    void stepPreset(const Path& current, bool forward);
    Path currentPresetPath() const;
    void savePreset();
    void loadPresetDialog();
    void showMenu();
    // The menu as it would open now; each id above "Default" maps to a file.
    juce::PopupMenu buildMenu(std::map<int, Path>& pathsById) const;
    void menuItemChosen(int id, const std::map<int, Path>& pathsById);
    // Writes the present state into a file, adding the extension when it has none.
    bool saveTo(juce::File file);

    PresetName& getNameLabel() noexcept { return nameLabel; }
    Button& getPrevButton() noexcept { return prevButton; }
    Button& getNextButton() noexcept { return nextButton; }
    Button& getMenuButton() noexcept { return menuButton; }

    void resized() override;
    void buttonClicked(juce::Button* button) override;
    void mouseEnter(const juce::MouseEvent&) override { triggerAsyncUpdate(); }
    void mouseExit(const juce::MouseEvent&) override { triggerAsyncUpdate(); }
    void mouseDown(const juce::MouseEvent& event) override;
    // The hover look, now rather than on the next update.
    void updateHoverLook();

protected:
    virtual bool applyPreset(tinyxml2::XMLElement& xml, int version, const Path& path);
    virtual PresetKind presetKind() const { return PresetKind::whole(); }
    virtual juce::Colour baseLabelColour() const { return juce::Colour(0xff785991); }

    PresetPlaces places;
    PresetName nameLabel;
    Button prevButton { "PrevButton", "Load the previous preset" };
    Button nextButton { "NextButton", "Load the next preset" };
    Button menuButton { "MenuButton", "Load/Save presets" };
    const juce::String extension { ".fxps" };
    const bool compact;

private:
    void handleAsyncUpdate() override { updateHoverLook(); }
    void addTree(juce::PopupMenu& menu, const Path& folder, const Path& current, std::map<int, Path>& pathsById) const;

    std::unique_ptr<juce::FileChooser> chooser;
};

// The tape section's browser: only the tape's parameters, in one pass.
class TapeModulePresetDisplay : public ModulePresetDisplay
{
public:
    TapeModulePresetDisplay(EngineProxy* proxy, const Path& elementPath);
    static PresetPlaces tapePresetPlaces();

    void resized() override;
    void enablementChanged() override;

protected:
    PresetKind presetKind() const override;
    juce::Colour baseLabelColour() const override { return juce::Colour(0xff424242); }
};

} // namespace qel
