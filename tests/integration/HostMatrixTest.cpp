// The built binaries across the rates, block sizes and layouts hosts use, and
// through the lifecycles and threads hosts drive them with.
#include "integration/HostedPlugin.h"
#include "support/Signals.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <gtest/gtest.h>

#include <malloc.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__)
#define REELWARP_ADDRESS_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define REELWARP_ADDRESS_SANITIZED 1
#endif
#endif
#if REELWARP_ADDRESS_SANITIZED
#include <sanitizer/allocator_interface.h>
#endif

#include <atomic>
#include <cmath>
#include <deque>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <thread>
#include <vector>

namespace
{

using namespace qel::test;
using Instance = std::unique_ptr<juce::AudioPluginInstance>;

class HostMatrix : public HostedFormat
{
protected:
    // Loaded, laid out and prepared as a host does it; null when the layout is refused.
    Instance start(double rate, int block, int channels)
    {
        auto hosted = load(rate, block);
        if (hosted == nullptr || !hosted->setBusesLayout(layoutOf(channels)))
            return nullptr;
        EXPECT_EQ(hosted->getTotalNumInputChannels(), channels);
        EXPECT_EQ(hosted->getTotalNumOutputChannels(), channels);
        hosted->prepareToPlay(rate, block);
        return hosted;
    }

    static juce::AudioProcessor::BusesLayout layoutOf(int channels)
    {
        const auto set = channels == 1 ? juce::AudioChannelSet::mono() : juce::AudioChannelSet::stereo();
        juce::AudioProcessor::BusesLayout layout;
        layout.inputBuses.add(set);
        layout.outputBuses.add(set);
        return layout;
    }
};

bool allFinite(const juce::AudioBuffer<float>& buffer)
{
    for (int c = 0; c < buffer.getNumChannels(); ++c)
        for (int i = 0; i < buffer.getNumSamples(); ++i)
            if (!std::isfinite(buffer.getSample(c, i)))
                return false;
    return true;
}

// What came out of a stretch of test signal.
struct Heard
{
    bool finite = true;
    bool untouched = true; // every output sample is its input sample: the effect never ran
    double inPeak = 0.0, outPeak = 0.0, inSquares = 0.0, outSquares = 0.0;

    double level() const { return inSquares > 0.0 ? std::sqrt(outSquares / inSquares) : 0.0; }
};

// Plays `frames` of test signal from `position` in blocks of `maxBlock`, or of
// random lengths up to it (0 among them); levels count once `settle` frames are out.
Heard play(juce::AudioPluginInstance& p, int channels, double rate, int maxBlock, bool varying, int64_t frames,
           int64_t& position, int64_t settle, std::mt19937& random)
{
    juce::AudioBuffer<float> storage(channels, maxBlock), input(channels, maxBlock);
    juce::MidiBuffer midi;
    Heard heard;
    const int64_t start = position;
    for (const int64_t end = position + frames; position < end;)
    {
        int n = varying ? std::uniform_int_distribution<int>(0, maxBlock)(random) : maxBlock;
        if (varying && random() % 8 == 0)
            n = 0;
        n = static_cast<int>(std::min<int64_t>(n, end - position));
        juce::AudioBuffer<float> block(storage.getArrayOfWritePointers(), channels, n);
        fillTestSignal(block, position, rate);
        input.makeCopyOf(block, true);
        p.processBlock(block, midi);
        for (int c = 0; c < channels; ++c)
            for (int i = 0; i < n; ++i)
            {
                const bool counted = position + i - start >= settle;
                const double x = input.getSample(c, i), y = block.getSample(c, i);
                heard.finite = heard.finite && std::isfinite(y);
                heard.untouched = heard.untouched && x == y;
                heard.inPeak = std::max(heard.inPeak, std::fabs(x));
                heard.outPeak = std::max(heard.outPeak, std::fabs(y));
                heard.inSquares += counted ? x * x : 0.0;
                heard.outSquares += counted ? y * y : 0.0;
            }
        position += n;
    }
    return heard;
}

// Finite, within 8 times the input's peak (18 dB), about as loud as the input
// once the latency has passed (the default mix passes the dry signal), and processed.
void expectSound(const Heard& heard)
{
    EXPECT_TRUE(heard.finite);
    EXPECT_LT(heard.outPeak, 8.0 * heard.inPeak);
    EXPECT_GT(heard.level(), 0.3);
    EXPECT_LT(heard.level(), 3.0);
    EXPECT_FALSE(heard.untouched);
}

// The effect reports 60 ms; a host may learn it only after a block or a message.
int settledLatency(juce::AudioPluginInstance& p, double rate)
{
    for (int attempt = 0; attempt < 20 && std::fabs(p.getLatencySamples() - 0.06 * rate) > 1.0; ++attempt)
        juce::MessageManager::getInstance()->runDispatchLoopUntil(5);
    return p.getLatencySamples();
}

struct Case
{
    double rate;
    int block; // the prepared size
    bool varying;
    int channels;
};

std::ostream& operator<<(std::ostream& out, const Case& c)
{
    return out << c.rate << " Hz, " << (c.varying ? "up to " : "") << c.block << " frames, " << c.channels << " ch";
}

// A covering design: every rate with four block sizes, every block size at
// three rates, varying blocks at low, usual and high rates; layouts alternate
// so that each rate and each size meets both.
std::vector<Case> matrixCases()
{
    const double rates[] = { 8000, 11025, 22050, 44100, 48000, 88200, 96000, 176400, 192000, 352800, 384000 };
    const int sizes[] = { 1, 2, 3, 64, 333, 4096, 8192 };
    std::vector<Case> cases;
    int n = 0;
    auto add = [&](double rate, int block, bool varying) { cases.push_back({ rate, block, varying, 1 + n++ % 2 }); };
    for (const double rate : rates)
    {
        add(rate, 64, false);
        add(rate, 4096, false);
        add(rate, 1024, true);
        add(rate, sizes[n / 4 % 7], false);
    }
    for (const int size : sizes)
        for (const double rate : { 11025.0, 44100.0, 96000.0 })
            add(rate, size, false);
    for (const double rate : { 8000.0, 48000.0, 192000.0, 384000.0 })
        add(rate, 8192, true);
    return cases;
}

TEST_P(HostMatrix, EveryRateBlockSizeAndLayoutPlaysASecondOfSound)
{
    std::mt19937 random(7);
    int played = 0;
    for (const auto& c : matrixCases())
    {
        SCOPED_TRACE(::testing::Message() << c);
        auto hosted = start(c.rate, c.block, c.channels);
        // An LV2 plug-in has fixed stereo ports; the other formats take mono too.
        if (lv2() && c.channels == 1)
        {
            EXPECT_EQ(hosted, nullptr);
            continue;
        }
        ASSERT_NE(hosted, nullptr);
        awaitRestore(*hosted, c.channels);
        int64_t position = 0;
        expectSound(play(*hosted, c.channels, c.rate, c.block, c.varying, (int64_t) c.rate, position,
                         (int64_t) (0.1 * c.rate), random));
        EXPECT_NEAR(settledLatency(*hosted, c.rate), 0.06 * c.rate, 1.0);
        hosted->releaseResources();
        ++played;
    }
    std::cout << played << " of " << matrixCases().size() << " cases played\n";
}

// A host changes its settings between blocks: rate up and down, block size up
// and down, now with a release first, now without, and the layout (after a release).
TEST_P(HostMatrix, PreparesAgainBetweenBlocksAndKeepsPlaying)
{
    struct Step
    {
        double rate;
        int block, channels;
        bool release;
    };
    const Step steps[] = { { 44100, 512, 2, false },  { 96000, 4096, 2, false }, { 22050, 64, 2, true },
                           { 192000, 8192, 2, false }, { 8000, 3, 2, false },     { 384000, 333, 2, true },
                           { 48000, 1024, 1, true },   { 176400, 64, 1, false },  { 11025, 8192, 1, false },
                           { 88200, 1, 2, true },      { 44100, 512, 2, false } };
    auto hosted = start(steps[0].rate, steps[0].block, steps[0].channels);
    ASSERT_NE(hosted, nullptr);
    std::mt19937 random(11);
    int64_t position = 0;
    int channels = steps[0].channels;
    for (const auto& s : steps)
    {
        const int wanted = lv2() ? 2 : s.channels;
        SCOPED_TRACE(::testing::Message() << Case({ s.rate, s.block, false, wanted }));
        // A VST2 plug-in takes a new rate only when switched off and on, and
        // hosts do that; JUCE's host would otherwise leave it at the old one.
        if (s.release || wanted != channels || isVst2(GetParam()))
            hosted->releaseResources();
        if (wanted != channels)
            ASSERT_TRUE(hosted->setBusesLayout(HostMatrix::layoutOf(wanted)));
        channels = wanted;
        hosted->prepareToPlay(s.rate, s.block);
        // Straight on, as a host plays: whatever comes is safe.
        const auto first = play(*hosted, channels, s.rate, s.block, false, (int64_t) (0.1 * s.rate), position, 0, random);
        EXPECT_TRUE(first.finite);
        EXPECT_LT(first.outPeak, 8.0 * first.inPeak);
        // Then the effect itself at the new settings.
        awaitRestore(*hosted, channels);
        expectSound(play(*hosted, channels, s.rate, s.block, false, (int64_t) (0.3 * s.rate), position,
                         (int64_t) (0.1 * s.rate), random));
        EXPECT_NEAR(settledLatency(*hosted, s.rate), 0.06 * s.rate, 1.0);
    }
}

// Live memory. Freed blocks go back to the system first, so that the
// allocator's pools do not read as growth; under AddressSanitizer they wait in
// its quarantine instead, and its count of live bytes stands in.
size_t residentBytes()
{
#if REELWARP_ADDRESS_SANITIZED
    return __sanitizer_get_current_allocated_bytes();
#else
    malloc_trim(0);
    std::ifstream statm("/proc/self/statm");
    size_t size = 0, resident = 0;
    statm >> size >> resident;
    return resident * static_cast<size_t>(sysconf(_SC_PAGESIZE));
#endif
}

// The least of a few readings: an instance's memory may be freed on the
// plug-in's own thread a little after it goes.
size_t settledResidentBytes()
{
    size_t least = residentBytes();
    for (int reading = 0; reading < 8; ++reading)
    {
        pumpMessages();
        least = std::min(least, residentBytes());
    }
    return least;
}

// Instances come and go as a host opens and closes projects, up to four alive
// at once, some destroyed straight after their first block.
TEST_P(HostMatrix, FiftyInstancesComeAndGoWithoutGrowth)
{
    std::deque<Instance> alive;
    juce::AudioBuffer<float> buffer(2, 512);
    juce::MidiBuffer midi;
    auto cycles = [&](int from, int to) {
        for (int cycle = from; cycle < to; ++cycle)
        {
            const double rate = cycle % 3 == 0 ? 96000.0 : 48000.0;
            alive.push_back(load(rate, 512));
            ASSERT_NE(alive.back(), nullptr);
            alive.back()->prepareToPlay(rate, 512);
            for (int block = 0; block < 1 + cycle % 5; ++block)
            {
                fillTestSignal(buffer, block * 512, rate);
                alive.back()->processBlock(buffer, midi);
                ASSERT_TRUE(allFinite(buffer));
            }
            if (cycle % 7 == 0)
                pumpMessages();
            while ((int) alive.size() > 1 + cycle % 4)
                alive.pop_front();
        }
        alive.clear();
    };
    cycles(0, 10); // the libraries, caches and allocator pools settle
    const auto before = settledResidentBytes();
    cycles(10, 50);
    const auto after = settledResidentBytes();
    std::cout << "live memory " << before / 1024 << " KiB before 40 cycles, " << after / 1024 << " KiB after\n";
    // An instance holds some 40 MB; a leak of one, or of 400 kB a cycle, shows.
    EXPECT_LT(after, before + (size_t) (16 << 20)) << "instances left memory behind";
}

// A host's audio thread plays every instance while its message thread writes
// parameters, saves and restores state.
TEST_P(HostMatrix, TheMessageThreadWorksOnInstancesThatAreBeingPlayed)
{
    constexpr double rate = 48000.0;
    constexpr int block = 256;
    std::vector<Instance> instances;
    for (int i = 0; i < 3; ++i)
    {
        instances.push_back(start(rate, block, 2));
        ASSERT_NE(instances.back(), nullptr);
    }
    juce::MemoryBlock fresh;
    instances[0]->getStateInformation(fresh);

    std::atomic<bool> stop { false }, finite { true };
    std::atomic<int> blocks { 0 };
    std::thread audio([&] {
        juce::AudioBuffer<float> buffer(2, block);
        juce::MidiBuffer midi;
        for (int64_t frame = 0; !stop; frame += block, ++blocks)
            for (auto& p : instances)
            {
                fillTestSignal(buffer, frame, rate);
                p->processBlock(buffer, midi);
                if (!allFinite(buffer))
                    finite = false;
            }
    });

    std::mt19937 random(3);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    int restores = 0;
    for (const auto until = juce::Time::getMillisecondCounter() + 2000; juce::Time::getMillisecondCounter() < until;)
    {
        for (auto& p : instances)
        {
            const auto& parameters = p->getParameters();
            for (int k = 0; k < 8; ++k)
                parameters[(int) (random() % (unsigned) parameters.size())]->setValue(unit(random));
        }
        auto& from = *instances[random() % instances.size()];
        auto& to = *instances[random() % instances.size()];
        juce::MemoryBlock state;
        from.getStateInformation(state);
        EXPECT_GT(state.getSize(), 12u);
        const auto& chosen = random() % 3 == 0 ? fresh : state;
        to.setStateInformation(chosen.getData(), (int) chosen.getSize());
        ++restores;
        juce::MessageManager::getInstance()->runDispatchLoopUntil(10);
    }
    stop = true;
    audio.join();
    std::cout << blocks << " blocks per instance played beside " << restores << " restores\n";
    EXPECT_TRUE(finite);
    EXPECT_GT(blocks, 50);
}

// Instances each on a thread of their own, at different settings, all at once.
TEST_P(HostMatrix, InstancesPlayOnThreadsOfTheirOwnAtOnce)
{
    const Case cases[] = { { 44100, 64, false, 2 }, { 48000, 333, true, 2 }, { 96000, 1024, false, 2 },
                           { 22050, 1, false, 2 } };
    std::vector<Instance> instances;
    for (const auto& c : cases)
    {
        instances.push_back(start(c.rate, c.block, c.channels));
        ASSERT_NE(instances.back(), nullptr);
        awaitRestore(*instances.back(), c.channels);
    }
    std::vector<Heard> heard(std::size(cases));
    std::vector<std::thread> threads;
    for (size_t i = 0; i < std::size(cases); ++i)
        threads.emplace_back([&, i] {
            const auto& c = cases[i];
            std::mt19937 random((uint32_t) i);
            int64_t position = 0;
            heard[i] = play(*instances[i], c.channels, c.rate, c.block, c.varying, (int64_t) (0.5 * c.rate), position,
                            (int64_t) (0.1 * c.rate), random);
        });
    // The message thread stays live meanwhile, as a host's does.
    for (const auto until = juce::Time::getMillisecondCounter() + 100; juce::Time::getMillisecondCounter() < until;)
        juce::MessageManager::getInstance()->runDispatchLoopUntil(10);
    for (auto& t : threads)
        t.join();
    for (size_t i = 0; i < std::size(cases); ++i)
    {
        SCOPED_TRACE(::testing::Message() << cases[i]);
        expectSound(heard[i]);
    }
}

INSTANTIATE_TEST_SUITE_P(Binaries, HostMatrix, builtFormats(), formatName);

} // namespace
