# SPDX-License-Identifier: BSD-3-Clause
# libjpeg-turbo and xxHash, as kxTurboJpeg and kxXxHash: distributions ship them without CMake packages. Used by the
# project's build and, installed beside it, by its CMake package.
include(FindPackageHandleStandardArgs)

find_library(kxTurboJpeg_LIBRARY turbojpeg)
find_path(kxTurboJpeg_INCLUDE_DIR turbojpeg.h)
find_library(kxXxHash_LIBRARY xxhash)
find_path(kxXxHash_INCLUDE_DIR xxhash.h)
mark_as_advanced(kxTurboJpeg_LIBRARY kxTurboJpeg_INCLUDE_DIR kxXxHash_LIBRARY kxXxHash_INCLUDE_DIR)
find_package_handle_standard_args(kxCodecs
  REQUIRED_VARS kxTurboJpeg_LIBRARY kxTurboJpeg_INCLUDE_DIR kxXxHash_LIBRARY kxXxHash_INCLUDE_DIR)

if(kxCodecs_FOUND)
  foreach(name kxTurboJpeg kxXxHash)
    if(NOT TARGET ${name})
      add_library(${name} INTERFACE IMPORTED)
      target_link_libraries(${name} INTERFACE ${${name}_LIBRARY})
      target_include_directories(${name} INTERFACE ${${name}_INCLUDE_DIR})
    endif()
  endforeach()
endif()
