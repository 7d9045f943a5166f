#pragma once

#include <array>
#include <cstdint>

namespace qel
{

constexpr int exportedParameterCount = 45;

// The parameters the host sees, by slot. The order is a promise to saved
// host projects: never reorder, only append.
const std::array<uint32_t, exportedParameterCount>& exportedParameterIds();

} // namespace qel
