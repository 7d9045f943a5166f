#include "tape/DryDelayLine.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{

// Writes `total` samples of x in blocks of the given sizes and reads each
// block back with delays that run from start to end over the block.
std::vector<float> run(qel::DryDelayLine& line, const std::vector<float>& x, std::initializer_list<int> blockSizes,
                       double start, double end)
{
    std::vector<float> y(x.size());
    size_t at = 0;
    for (auto size = blockSizes.begin(); at < x.size(); ++size)
    {
        if (size == blockSizes.end())
            size = blockSizes.begin();
        const int n = static_cast<int>(std::min<size_t>(static_cast<size_t>(*size), x.size() - at));
        line.write(x.data() + at, n);
        line.read(y.data() + at, n, start, end);
        line.advance(n);
        at += static_cast<size_t>(n);
    }
    return y;
}

TEST(DryDelayLine, WholeDelayIsAnExactCopyAcrossManyWraps)
{
    qel::DryDelayLine line;
    line.prepare(100, 32);
    std::vector<float> x(2000);
    for (size_t i = 0; i < x.size(); ++i)
        x[i] = static_cast<float>((i * 7919) % 1000) * 0.001f - 0.5f;
    for (int delay : { 0, 1, 37, 100 })
    {
        line.clear();
        const auto y = run(line, x, { 32, 1, 17, 5 }, delay, delay);
        for (size_t i = 0; i < x.size(); ++i)
            ASSERT_EQ(y[i], i >= (size_t) delay ? x[i - (size_t) delay] : 0.0f) << "delay " << delay << " at " << i;
    }
}

// A ramp passes linear interpolation unchanged: the output is the time
// the delay points at.
TEST(DryDelayLine, FractionalAndMovingDelaysInterpolateLinearly)
{
    qel::DryDelayLine line;
    line.prepare(64, 16);
    std::vector<float> x(256);
    for (size_t i = 0; i < x.size(); ++i)
        x[i] = static_cast<float>(i);
    auto y = run(line, x, { 16 }, 10.25, 10.25);
    for (size_t i = 20; i < x.size(); ++i)
        ASSERT_NEAR(y[i], static_cast<double>(i) - 10.25, 1e-4);

    line.clear();
    y = run(line, x, { 16 }, 8.0, 12.0);
    for (size_t i = 32; i < x.size(); ++i)
        ASSERT_NEAR(y[i], static_cast<double>(i) - (8.0 + 4.0 * static_cast<double>(i % 16) / 16.0), 1e-4);
}

} // namespace
