add_library(korvane_warnings INTERFACE)
target_compile_options(korvane_warnings INTERFACE
    -Wall -Wextra -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
)

# On in the presets. Off otherwise: a compiler that knows more warnings must not break a user's build.
option(KORVANE_WERROR "Treat warnings as errors" OFF)
if(KORVANE_WERROR)
    target_compile_options(korvane_warnings INTERFACE -Werror)
endif()
