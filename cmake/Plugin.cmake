# The product: one JUCE plug-in target, four formats.
juce_set_vst2_sdk_path(${REELWARP_VST2_SDK})

# A sanitizer build cannot be loaded by the LV2 manifest helper or run as an
# app without its runtime, so it builds the formats its tests load.
if(REELWARP_SANITIZE)
    set(REELWARP_FORMATS VST VST3)
else()
    set(REELWARP_FORMATS VST VST3 LV2 Standalone)
endif()

juce_add_plugin(ReelWarp
    PLUGIN_NAME "Reel Warp"
    PRODUCT_NAME "ReelWarp"
    COMPANY_NAME "QEL"
    COMPANY_WEBSITE "https://qel.net"
    BUNDLE_ID "net.qel.Reelwarp"
    VERSION ${PROJECT_VERSION}
    PLUGIN_MANUFACTURER_CODE Qelx
    PLUGIN_CODE QRwp
    FORMATS ${REELWARP_FORMATS}
    IS_SYNTH FALSE
    NEEDS_MIDI_INPUT TRUE
    NEEDS_MIDI_OUTPUT FALSE
    IS_MIDI_EFFECT FALSE
    EDITOR_WANTS_KEYBOARD_FOCUS FALSE
    VST2_CATEGORY kPlugCategEffect
    VST3_CATEGORIES Fx Modulation
    LV2URI "https://qel.net/plugins/reelwarp"
    COPY_PLUGIN_AFTER_BUILD FALSE)

target_sources(ReelWarp PRIVATE ${CMAKE_SOURCE_DIR}/plugin/PluginEntry.cpp)
# The standalone application of our own, which keeps the plug-in's state however it ends.
if(TARGET ReelWarp_Standalone)
    target_sources(ReelWarp_Standalone PRIVATE ${CMAKE_SOURCE_DIR}/plugin/StandaloneApp.cpp)
    target_compile_definitions(ReelWarp_Standalone PRIVATE JUCE_USE_CUSTOM_PLUGIN_STANDALONE_APP=1)
endif()
add_dependencies(ReelWarp reelwarp_resource_archive)
target_compile_definitions(ReelWarp PUBLIC
    ${REELWARP_JUCE_DEFINITIONS}
    JUCE_USE_FLAC=0
    # Debian's JUCE drops the LV2URI argument and would fall back to a relative URI.
    "JucePlugin_LV2URI=\"https://qel.net/plugins/reelwarp\""
    JUCE_VST3_CAN_REPLACE_VST2=0
    # The host's list is the product's 45 parameters, not 2048 controller stand-ins.
    JUCE_VST3_EMULATE_MIDI_CC_WITH_PARAMETERS=0)
target_link_libraries(ReelWarp
    PRIVATE
        reelwarp_core_sources
        juce::juce_audio_utils
    PUBLIC
        juce::juce_recommended_config_flags)

# The VST2 binary exports its entry point and nothing else, so that the
# standard library's template instances cannot interpose with a host's own.
target_link_options(ReelWarp_VST PRIVATE
    -Wl,--version-script=${CMAKE_SOURCE_DIR}/cmake/vst2-exports.map)
set_property(TARGET ReelWarp_VST APPEND PROPERTY LINK_DEPENDS ${CMAKE_SOURCE_DIR}/cmake/vst2-exports.map)

# JUCE's VST3 and LV2 clients, with their faults fixed.
include(PatchedJuce)

set(REELWARP_ARTEFACTS ${CMAKE_BINARY_DIR}/ReelWarp_artefacts/${CMAKE_BUILD_TYPE})
set(REELWARP_VST2_BINARY ${REELWARP_ARTEFACTS}/VST/libReelWarp.so)
set(REELWARP_VST3_BUNDLE ${REELWARP_ARTEFACTS}/VST3/ReelWarp.vst3)
set(REELWARP_LV2_BUNDLE ${REELWARP_ARTEFACTS}/LV2/ReelWarp.lv2)
