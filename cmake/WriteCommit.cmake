# Writes Commit.h with the commit that is being built, on every build; the file changes only when the commit does.
# SOURCE: the source tree. TEMPLATE, TARGET: Commit.h.in and Commit.h. COMMIT: the commit where the tree does not tell it.
if(NOT COMMIT)
    execute_process(
        COMMAND git describe --always --dirty --abbrev=12 --exclude *
        WORKING_DIRECTORY ${SOURCE} OUTPUT_VARIABLE COMMIT OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
configure_file(${TEMPLATE} ${TARGET} @ONLY)
