# SPDX-License-Identifier: BSD-3-Clause
# Run by cpack when the files of the packages are in their folders, before they are packed: gives documents,
# completions and binaries the names and the form that they have in Debian. Archives (cpack -G TGZ) stay as they are.
cmake_minimum_required(VERSION 3.25)
if(NOT CPACK_GENERATOR STREQUAL DEB)
  return()
endif()

function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(write_debian_changelog file package)
  string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
  file(WRITE ${file} "${package} (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * Package of version ${CPACK_PACKAGE_VERSION}; its changes are in changelog.gz.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
endfunction()

foreach(component ${CPACK_COMPONENTS_ALL})
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(share ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component}/usr/share)
  set(documents ${share}/doc/${package})
  file(RENAME ${share}/doc/kxVerifyExrModes ${documents})
  file(RENAME ${documents}/LICENSE ${documents}/copyright)
  file(RENAME ${documents}/CHANGELOG.md ${documents}/changelog)
  write_debian_changelog(${documents}/changelog.Debian ${package})
  file(GLOB manual_pages ${share}/man/man1/*)
  run(gzip -9nf ${documents}/changelog ${documents}/changelog.Debian ${manual_pages})
endforeach()

# Without what only says how they were compiled.
function(strip_files option)
  if(ARGN)
    run(strip ${option} --remove-section=.comment --remove-section=.note --enable-deterministic-archives ${ARGN})
  endif()
endfunction()
file(GLOB binaries ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/programs/usr/bin/*)
file(GLOB_RECURSE libraries ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/development/usr/lib/*.a)
strip_files(--strip-all ${binaries})
strip_files(--strip-debug ${libraries})

# Where zsh looks for completions of packages.
if(programs IN_LIST CPACK_COMPONENTS_ALL)
  set(zsh ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/programs/usr/share/zsh)
  file(RENAME ${zsh}/site-functions ${zsh}/vendor-completions)
endif()

# Whatever the umask is.
run(chmod -R u=rwX,go=rX ${CPACK_TEMPORARY_INSTALL_DIRECTORY})
