# What is installed, and where. The components are the packages: Library, Host (the reference host), Development
# and Program.
include_guard()
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(KELVANE_CONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Kelvane)

# The headers of this folder whose file comment does not call them internal, installed under their source path.
# The comments are read when the build is configured; "-inl.h" belongs to kernels.
function(kelvane_install_headers destination)
  if(NOT KELVANE_INSTALL)
    return()
  endif()
  file(GLOB_RECURSE headers RELATIVE ${PROJECT_SOURCE_DIR} CONFIGURE_DEPENDS *.h)
  list(FILTER headers EXCLUDE REGEX "-inl\\.h$")
  foreach(header IN LISTS headers)
    file(READ ${PROJECT_SOURCE_DIR}/${header} text)
    string(REGEX REPLACE "\n#pragma once.*" "" comment "${text}")
    if(NOT comment MATCHES "\\(internal")
      get_filename_component(folder ${header} DIRECTORY)
      install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${destination}/${folder} COMPONENT Development)
    endif()
  endforeach()
endfunction()

function(kelvane_install_library target export component)
  if(NOT KELVANE_INSTALL)
    return()
  endif()
  # Both libraries lie in one folder, wherever that is moved to.
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(TARGETS ${target} EXPORT ${export}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component} NAMELINK_COMPONENT Development)
  install(EXPORT ${export} NAMESPACE Kelvane:: DESTINATION ${KELVANE_CONFIG_DIR} COMPONENT Development)
endfunction()

function(kelvane_install_program target)
  if(NOT KELVANE_INSTALL)
    return()
  endif()
  file(RELATIVE_PATH libraries ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries}")
  install(TARGETS ${target} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Program)
endfunction()

# NAME.pc from cmake/NAME.pc.in.
function(kelvane_install_pkgconfig name)
  set(directory ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  # The prefix is found from the file's own place, so that an installed tree can be moved.
  file(RELATIVE_PATH KELVANE_PC_PREFIX ${CMAKE_INSTALL_PREFIX}/${directory} ${CMAKE_INSTALL_PREFIX})
  string(REGEX REPLACE "/$" "" KELVANE_PC_PREFIX "${KELVANE_PC_PREFIX}")
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/package/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/package/${name}.pc DESTINATION ${directory} COMPONENT Development)
endfunction()

# How others find the libraries: CMake's package, pkg-config's, the documents that the headers refer to.
function(kelvane_install_package)
  set(KELVANE_PC_HOST "kelvane-host = ${PROJECT_VERSION}")
  if(KELVANE_HOST_TARGET STREQUAL "Kelvane::Host")
    kelvane_install_pkgconfig(kelvane-host)
  else()
    set(KELVANE_PC_HOST)
  endif()
  kelvane_install_pkgconfig(kelvane)
  set(config ${PROJECT_BINARY_DIR}/package/KelvaneConfig.cmake)
  set(version ${PROJECT_BINARY_DIR}/package/KelvaneConfigVersion.cmake)
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/KelvaneConfig.cmake.in ${config}
    INSTALL_DESTINATION ${KELVANE_CONFIG_DIR} NO_SET_AND_CHECK_MACRO)
  # Before version 1.0, the second number moves with the interface.
  if(PROJECT_VERSION_MAJOR EQUAL 0)
    set(compatibility SameMinorVersion)
  else()
    set(compatibility SameMajorVersion)
  endif()
  write_basic_package_version_file(${version} COMPATIBILITY ${compatibility})
  install(FILES ${config} ${version} DESTINATION ${KELVANE_CONFIG_DIR} COMPONENT Development)
  # What the tests do not reach concerns the sources.
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT Development
    FILES_MATCHING PATTERN "*.md" PATTERN coverage.md EXCLUDE PATTERN man EXCLUDE)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples ${PROJECT_SOURCE_DIR}/samples DESTINATION ${CMAKE_INSTALL_DOCDIR}
    COMPONENT Development)
endfunction()
