# CPack runs this when the Debian packages are written. Into that of the library it has put scripts
# that call ldconfig, where Debian wants a trigger.

foreach(package ${CPACK_PACKAGE_FILES})
  if(NOT package MATCHES "[.]deb$")
    continue()
  endif()
  set(work ${CPACK_TOPLEVEL_DIRECTORY}/package)
  file(REMOVE_RECURSE ${work})
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${work} COMMAND_ERROR_IS_FATAL ANY)
  if(EXISTS ${work}/DEBIAN/postinst)
    file(REMOVE ${work}/DEBIAN/postinst ${work}/DEBIAN/postrm)
    file(WRITE ${work}/DEBIAN/triggers "activate-noawait ldconfig\n")
  endif()
  execute_process(COMMAND dpkg-deb --root-owner-group --build ${work} ${package} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
