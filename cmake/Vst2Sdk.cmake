# VST2 interface headers for JUCE, generated from Debian's fst headers, with
# two structures given the size that JUCE's wrapper and host assume:
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

file(READ ${REELWARP_FST_DIR}/fst.h _fst)
set(_flexible "t_fstSpeakerProperties speakers[];")
string(FIND "${_fst}" "${_flexible}" _at)
if(_at EQUAL -1)
    message(FATAL_ERROR "fst.h no longer declares the flexible speaker array; review the VST2 header fix")
endif()
string(REPLACE "${_flexible}" "t_fstSpeakerProperties speakers[8];" _fst "${_fst}")
set(_short_label "  char shortLabel[8];\n} FST_UNKNOWN(t_fstPinProperties);")
string(FIND "${_fst}" "${_short_label}" _at)
if(_at EQUAL -1)
    message(FATAL_ERROR "fst.h changed its VstPinProperties; review the VST2 header fix")
endif()
string(REPLACE "${_short_label}" "  char shortLabel[8];\n  char future[48];\n} FST_UNKNOWN(t_fstPinProperties);" _fst "${_fst}")
# Quieten the reverse-engineering notes that fst prints on every include.
string(REGEX REPLACE "\n# *warning [^\n]*" "\n" _fst "${_fst}")
# Written through configure_file so that an unchanged header keeps its time stamp.
file(WRITE ${CMAKE_BINARY_DIR}/fst.h.generated "#define FST_DONT_DEPRECATE_UNKNOWN 1\n${_fst}")
configure_file(${CMAKE_BINARY_DIR}/fst.h.generated ${_vst2_dir}/fst.h COPYONLY)
foreach(_header aeffect.h aeffectx.h)
    configure_file(${REELWARP_FST_DIR}/${_header} ${_vst2_dir}/${_header} COPYONLY)
endforeach()
