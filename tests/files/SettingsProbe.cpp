// The settings tests' own process: writes or reads each value type, or mounts the places, and prints what it found.
#include "files/Mounting.h"
#include "files/Settings.h"

#include <juce_events/juce_events.h>

#include <iostream>

int main(int argc, char** argv)
{
    juce::ScopedJuceInitialiser_GUI juce;
    const juce::String command = argc > 1 ? argv[1] : "";
    qel::Settings global(qel::Settings::processBranch), vst(qel::Settings::formatBranch("VST"));
    if (command == "write")
    {
        global.setString("probe.text", juce::String::fromUTF8("tape \xc3\xa9" "cho <&>"));
        global.setBool("ui.expanded", true);
        global.setInt("probe.count", -123456);
        global.setFloat("ui.reelTime", 0.3125f);
        const char bytes[] = { 0, 1, 2, (char) 0xff };
        global.setBinary("probe.bytes", juce::MemoryBlock(bytes, sizeof bytes));
        vst.setBool("ui.expanded", false);
    }
    else if (command == "read")
    {
        const auto bytes = global.getBinary("probe.bytes");
        std::cout << "text=" << global.getString("probe.text", "none") << "\nexpanded=" << global.getBool("ui.expanded", false)
                  << "\nreel=" << global.getBool("ui.reel", true) << "\ncount=" << global.getInt("probe.count", 7)
                  << "\nreelTime=" << juce::String(global.getFloat("ui.reelTime", 2.5f), 6)
                  << "\nbytes=" << juce::String::toHexString(bytes.getData(), (int) bytes.getSize(), 0)
                  << "\nvstExpanded=" << vst.getBool("ui.expanded", true) << "\n";
    }
    else if (command == "places")
    {
        qel::VFSHolder holder;
        const int folders = qel::mountUserFolders(global, holder);
        std::cout << "folders=" << folders << " created=" << qel::mountStandardPlaces(global, holder) << "\n";
    }
    else
        return 2; // usage: settings-probe write|read|places
    return 0;
}
