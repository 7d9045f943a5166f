#include "element/BeatDivisions.h"
#include "element/ParameterDescription.h"
#include "element/ParameterRegistry.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

using qel::ParameterDescription;
using qel::String;

struct Context : qel::ParameterContext
{
    bool synced = false;
    bool isSyncedToHost() const override { return synced; }
};

// A proxy answers for what it stands for.
struct Proxy : qel::ParameterContext
{
    const qel::ParameterContext* target;
    explicit Proxy(const qel::ParameterContext* t) : target(t) {}
    bool isSyncedToHost() const override { return false; }
    const qel::ParameterContext* standsFor() const override { return target; }
};

ParameterDescription<float> floatOf(uint32_t type, float minimum = 1.0f, float maximum = 0.0f)
{
    return ParameterDescription<float>("P", 0.0f, { minimum, maximum }, type);
}

struct PrintCase
{
    uint32_t type;
    float value;
    const char* text;
};

TEST(FloatText, PrintsByDisplayType)
{
    const PrintCase cases[] = {
        { qel::percent100, 12.345f, "12.35%" },
        { qel::percentNormalised, 0.5f, "50.00%" },
        // Seconds: every threshold row from both sides.
        { qel::seconds, 0.0f, "0 s" },
        { qel::seconds, -0.0f, "0 s" },
        { qel::seconds, 9.99e-6f, "9.99 us" },
        { qel::seconds, 1e-5f, "10.0 us" },
        { qel::seconds, 0.0000999f, "99.9 us" },
        { qel::seconds, 0.0001f, "100 us" },
        { qel::seconds, 0.000999f, "999 us" },
        { qel::seconds, 0.001f, "1.00 ms" },
        { qel::seconds, 0.00999f, "9.99 ms" },
        { qel::seconds, 0.016f, "16.0 ms" },
        { qel::seconds, 0.06f, "60.0 ms" },
        { qel::seconds, 0.5f, "500 ms" },
        { qel::seconds, 1.0f, "1.00 s" },
        { qel::seconds, -0.002f, "-2.00 ms" },
        { qel::milliseconds, 0.0f, "0 ms" },
        { qel::milliseconds, 0.005f, "5.00 us" },
        { qel::milliseconds, 0.05f, "50.0 us" },
        { qel::milliseconds, 0.5f, "500 us" },
        { qel::milliseconds, 5.0f, "5.00 ms" },
        { qel::milliseconds, 50.0f, "50.0 ms" },
        { qel::milliseconds, 500.0f, "500 ms" },
        { qel::milliseconds, 1500.0f, "1.50 s" },
        { qel::hertz, 999.99f, "999.99 Hz" },
        { qel::hertz, 1000.0f, "1.00 kHz" },
        { qel::hertz, 0.1f, "0.10 Hz" },
        { qel::decibels, -6.0f, "-6.00 dB" },
        { qel::filterBalance, 0.0f, "Off" },
        { qel::filterBalance, -0.5f, "63 LPF" },
        { qel::filterBalance, 0.5f, "63 HPF" },
        { qel::linearGain, 0.0f, "-oo dB" },
        { qel::linearGain, 1.0f, "0.00 dB" },
        { qel::linearGain, 0.5f, "-6.02 dB" },
        { qel::linearGain, 1e-21f, "-400.00 dB" },
        { qel::stereoPosition, -0.004f, "Left 0" },
        { qel::stereoPosition, 0.0f, "Center" },
        { qel::stereoPosition, 0.25f, "Right 25" },
        { qel::memorySize, 2.5f, "2.50 MB" },
        { qel::semitones, 0.5f, "50.00 Cents" },
        { qel::semitones, 7.0f, "7.00 Semitones" },
        { qel::plainNumber, 1.0f / 3.0f, "0.33" },
    };
    Context context;
    for (const auto& c : cases)
        EXPECT_EQ(floatOf(c.type).toString(&context, c.value), c.text) << "type " << c.type << " value " << c.value;
}

TEST(FloatText, CentsTurnToSemitonesOnlyBeyondAHundredRange)
{
    EXPECT_EQ(floatOf(qel::cents, -1200.0f, 1200.0f).toString(nullptr, 700.0f), "7.00 Semitones");
    EXPECT_EQ(floatOf(qel::cents, -100.0f, 100.0f).toString(nullptr, 100.0f), "100.00 Cents");
    EXPECT_EQ(floatOf(qel::cents, -1200.0f, 1200.0f).toString(nullptr, 50.0f), "50.00 Cents");
}

struct ParseCase
{
    uint32_t type;
    float minimum, maximum;
    const char* text;
    float value;
    bool ok;
};

TEST(FloatText, ReadsByDisplayType)
{
    const ParseCase cases[] = {
        { qel::percent100, 1, 0, "12.5%", 12.5f, true },
        { qel::percentNormalised, 1, 0, "50%", 0.5f, true },
        { qel::seconds, 1, 0, "16 ms", 0.016f, true },
        { qel::seconds, 1, 0, "16 MS", 0.016f, true },
        { qel::seconds, 1, 0, "2 s", 2.0f, true },
        // A bare number on a short range is milliseconds; on a long range, seconds.
        { qel::seconds, 0.0f, 0.05f, "15", 0.015f, true },
        { qel::seconds, 0.0f, 30.0f, "15", 15.0f, true },
        { qel::seconds, 0.0f, 30.0f, "45", 0.045f, true },
        { qel::seconds, 0.0f, 30.0f, "1500", 1500.0f, true },
        { qel::milliseconds, 1, 0, "2 s", 2000.0f, true },
        { qel::milliseconds, 1, 0, "20ms", 20.0f, true },
        { qel::hertz, 1, 0, "1.5 kHz", 1500.0f, true },
        { qel::hertz, 1, 0, "440 Hz", 440.0f, true },
        { qel::hertz, 20.0f, 20000.0f, "5", 5000.0f, true },
        { qel::hertz, 20.0f, 20000.0f, "19", 19000.0f, true },
        { qel::hertz, 20.0f, 15000.0f, "19", 19000.0f, false },
        { qel::decibels, 1, 0, "-6 dB", -6.0f, true },
        { qel::linearGain, 1, 0, "0 dB", 1.0f, true },
        { qel::filterBalance, 1, 0, "OFF", 0.0f, true },
        { qel::filterBalance, 1, 0, "63 HPF", 63.0f * 0.007874016f, true },
        { qel::filterBalance, 1, 0, "63 LPF", (63.0f - 127.0f) * 0.007874016f, true },
        { qel::filterBalance, 1, 0, "64", 64.0f * 0.007874016f, true },
        { qel::filterBalance, 1, 0, "-1", (-1.0f - 127.0f) * 0.007874016f, true },
        { qel::stereoPosition, 1, 0, "Left 25", -0.25f, true },
        { qel::stereoPosition, 1, 0, "Right 10", 0.1f, true },
        { qel::stereoPosition, 1, 0, "Center", 0.0f, true },
        { qel::stereoPosition, 1, 0, "50", 0.5f, true },
        { qel::stereoPosition, 1, 0, "0.5", 0.5f, true },
        { qel::semitones, 1, 0, "50 Cents", 0.5f, true },
        { qel::semitones, 1, 0, "3 Semitones", 3.0f, true },
        // Type 15 reads only a bare number: words are not understood.
        { qel::cents, 1, 0, "50", 50.0f, true },
        { qel::cents, 1, 0, "50 Cents", 50.0f, false },
        { qel::plainNumber, 1, 0, "abc", 0.0f, false },
        { qel::plainNumber, 1, 0, " 3.25 ", 3.25f, true },
    };
    for (const auto& c : cases)
    {
        float value = -99.0f;
        const bool ok = floatOf(c.type, c.minimum, c.maximum).fromString(nullptr, c.text, value);
        EXPECT_EQ(ok, c.ok) << c.text;
        if (c.ok)
            EXPECT_NEAR(value, c.value, 1e-6f * std::max(1.0f, std::fabs(c.value))) << c.text << " type " << c.type;
    }
}

TEST(SyncedText, PrintsTheRowAndReadsTheRowNumber)
{
    Context synced;
    synced.synced = true;
    const auto rate = ParameterDescription<float>("LFOFreq", 0.1f, { 0.01f, 10.0f }, qel::hertzOrBeats);
    EXPECT_EQ(rate.toString(&synced, 1.0f), "1/4");
    EXPECT_EQ(rate.toString(&synced, 0.99995f), "1/4");
    EXPECT_EQ(rate.toString(&synced, 0.99985f), "1/8 dot");
    EXPECT_EQ(rate.toString(&synced, 0.01f), "1/64 tri"); // below every row
    EXPECT_EQ(rate.toString(&synced, 500.0f), "32x");     // beyond the range: not clamped
    const Proxy proxy(&synced);
    EXPECT_EQ(rate.toString(&proxy, 4.0f), "1/1");

    float row = 0.0f;
    EXPECT_TRUE(rate.fromString(&synced, "1/4", row));
    EXPECT_EQ(row, 16.0f); // the row, not the ratio
    EXPECT_FALSE(rate.fromString(&synced, "1/5", row));
    EXPECT_EQ(row, 30.0f);
    EXPECT_FALSE(rate.fromString(&synced, "1/4 DOT", row)); // case matters

    // Not synchronised, the same parameter is a frequency.
    Context free;
    EXPECT_EQ(rate.toString(&free, 1.0f), "1.00 Hz");
    EXPECT_TRUE(rate.fromString(&free, "2 Hz", row));
    EXPECT_EQ(row, 2.0f);
    // Without an element, the parser counts as not synchronised.
    EXPECT_TRUE(rate.fromString(nullptr, "3 Hz", row));
}

TEST(SyncedText, EveryRowReadsBackItsOwnText)
{
    for (int row = 0; row < qel::BeatDivisions::rows; ++row)
    {
        const float ratio = qel::BeatDivisions::ratioOfRow(row);
        EXPECT_EQ(qel::BeatDivisions::rowOfRatio(ratio), row);
        EXPECT_EQ(qel::BeatDivisions::rowOfText(qel::BeatDivisions::textOfRow(row)), row);
    }
}

TEST(IntText, PrintsAndReadsItsUnits)
{
    EXPECT_EQ(ParameterDescription<int>("I", 0, { 0, 100 }, qel::percent100).toString(nullptr, 40), "40%");
    EXPECT_EQ(ParameterDescription<int>("I", 0, { 0, 5000 }, qel::milliseconds).toString(nullptr, 1500), "1.50 s");
    EXPECT_EQ(ParameterDescription<int>("I", 0, { 0, 5000 }, qel::milliseconds).toString(nullptr, 999), "999 ms");
    EXPECT_EQ(ParameterDescription<int>("I", 0, { 0, 20000 }, qel::hertz).toString(nullptr, 2000), "2.00 kHz");
    EXPECT_EQ(ParameterDescription<int>("I", 60, { 0, 127 }, qel::midiKey).toString(nullptr, 60), "C3");
    int v = 0;
    EXPECT_TRUE(ParameterDescription<int>("I", 0, { 20, 20000 }, qel::hertz).fromString(nullptr, "2.5 kHz", v));
    EXPECT_EQ(v, 2500);
    EXPECT_TRUE(ParameterDescription<int>("I", 0, { 0, 100 }, qel::plainNumber).fromString(nullptr, "-7.9", v));
    EXPECT_EQ(v, -7); // towards zero
}

TEST(BoolText, PrintsWordsButReadsNumbers)
{
    const ParameterDescription<bool> b("B", false);
    EXPECT_EQ(b.toString(nullptr, true), "true");
    bool v = true;
    EXPECT_TRUE(b.fromString(nullptr, "1", v));
    EXPECT_TRUE(v);
    EXPECT_FALSE(b.fromString(nullptr, "true", v)); // deliberately not read back
    EXPECT_FALSE(v);
    EXPECT_TRUE(b.fromString(nullptr, "0", v));
    EXPECT_FALSE(v);
}

TEST(Registry, HandsOutIdentifiersThatAreNeverReused)
{
    auto& r = qel::ParameterRegistry::get();
    const auto& framework = qel::FrameworkParameters::get();
    EXPECT_EQ(r.typeOf(framework.displayType), qel::ValueType::stringValue);
    EXPECT_EQ(r.typeOf(framework.memorySize), qel::ValueType::floatValue);
    EXPECT_EQ(r.nameOf(framework.param(0)), "Param0");
    EXPECT_EQ(r.nameOf(framework.param(127)), "Param127");
    EXPECT_EQ(r.typeOf(framework.param(5)), qel::ValueType::nameOnly);
    EXPECT_EQ(r.displayName(framework.syncToHost), "Synchronize to host tempo");
    EXPECT_FALSE(r.boolDescription(framework.syncToHost).has(qel::ParameterFlags::modulable));
    EXPECT_FALSE(r.stringDescription(framework.displayType).has(qel::ParameterFlags::persistent));

    const auto a = r.registerFloat(ParameterDescription<float>("TestA", 0.0f, { 0.0f, 1.0f }));
    const auto b = r.registerBool(ParameterDescription<bool>("TestB", true));
    EXPECT_GT(a, 0u);
    EXPECT_EQ(b, a + 1);
    EXPECT_EQ(r.floatDescription(a).id, a);
    r.setDisplayName(a, "Test A");
    EXPECT_EQ(r.displayName(a), "Test A");
    r.unregister(a);
    EXPECT_EQ(r.typeOf(a), qel::ValueType::unknown);
    EXPECT_EQ(r.nameOf(a), "");
    EXPECT_EQ(r.baseDescription(a).flags, 0x38);
    const auto c = r.registerInt(ParameterDescription<int>("TestC", 1));
    EXPECT_GT(c, b); // a's identifier is not handed out again
}

} // namespace
