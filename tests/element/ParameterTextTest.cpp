// Parameter values as text and as slider positions, both ways.
#include "element/BeatDivisions.h"
#include "element/ParameterDescription.h"
#include "element/ParameterMapper.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

using qel::ParameterDescription;

struct Context : qel::ParameterContext
{
    bool synced = false;
    bool isSyncedToHost() const override { return synced; }
};

ParameterDescription<float> floatOf(uint32_t type, float minimum = 1.0f, float maximum = 0.0f)
{
    return ParameterDescription<float>("P", 0.0f, { minimum, maximum }, type);
}

// The display types the effect's parameters use, each band of the time units;
// then what a musician types beyond the printed form, which the slots already read back.
TEST(FloatText, PrintsByDisplayTypeAndReadsWhatAMusicianTypes)
{
    const struct { uint32_t type; float value; const char* text; } printed[] = {
        { qel::percentNormalised, 0.5f, "50.00%" }, { qel::plainNumber, 1.0f / 3.0f, "0.33" },
        { qel::seconds, 0.001f, "1.00 ms" }, { qel::seconds, 0.016f, "16.0 ms" },
        { qel::seconds, 0.5f, "500 ms" }, { qel::seconds, 1.0f, "1.00 s" },
        { qel::hertz, 999.99f, "999.99 Hz" }, { qel::hertz, 1000.0f, "1.00 kHz" },
    };
    Context context;
    for (const auto& c : printed)
        EXPECT_EQ(floatOf(c.type).toString(&context, c.value), c.text) << "type " << c.type << " value " << c.value;

    const struct { uint32_t type; float minimum, maximum; const char* text; float value; bool ok; } typed[] = {
        { qel::seconds, 1, 0, "16 MS", 0.016f, true },
        { qel::seconds, 0.002f, 1.0f, "15", 0.015f, true }, // a bare number on a short range is milliseconds
        { qel::hertz, 20.0f, 20000.0f, "5", 5000.0f, true }, // below the range, kilohertz, which must then fit
        { qel::hertz, 20.0f, 15000.0f, "19", 19000.0f, false },
        { qel::plainNumber, 1, 0, "abc", 0.0f, false },
        { qel::plainNumber, 1, 0, " 3.25 ", 3.25f, true },
    };
    for (const auto& c : typed)
    {
        float value = -99.0f;
        EXPECT_EQ(floatOf(c.type, c.minimum, c.maximum).fromString(nullptr, c.text, value), c.ok) << c.text;
        if (c.ok)
            EXPECT_NEAR(value, c.value, 1e-6f * std::max(1.0f, std::fabs(c.value))) << c.text << " type " << c.type;
    }
}

TEST(SyncedText, PrintsAndMapsTheRowAndReadsTheRowNumber)
{
    Context synced, free;
    synced.synced = true;
    const auto rate = ParameterDescription<float>("LFOFreq", 0.1f, { 0.01f, 10.0f }, qel::hertzOrBeats);
    EXPECT_EQ(rate.toString(&synced, 0.99995f), "1/4");
    EXPECT_EQ(rate.toString(&synced, 0.99985f), "1/8 dot");
    EXPECT_EQ(rate.toString(&synced, 0.01f), "1/64 tri"); // below every row
    EXPECT_EQ(rate.toString(&synced, 500.0f), "32x"); // beyond the range: not clamped

    float row = 0.0f;
    EXPECT_TRUE(rate.fromString(&synced, "1/4", row));
    EXPECT_EQ(row, 16.0f); // the row, not the ratio
    EXPECT_FALSE(rate.fromString(&synced, "1/4 DOT", row)); // case matters

    // Not synchronised, the same parameter is a frequency.
    EXPECT_EQ(rate.toString(&free, 1.0f), "1.00 Hz");
    EXPECT_TRUE(rate.fromString(&free, "2 Hz", row));
    EXPECT_EQ(row, 2.0f);

    for (int r = 0; r < qel::BeatDivisions::rows; ++r)
    {
        EXPECT_EQ(qel::BeatDivisions::rowOfRatio(qel::BeatDivisions::ratioOfRow(r)), r);
        EXPECT_EQ(qel::BeatDivisions::rowOfText(qel::BeatDivisions::textOfRow(r)), r);
    }
    // A slider's positions, synchronised, are the rows evenly spaced (row 16 is "1/4"); free, the log mapper the slots' tests cover.
    const qel::SyncLogMapper mapper(0.01f, 10.0f);
    for (const auto [position, ratio] : { std::pair { 16.0f / 29.0f, 1.0f }, std::pair { 0.0f, 128.0f }, std::pair { 1.0f, 0.041666668f } })
    {
        float value = position;
        mapper.map(&synced, value);
        EXPECT_EQ(value, ratio) << position;
    }
}

// Switches print words but read numbers only: a slot reads the words itself.
TEST(BoolText, PrintsWordsButReadsNumbers)
{
    const ParameterDescription<bool> b("B", false);
    EXPECT_EQ(b.toString(nullptr, true), "true");
    bool on = false;
    EXPECT_FALSE(b.fromString(nullptr, "true", on));
    EXPECT_TRUE(b.fromString(nullptr, "1", on) && on);
    EXPECT_TRUE(b.fromString(nullptr, "0", on) && !on);
}

} // namespace
