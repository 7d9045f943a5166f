#include "plugin/HostState.h"

#include <tinyxml2.h>

#include <cstring>

namespace qel::HostState
{

juce::MemoryBlock encode(const tinyxml2::XMLDocument& document)
{
    tinyxml2::XMLPrinter printer(nullptr, false);
    document.Print(&printer);
    const int length = printer.CStrSize() - 1;

    juce::MemoryOutputStream out(256);
    out.write(magic, sizeof magic);
    out.writeInt(formatVersion);
    out.writeInt(length);
    {
        juce::GZIPCompressorOutputStream zipped(out);
        zipped.write(printer.CStr(), static_cast<size_t>(length));
        zipped.flush();
    }
    return out.getMemoryBlock();
}

void decode(const void* data, size_t size, tinyxml2::XMLDocument& document)
{
    document.Clear();
    if (data == nullptr || size == 0)
        return;
    juce::MemoryInputStream in(data, size, false);
    char head[4] {};
    if (size < sizeof head || in.read(head, sizeof head) != sizeof head || std::memcmp(head, magic, sizeof magic) != 0)
    {
        document.Parse(static_cast<const char*>(data), size);
        return;
    }
    if (in.getNumBytesRemaining() < 8 || in.readInt() != formatVersion)
        return;
    const int length = in.readInt();
    if (length <= 0 || length > maximumTextBytes)
        return;

    juce::GZIPDecompressorInputStream unzipped(in);
    juce::MemoryBlock text;
    text.ensureSize(static_cast<size_t>(std::min(length, 1 << 20)));
    juce::MemoryOutputStream collected(text, false);
    collected.writeFromInputStream(unzipped, length);
    document.Parse(static_cast<const char*>(collected.getData()), collected.getDataSize());
}

} // namespace qel::HostState
