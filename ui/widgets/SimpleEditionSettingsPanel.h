#pragma once

#include "ui/EngineProxy.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace qel
{

// The small panel that ties a parameter to a MIDI controller: it shows the
// present link, offers the 128 controllers, and clears the link.
class SimpleEditionSettingsPanel : public juce::Component
{
public:
    SimpleEditionSettingsPanel(EngineProxy& proxy, const Path& path, uint32_t parameterId, bool modulation, bool control,
                               bool hostAutomation);

    // "MIDI CC n (name)", or empty for a controller the standard leaves unnamed.
    static juce::String controllerText(int controller);
    // Ids 1 to 128 stand for controllers 0 to 127.
    static juce::PopupMenu controllerMenu();

    // A choice of controllerMenu: links that controller, replacing a MIDI link, and closes.
    void chooseController(int menuId);
    // Removes the present link and closes.
    void clear();
    void close();

    juce::String getCaption() const { return caption.getText(); }
    juce::String getValueText() const { return value.getText(); }

    void resized() override;
    void paint(juce::Graphics& g) override;
    bool keyPressed(const juce::KeyPress& key) override;
    void inputAttemptWhenModal() override { close(); }
    void mouseDown(const juce::MouseEvent& e) override;

private:
    Element* element() const;
    juce::String presentSource() const;
    void refresh();

    EngineProxy& proxy;
    const Path path;
    const uint32_t parameterId;
    const bool modulation;
    const bool hostAutomation;
    juce::Label title { "Title" };
    juce::Label caption;
    juce::Label value;
    juce::TextButton clearButton { "Clear" };
    juce::TextButton closeButton { "Close" };
};

} // namespace qel
