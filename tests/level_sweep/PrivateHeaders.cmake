# Includes every header of the level sweep the way a source file of another target would, by its path inside the library
# and by its path inside detection/, and fails when one compiles. PUBLIC_HEADER has to compile, or the check shows nothing.
#   COMPILER, INCLUDES, DEFINITIONS: of the other target, the last two joined by "|"; DETECTION: the folder detection/
string(REPLACE "|" ";" includes "${INCLUDES}")
string(REPLACE "|" ";" definitions "${DEFINITIONS}")
set(flags -std=c++17 -fsyntax-only)
foreach(folder IN LISTS includes)
    list(APPEND flags -isystem ${folder})
endforeach()
foreach(definition IN LISTS definitions)
    list(APPEND flags -D${definition})
endforeach()

# From the folder detection/, where detection's own stages are: quoted includes look there first.
function(compile_with path result)
    execute_process(
        COMMAND ${COMPILER} ${flags} -include ${path} -x c++ /dev/null
        WORKING_DIRECTORY ${DETECTION}
        RESULT_VARIABLE status
        OUTPUT_QUIET ERROR_VARIABLE messages)
    set(${result} ${status} PARENT_SCOPE)
    set(messages "${messages}" PARENT_SCOPE)
endfunction()

compile_with(${PUBLIC_HEADER} status)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "${PUBLIC_HEADER} does not compile:\n${messages}")
endif()

file(GLOB_RECURSE headers RELATIVE ${DETECTION}/level_sweep ${DETECTION}/level_sweep/*.h)
list(FILTER headers EXCLUDE REGEX "^include/")
list(LENGTH headers count)
if(count LESS 10)
    message(FATAL_ERROR "Only ${count} private headers found in ${DETECTION}/level_sweep")
endif()
foreach(header IN LISTS headers)
    foreach(path IN ITEMS ${header} level_sweep/${header})
        compile_with(${path} status)
        if(status EQUAL 0)
            message(SEND_ERROR "#include \"${path}\" compiles outside the level sweep")
        endif()
    endforeach()
endforeach()
message(STATUS "${count} headers do not compile outside the level sweep")
