// The built binaries across hosts' rates, block sizes and layouts, lifecycles and threads.
#include "integration/HostedPlugin.h"

#include <gtest/gtest.h>

#include <malloc.h>

#include <deque>

// A sanitizer's count of live bytes; null in a plain build.
extern "C" size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace
{

using namespace qel::test;
using HostMatrix = HostedFormat;

// Blocks of the prepared size, or with `varying` of random lengths up to it, 0 among them.
struct Case { double rate; int block; bool varying; int channels; };

std::ostream& operator<<(std::ostream& out, const Case& c)
{
    return out << c.rate << " Hz, " << (c.varying ? "up to " : "") << c.block << " frames, " << c.channels << " ch";
}

// Plays `seconds` of test signal from `position`: finite output (any parameter values); bounded too, within 8
// times the input's peak; or sound too: about as loud as the input after 0.1 s, and not the input untouched.
enum class Expect { finite, bounded, sound };
void play(juce::AudioPluginInstance& p, const Case& c, double seconds, int64_t& position, Expect expect, std::mt19937& random)
{
    juce::AudioBuffer<float> storage(c.channels, c.block), input(c.channels, c.block);
    juce::MidiBuffer midi;
    bool untouched = true;
    double inPeak = 0.0, outPeak = 0.0, inSquares = 0.0, outSquares = 0.0;
    const int64_t start = position, settled = start + (int64_t) (0.1 * c.rate);
    for (const int64_t end = position + (int64_t) (seconds * c.rate); position < end;)
    {
        int n = c.varying ? std::uniform_int_distribution<int>(0, c.block)(random) : c.block;
        if (c.varying && random() % 8 == 0)
            n = 0;
        n = static_cast<int>(std::min<int64_t>(n, end - position));
        juce::AudioBuffer<float> block(storage.getArrayOfWritePointers(), c.channels, n);
        fillTestSignal(block, position, c.rate);
        input.makeCopyOf(block, true);
        p.processBlock(block, midi);
        ASSERT_TRUE(allFinite(block)) << "at frame " << position - start;
        for (int ch = 0; ch < c.channels; ++ch)
            for (int i = 0; i < n; ++i)
            {
                const double x = input.getSample(ch, i), y = block.getSample(ch, i);
                untouched = untouched && x == y;
                inPeak = std::max(inPeak, std::fabs(x));
                outPeak = std::max(outPeak, std::fabs(y));
                inSquares += position + i >= settled ? x * x : 0.0;
                outSquares += position + i >= settled ? y * y : 0.0;
            }
        position += n;
    }
    if (expect != Expect::finite)
        EXPECT_LT(outPeak, 8.0 * inPeak);
    if (expect != Expect::sound)
        return;
    const double level = inSquares > 0.0 ? std::sqrt(outSquares / inSquares) : 0.0;
    EXPECT_TRUE(level > 0.3 && level < 3.0 && !untouched) << "level " << level << (untouched ? ", the input untouched" : "");
}

// A covering design: every rate with four block sizes, every size at three rates, varying blocks at low, usual
// and high rates; mono and stereo alternate, but an LV2 plug-in has fixed stereo ports.
TEST_P(HostMatrix, EveryRateBlockSizeAndLayoutPlaysASecondOfSound)
{
    const double rates[] = { 8000, 11025, 22050, 44100, 48000, 88200, 96000, 176400, 192000, 352800, 384000 };
    const int sizes[] = { 1, 2, 3, 64, 333, 4096, 8192 };
    std::vector<Case> cases;
    auto add = [&](double rate, int block, bool varying) { cases.push_back({ rate, block, varying, 1 + (int) cases.size() % 2 }); };
    for (const double rate : rates)
    {
        add(rate, 64, false);
        add(rate, 4096, false);
        add(rate, 1024, true);
        add(rate, sizes[cases.size() / 4 % 7], false);
    }
    for (const int size : sizes)
        for (const double rate : { 11025.0, 44100.0, 96000.0 })
            add(rate, size, false);
    for (const double rate : { 8000.0, 48000.0, 192000.0, 384000.0 })
        add(rate, 8192, true);

    std::mt19937 random(7);
    for (const auto& c : cases)
    {
        SCOPED_TRACE(::testing::Message() << c);
        auto hosted = prepared(c.rate, c.block, c.channels);
        ASSERT_EQ(hosted == nullptr, lv2() && c.channels == 1);
        if (hosted == nullptr)
            continue;
        int64_t position = 0;
        play(*hosted, c, 1.0, position, Expect::sound, random);
    }
}

// Rate, block size and layout changed between blocks, with a release first or not; the latency follows the rate.
TEST_P(HostMatrix, PreparesAgainBetweenBlocksAndKeepsPlaying)
{
    const std::pair<Case, bool> steps[] = {
        { { 44100, 512, false, 2 }, false }, { { 96000, 4096, false, 2 }, false }, { { 22050, 64, false, 2 }, true },
        { { 192000, 8192, false, 2 }, false }, { { 8000, 3, false, 2 }, false }, { { 384000, 333, false, 2 }, true },
        { { 48000, 1024, false, 1 }, true }, { { 176400, 64, false, 1 }, false }, { { 11025, 8192, false, 1 }, false },
        { { 88200, 1, false, 2 }, true }, { { 44100, 512, false, 2 }, false },
    };
    auto hosted = prepared(44100, 512, 2);
    ASSERT_NE(hosted, nullptr);
    std::mt19937 random(11);
    int64_t position = 0;
    for (auto [c, release] : steps)
    {
        c.channels = lv2() ? 2 : c.channels;
        SCOPED_TRACE(::testing::Message() << c);
        const bool relayout = c.channels != hosted->getTotalNumOutputChannels();
        // A VST2 plug-in takes a new rate only when switched off and on, as hosts do it.
        if (release || relayout || vst2())
            hosted->releaseResources();
        if (relayout)
            ASSERT_TRUE(hosted->setBusesLayout(layoutOf(c.channels)));
        hosted->prepareToPlay(c.rate, c.block);
        // Straight on, as a host plays: whatever comes is safe. Then the effect itself at the new settings.
        play(*hosted, c, 0.1, position, Expect::bounded, random);
        awaitRestore(*hosted, c.channels);
        play(*hosted, c, 0.3, position, Expect::sound, random);
        // A host may learn the latency only after a block or a message.
        for (int attempt = 0; attempt < 20 && std::fabs(hosted->getLatencySamples() - 0.06 * c.rate) > 1.0; ++attempt)
            juce::MessageManager::getInstance()->runDispatchLoopUntil(5);
        EXPECT_NEAR(hosted->getLatencySamples(), 0.06 * c.rate, 1.0);
    }
}

// Live heap bytes, the least of readings between message pumps (instances go on threads of their own): a
// sanitizer's count, whose quarantine holds what was freed, else glibc's.
size_t settledLiveBytes()
{
    size_t least = SIZE_MAX;
    for (int reading = 0; reading < 8; ++reading)
    {
        pumpMessages();
        least = std::min(least, __sanitizer_get_current_allocated_bytes != nullptr ? __sanitizer_get_current_allocated_bytes()
                                                                                    : mallinfo2().uordblks + mallinfo2().hblkhd);
    }
    return least;
}

// Instances come and go as a host opens and closes projects, up to four alive at once.
TEST_P(HostMatrix, FiftyInstancesComeAndGoWithoutGrowth)
{
    std::deque<Instance> alive;
    juce::AudioBuffer<float> buffer(2, 512);
    auto cycles = [&](int from, int to) {
        for (int cycle = from; cycle < to; ++cycle)
        {
            const double rate = cycle % 3 == 0 ? 96000.0 : 48000.0;
            ASSERT_NE(alive.emplace_back(load(rate, 512)), nullptr);
            alive.back()->prepareToPlay(rate, 512);
            for (int block = 0; block < 1 + cycle % 5; ++block)
                ASSERT_TRUE(playTestSignal(*alive.back(), buffer, block * 512, rate));
            if (cycle % 7 == 0)
                pumpMessages();
            while ((int) alive.size() > 1 + cycle % 4)
                alive.pop_front();
        }
        alive.clear();
    };
    cycles(0, 10); // the libraries, caches and allocator pools settle
    const auto before = settledLiveBytes();
    cycles(10, 50);
    const auto after = settledLiveBytes();
    // An instance holds some 40 MB; a leak of one, or of 400 kB a cycle, shows.
    EXPECT_LT(after, before + (size_t) (16 << 20)) << before / 1024 << " KiB before 40 cycles, " << after / 1024 << " after";
}

// Instances on threads of their own while the message thread writes, saves and restores the first two.
TEST_P(HostMatrix, InstancesPlayOnThreadsOfTheirOwnWhileTheMessageThreadWorksOnSome)
{
    const Case cases[] = { { 48000, 256, false, 2 }, { 48000, 512, false, 2 }, { 44100, 64, false, 2 },
                           { 48000, 333, true, 2 },  { 96000, 1024, false, 2 }, { 22050, 1, false, 2 } };
    std::vector<Instance> instances;
    for (const auto& c : cases)
        ASSERT_NE(instances.emplace_back(prepared(c.rate, c.block, c.channels)), nullptr);
    juce::MemoryBlock fresh;
    instances[0]->getStateInformation(fresh);
    std::atomic<bool> stop { false };
    std::atomic<int> rounds { 0 };
    std::vector<std::thread> threads;
    for (size_t i = 0; i < std::size(cases); ++i)
        threads.emplace_back([&, i] {
            SCOPED_TRACE(::testing::Message() << cases[i]);
            std::mt19937 random((uint32_t) i);
            int64_t position = 0;
            if (i >= 2)
                return play(*instances[i], cases[i], 0.5, position, Expect::sound, random);
            for (; !stop && !::testing::Test::HasFailure(); ++rounds)
                play(*instances[i], cases[i], 0.02, position, Expect::finite, random);
        });
    std::mt19937 random(3);
    for (const auto until = juce::Time::getMillisecondCounter() + 2000; juce::Time::getMillisecondCounter() < until;)
    {
        for (int k = 0; k < 16; ++k)
        {
            auto& parameters = instances[random() % 2]->getParameters();
            parameters[(int) (random() % (unsigned) parameters.size())]->setValue(std::uniform_real_distribution<float>(0.0f, 1.0f)(random));
        }
        juce::MemoryBlock state;
        instances[random() % 2]->getStateInformation(state);
        EXPECT_GT(state.getSize(), 12u);
        const auto& chosen = random() % 3 == 0 ? fresh : state;
        instances[random() % 2]->setStateInformation(chosen.getData(), (int) chosen.getSize());
        juce::MessageManager::getInstance()->runDispatchLoopUntil(10);
    }
    stop = true;
    for (auto& t : threads)
        t.join();
    EXPECT_GT(rounds, 50);
}

INSTANTIATE_TEST_SUITE_P(Binaries, HostMatrix, builtFormats(), formatName);

} // namespace
