# SPDX-License-Identifier: BSD-3-Clause
# libseccomp, as kxSeccomp: distributions ship it without CMake package. Used by the project's build and, installed
# beside it, by its CMake package.
include(FindPackageHandleStandardArgs)

find_library(kxSeccomp_LIBRARY seccomp)
find_path(kxSeccomp_INCLUDE_DIR seccomp.h)
if(kxSeccomp_INCLUDE_DIR)
  file(STRINGS ${kxSeccomp_INCLUDE_DIR}/seccomp.h kxSeccomp_lines REGEX "^#define SCMP_VER_(MAJOR|MINOR|MICRO)")
  string(REGEX REPLACE "[^;0-9]+" "" kxSeccomp_numbers "${kxSeccomp_lines}")
  list(JOIN kxSeccomp_numbers . kxSeccomp_VERSION)
endif()
mark_as_advanced(kxSeccomp_LIBRARY kxSeccomp_INCLUDE_DIR)
find_package_handle_standard_args(kxSeccomp REQUIRED_VARS kxSeccomp_LIBRARY kxSeccomp_INCLUDE_DIR
  VERSION_VAR kxSeccomp_VERSION)

if(kxSeccomp_FOUND AND NOT TARGET kxSeccomp)
  add_library(kxSeccomp INTERFACE IMPORTED)
  target_link_libraries(kxSeccomp INTERFACE ${kxSeccomp_LIBRARY})
  target_include_directories(kxSeccomp INTERFACE ${kxSeccomp_INCLUDE_DIR})
endif()
