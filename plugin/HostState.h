#pragma once

#include <juce_core/juce_core.h>

namespace tinyxml2
{
class XMLDocument;
}

namespace qel
{

// The host's blob: "QEL4", format version 1, the text's length, then the
// XML text in zlib form. Integers are little-endian.
namespace HostState
{
constexpr char magic[4] = { 'Q', 'E', 'L', '4' };
constexpr int formatVersion = 1;
// A length field above this is taken as corrupt and nothing is read.
constexpr int maximumTextBytes = 64 * 1024 * 1024;

// The document printed in its indented form, framed and compressed.
juce::MemoryBlock encode(const tinyxml2::XMLDocument& document);
// Fills the document from a framed blob of version 1, or from plain XML
// text when the blob lacks the magic. Anything else leaves it empty; a
// damaged stream leaves it empty or partial.
void decode(const void* data, size_t size, tinyxml2::XMLDocument& document);
} // namespace HostState

} // namespace qel
