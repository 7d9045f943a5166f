// A separate process for the settings tests: writes or reads each value type,
// or mounts the places, and prints what it found.
#include "files/Mounting.h"
#include "files/Settings.h"

#include <juce_events/juce_events.h>

#include <iostream>

int main(int argc, char** argv)
{
    juce::ScopedJuceInitialiser_GUI juce;
    const juce::String command = argc > 1 ? argv[1] : "";
    qel::Settings global(qel::Settings::processBranch);
    qel::Settings vst(qel::Settings::formatBranch("VST"));

    if (command == "write")
    {
        global.setString("probe.text", juce::String::fromUTF8("tape \xc3\xa9" "cho <&>"));
        global.setBool("ui.expanded", true);
        global.setInt("probe.count", -123456);
        global.setFloat("ui.reelTime", 0.3125f);
        const char bytes[] = { 0, 1, 2, (char) 0xff };
        global.setBinary("probe.bytes", juce::MemoryBlock(bytes, sizeof bytes));
        vst.setBool("ui.expanded", false);
        std::cout << "written\n";
    }
    else if (command == "read")
    {
        std::cout << "text=" << global.getString("probe.text", "none") << "\n"
                  << "expanded=" << global.getBool("ui.expanded", false) << "\n"
                  << "reel=" << global.getBool("ui.reel", true) << "\n"
                  << "count=" << global.getInt("probe.count", 7) << "\n"
                  << "reelTime=" << juce::String(global.getFloat("ui.reelTime", 2.5f), 6) << "\n"
                  << "bytes=" << juce::String::toHexString(global.getBinary("probe.bytes").getData(),
                                                          (int) global.getBinary("probe.bytes").getSize(), 0)
                  << "\n"
                  << "vstExpanded=" << vst.getBool("ui.expanded", true) << "\n";
    }
    else if (command == "places")
    {
        qel::VFSHolder holder;
        const int folders = qel::mountUserFolders(global, holder);
        const int created = qel::mountStandardPlaces(global, holder);
        std::cout << "folders=" << folders << " created=" << created << "\n";
    }
    else
    {
        std::cerr << "usage: settings-probe write|read|places\n";
        return 2;
    }
    return 0;
}
