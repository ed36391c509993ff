# The image library VIGRA's headers, for benchmarks that print its figures beside ours. Nothing but headers is used.
find_path(Vigra_INCLUDE_DIR vigra/multi_watersheds.hxx)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Vigra REQUIRED_VARS Vigra_INCLUDE_DIR)
if(Vigra_FOUND AND NOT TARGET Vigra::Vigra)
    add_library(Vigra::Vigra INTERFACE IMPORTED)
    set_target_properties(Vigra::Vigra PROPERTIES INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${Vigra_INCLUDE_DIR}")
endif()
