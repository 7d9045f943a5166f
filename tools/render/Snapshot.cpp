#include "Snapshot.h"

#include "files/Settings.h"
#include "ui/face/ReelwarpPluginUI.h"

namespace qel::render
{

namespace
{
// What the message thread would have done before the window is shown.
void settle()
{
    ParameterChangeChannel::get().deliver();
    juce::MessageManager::getInstance()->runDispatchLoopUntil(20);
}
} // namespace

bool writeSnapshot(ReelwarpPlugin& plugin, const juce::File& file, const RenderOptions& options, juce::String& error)
{
    // A store of its own: the musician's reels and window size stay as they were.
    const juce::TemporaryFile store(".xml");
    Settings settings("SOFTWARE\\net.qel\\Reel Warp Snapshot", store.getFile());
    settle();
    ReelwarpPluginUI ui(plugin, settings);
    settle();
    ui.getExpandButton().setToggleState(options.expanded, juce::sendNotificationSync);
    ui.getLFOSettingsButton().setToggleState(options.lfoSettings, juce::sendNotificationSync);
    ui.updateLayout();
    settle();
    const auto image = ui.createComponentSnapshot(ui.getLocalBounds(), true, static_cast<float>(options.scale));
    file.deleteFile();
    juce::FileOutputStream out(file);
    if (!out.openedOk() || !juce::PNGImageFormat().writeImageToStream(image, out))
    {
        error = "cannot write " + file.getFullPathName();
        return false;
    }
    return true;
}

} // namespace qel::render
