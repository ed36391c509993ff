# The flags that results depend on: floating-point results are the same bits on every x86-64 machine, so nothing may
# contract or reorder them. They come after the user's own flags, such as -march=native or -ffast-math, and win.
add_library(korvane_arithmetic INTERFACE)
target_compile_options(korvane_arithmetic INTERFACE -fno-fast-math -ffp-contract=off)
target_link_options(korvane_arithmetic INTERFACE -fno-fast-math)

if(NOT CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|amd64|AMD64)$" OR NOT CMAKE_SIZEOF_VOID_P EQUAL 8)
    message(WARNING
        "Korvane is made for 64-bit x86 processors; this one is ${CMAKE_SYSTEM_PROCESSOR}. It was never built or tested "
        "here, and results need not be the same bits.")
endif()
