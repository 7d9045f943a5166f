#include "plugin/ReelwarpPlugin.h"

juce::AudioProcessor* JUCE_CALLTYPE createPluginFilter()
{
    return new qel::ReelwarpPlugin();
}
