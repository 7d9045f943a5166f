#pragma once

#include "engine/Engine.h"

namespace qel
{

// The instrument that lets the standalone application sound with no input:
// a Program holding a Layer holding a Keygroup, whose saw oscillator's level
// follows the envelope "Amp. Env" through the link "AmpEnvMod".
namespace testInstrument
{
constexpr const char* envelopeName = "Amp. Env";
constexpr const char* linkName = "AmpEnvMod";

// The instrument's element types, in the registry by their type names; once per process.
void registerTypes();
// The instrument as the engine's next child, assembled and closed, every element of it clean.
void addTo(Engine& engine);
} // namespace testInstrument

} // namespace qel
