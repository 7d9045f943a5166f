#pragma once

#include <cstdint>

namespace qel
{

// The pseudo-random step of every noise source of a deck: cheap, and
// returns a value in -0.5..0.5.
inline float xorAddStep(uint32_t& a, uint32_t& b) noexcept
{
    const auto r = static_cast<int32_t>(b);
    a ^= b;
    b = a + static_cast<uint32_t>(r);
    return static_cast<float>(static_cast<double>(r) * 2.3283064365386963e-10);
}

} // namespace qel
