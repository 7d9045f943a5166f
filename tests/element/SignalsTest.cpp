#include "element/ElementSignals.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace
{

// Elements stand in by address only: the channel never looks inside them.
struct Token { int n; };

const qel::Element& asElement(const Token& t) { return *reinterpret_cast<const qel::Element*>(&t); }

TEST(SignalN, CallsSlotsInOrderAndSurvivesDisconnectionDuringDispatch)
{
    qel::SignalN<int> signal;
    std::vector<std::string> calls;
    qel::SignalN<int>::Connection self, other;
    signal.connect([&](int v) { calls.push_back("a" + std::to_string(v)); });
    self = signal.connect([&](int v) {
        calls.push_back("self" + std::to_string(v));
        self.disconnect();
        other.disconnect();
        signal.connect([&](int w) { calls.push_back("late" + std::to_string(w)); });
    });
    other = signal.connect([&](int v) { calls.push_back("other" + std::to_string(v)); });
    signal(1);
    // The late slot is called in the same dispatch; the disconnected ones are gone after it.
    EXPECT_EQ(calls, (std::vector<std::string> { "a1", "self1", "late1" }));
    EXPECT_EQ(signal.size(), 2);
    calls.clear();
    signal(2);
    EXPECT_EQ(calls, (std::vector<std::string> { "a2", "late2" }));
}

struct ChannelFixture : ::testing::Test
{
    qel::ParameterChangeChannel& channel = qel::ParameterChangeChannel::get();
    void SetUp() override { channel.deliver(); }
};

TEST_F(ChannelFixture, OneTickCarriesAtMostTheMessagesThatExistAndNoneOfTheDead)
{
    Token element { 1 };
    int delivered = 0;
    {
        qel::AsyncParameterSignal dead;
        dead.connect([&](const qel::Element&, int) { ++delivered; });
        EXPECT_TRUE(dead.post(asElement(element), 7));
    }
    EXPECT_EQ(channel.deliver(), 0);
    qel::AsyncParameterSignal signal;
    EXPECT_FALSE(signal.post(asElement(element), 1)); // no listeners: nothing to post
    signal.connect([&](const qel::Element&, int) { ++delivered; });
    int accepted = 0;
    for (int i = 0; i < 40000; ++i)
        accepted += signal.post(asElement(element), i) ? 1 : 0;
    EXPECT_EQ(accepted, 32768);
    EXPECT_EQ(channel.deliver(), 32768);
    EXPECT_EQ(delivered, 32768);
    // Every message went back: the channel is whole again.
    for (int i = 0; i < 32768; ++i)
        ASSERT_TRUE(signal.post(asElement(element), i));
    EXPECT_EQ(channel.deliver(), 32768);
}

// Producers on several threads while the message thread delivers: what was accepted arrives once, in order per producer,
// and nothing else arrives.
TEST_F(ChannelFixture, ManyProducersLoseNothingAndDuplicateNothing)
{
    constexpr int producers = 4;
    constexpr int postsEach = 20000;
    qel::AsyncParameterSignal signal;
    std::vector<Token> elements(producers);
    std::vector<std::vector<int>> received(producers);
    signal.connect([&](const qel::Element& e, int id) {
        const auto* token = reinterpret_cast<const Token*>(&e);
        received[(size_t) (token - elements.data())].push_back(id);
    });
    std::vector<std::vector<int>> accepted(producers);
    std::atomic<int> running { producers };
    std::vector<std::thread> threads;
    for (int p = 0; p < producers; ++p)
        threads.emplace_back([&, p] {
            accepted[(size_t) p].reserve(postsEach);
            for (int i = 0; i < postsEach; ++i)
                if (signal.post(asElement(elements[(size_t) p]), i))
                    accepted[(size_t) p].push_back(i);
            --running;
        });
    while (running.load() > 0)
        channel.deliver();
    for (auto& t : threads)
        t.join();
    channel.deliver();
    size_t total = 0;
    for (int p = 0; p < producers; ++p)
    {
        EXPECT_EQ(received[(size_t) p], accepted[(size_t) p]) << "producer " << p;
        total += accepted[(size_t) p].size();
    }
    // A producer that comes late to a full channel may find no room at all.
    EXPECT_GT(total, 0u);
}

// Posted from other threads, the channel's messages and a forwarder's update, coalesced, arrive on the message thread.
TEST_F(ChannelFixture, TheTimerDeliversOnTheMessageThread)
{
    qel::AsyncParameterSignal signal;
    Token element { 3 };
    std::thread::id deliveredOn;
    signal.connect([&](const qel::Element&, int) { deliveredOn = std::this_thread::get_id(); });
    qel::AsyncUpdateForwarder forwarder;
    int updates = 0;
    forwarder.connect([&] { ++updates; });
    std::thread producer([&] {
        signal.post(asElement(element), 9);
        forwarder.trigger();
        forwarder.trigger();
    });
    producer.join();
    juce::MessageManager::getInstance()->runDispatchLoopUntil(60);
    EXPECT_EQ(deliveredOn, std::this_thread::get_id());
    EXPECT_EQ(updates, 1);
}

} // namespace
