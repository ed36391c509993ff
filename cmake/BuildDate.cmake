# cmake -DSOURCE=FOLDER -DOUTPUT=FILE -P BuildDate.cmake: writes a source file that gives the date of the sources, and
# leaves it alone where it says so already. The date is that of SOURCE_DATE_EPOCH, else of the commit that is checked out,
# else of the commit that an archive was made from, else of the version's own year.
cmake_minimum_required(VERSION 3.25)
set(epoch "$ENV{SOURCE_DATE_EPOCH}")
if(NOT epoch MATCHES "^[0-9]+$")
    execute_process(COMMAND git -C ${SOURCE} log -1 --format=%ct HEAD
        OUTPUT_VARIABLE epoch ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE failed)
    if(failed OR NOT epoch MATCHES "^[0-9]+$")
        file(STRINGS ${SOURCE}/cmake/commit_date epoch LIMIT_COUNT 1)
    endif()
endif()
if(NOT epoch MATCHES "^[0-9]+$")
    set(epoch 1767225600)  # 1 January 2026
endif()
set(ENV{SOURCE_DATE_EPOCH} ${epoch})
string(TIMESTAMP date "%b %d %Y" UTC)
string(REPLACE " 0" "  " date "${date}")
file(CONFIGURE OUTPUT ${OUTPUT} CONTENT [[
#include "BuildDate.h"

namespace Korvane {

const char* BuildDate() { return "@date@"; }

}  // namespace Korvane
]] @ONLY)
