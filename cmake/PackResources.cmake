# Packs the files below SOURCE into a ZIP, each as "resource/<path>", and
# writes OUTPUT, a C++ file that holds the archive's bytes.
# The ZIP is deterministic: sorted entries and a fixed time stamp.
file(REMOVE_RECURSE ${STAGE})
file(MAKE_DIRECTORY ${STAGE}/resource)
file(GLOB_RECURSE files RELATIVE ${SOURCE} ${SOURCE}/*)
list(SORT files)
set(entries "")
foreach(f ${files})
    get_filename_component(dir ${f} DIRECTORY)
    file(COPY ${SOURCE}/${f} DESTINATION ${STAGE}/resource/${dir})
    list(APPEND entries resource/${f})
endforeach()
set(zip ${STAGE}/resources.zip)
execute_process(COMMAND ${CMAKE_COMMAND} -E tar cf ${zip} --format=zip --mtime=2000-01-01 ${entries}
    WORKING_DIRECTORY ${STAGE} RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "could not pack the resource archive")
endif()
file(READ ${zip} hex HEX)
string(LENGTH "${hex}" length)
math(EXPR bytes "${length} / 2")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," hex "${hex}")
string(REGEX REPLACE "(0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,)" "\\1\n" hex "${hex}")
file(WRITE ${STAGE}/ResourceArchive.cpp "// Generated from resources/ by cmake/PackResources.cmake.
#include \"files/ResourceArchive.h\"

namespace
{
alignas(16) const unsigned char archive[${bytes}] = {
${hex}
};
} // namespace

qel::EmbeddedArchive qel::embeddedResourceArchive() noexcept
{
    return { archive, sizeof archive };
}
")
execute_process(COMMAND ${CMAKE_COMMAND} -E copy_if_different ${STAGE}/ResourceArchive.cpp ${OUTPUT})
