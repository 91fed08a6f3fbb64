# CPack runs this when the files of the archive, or of the Debian packages, are in place.

function(complete_for_debian)
  # Without these two CPack would omit the dependencies of the packages.
  find_program(shlibdeps dpkg-shlibdeps)
  find_program(file file)
  if(NOT shlibdeps OR NOT file)
    message(FATAL_ERROR "the Debian packages need two more programs: apt-get install dpkg-dev file")
  endif()

  # What every Debian package has in its documentation folder.
  set(work ${CPACK_TOPLEVEL_DIRECTORY}/documents)
  string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC) # SOURCE_DATE_EPOCH, where that is set
  configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/../CHANGELOG.md ${work}/changelog COPYONLY)
  file(WRITE ${work}/changelog.Debian
"${CPACK_PACKAGE_NAME} (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * Packages of version ${CPACK_PACKAGE_VERSION}; changelog.gz says what is new in it.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
  execute_process(COMMAND gzip -9nf ${work}/changelog ${work}/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)
  set(documents ${work}/changelog.gz ${work}/changelog.Debian.gz)
  set(licence ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/../LICENSE)
  if(EXISTS ${licence})
    configure_file(${licence} ${work}/copyright COPYONLY)
    list(APPEND documents ${work}/copyright)
  endif()
  foreach(component ${CPACK_COMPONENTS_ALL})
    string(TOUPPER ${component} upper)
    set(root ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX})
    file(COPY ${documents} DESTINATION ${root}/share/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  endforeach()
endfunction()

if(CPACK_GENERATOR STREQUAL "DEB")
  complete_for_debian()
endif()

# Everybody may read the files, whatever the umask.
execute_process(COMMAND chmod -R go=rX ${CPACK_TEMPORARY_INSTALL_DIRECTORY} COMMAND_ERROR_IS_FATAL ANY)
