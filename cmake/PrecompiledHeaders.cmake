# korvane_precompile_headers(TARGET HEADER...): compiles these headers of libraries once for the target instead of once for
# each of its sources. Sources include what they use all the same: KORVANE_PRECOMPILE=OFF builds without. Headers of this
# tree are not precompiled, as every change of one would compile the whole target again.
option(KORVANE_PRECOMPILE "Compile the libraries' headers once for each target" ON)

function(korvane_precompile_headers target)
    if(NOT KORVANE_PRECOMPILE)
        return()
    endif()
    target_precompile_headers(${target} PRIVATE ${ARGN})
    # The compiler cache asks for it.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
endfunction()
