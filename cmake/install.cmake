# SPDX-License-Identifier: BSD-3-Clause
# What is installed where, in two parts that packages are made of: "programs", and "development" for other projects.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(kx_documents ${CMAKE_INSTALL_DATADIR}/doc/kxVerifyExrModes)
set(kx_headers ${CMAKE_INSTALL_INCLUDEDIR}/kxVerifyExrModes)
set(kx_cmake_package ${CMAKE_INSTALL_LIBDIR}/cmake/kxVerifyExrModes)

install(TARGETS kxVerifyExrModes kxCheckFrames RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT programs)
install(FILES docs/kxVerifyExrModes.1 docs/kxCheckFrames.1
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT programs)
install(FILES
  CHANGELOG.md LICENSE docs/farm.md docs/findings.md docs/kxCheckFrames.md docs/kxCheckFrames.schema.json docs/kxVerifyExrModes.md
  DESTINATION ${kx_documents} COMPONENT programs)
install(PROGRAMS examples/slurm/submitCheck examples/slurm/checkChunk examples/slurm/checkAll
  DESTINATION ${kx_documents}/examples/slurm COMPONENT programs)
foreach(kx_program kxVerifyExrModes kxCheckFrames)
  install(FILES completions/${kx_program}.bash RENAME ${kx_program}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT programs)
  install(FILES completions/_${kx_program}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions COMPONENT programs)
endforeach()

# Headers in folders "private" are for their own folder only, the three below belong to kxCheckFrames itself.
install(DIRECTORY shared image check DESTINATION ${kx_headers} COMPONENT development
  FILES_MATCHING PATTERN "*.h"
  PATTERN private EXCLUDE
  PATTERN kxCheckOutputs.h EXCLUDE
  PATTERN kxCheckProgram.h EXCLUDE
  PATTERN kxProgressBar.h EXCLUDE)
install(TARGETS kxShared kxImage kxCheck EXPORT kxVerifyExrModesTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  INCLUDES DESTINATION ${kx_headers})
install(EXPORT kxVerifyExrModesTargets NAMESPACE kx:: DESTINATION ${kx_cmake_package} COMPONENT development)
configure_package_config_file(cmake/kxVerifyExrModesConfig.cmake.in
  ${PROJECT_BINARY_DIR}/kxVerifyExrModesConfig.cmake INSTALL_DESTINATION ${kx_cmake_package})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/kxVerifyExrModesConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/kxVerifyExrModesConfig.cmake ${PROJECT_BINARY_DIR}/kxVerifyExrModesConfigVersion.cmake
  cmake/FindkxCodecs.cmake cmake/FindkxSeccomp.cmake
  DESTINATION ${kx_cmake_package} COMPONENT development)
install(FILES CHANGELOG.md LICENSE docs/cache-file-format.md
  DESTINATION ${kx_documents} COMPONENT development)
install(FILES
  examples/CMakeLists.txt examples/SampleFrames.cpp examples/SampleFrames.h examples/headersAsJson.cpp
  examples/writeDamagedSequence.cpp examples/writeSampleSequence.cpp
  DESTINATION ${kx_documents}/examples COMPONENT development)
