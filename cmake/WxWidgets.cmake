# Two separate targets, so that a module that needs strings and files only never sees, or links, a window library.
find_program(WX_CONFIG_EXECUTABLE NAMES wx-config REQUIRED)

function(korvane_wx_target target)
    execute_process(COMMAND ${WX_CONFIG_EXECUTABLE} --version=3.2 --cxxflags ${ARGN}
        OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    execute_process(COMMAND ${WX_CONFIG_EXECUTABLE} --version=3.2 --libs ${ARGN}
        OUTPUT_VARIABLE libs OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    separate_arguments(flags UNIX_COMMAND "${flags}")
    separate_arguments(libs UNIX_COMMAND "${libs}")
    set(includes ${flags})
    list(FILTER includes INCLUDE REGEX "^-I")
    list(TRANSFORM includes REPLACE "^-I" "")
    set(definitions ${flags})
    list(FILTER definitions INCLUDE REGEX "^-D")
    list(TRANSFORM definitions REPLACE "^-D" "")
    # Whether windows may be seen is each target's own affair: what a module without them passes on must not blind the
    # window program.
    list(REMOVE_ITEM definitions wxUSE_GUI=0)
    add_library(${target} INTERFACE)
    target_include_directories(${target} SYSTEM INTERFACE ${includes})
    target_compile_definitions(${target} INTERFACE ${definitions})
    target_link_libraries(${target} INTERFACE ${libs})
endfunction()

korvane_wx_target(korvane_wx_base base)
if(KORVANE_WINDOW)
    korvane_wx_target(korvane_wx_gui core base)
endif()

# Linked PRIVATE by every target without windows: hides the window half of the toolkit's headers.
add_library(korvane_wx_windowless INTERFACE)
target_compile_definitions(korvane_wx_windowless INTERFACE wxUSE_GUI=0)
