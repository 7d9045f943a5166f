# VST2 interface headers for JUCE, generated from Debian's fst headers, with
# the published numbers for fst's placeholders (see below) and two structures
# given the size that JUCE's wrapper and host assume:
# - fst declares VstSpeakerArrangement::speakers as a flexible array, but JUCE
#   sizes that structure with the classic eight entries, so both sides would
#   write past their heap blocks;
# - fst's VstPinProperties lacks the 48 reserved bytes at its end, and JUCE's
#   wrapper writes a terminating byte past shortLabel into them, past the
#   host's stack copy.
set(REELWARP_FST_DIR /usr/include/pluginterfaces/fst)
set(REELWARP_VST2_SDK ${CMAKE_BINARY_DIR}/vst2sdk)
set(_vst2_dir ${REELWARP_VST2_SDK}/pluginterfaces/vst2.x)

if(NOT EXISTS ${REELWARP_FST_DIR}/fst.h)
    message(FATAL_ERROR "fst headers not found: install fst-dev")
endif()

# Replaces a text that must be there; fails when fst changed under the fix.
macro(reelwarp_fix_fst from to)
    string(FIND "${_fst}" "${from}" _at)
    if(_at EQUAL -1)
        message(FATAL_ERROR "fst.h no longer holds '${from}'; review the VST2 header fix")
    endif()
    string(REPLACE "${from}" "${to}" _fst "${_fst}")
endmacro()

file(READ ${REELWARP_FST_DIR}/fst.h _fst)
reelwarp_fix_fst("t_fstSpeakerProperties speakers[];" "t_fstSpeakerProperties speakers[8];")
reelwarp_fix_fst("  char shortLabel[8];\n} FST_UNKNOWN(t_fstPinProperties);"
                 "  char shortLabel[8];\n  char future[48];\n} FST_UNKNOWN(t_fstPinProperties);")

# fst numbers the names its authors could not place 100000 plus a line of
# fst.h; a host knows only the published numbers, so each gets its own here.
include(Vst2PublishedNumbers)
# Each kind of placeholder macro and the prefix it gives its name.
set(_prefix_HOST_OPCODE audioMaster)
set(_prefix_EFFECT_OPCODE eff)
set(_prefix_EFFECT_CATEGORY kPlugCateg)
set(_prefix_SPEAKER kSpeaker)
set(_prefix_CONSTANT kVst)
set(_prefix_FLAG kVst)
set(_kinds "HOST_OPCODE|EFFECT_OPCODE|EFFECT_CATEGORY|SPEAKER|CONSTANT|FLAG")
string(REGEX MATCHALL "\n[ \t]*FST_(${_kinds})_UNKNOWN\\([A-Za-z0-9_]+\\)" _placeholders "${_fst}")
set(_unnumbered "")
foreach(_placeholder ${_placeholders})
    string(REGEX MATCH "FST_([A-Z_]+)_UNKNOWN\\(([A-Za-z0-9_]+)\\)" _call "${_placeholder}")
    set(_name ${_prefix_${CMAKE_MATCH_1}}${CMAKE_MATCH_2})
    set(_entry ${REELWARP_VST2_PUBLISHED_NUMBERS})
    list(FILTER _entry INCLUDE REGEX "^${_name}=")
    string(REPLACE "${_name}=" "" _value "${_entry}")
    if(_value STREQUAL "")
        list(APPEND _unnumbered ${_name})
    else()
        string(REPLACE "${_call}" "${_name} = ${_value}" _fst "${_fst}")
    endif()
endforeach()

# A newer fst may add placeholders; the build stops if JUCE's VST2 code uses one.
file(GLOB _juce_vst2_sources
    ${JUCE_MODULES_DIR}/juce_audio_plugin_client/VST/*.cpp
    ${JUCE_MODULES_DIR}/juce_audio_plugin_client/VST/*.h
    ${JUCE_MODULES_DIR}/juce_audio_processors/format_types/juce_VST*.cpp
    ${JUCE_MODULES_DIR}/juce_audio_processors/format_types/juce_VST*.h)
if(NOT _juce_vst2_sources)
    message(FATAL_ERROR "JUCE's VST2 sources not found under ${JUCE_MODULES_DIR}")
endif()
foreach(_source ${_juce_vst2_sources})
    file(READ ${_source} _text)
    foreach(_name ${_unnumbered})
        if(_text MATCHES "[^A-Za-z0-9_]${_name}[^A-Za-z0-9_]")
            message(FATAL_ERROR "fst.h gives ${_name} only a placeholder number and ${_source} uses it: "
                                "add its published number to cmake/Vst2PublishedNumbers.cmake")
        endif()
    endforeach()
endforeach()

# Quieten the reverse-engineering notes that fst prints on every include.
string(REGEX REPLACE "\n# *warning [^\n]*" "\n" _fst "${_fst}")
# Written through configure_file so that an unchanged header keeps its time stamp.
file(WRITE ${CMAKE_BINARY_DIR}/fst.h.generated "#define FST_DONT_DEPRECATE_UNKNOWN 1\n${_fst}")
configure_file(${CMAKE_BINARY_DIR}/fst.h.generated ${_vst2_dir}/fst.h COPYONLY)
foreach(_header aeffect.h aeffectx.h)
    configure_file(${REELWARP_FST_DIR}/${_header} ${_vst2_dir}/${_header} COPYONLY)
endforeach()
