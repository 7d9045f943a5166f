#pragma once

// Reference renders kept in tests/golden: a change that moves the sound by
// more than the tolerance fails. After a deliberate change of sound,
// tools/regenerate-golden.sh writes new references; listen before keeping them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace qel::test
{

// The tolerance is relative to the reference's peak: far above what another
// compiler's rounding moves, far below what a changed formula does.
inline void expectGolden(const std::string& name, const std::vector<float>& y)
{
    const std::string path = std::string(REELWARP_GOLDEN_DIR) + "/" + name + ".f32";
    if (std::getenv("REELWARP_REGENERATE_GOLDEN") != nullptr)
    {
        std::ofstream out(path, std::ios::binary);
        out.write(reinterpret_cast<const char*>(y.data()), static_cast<std::streamsize>(y.size() * sizeof(float)));
        GTEST_SKIP() << "wrote " << path;
    }
    std::ifstream in(path, std::ios::binary);
    ASSERT_TRUE(in.good()) << "no reference at " << path << "; run tools/regenerate-golden.sh";
    std::vector<float> reference(y.size());
    in.read(reinterpret_cast<char*>(reference.data()), static_cast<std::streamsize>(reference.size() * sizeof(float)));
    ASSERT_EQ(in.gcount(), static_cast<std::streamsize>(reference.size() * sizeof(float)));
    double peak = 0.0, worst = 0.0;
    for (size_t i = 0; i < y.size(); ++i)
    {
        peak = std::max(peak, (double) std::fabs(reference[i]));
        worst = std::max(worst, (double) std::fabs(y[i] - reference[i]));
    }
    EXPECT_LT(worst, 1e-4 * std::max(peak, 1e-3)) << name;
}

} // namespace qel::test
