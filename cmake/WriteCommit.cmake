# Writes a source file that names the commit that is being built, on every build; the file changes only when the commit
# does. SOURCE: the source tree. TEMPLATE, TARGET: the source file before and after. COMMIT: the commit where the tree does
# not tell it. An archive of the sources carries its commit; a repository is queried, whatever changed beside the commit.
if(NOT COMMIT)
    file(STRINGS ${SOURCE}/cmake/commit COMMIT LIMIT_COUNT 1)
    if(COMMIT MATCHES "^[0-9a-f]+$")
        string(SUBSTRING ${COMMIT} 0 12 COMMIT)
    else()
        set(COMMIT "")
        execute_process(
            COMMAND git describe --always --dirty --abbrev=12 --exclude *
            WORKING_DIRECTORY ${SOURCE} OUTPUT_VARIABLE COMMIT OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    endif()
endif()
configure_file(${TEMPLATE} ${TARGET} @ONLY)
