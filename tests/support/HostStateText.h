// A host's state blob as the XML text it carries, for comparing saves.
#pragma once

#include "plugin/HostState.h"

#include <juce_audio_processors/juce_audio_processors.h>
#include <tinyxml2.h>

#include <string>

namespace qel::test
{

inline std::string decodedText(const juce::MemoryBlock& blob)
{
    tinyxml2::XMLDocument document;
    HostState::decode(blob.getData(), blob.getSize(), document);
    tinyxml2::XMLPrinter printer;
    document.Print(&printer);
    return printer.CStr();
}

// The state the processor saves, on the calling thread.
inline std::string savedText(juce::AudioProcessor& processor)
{
    juce::MemoryBlock blob;
    processor.getStateInformation(blob);
    return decodedText(blob);
}

} // namespace qel::test
