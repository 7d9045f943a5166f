// The standalone application: JUCE's window around the plug-in, which keeps the
// audio and MIDI device settings and the plug-in's state in the user's settings
// file. Unlike JUCE's own application, it keeps the state however it ends: by
// its close button, by the system's request, or by an interrupt from a terminal.
#include <juce_audio_plugin_client/utility/juce_CheckSettingMacros.h>
#include <juce_audio_plugin_client/utility/juce_IncludeSystemHeaders.h>
#include <juce_audio_plugin_client/utility/juce_IncludeModuleHeaders.h>

#include <juce_audio_devices/juce_audio_devices.h>
#include <juce_audio_utils/juce_audio_utils.h>
#include <juce_gui_extra/juce_gui_extra.h>

#include <juce_audio_plugin_client/Standalone/juce_StandaloneFilterWindow.h>

namespace qel
{

class StandaloneApp : public juce::JUCEApplication
{
public:
    StandaloneApp()
    {
        juce::PropertiesFile::Options options;
        options.applicationName = getApplicationName();
        options.filenameSuffix = ".settings";
        options.folderName = "~/.config";
        properties.setStorageParameters(options);
    }

    const juce::String getApplicationName() override { return JucePlugin_Name; }
    const juce::String getApplicationVersion() override { return JucePlugin_VersionString; }
    bool moreThanOneInstanceAllowed() override { return true; }
    void anotherInstanceStarted(const juce::String&) override {}

    void initialise(const juce::String&) override
    {
        const auto background = juce::LookAndFeel::getDefaultLookAndFeel().findColour(juce::ResizableWindow::backgroundColourId);
        window = std::make_unique<juce::StandaloneFilterWindow>(getApplicationName(), background,
                                                                properties.getUserSettings(), false);
        window->setVisible(true);
    }

    void shutdown() override
    {
        if (window != nullptr)
            window->pluginHolder->savePluginState();
        window = nullptr;
        properties.saveIfNeeded();
    }

    void systemRequestedQuit() override
    {
        // A dialog still open is closed first; the quit comes back once it has gone.
        if (juce::ModalComponentManager::getInstance()->cancelAllModalComponents())
            juce::Timer::callAfterDelay(100, [] {
                if (auto* app = juce::JUCEApplicationBase::getInstance())
                    app->systemRequestedQuit();
            });
        else
            quit();
    }

private:
    juce::ApplicationProperties properties;
    std::unique_ptr<juce::StandaloneFilterWindow> window;
};

} // namespace qel

JUCE_CREATE_APPLICATION_DEFINE(qel::StandaloneApp)
