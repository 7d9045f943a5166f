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
# Quieten the reverse-engineering notes that fst prints on every include.
string(REGEX REPLACE "\n# *warning [^\n]*" "\n" _fst "${_fst}")
# Written through configure_file so that an unchanged header keeps its time stamp.
file(WRITE ${CMAKE_BINARY_DIR}/fst.h.generated "#define FST_DONT_DEPRECATE_UNKNOWN 1\n${_fst}")
configure_file(${CMAKE_BINARY_DIR}/fst.h.generated ${_vst2_dir}/fst.h COPYONLY)
foreach(_header aeffect.h aeffectx.h)
    configure_file(${REELWARP_FST_DIR}/${_header} ${_vst2_dir}/${_header} COPYONLY)
endforeach()
