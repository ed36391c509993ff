# One entry of ctest for each suite of a test program, so that `ctest -R NAME` finds it. One for each test would start too
# many processes; those with a window need a display each.
#
# korvane_add_suites(PROGRAM [COMPUTES] [COMMAND WRAPPER...] [SUFFIX TEXT] [FILTER GTEST_FILTER] [LONG SUITE...]
#                    [SERIAL SUITE...] [PROPERTIES NAME VALUE...])
# The program is asked for its suites after it was linked. Entries are named PROGRAM.SUITE, with the suffix after it; suites
# named LONG have the label `long`, the others `quick`; nothing runs beside those named SERIAL. The target
# `korvane_tests` builds all such programs.
#
# A program's own tests are not optimised: what they call is. Their common headers are compiled once for each program of
# several files. Both together halve the time that tests take to compile. Tests that spend their time in templates of the
# module that they try are optimised like it: COMPUTES.
set(KORVANE_LIST_SUITES ${CMAKE_CURRENT_LIST_DIR}/ListSuites.cmake)

function(korvane_precompile_test_headers program)
    get_target_property(sources ${program} SOURCES)
    list(LENGTH sources count)
    get_target_property(already ${program} PRECOMPILE_HEADERS)
    if(count GREATER_EQUAL 4 AND NOT already)
        korvane_precompile_headers(${program}
            <gtest/gtest.h> <algorithm> <filesystem> <fstream> <functional> <map> <memory> <random> <sstream>)
    endif()
endfunction()

function(korvane_add_suites program)
    cmake_parse_arguments(ARG "COMPUTES" "SUFFIX;FILTER" "COMMAND;LONG;SERIAL;PROPERTIES" ${ARGN})
    set(entries ${CMAKE_CURRENT_BINARY_DIR}/${program}${ARG_SUFFIX}_suites.cmake)
    if(NOT TARGET korvane_tests)
        add_custom_target(korvane_tests)
    endif()
    add_dependencies(korvane_tests ${program})
    if(NOT ARG_COMPUTES)
        target_compile_options(${program} PRIVATE -O0)
    endif()
    korvane_precompile_test_headers(${program})
    if(NOT ARG_FILTER)
        set(ARG_FILTER *)
    endif()
    # A list inside an argument would come apart on its way.
    list(JOIN ARG_COMMAND "|" wrapper)
    list(JOIN ARG_LONG "|" long)
    list(JOIN ARG_SERIAL "|" serial)
    list(JOIN ARG_PROPERTIES "|" properties)
    add_custom_command(TARGET ${program} POST_BUILD
        COMMAND ${CMAKE_COMMAND} -DPROGRAM=$<TARGET_FILE:${program}> -DNAME=${program} -DSUFFIX=${ARG_SUFFIX}
            "-DWRAPPER=${wrapper}" "-DFILTER=${ARG_FILTER}" "-DLONG=${long}" "-DSERIAL=${serial}"
            "-DPROPERTIES=${properties}"
            -DOUTPUT=${entries} -P ${KORVANE_LIST_SUITES}
        BYPRODUCTS ${entries}
        VERBATIM)
    set_property(TARGET ${program} APPEND PROPERTY LINK_DEPENDS ${KORVANE_LIST_SUITES})
    # Until it is built, a test that fails and says so.
    set(include ${CMAKE_CURRENT_BINARY_DIR}/${program}${ARG_SUFFIX}_include.cmake)
    file(CONFIGURE OUTPUT ${include} CONTENT [[
if(EXISTS "@entries@")
    include("@entries@")
else()
    add_test(@program@@ARG_SUFFIX@.not_built @program@@ARG_SUFFIX@.not_built)
    set_tests_properties(@program@@ARG_SUFFIX@.not_built PROPERTIES LABELS quick)
endif()
]] @ONLY)
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${include})
endfunction()
