# What every target of the project is compiled with. Floating-point results must be the same bits on every x86-64
# machine, so nothing may contract or reorder them.
add_library(korvane_warnings INTERFACE)
target_compile_options(korvane_warnings INTERFACE
    -Wall -Wextra -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Werror
    -ffp-contract=off
)
