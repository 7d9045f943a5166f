# JUCE 7.0.5's VST3 wrapper trusts the size field of the private-data trailer
# in the state a host hands it: a damaged state reads outside the buffer before
# the plug-in's own reader runs. The VST3 binary compiles a copy of the wrapper,
# patched in the build tree, in place of the original.

set(_juce_client ${JUCE_MODULES_DIR}/juce_audio_plugin_client)
set(_entry ${_juce_client}/juce_audio_plugin_client_VST3.cpp)
set(_wrapper ${_juce_client}/VST3/juce_VST3_Wrapper.cpp)
set(_patch ${CMAKE_CURRENT_LIST_DIR}/patches/juce-vst3-wrapper-state.patch)
set(_patched ${CMAKE_BINARY_DIR}/juce-patched/juce_audio_plugin_client)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${_entry} ${_wrapper} ${_patch})

find_program(REELWARP_PATCH_PROGRAM patch)
if(NOT REELWARP_PATCH_PROGRAM)
    message(FATAL_ERROR "The VST3 wrapper is patched with 'patch': install it (Debian: apt-get install patch)")
endif()

# The original has CR LF line ends; the patch is written against LF.
set(_stage ${CMAKE_BINARY_DIR}/juce-patched/stage)
file(READ ${_wrapper} _text)
string(REPLACE "\r\n" "\n" _text "${_text}")
file(WRITE ${_stage}/juce_VST3_Wrapper.cpp "${_text}")
execute_process(
    COMMAND ${REELWARP_PATCH_PROGRAM} --batch --forward --fuzz=0 --no-backup-if-mismatch --reject-file=-
            -i ${_patch} ${_stage}/juce_VST3_Wrapper.cpp
    RESULT_VARIABLE _result OUTPUT_VARIABLE _output ERROR_VARIABLE _output)
if(NOT _result EQUAL 0)
    message(FATAL_ERROR "${_patch} no longer applies to ${_wrapper}: JUCE changed; "
                        "check whether it still trusts the state's trailer and redo the patch.\n${_output}")
endif()
# Rewritten only when different, so that a reconfigure does not rebuild the binary.
configure_file(${_stage}/juce_VST3_Wrapper.cpp ${_patched}/VST3/juce_VST3_Wrapper.cpp COPYONLY)
configure_file(${_entry} ${_patched}/juce_audio_plugin_client_VST3.cpp COPYONLY)

# Every format's target lists all client sources; only the VST3 one builds the VST3 entry.
get_target_property(_sources juce_audio_plugin_client_VST3 INTERFACE_SOURCES)
list(FIND _sources ${_entry} _at)
if(_at EQUAL -1)
    message(FATAL_ERROR "juce_audio_plugin_client_VST3 no longer compiles ${_entry}: redo the wrapper's patch")
endif()
list(REMOVE_AT _sources ${_at})
list(INSERT _sources ${_at} ${_patched}/juce_audio_plugin_client_VST3.cpp)
set_property(TARGET juce_audio_plugin_client_VST3 PROPERTY INTERFACE_SOURCES ${_sources})
# The copy's includes of ../utility/ resolve against the original folder.
target_include_directories(ReelWarp_VST3 PRIVATE ${_juce_client}/VST3)
