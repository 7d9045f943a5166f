#include "ui/widgets/SyncConversion.h"

#include "element/BeatDivisions.h"
#include "ui/EngineProxy.h"

namespace qel::SyncConversion
{

float treeTempo(EngineProxy& proxy)
{
    constexpr float fallback = 120.0f;
    auto* root = proxy.getElementProxy("/", false);
    if (root == nullptr)
        return fallback;
    const auto id = root->findParameterId("Tempo");
    return id != 0 && root->findFloatParameter(id) != nullptr ? root->getParameterFloat(id) : fallback;
}

float beatsOfValue(uint32_t displayType, float tempo, float value)
{
    switch (displayType)
    {
        case secondsOrBeats: return tempo * value / 60.0f;
        case millisecondsOrBeats: return value / 60000.0f * tempo;
        case hertzOrBeats: return value > 0.0f ? tempo / 60.0f / value : BeatDivisions::ratioOfRow(0);
        default: return value;
    }
}

float valueOfBeats(uint32_t displayType, float tempo, float beats)
{
    switch (displayType)
    {
        case secondsOrBeats: return 60.0f / tempo * beats;
        case millisecondsOrBeats: return 60000.0f / tempo * beats;
        case hertzOrBeats: return beats > 0.0f ? tempo / 60.0f / beats : 0.0f;
        default: return beats;
    }
}

float toSynced(uint32_t displayType, float tempo, float value)
{
    return BeatDivisions::ratioOfRow(BeatDivisions::rowOfRatio(beatsOfValue(displayType, tempo, value)));
}

float fromSynced(const ParameterDescription<float>& description, float tempo, float ratio)
{
    const float value = valueOfBeats(description.displayType, tempo, ratio);
    return description.hasRange() ? juce::jlimit(description.minimum, description.maximum, value) : value;
}

} // namespace qel::SyncConversion
