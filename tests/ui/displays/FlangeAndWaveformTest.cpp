// The flange lines against the sines they stand for; the magnetic waveform's
// repeatability, and its plain sine when the tape is off.
#include "ui/displays/FlangeDisplay.h"
#include "ui/displays/MagneticWaveformDisplay.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

constexpr double fourPi = 12.566370614359172;

// Two cycles over the width, shifted right by `shift` pixels; 0.5 - sin / 2.
double sineLevel(double x, double width, double shift) { return 0.5 - 0.5 * std::sin((x - shift) * fourPi / width); }

TEST(FlangeDisplay, LinesCoincideAtRestMirrorWhenInvertedAndPartByTheDecksPosition)
{
    const float w = 271.0f;
    const double depthShift = 0.006 * 26.666666666666667 * w;
    qel::FlangeLines lines { 0.006f, false, 0.0f }, inverted { 0.006f, true, 0.0f }, apart { 0.006f, false, 1.0f };
    for (float x = 0.0f; x <= w; x += 0.25f)
    {
        ASSERT_NEAR(lines.firstLevel(x, w), sineLevel(x, w, depthShift), 1e-4) << x;
        ASSERT_EQ(lines.secondLevel(x, w), lines.firstLevel(x, w)) << x;
        ASSERT_NEAR(inverted.secondLevel(x, w), 1.0f - inverted.firstLevel(x, w), 1e-6) << x;
        // Deck B at one end: the second line lies twice the depth's shift along.
        ASSERT_NEAR(apart.secondLevel(x, w), sineLevel(x, w, 2.0 * depthShift), 1e-4) << x;
    }
}

double sineAt(size_t i) { return std::sin(0.25 * static_cast<double>(i) * fourPi / 201.0); }

// Every paint starts the model from the same blank tape and the same hiss,
// so the same values draw the same line; with the tape off, the plain sine.
TEST(MagneticWaveformDisplay, DrawsTheSameSettledLoopEveryTimeAndThePlainSineWhenOff)
{
    qel::MagneticWaveform model;
    model.hardness = 0.1f, model.resistance = 0.4f, model.on = true;
    qel::MagneticWaveformDisplay display(model);
    EXPECT_TRUE(display.makePath(201.0f, 59.0f) == display.makePath(201.0f, 59.0f));

    const auto settled = model.compute(201.0f);
    ASSERT_EQ(settled.size(), 805u);
    double worst = 0.0; // not the plain sine: the high-pass leads it and takes some of its swing
    for (size_t i = 0; i < settled.size(); ++i)
        worst = std::max(worst, std::fabs(settled[i] - sineAt(i)));
    EXPECT_GT(worst, 0.1);
    model.on = false;
    const auto& plain = model.compute(201.0f);
    for (size_t i = 0; i < plain.size(); ++i)
        ASSERT_NEAR(plain[i], sineAt(i), 1e-5) << i;
}

} // namespace
