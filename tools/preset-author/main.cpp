// Writes the factory preset files from their table of values:
//   reelwarp-preset-author TABLE.ini RESOURCES-FOLDER
// Each section names a file below the folder, without extension; its lines
// set parameters away from their defaults. Files get CR LF line ends.
#include "tape/ReelwarpProcessor.h"
#include "ui/PresetFiles.h"

#include <juce_events/juce_events.h>

#include <iostream>

namespace
{

bool setFromText(qel::Element& effect, const juce::String& name, const juce::String& text)
{
    const auto id = effect.findParameterId(name);
    if (id == 0)
        return false;
    if (effect.findFloatParameter(id) != nullptr)
        effect.setParameterFloat(id, text.getFloatValue());
    else if (effect.findIntParameter(id) != nullptr)
        effect.setParameterInt(id, text.getIntValue());
    else if (effect.findBoolParameter(id) != nullptr)
        effect.setParameterBool(id, text.getIntValue() != 0);
    else
        return false;
    return true;
}

bool writePreset(const juce::File& resources, const juce::String& section, const juce::StringArray& lines)
{
    qel::ReelwarpProcessor effect;
    effect.setName(qel::ReelwarpProcessor::elementName);
    for (const auto& line : lines)
    {
        const auto name = line.upToFirstOccurrenceOf("=", false, false).trim();
        if (!setFromText(effect, name, line.fromFirstOccurrenceOf("=", false, false).trim()))
        {
            std::cerr << section << ": no parameter " << name << "\n";
            return false;
        }
    }
    effect.setProperty("PresetPath", { "$Resource/resource/" + section + ".fxps", 1 });
    const auto file = resources.getChildFile(section + ".fxps");
    file.getParentDirectory().createDirectory();
    const auto text = qel::presetText(effect).replace("\r\n", "\n").replace("\n", "\r\n");
    return file.replaceWithText(text, false, false, nullptr);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
    {
        std::cerr << "usage: reelwarp-preset-author TABLE.ini RESOURCES-FOLDER\n";
        return 2;
    }
    const juce::ScopedJuceInitialiser_GUI juce;
    const auto cwd = juce::File::getCurrentWorkingDirectory();
    juce::StringArray table;
    cwd.getChildFile(argv[1]).readLines(table);
    const auto resources = cwd.getChildFile(argv[2]);

    juce::String section;
    juce::StringArray lines;
    int written = 0;
    auto flush = [&] {
        if (section.isEmpty())
            return true;
        if (!writePreset(resources, section, lines))
            return false;
        ++written;
        return true;
    };
    for (auto line : table)
    {
        line = line.trim();
        if (line.isEmpty() || line.startsWithChar('#'))
            continue;
        if (line.startsWithChar('['))
        {
            if (!flush())
                return 1;
            section = line.substring(1, line.lastIndexOfChar(']'));
            lines.clear();
        }
        else
            lines.add(line);
    }
    if (!flush())
        return 1;
    std::cout << written << " presets written\n";
    return 0;
}
