# What Debian asks of each package beside its files: copyright, changelog, compressed manual pages. Run by cpack when
# the files are gathered; SOURCE_DATE_EPOCH, when set, is the date.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(root ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr)
  set(doc ${root}/share/doc/${package})
  file(MAKE_DIRECTORY ${doc})
  file(COPY_FILE ${CMAKE_CURRENT_LIST_DIR}/copyright ${doc}/copyright)
  file(WRITE ${doc}/changelog.Debian
"kelvane (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * Kelvane ${CPACK_PACKAGE_VERSION}; CHANGELOG.md of its sources tells what is new.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
  file(GLOB_RECURSE texts ${doc}/changelog.Debian ${root}/share/man/*.1)
  execute_process(COMMAND gzip -9n ${texts} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
