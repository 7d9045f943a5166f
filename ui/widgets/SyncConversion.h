#pragma once

#include "element/ParameterDescription.h"

namespace qel
{

class EngineProxy;

// A time or a rate keeps its meaning when SyncToHost turns it into beats
// (quarter notes) and back, at the tempo of the tree.
namespace SyncConversion
{
// "Tempo" of the element at "/", or 120 when there is none.
float treeTempo(EngineProxy& proxy);

// For display types 4 (seconds), 6 (milliseconds) and 8 (hertz); others pass as they are.
float beatsOfValue(uint32_t displayType, float tempo, float value);
float valueOfBeats(uint32_t displayType, float tempo, float beats);

// Going to sync: the exact ratio of the largest division not above the beats.
float toSynced(uint32_t displayType, float tempo, float value);
// Leaving sync: the value the ratio stands for, within the description's range.
float fromSynced(const ParameterDescription<float>& description, float tempo, float ratio);
} // namespace SyncConversion

} // namespace qel
