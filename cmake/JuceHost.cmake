# A static library that compiles JUCE once with plug-in hosting, for code
# that runs the product in-process: tests, the renderer, tools.
set(REELWARP_JUCE_DEFINITIONS
    JUCE_WEB_BROWSER=0
    JUCE_USE_CURL=0
    JUCE_USE_OGGVORBIS=0
    JUCE_USE_MP3AUDIOFORMAT=0
    JUCE_USE_LAME_AUDIO_FORMAT=0
    JUCE_USE_WINDOWS_MEDIA_FORMAT=0
    JUCE_DISPLAY_SPLASH_SCREEN=0
    JUCE_REPORT_APP_USAGE=0
    JUCE_SILENCE_XCODE_15_LINKER_WARNING=1)

# JUCE's FLAC reader shifts negative samples left, which C++20 defines and
# both compilers have always done as expected; the sanitizer build lets it be.
if(REELWARP_SANITIZE STREQUAL "address")
    set_source_files_properties(${JUCE_MODULES_DIR}/juce_audio_formats/juce_audio_formats.cpp
        PROPERTIES COMPILE_OPTIONS -fno-sanitize=shift-base)
endif()

function(reelwarp_add_juce_library target)
    add_library(${target} STATIC)
    target_link_libraries(${target}
        PRIVATE
            juce::juce_audio_utils
            juce::juce_audio_processors
            juce::juce_audio_formats
            juce::juce_gui_basics
        PUBLIC
            juce::juce_recommended_config_flags)
    target_compile_definitions(${target} PUBLIC
        ${REELWARP_JUCE_DEFINITIONS}
        JUCE_STANDALONE_APPLICATION=0
        JUCE_PLUGINHOST_VST=1
        JUCE_PLUGINHOST_VST3=1
        JUCE_PLUGINHOST_LV2=1
        JUCE_MODAL_LOOPS_PERMITTED=1
        # The renderer reads and writes FLAC through Debian's libFLAC.
        JUCE_USE_FLAC=1
        JUCE_INCLUDE_FLAC_CODE=0)
    target_include_directories(${target} PRIVATE ${REELWARP_VST2_SDK})
    # Re-export what the modules give privately, so that users of this
    # library see the same headers and configuration without compiling JUCE.
    target_include_directories(${target} INTERFACE
        $<TARGET_PROPERTY:${target},INCLUDE_DIRECTORIES>)
    target_compile_definitions(${target} INTERFACE
        $<TARGET_PROPERTY:${target},COMPILE_DEFINITIONS>)
    # The modules' own system libraries, without their sources.
    foreach(module juce_core juce_graphics juce_gui_basics juce_gui_extra juce_audio_devices)
        if(TARGET juce::pkgconfig_${module}_LINUX_DEPS)
            target_link_libraries(${target} PUBLIC juce::pkgconfig_${module}_LINUX_DEPS)
        endif()
    endforeach()
    if(TARGET juce::pkgconfig_JUCE_IMG_LINUX_DEPS)
        target_link_libraries(${target} PUBLIC juce::pkgconfig_JUCE_IMG_LINUX_DEPS)
    endif()
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(REELWARP_FLAC REQUIRED IMPORTED_TARGET flac)
    target_link_libraries(${target} PUBLIC PkgConfig::REELWARP_FLAC)
    find_package(Threads REQUIRED)
    target_link_libraries(${target} PUBLIC Threads::Threads ${CMAKE_DL_LIBS} rt z)
endfunction()
