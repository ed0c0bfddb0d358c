# Debian packages by "cpack": one for each component.
set(KELVANE_MAINTAINER "Kelvane maintainers <maintainers@kelvane.example>" CACHE STRING
    "Whom the Debian packages name as their maintainer")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kelvane)
set(CPACK_PACKAGE_CONTACT ${KELVANE_MAINTAINER})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL Library Host Development Program)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/documents.cmake)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Where one package's library is found while another is looked at; that package is named below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/host ${PROJECT_BINARY_DIR}/kelvane)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(full_version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
set(library libkelvane${KELVANE_SOVERSION})
set(host libkelvane-host${KELVANE_SOVERSION})

# kelvane_debian_package(COMPONENT NAME SECTION DEPENDS SUMMARY LINE...)
macro(kelvane_debian_package component name section depends summary)
  set(CPACK_DEBIAN_${component}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${component}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${component}_PACKAGE_DEPENDS "${depends}")
  set(lines "${summary}" ${ARGN})
  list(JOIN lines "\n" CPACK_DEBIAN_${component}_DESCRIPTION)
endmacro()
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(about "The models map ground points to lines and samples of an image by ratios"
          "of cubic polynomials.")
kelvane_debian_package(LIBRARY ${library} libs "${host} (>= ${PROJECT_VERSION})"
  "rational polynomial camera models of satellite images"
  "Reads, projects, inverts, intersects, fits and refines such models." ${about})
kelvane_debian_package(HOST ${host} libs ""
  "reference host of the Kelvane library"
  "Configurations in XML, streams, messages and the other services that the"
  "library of camera models expects of the application around it.")
kelvane_debian_package(DEVELOPMENT libkelvane-dev libdevel "${library} (= ${full_version}), ${host} (= ${full_version})"
  "rational polynomial camera models - development files"
  "Headers, and what CMake and pkg-config need to find the library and its"
  "reference host." ${about})
kelvane_debian_package(PROGRAM kelvane science "${library} (>= ${PROJECT_VERSION}), ${host} (>= ${PROJECT_VERSION})"
  "rational polynomial camera models from the shell"
  "Projects points by the model of a satellite image, locates and intersects"
  "image points on the ground, fits, refines, inverts and converts models." ${about})
foreach(component LIBRARY HOST)
  set(CPACK_DEBIAN_${component}_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/triggers)
endforeach()
include(CPack)
