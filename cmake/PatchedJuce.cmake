# Three faults of JUCE 7.0.5's plug-in clients, fixed in copies patched in the
# build tree and compiled in place of the originals:
#  - the VST3 wrapper trusts the size field of the private-data trailer in the
#    state a host hands it, and reads outside the buffer on a damaged state;
#  - its channel mapper copies an index table per bus on every block, an
#    allocation on the audio thread;
#  - the LV2 manifest takes its version from the last two numbers of the
#    product's version, 0.0 for 1.0.0, which LV2 hosts read as unreleased.

set(_juce_client ${JUCE_MODULES_DIR}/juce_audio_plugin_client)
set(_patched ${CMAKE_BINARY_DIR}/juce-patched)

find_program(REELWARP_PATCH_PROGRAM patch)
if(NOT REELWARP_PATCH_PROGRAM)
    message(FATAL_ERROR "JUCE's plug-in clients are patched with 'patch': install it (Debian: apt-get install patch)")
endif()

# Writes <destination>: <source> with LF line ends and <patch> applied.
function(reelwarp_patched_copy source patch destination)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source} ${patch})
    get_filename_component(_name ${source} NAME)
    set(_stage ${CMAKE_BINARY_DIR}/juce-patched/stage/${_name})
    file(READ ${source} _text)
    string(REPLACE "\r\n" "\n" _text "${_text}") # the originals have CR LF line ends
    file(WRITE ${_stage} "${_text}")
    execute_process(
        COMMAND ${REELWARP_PATCH_PROGRAM} --batch --forward --fuzz=0 --no-backup-if-mismatch --reject-file=-
                -i ${patch} ${_stage}
        RESULT_VARIABLE _result OUTPUT_VARIABLE _output ERROR_VARIABLE _output)
    if(NOT _result EQUAL 0)
        message(FATAL_ERROR "${patch} no longer applies to ${source}: JUCE changed; "
                            "check whether the fault is still there and redo the patch.\n${_output}")
    endif()
    # Rewritten only when different, so that a reconfigure does not rebuild the binary.
    configure_file(${_stage} ${destination} COPYONLY)
endfunction()

# Compiles <patched entry> in place of the client's <entry> in the format's target.
function(reelwarp_replace_client_entry client_target entry patched_entry)
    get_target_property(_sources ${client_target} INTERFACE_SOURCES)
    list(FIND _sources ${entry} _at)
    if(_at EQUAL -1)
        message(FATAL_ERROR "${client_target} no longer compiles ${entry}: redo JUCE's patches")
    endif()
    list(REMOVE_AT _sources ${_at})
    list(INSERT _sources ${_at} ${patched_entry})
    set_property(TARGET ${client_target} PROPERTY INTERFACE_SOURCES ${_sources})
endfunction()

# VST3: the wrapper, and the header of its channel mapper ahead of the original.
reelwarp_patched_copy(${_juce_client}/VST3/juce_VST3_Wrapper.cpp
                      ${CMAKE_CURRENT_LIST_DIR}/patches/juce-vst3-wrapper-state.patch
                      ${_patched}/juce_audio_plugin_client/VST3/juce_VST3_Wrapper.cpp)
reelwarp_patched_copy(${JUCE_MODULES_DIR}/juce_audio_processors/format_types/juce_VST3Common.h
                      ${CMAKE_CURRENT_LIST_DIR}/patches/juce-vst3-common-mapping.patch
                      ${_patched}/include/juce_audio_processors/format_types/juce_VST3Common.h)
configure_file(${_juce_client}/juce_audio_plugin_client_VST3.cpp
               ${_patched}/juce_audio_plugin_client/juce_audio_plugin_client_VST3.cpp COPYONLY)
reelwarp_replace_client_entry(juce_audio_plugin_client_VST3 ${_juce_client}/juce_audio_plugin_client_VST3.cpp
                              ${_patched}/juce_audio_plugin_client/juce_audio_plugin_client_VST3.cpp)
target_include_directories(ReelWarp_VST3 BEFORE PRIVATE ${_patched}/include)
# The copy's includes of ../utility/ resolve against the original folder.
target_include_directories(ReelWarp_VST3 PRIVATE ${_juce_client}/VST3)

# LV2: the client, with the version pair the build computes.
if(TARGET ReelWarp_LV2)
    reelwarp_patched_copy(${_juce_client}/LV2/juce_LV2_Client.cpp
                          ${CMAKE_CURRENT_LIST_DIR}/patches/juce-lv2-client-version.patch
                          ${_patched}/juce_audio_plugin_client/LV2/juce_LV2_Client.cpp)
    configure_file(${_juce_client}/juce_audio_plugin_client_LV2.cpp
                   ${_patched}/juce_audio_plugin_client/juce_audio_plugin_client_LV2.cpp COPYONLY)
    reelwarp_replace_client_entry(juce_audio_plugin_client_LV2 ${_juce_client}/juce_audio_plugin_client_LV2.cpp
                                  ${_patched}/juce_audio_plugin_client/juce_audio_plugin_client_LV2.cpp)
    # Even numbers, minor never zero, growing with every release: major and
    # minor make the minor number, the patch the micro one.
    math(EXPR REELWARP_LV2_MINOR "2 * (100 * ${PROJECT_VERSION_MAJOR} + ${PROJECT_VERSION_MINOR})")
    math(EXPR REELWARP_LV2_MICRO "2 * ${PROJECT_VERSION_PATCH}")
    target_compile_definitions(ReelWarp_LV2 PRIVATE
        ReelWarp_LV2MinorVersion=${REELWARP_LV2_MINOR} ReelWarp_LV2MicroVersion=${REELWARP_LV2_MICRO})
endif()
