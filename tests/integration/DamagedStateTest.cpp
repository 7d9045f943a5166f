// Damaged project states handed to the built binaries: each leaves finite sound and room for the good state.
#include "integration/HostedPlugin.h"

#include <gtest/gtest.h>

namespace
{

using namespace qel::test;
using DamagedState = HostedFormat;

// The plug-in's bytes inside a host's state, and that state rebuilt around others: damaged wrapping stops in the host.
struct Envelope { juce::MemoryBlock inner; std::function<juce::MemoryBlock(const juce::MemoryBlock&)> wrap; };

Envelope unwrap(const juce::String& format, const juce::MemoryBlock& state)
{
    Envelope envelope;
    if (format == "VST")
    {
        // JUCE's host saves a chunk set: 160 bytes of header, the chunk's size big-endian at 156.
        if (state.getSize() < 160)
            return envelope;
        envelope.inner.replaceAll(static_cast<const char*>(state.getData()) + 160, state.getSize() - 160);
        envelope.wrap = [head = juce::MemoryBlock(state.getData(), 160)](const juce::MemoryBlock& chunk) {
            auto out = head;
            for (int i = 0; i < 4; ++i)
                out[156 + i] = static_cast<char>(chunk.getSize() >> (24 - 8 * i));
            out.append(chunk.getData(), chunk.getSize());
            return out;
        };
    }
    else if (format == "VST3")
    {
        // XML with the component's state in base64.
        std::shared_ptr<juce::XmlElement> xml = juce::AudioProcessor::getXmlFromBinary(state.getData(), (int) state.getSize());
        if (xml == nullptr || xml->getChildByName("IComponent") == nullptr)
            return envelope;
        envelope.inner.fromBase64Encoding(xml->getChildByName("IComponent")->getAllSubText());
        envelope.wrap = [xml](const juce::MemoryBlock& inner) {
            juce::XmlElement copy(*xml);
            copy.getChildByName("IComponent")->deleteAllTextElements();
            copy.getChildByName("IComponent")->addTextElement(inner.toBase64Encoding());
            juce::MemoryBlock out;
            juce::AudioProcessor::copyXmlToBinary(copy, out);
            return out;
        };
    }
    else
    {
        // Turtle text; the plug-in's state is the base64 string of its StateString property.
        const auto text = state.toString();
        const int key = text.indexOf("StateString");
        const int from = key < 0 ? -1 : text.indexOfChar(key, '"') + 1;
        const int to = from <= 0 ? -1 : text.indexOfChar(from, '"');
        envelope.inner.fromBase64Encoding(text.substring(from, to));
        envelope.wrap = [text, from, to](const juce::MemoryBlock& bytes) {
            const auto rebuilt = text.replaceSection(from, to - from, bytes.toBase64Encoding());
            return juce::MemoryBlock(rebuilt.toRawUTF8(), rebuilt.getNumBytesAsUTF8());
        };
    }
    return envelope;
}

// One of a series: bit flips anywhere or in the VST3 wrapper's trailer, truncations, garbage, junk
// appended, bytes near the end replaced, empty, and damaged tree text, which the plug-in reads unframed too.
juce::MemoryBlock damaged(const juce::MemoryBlock& good, const juce::String& text, int index, std::mt19937& random)
{
    auto pick = [&random](size_t n) { return n == 0 ? size_t(0) : std::uniform_int_distribution<size_t>(0, n - 1)(random); };
    std::vector<uint8_t> bytes(good.begin(), good.end());
    if (index % 8 == 6)
        bytes.assign(text.toRawUTF8(), text.toRawUTF8() + text.getNumBytesAsUTF8());
    auto flip = [&](size_t from, size_t times) {
        for (; times > 0; --times)
            bytes[from + pick(bytes.size() - from)] ^= static_cast<uint8_t>(1u << pick(8));
    };
    auto garble = [&](size_t from, size_t to) {
        for (size_t i = from; i < to; ++i)
            bytes[i] = static_cast<uint8_t>(random());
    };
    switch (index % 8)
    {
        case 0: flip(0, 1); break;
        case 1: flip(0, 2 + pick(7)); break;
        case 2: bytes.resize(pick(bytes.size())); break;
        case 3:
            bytes.resize(pick(2 * bytes.size()));
            garble(0, bytes.size());
            break;
        case 4:
            bytes.resize(bytes.size() + 1 + pick(64));
            garble(good.getSize(), bytes.size());
            break;
        case 5: flip(bytes.size() - 40, 1 + pick(3)); break;
        case 6: index % 16 == 6 ? bytes.resize(pick(bytes.size())) : flip(0, 1 + pick(4)); break;
        default: index == 7 ? bytes.clear() : garble(bytes.size() - 23, bytes.size() - 15); break;
    }
    return juce::MemoryBlock(bytes.data(), bytes.size());
}

TEST_P(DamagedState, LeavesThePluginWorkingAndReadyForAGoodState)
{
    auto hosted = prepared(48000.0, 128);
    ASSERT_NE(hosted, nullptr);
    const auto& parameters = hosted->getParameters();
    juce::AudioBuffer<float> buffer(2, 128);
    int64_t frame = 0;
    auto play = [&] { return playTestSignal(*hosted, buffer, (frame += 128) - 128, 48000.0); };

    // A good state far from the defaults, restored once to read the values as the plug-in holds them (linked ones move).
    std::mt19937 random(20240611u);
    setRandomValues(*hosted, random, 0.1f, 0.9f, { "Bypass", "Low Latency Mode" });
    play();
    awaitPostedRestore();
    juce::MemoryBlock good;
    hosted->getStateInformation(good);
    hosted->setStateInformation(good.getData(), (int) good.getSize());
    awaitPostedRestore();
    play();
    pumpMessages();
    std::vector<float> expected;
    for (auto* parameter : parameters)
        expected.push_back(parameter->getValue());
    const auto envelope = unwrap(GetParam().name, good);
    ASSERT_GT(envelope.inner.getSize(), 40u) << "no plug-in state found in the host's";
    // The tree's text inside the plug-in's frame ("QEL4", version, length, zlib).
    juce::MemoryInputStream frameBytes(envelope.inner.begin() + 12, envelope.inner.getSize() - 12, false);
    const auto text = juce::GZIPDecompressorInputStream(frameBytes).readEntireStreamAsString();
    ASSERT_TRUE(text.contains("<")) << "the plug-in's frame holds no tree";

    for (int index = 0; index < 800; ++index)
    {
        const auto state = envelope.wrap(damaged(envelope.inner, text, index, random));
        hosted->setStateInformation(state.getData(), (int) state.getSize());
        ASSERT_TRUE(play() && play()) << "not finite after damage " << index;
        if (index % 25 == 24)
            juce::MessageManager::getInstance()->runDispatchLoopUntil(5);
        if (index % 200 != 199)
            continue;
        // Once the damages' restores have run, every value moved away; the good state brings each back.
        awaitPostedRestore();
        for (int i = 0; i < parameters.size(); ++i)
            if (parameters[i]->getName(100) != "Bypass" && parameters[i]->getName(100) != "Low Latency Mode")
                parameters[i]->setValue(expected[(size_t) i] < 0.5f ? 1.0f : 0.0f);
        play();
        pumpMessages();
        hosted->setStateInformation(good.getData(), (int) good.getSize());
        juce::String wrong = "no block played";
        for (int attempt = 0; attempt < 100 && wrong.isNotEmpty(); ++attempt)
        {
            play();
            juce::MessageManager::getInstance()->runDispatchLoopUntil(10);
            wrong = {};
            for (int i = parameters.size(); --i >= 0;)
                if (parameters[i]->getName(100) != "Bypass" && std::fabs(parameters[i]->getValue() - expected[(size_t) i]) > 1e-5f)
                    wrong = parameters[i]->getName(100) + " is " + juce::String(parameters[i]->getValue()) + ", not "
                          + juce::String(expected[(size_t) i]);
        }
        ASSERT_TRUE(wrong.isEmpty()) << wrong << " after damage " << index;
    }
}

INSTANTIATE_TEST_SUITE_P(Binaries, DamagedState, builtFormats(), formatName);

} // namespace
