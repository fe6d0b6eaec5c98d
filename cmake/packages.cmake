# SPDX-License-Identifier: BSD-3-Clause
# Debian packages of what cmake/install.cmake installs, one for each of its parts: `cpack` in a build folder, or
# scripts/package.
set(CPACK_PACKAGE_CONTACT "kxVerifyExrModes developers <kxverifyexrmodes@example.org>" CACHE STRING
  "Who maintains the packages: name <address>")
set(CPACK_DEBIAN_PACKAGE_RELEASE 1 CACHE STRING "What follows the version of the packages; letters tell systems apart")

set(CPACK_GENERATOR DEB)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_VENDOR "the kxVerifyExrModes developers")
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debianFiles.cmake)
set(CPACK_COMPONENTS_ALL programs development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_PROGRAMS_PACKAGE_NAME kxverifyexrmodes)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SUGGESTS "bash-completion, slurm-client")
set(CPACK_DEBIAN_PROGRAMS_DESCRIPTION "checks sequences of OpenEXR frames
kxCheckFrames says which frames of a rendered sequence are good: there,
whole, decodable, alike, and plausible as pictures. It answers with an exit
code, a list of frames to render again, JSON and a page for the browser.
.
kxVerifyExrModes prints one line for every frame from its headers, checks
them against the modes asked for, and deletes frames that fail on request.")

# The libraries are static: what they call is linked by whoever links them. Those of the EXR library bear its first two
# numbers in their symbols.
if(kx_qt EQUAL 5)
  set(kx_qt_package qtbase5-dev)
else()
  set(kx_qt_package qt6-base-dev)
endif()
string(REGEX MATCH "^([0-9]+)\\.([0-9]+)" kx_openexr ${OpenEXR_VERSION})
math(EXPR kx_openexr_next "${CMAKE_MATCH_2} + 1")
set(kx_seccomp_package "")
if(kx_has_seccomp)
  set(kx_seccomp_package libseccomp-dev)
endif()
string(JOIN ", " CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "${kx_qt_package} (>= ${Qt${kx_qt}Core_VERSION})"
  "libopenexr-dev (>= ${OpenEXR_VERSION})"
  "libopenexr-dev (<< ${CMAKE_MATCH_1}.${kx_openexr_next})"
  ${kx_seccomp_package} libturbojpeg0-dev libxxhash-dev zlib1g-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkxverifyexrmodes-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS cmake)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "checks sequences of OpenEXR frames - development files
Headers, static libraries and CMake package of what kxCheckFrames and
kxVerifyExrModes are made of: sequences on disk, headers, checks of frames,
their cache files, and routines on pixels.")
include(CPack)
