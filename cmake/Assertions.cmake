# One definition for every target: the inline functions that assert must be the same in all of them.
option(KORVANE_ASSERTIONS "Check KORVANE_ASSERT (toolkit/Assert.h)" OFF)
if(KORVANE_ASSERTIONS)
    add_compile_definitions(KORVANE_ASSERTIONS)
endif()
