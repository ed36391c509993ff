# The core and image processing modules of OpenCV 4, found without the package that carries OpenCV's own CMake files:
# that one drags in every other module.
find_path(OpenCVCore_INCLUDE_DIR opencv2/imgproc.hpp PATH_SUFFIXES opencv4)
find_library(OpenCVCore_CORE_LIBRARY opencv_core)
find_library(OpenCVCore_IMGPROC_LIBRARY opencv_imgproc)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OpenCVCore
    REQUIRED_VARS OpenCVCore_CORE_LIBRARY OpenCVCore_IMGPROC_LIBRARY OpenCVCore_INCLUDE_DIR)
if(OpenCVCore_FOUND AND NOT TARGET OpenCVCore::OpenCVCore)
    add_library(OpenCVCore::OpenCVCore INTERFACE IMPORTED)
    set_target_properties(OpenCVCore::OpenCVCore PROPERTIES
        INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${OpenCVCore_INCLUDE_DIR}"
        INTERFACE_INCLUDE_DIRECTORIES "${OpenCVCore_INCLUDE_DIR}"
        INTERFACE_LINK_LIBRARIES "${OpenCVCore_IMGPROC_LIBRARY};${OpenCVCore_CORE_LIBRARY}")
endif()
