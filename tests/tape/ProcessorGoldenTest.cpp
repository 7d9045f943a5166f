// Golden renders of the whole processor, through its parameters: a fifth of
// a second of a sweep with noise, mono at 24 kHz, so that the files stay small.
#include "support/GoldenFile.h"
#include "support/ProcessorHarness.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace
{

using qel::test::expectGolden;
using qel::test::ProcessorHarness;

constexpr double fs = 24000.0;
constexpr size_t frames = 4800;
constexpr int blockSize = 300; // not a multiple of the slice

std::vector<float> testSignal()
{
    std::vector<float> x(frames);
    uint32_t seed = 7;
    double phase = 0.0;
    for (size_t i = 0; i < frames; ++i)
    {
        const double f = 80.0 * std::pow(100.0, static_cast<double>(i) / frames); // 80 Hz to 8 kHz
        phase += 2.0 * M_PI * f / fs;
        seed = seed * 1664525u + 1013904223u;
        const double noise = (static_cast<double>(seed >> 8) / 16777216.0 - 0.5) * 0.05;
        x[i] = static_cast<float>(0.5 * std::sin(phase) + noise);
    }
    return x;
}

std::vector<float> render(const std::function<void(ProcessorHarness&)>& settings)
{
    ProcessorHarness h(1, fs, blockSize);
    settings(h);
    return h.renderSignal(testSignal(), blockSize);
}

void compander(ProcessorHarness& h, int encoder, int decoder)
{
    h.set("ApplyCompander", true);
    h.set("NRLink", false);
    h.set("NoiseReductionEncoder", encoder);
    h.set("NoiseReductionDecoder", decoder);
}

TEST(ProcessorGolden, Defaults)
{
    expectGolden("processor-defaults", render([](ProcessorHarness&) {}));
}

TEST(ProcessorGolden, EachFlangeMode)
{
    expectGolden("processor-manual", render([](ProcessorHarness& h) {
                     h.set("FlangeMode", 0);
                     h.set("RelativeDelay", 0.2f);
                     h.set("Fade", 0.3f);
                 }));
    expectGolden("processor-lfo", render([](ProcessorHarness& h) {
                     h.set("LFOFreq", 6.0f);
                     h.set("LFOShape", 0.5f);
                     h.set("LFOSymmetry", -0.3f);
                     h.set("LFOSwing", 0.5f);
                     h.set("MaxRelativeDelay", 0.012f);
                     h.set("Mix", 0.7f);
                 }));
}

TEST(ProcessorGolden, EachNoiseReductionPair)
{
    expectGolden("processor-preemphasis", render([](ProcessorHarness& h) { compander(h, 1, 1); }));
    expectGolden("processor-typeA", render([](ProcessorHarness& h) { compander(h, 2, 2); }));
    expectGolden("processor-typeB", render([](ProcessorHarness& h) { compander(h, 3, 3); }));
    expectGolden("processor-typeA-undecoded", render([](ProcessorHarness& h) { compander(h, 2, 0); }));
}

TEST(ProcessorGolden, HeavyTransport)
{
    expectGolden("processor-heavy-transport", render([](ProcessorHarness& h) {
                     h.set("WowMod", 1.0f);
                     h.set("WowRate", 1.5f);
                     h.set("FlutterMod", 1.0f);
                     h.set("FlutterRate", 40.0f);
                     h.set("NoiseMod", 1.0f);
                     h.set("NoiseRate", 50.0f);
                     h.set("DegradeDepth", 0.8f);
                     h.set("Speed", 0.3f);
                 }));
}

TEST(ProcessorGolden, FeedbackNearOne)
{
    expectGolden("processor-feedback", render([](ProcessorHarness& h) {
                     h.set("Feedback", 0.97f);
                     h.set("Delay", 0.004f);
                     h.set("Drive", 12.0f);
                     h.set("ApplyLowLatency", true);
                 }));
}

} // namespace
