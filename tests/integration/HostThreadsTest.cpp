// The built binaries under the threads hosts use: a state save on a worker
// while the message thread is busy with the editor under the host's lock, and
// the audio thread's allocations, counted in this process.
#include "integration/HostedPlugin.h"
#include "support/AllocationCounter.h"
#include "support/Signals.h"

#include <juce_audio_processors/juce_audio_processors.h>
#include <pluginterfaces/base/ibstream.h>
#include <pluginterfaces/vst/ivstcomponent.h>

#include <gtest/gtest.h>

#include <X11/Xlib.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

namespace
{

using namespace qel::test;
using HostThreads = HostedFormat;

// What a host does before anything else: Xlib made safe for threads, and its
// errors (a window hint that this bare display lacks) not fatal. JUCE does
// both only for an application of its own.
int ignoreXError(Display*, XErrorEvent*)
{
    return 0;
}
const bool xlibReady = [] {
    XInitThreads();
    XSetErrorHandler(ignoreXError);
    return true;
}();

// The least of a byte stream a VST3 component writes its state into.
class WrittenStream : public Steinberg::IBStream
{
public:
    juce::MemoryBlock bytes;

    Steinberg::tresult PLUGIN_API queryInterface(const Steinberg::TUID, void** object) override
    {
        *object = nullptr;
        return Steinberg::kNoInterface;
    }
    Steinberg::uint32 PLUGIN_API addRef() override { return 1; }
    Steinberg::uint32 PLUGIN_API release() override { return 1; }
    Steinberg::tresult PLUGIN_API read(void*, Steinberg::int32, Steinberg::int32* done) override
    {
        if (done != nullptr)
            *done = 0;
        return Steinberg::kResultFalse;
    }
    Steinberg::tresult PLUGIN_API write(void* data, Steinberg::int32 count, Steinberg::int32* done) override
    {
        bytes.append(data, (size_t) count);
        if (done != nullptr)
            *done = count;
        return Steinberg::kResultOk;
    }
    Steinberg::tresult PLUGIN_API seek(Steinberg::int64 position, Steinberg::int32, Steinberg::int64* result) override
    {
        if (result != nullptr)
            *result = position;
        return Steinberg::kResultFalse;
    }
    Steinberg::tresult PLUGIN_API tell(Steinberg::int64* position) override
    {
        *position = (Steinberg::int64) bytes.getSize();
        return Steinberg::kResultOk;
    }
};

// The state, asked for on the calling thread. JUCE's VST3 host locks its own
// message thread around a save, so the component is asked directly and its
// answer framed as that host frames it.
juce::MemoryBlock saveHere(juce::AudioPluginInstance& instance, bool vst3)
{
    juce::MemoryBlock blob;
    if (!vst3)
    {
        instance.getStateInformation(blob);
        return blob;
    }
    struct ComponentOf : juce::ExtensionsVisitor
    {
        Steinberg::Vst::IComponent* component = nullptr;
        void visitVST3Client(const VST3Client& client) override
        {
            component = static_cast<Steinberg::Vst::IComponent*>(client.getIComponentPtr());
        }
    } found;
    instance.getExtensions(found);
    WrittenStream stream;
    if (found.component == nullptr || found.component->getState(&stream) != Steinberg::kResultOk)
        ADD_FAILURE() << "the VST3 component gave no state";
    juce::XmlElement framed("VST3PluginState");
    framed.createNewChildElement("IComponent")->addTextElement(stream.bytes.toBase64Encoding());
    juce::AudioProcessor::copyXmlToBinary(framed, blob);
    return blob;
}

// A host serialises its calls into an instance under a lock of its own: a
// worker saves while the message thread, holding that lock in turn, reads
// parameters and runs the editor's timers. A save that waited for the message
// thread would deadlock the two, as in a host: a watchdog then ends the run.
TEST_P(HostThreads, AWorkerSavesUnderTheHostsLockWhileTheEditorIsOpen)
{
    auto hosted = load(48000.0, 256);
    ASSERT_NE(hosted, nullptr);
    hosted->prepareToPlay(48000.0, 256);
    awaitRestore(*hosted, 2);
    std::mt19937 random(5);
    // Bypass is the host's own; the low-latency switch caps the depth that an LV2 host reads back.
    setRandomValues(*hosted, random, 0.0f, 1.0f, { "Bypass", "Low Latency Mode" });
    juce::AudioBuffer<float> buffer(2, 256);
    juce::MidiBuffer midi;
    // A value that a write moves elsewhere (a rate put on a division) reaches
    // an LV2 host in the block after its message.
    for (int block = 0; block < 2; ++block)
    {
        buffer.clear();
        hosted->processBlock(buffer, midi);
        pumpMessages();
    }

    std::unique_ptr<juce::AudioProcessorEditor> editor(hosted->createEditorIfNeeded());
    ASSERT_NE(editor, nullptr);
    editor->addToDesktop(juce::ComponentPeer::windowHasTitleBar);
    editor->setVisible(true);
    pumpMessages();

    const bool vst3 = juce::String(GetParam().name) == "VST3";
    std::mutex hostLock, watch;
    std::condition_variable finished;
    std::vector<juce::MemoryBlock> blobs(100);
    std::atomic<bool> done { false };
    std::thread watchdog([&] {
        std::unique_lock<std::mutex> waiting(watch);
        if (!finished.wait_for(waiting, std::chrono::minutes(1), [&] { return done.load(); }))
        {
            std::fprintf(stderr, "FAILED: the worker's saves wait for the message thread, which waits for the host\n");
            std::_Exit(1);
        }
    });
    std::thread worker([&] {
        for (auto& blob : blobs)
        {
            const std::lock_guard<std::mutex> guard(hostLock);
            blob = saveHere(*hosted, vst3);
        }
        const std::lock_guard<std::mutex> guard(watch);
        done = true;
        finished.notify_one();
    });
    while (!done)
    {
        const std::lock_guard<std::mutex> guard(hostLock);
        for (auto* parameter : hosted->getParameters())
            parameter->getValue();
        juce::MessageManager::getInstance()->runDispatchLoopUntil(2);
    }
    worker.join();
    watchdog.join();

    editor.reset();
    for (size_t i = 1; i < blobs.size(); ++i)
        ASSERT_EQ(blobs[i], blobs[0]) << "save " << i << " differs from the first";
    auto fresh = load(48000.0, 256);
    ASSERT_NE(fresh, nullptr);
    fresh->prepareToPlay(48000.0, 256);
    awaitRestore(*fresh, 2);
    fresh->setStateInformation(blobs[0].getData(), (int) blobs[0].getSize());
    awaitPostedRestore();
    buffer.clear();
    fresh->processBlock(buffer, midi); // an LV2 host learns the values through its ports
    pumpMessages();
    const auto& theirs = fresh->getParameters();
    for (int i = 0; i < theirs.size(); ++i)
        EXPECT_NEAR(theirs[i]->getValue(), hosted->getParameters()[i]->getValue(), 1e-5) << theirs[i]->getName(100);
}

// After its first block, the audio thread allocates and frees nothing, at the
// usual and a high rate, from single frames to long blocks.
TEST_P(HostThreads, TheAudioThreadAllocatesNothingAfterItsFirstBlock)
{
    for (const double rate : { 44100.0, 96000.0 })
        for (const int block : { 1, 64, 512, 4096 })
        {
            SCOPED_TRACE(::testing::Message() << rate << " Hz, " << block << " frames");
            auto hosted = load(rate, block);
            ASSERT_NE(hosted, nullptr);
            hosted->prepareToPlay(rate, block);
            awaitRestore(*hosted, 2);
            juce::AudioBuffer<float> buffer(2, block);
            juce::MidiBuffer midi;
            fillTestSignal(buffer, 0, rate);
            hosted->processBlock(buffer, midi);

            const int blocks = std::max(8, (int) (0.25 * rate) / block);
            AllocationCounter::forgetSites();
            size_t allocations = 0, frees = 0;
            {
                const AllocationCounter counter;
                for (int b = 1; b <= blocks; ++b)
                {
                    fillTestSignal(buffer, (int64_t) b * block, rate);
                    hosted->processBlock(buffer, midi);
                }
                allocations = counter.count();
                frees = counter.frees();
            }
            EXPECT_EQ(allocations + frees, 0u) << allocations << " allocations and " << frees << " frees in " << blocks
                                               << " blocks\n"
                                               << AllocationCounter::violationSites();
        }
}

INSTANTIATE_TEST_SUITE_P(Binaries, HostThreads, builtFormats(), formatName);

} // namespace
