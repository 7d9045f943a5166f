#include "element/ParameterMapper.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

struct Context : qel::ParameterContext
{
    bool synced = false;
    bool isSyncedToHost() const override { return synced; }
};

float mapped(const qel::ParameterMapper& m, float p, const Context* c = nullptr)
{
    m.map(c, p);
    return p;
}

float unmapped(const qel::ParameterMapper& m, float v, const Context* c = nullptr)
{
    m.unmap(c, v);
    return v;
}

// Every mapper's unmap undoes its map.
void expectRoundTrip(const qel::ParameterMapper& m, const Context* c = nullptr)
{
    for (float p = 0.0f; p <= 1.0f; p += 0.05f)
        EXPECT_NEAR(unmapped(m, mapped(m, p, c), c), p, 2e-5f) << p;
}

TEST(Mappers, LogMapperSpacesDecadesEvenly)
{
    const qel::LogMapper m(0.01f, 10.0f);
    EXPECT_NEAR(mapped(m, 0.0f), 0.01f, 1e-7f);
    EXPECT_NEAR(mapped(m, 1.0f), 10.0f, 1e-5f);
    EXPECT_NEAR(mapped(m, 1.0f / 3.0f), 0.1f, 1e-6f);
    EXPECT_NEAR(mapped(m, 2.0f / 3.0f), 1.0f, 1e-5f);
    expectRoundTrip(m);
    const qel::LogMapper shifted(0.0f, 100.0f, 1.0f);
    EXPECT_NEAR(mapped(shifted, 0.5f), std::sqrt(101.0f) - 1.0f, 1e-4f);
    expectRoundTrip(shifted);
}

TEST(Mappers, CurveMapperBendsEachSideOfItsCentre)
{
    const qel::CurveMapper unipolar(2.0f, 0.0f, 10.0f);
    EXPECT_FLOAT_EQ(mapped(unipolar, 0.5f), 2.5f);
    expectRoundTrip(unipolar);
    const qel::CurveMapper bipolar(2.0f, -4.0f, 4.0f);
    EXPECT_TRUE(bipolar.isBipolar());
    EXPECT_FLOAT_EQ(mapped(bipolar, 0.5f), 0.0f);
    EXPECT_FLOAT_EQ(mapped(bipolar, 0.75f), 1.0f);
    EXPECT_FLOAT_EQ(mapped(bipolar, 0.25f), -1.0f);
    expectRoundTrip(bipolar);
}

TEST(Mappers, SyncLogMapperSwitchesToTheDivisionsWhenSynchronised)
{
    const qel::SyncLogMapper m(0.01f, 10.0f);
    Context free, synced;
    synced.synced = true;
    EXPECT_NEAR(mapped(m, 2.0f / 3.0f, &free), 1.0f, 1e-5f);
    EXPECT_EQ(mapped(m, 16.0f / 29.0f, &synced), 1.0f);    // row 16, "1/4"
    EXPECT_EQ(mapped(m, 0.0f, &synced), 128.0f);           // row 0
    EXPECT_EQ(mapped(m, 1.0f, &synced), 0.041666668f);     // row 29
    expectRoundTrip(m, &free);
}

} // namespace
