// Writes the page of element types and their parameters, to a file or to stdout.
#include "element/ElementRegistry.h"
#include "plugin/ReelwarpPlugin.h"

#include <juce_events/juce_events.h>

#include <iostream>

int main(int argc, char** argv)
{
    const juce::ScopedJuceInitialiser_GUI juce;
    qel::ReelwarpPlugin::registerElementType();
    const auto page = qel::ElementRegistry::instance().documentation();
    if (argc < 2)
    {
        std::cout << page.toStdString();
        return 0;
    }
    const juce::File out = juce::File::getCurrentWorkingDirectory().getChildFile(argv[1]);
    if (!out.replaceWithText(page))
    {
        std::cerr << "cannot write " << argv[1] << "\n";
        return 1;
    }
    return 0;
}
