// Damaged project states handed to the built binaries: the plug-in survives
// each one, keeps giving finite sound, and takes the good state back after.
#include "integration/HostedPlugin.h"
#include "support/Signals.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <vector>

namespace
{

using namespace qel::test;
using Bytes = std::vector<uint8_t>;

// The plug-in's own bytes inside a host's state, and that state rebuilt
// around other bytes: damage to the host's wrapping would stop in the host.
struct Envelope
{
    Bytes inner;
    std::function<juce::MemoryBlock(const Bytes&)> wrap;
};

Bytes bytesOf(const void* data, size_t size)
{
    const auto* begin = static_cast<const uint8_t*>(data);
    return Bytes(begin, begin + size);
}

juce::MemoryBlock blockOf(const Bytes& bytes)
{
    return juce::MemoryBlock(bytes.data(), bytes.size());
}

Envelope unwrap(const juce::String& format, const juce::MemoryBlock& state)
{
    Envelope envelope;
    if (format == "VST")
    {
        // JUCE's host saves a chunk set: 160 bytes of header, the chunk's size big-endian at 156.
        constexpr size_t header = 160;
        if (state.getSize() < header)
            return envelope;
        envelope.inner = bytesOf(static_cast<const char*>(state.getData()) + header, state.getSize() - header);
        envelope.wrap = [head = bytesOf(state.getData(), header)](const Bytes& chunk) {
            auto out = head;
            for (int i = 0; i < 4; ++i)
                out[156 + (size_t) i] = static_cast<uint8_t>(chunk.size() >> (24 - 8 * i));
            out.insert(out.end(), chunk.begin(), chunk.end());
            return blockOf(out);
        };
    }
    else if (format == "VST3")
    {
        // XML with the component's state in base64.
        std::shared_ptr<juce::XmlElement> xml = juce::AudioProcessor::getXmlFromBinary(state.getData(), (int) state.getSize());
        if (xml == nullptr || xml->getChildByName("IComponent") == nullptr)
            return envelope;
        juce::MemoryBlock component;
        component.fromBase64Encoding(xml->getChildByName("IComponent")->getAllSubText());
        envelope.inner = bytesOf(component.getData(), component.getSize());
        envelope.wrap = [xml](const Bytes& inner) {
            juce::XmlElement copy(*xml);
            auto* child = copy.getChildByName("IComponent");
            child->deleteAllTextElements();
            child->addTextElement(blockOf(inner).toBase64Encoding());
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
        if (to < 0)
            return envelope;
        juce::MemoryBlock inner;
        inner.fromBase64Encoding(text.substring(from, to));
        envelope.inner = bytesOf(inner.getData(), inner.getSize());
        envelope.wrap = [text, from, to](const Bytes& bytes) {
            const auto rebuilt = text.replaceSection(from, to - from, blockOf(bytes).toBase64Encoding());
            return juce::MemoryBlock(rebuilt.toRawUTF8(), rebuilt.getNumBytesAsUTF8());
        };
    }
    return envelope;
}

// The tree's text inside the plug-in's frame ("QEL4", version, length, zlib).
std::string treeText(const Bytes& inner)
{
    if (inner.size() < 12)
        return {};
    juce::MemoryInputStream frame(inner.data() + 12, inner.size() - 12, false);
    juce::GZIPDecompressorInputStream unzipped(frame);
    return unzipped.readEntireStreamAsString().toStdString();
}

// One of a fixed series: bit flips anywhere or in the last 40 bytes (the
// VST3 wrapper's trailer), truncations, garbage, empty, junk appended, a
// random trailer size field, and damaged tree text, which the plug-in reads
// unframed too.
Bytes damaged(const Bytes& good, const std::string& text, int index, std::mt19937& random)
{
    auto pick = [&random](size_t n) { return n == 0 ? size_t(0) : std::uniform_int_distribution<size_t>(0, n - 1)(random); };
    Bytes bytes = good;
    auto flip = [&](size_t from) { bytes[from + pick(bytes.size() - from)] ^= static_cast<uint8_t>(1u << pick(8)); };
    switch (index % 8)
    {
        case 0: flip(0); break;
        case 1:
            for (size_t n = 2 + pick(7); n > 0; --n)
                flip(0);
            break;
        case 2: bytes.resize(pick(bytes.size())); break;
        case 3:
            bytes.resize(pick(2 * bytes.size()));
            for (auto& b : bytes)
                b = static_cast<uint8_t>(random());
            break;
        case 4:
            for (size_t n = 1 + pick(64); n > 0; --n)
                bytes.push_back(static_cast<uint8_t>(random()));
            break;
        case 5:
            for (size_t n = 1 + pick(3); n > 0; --n)
                flip(bytes.size() - 40);
            break;
        case 6:
            bytes.assign(text.begin(), text.end());
            if (index % 16 == 6)
                bytes.resize(pick(bytes.size()));
            else
                for (size_t n = 1 + pick(4); n > 0; --n)
                    flip(0);
            break;
        default:
            if (index == 7)
                bytes.clear();
            else
                for (size_t i = bytes.size() - 23; i < bytes.size() - 15; ++i)
                    bytes[i] = static_cast<uint8_t>(random());
            break;
    }
    return bytes;
}

class DamagedState : public HostedFormat
{
};

TEST_P(DamagedState, LeavesThePluginWorkingAndReadyForAGoodState)
{
    constexpr double rate = 48000.0;
    constexpr int block = 128;
    auto hosted = load(rate, block);
    ASSERT_NE(hosted, nullptr);
    hosted->prepareToPlay(rate, block);
    juce::MidiBuffer midi;
    juce::AudioBuffer<float> buffer(2, block);
    int64_t frame = 0;
    auto play = [&] {
        qel::test::fillTestSignal(buffer, frame, rate);
        frame += block;
        hosted->processBlock(buffer, midi);
        for (int c = 0; c < 2; ++c)
            for (int i = 0; i < block; ++i)
                if (!std::isfinite(buffer.getSample(c, i)))
                    return false;
        return true;
    };

    // A good state far from the defaults.
    std::mt19937 random(20240611u);
    setRandomValues(*hosted, random, 0.1f, 0.9f, { "Bypass", "Low Latency Mode" });
    play();
    awaitPostedRestore();
    juce::MemoryBlock good;
    hosted->getStateInformation(good);
    // The values as the plug-in holds them: linked parameters move each
    // other, which not every host hears until the plug-in restores a state.
    hosted->setStateInformation(good.getData(), (int) good.getSize());
    awaitPostedRestore();
    play();
    pumpMessages();
    std::vector<float> expected;
    for (auto* parameter : hosted->getParameters())
        expected.push_back(parameter->getValue());
    const auto envelope = unwrap(GetParam().name, good);
    ASSERT_GT(envelope.inner.size(), 40u) << "no plug-in state found in the host's";
    if (juce::String(GetParam().name) == "VST3") // the wrapper's trailer, at which some damages aim
        ASSERT_EQ(std::string(envelope.inner.end() - 15, envelope.inner.end()), "JUCEPrivateData");
    const auto text = treeText(envelope.inner);
    ASSERT_NE(text.find("<"), std::string::npos) << "the plug-in's frame holds no tree";

    // Empty when every parameter is back at its good value, else the first that is not.
    auto mismatch = [&]() -> juce::String {
        for (int i = 0; i < hosted->getParameters().size(); ++i)
        {
            auto* parameter = hosted->getParameters()[i];
            if (parameter->getName(100) != "Bypass" && std::fabs(parameter->getValue() - expected[(size_t) i]) > 1e-5f)
                return parameter->getName(100) + " is " + juce::String(parameter->getValue()) + ", not "
                     + juce::String(expected[(size_t) i]);
        }
        return {};
    };
    // From wherever the damages left it, once their restores have run, and
    // with every value moved away.
    auto takesTheGoodState = [&] {
        awaitPostedRestore();
        for (int i = 0; i < hosted->getParameters().size(); ++i)
        {
            auto* parameter = hosted->getParameters()[i];
            if (parameter->getName(100) != "Bypass" && parameter->getName(100) != "Low Latency Mode")
                parameter->setValue(expected[(size_t) i] < 0.5f ? 1.0f : 0.0f);
        }
        play();
        pumpMessages();
        hosted->setStateInformation(good.getData(), (int) good.getSize());
        juce::String wrong;
        for (int attempt = 0; attempt < 100; ++attempt)
        {
            play();
            juce::MessageManager::getInstance()->runDispatchLoopUntil(10);
            if ((wrong = mismatch()).isEmpty())
                break;
        }
        return wrong;
    };

    constexpr int damages = 800;
    for (int index = 0; index < damages; ++index)
    {
        const auto state = envelope.wrap(damaged(envelope.inner, text, index, random));
        hosted->setStateInformation(state.getData(), (int) state.getSize());
        ASSERT_TRUE(play() && play()) << "not finite after damage " << index;
        if (index % 25 == 24)
            juce::MessageManager::getInstance()->runDispatchLoopUntil(5);
        if (index % 200 == 199)
        {
            const auto wrong = takesTheGoodState();
            ASSERT_TRUE(wrong.isEmpty()) << wrong << " after damage " << index;
        }
    }
}

// The VST3 wrapper keeps its own bypass switch in that trailer: a good state
// still brings it back.
TEST_P(DamagedState, LeavesTheVst3WrappersBypassInItsTrailerReadable)
{
    if (juce::String(GetParam().name) != "VST3")
        GTEST_SKIP() << "only the VST3 wrapper adds a trailer";
    auto source = load(48000.0, 128);
    auto target = load(48000.0, 128);
    ASSERT_NE(source, nullptr);
    ASSERT_NE(target, nullptr);
    auto bypass = [](juce::AudioPluginInstance& instance) { return instance.getParameters().getLast(); };
    ASSERT_EQ(bypass(*source)->getName(100), "Bypass");
    for (const float on : { 1.0f, 0.0f })
    {
        bypass(*source)->setValue(on);
        bypass(*target)->setValue(1.0f - on);
        pumpMessages();
        juce::MemoryBlock state;
        source->getStateInformation(state);
        target->setStateInformation(state.getData(), (int) state.getSize());
        pumpMessages();
        EXPECT_EQ(bypass(*target)->getValue(), on);
    }
}

INSTANTIATE_TEST_SUITE_P(Binaries, DamagedState, builtFormats(), formatName);

} // namespace
