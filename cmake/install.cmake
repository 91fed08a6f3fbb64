# What "cmake --install" lays down: the library, the headers below include/orv/, the CMake package,
# the pkg-config file and the tools. Nothing in them names the prefix, so that an installed tree can be moved.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS orv EXPORT orv
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

foreach(header ${orv_headers})
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
endforeach()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/orv)
install(EXPORT orv NAMESPACE orv:: FILE orv-config.cmake DESTINATION ${package_dir})
write_basic_package_version_file(orv-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/orv-config-version.cmake DESTINATION ${package_dir})

# The way back from the pkg-config file to the prefix, and from there to each directory.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pkgconfig_to_prefix
     ${CMAKE_INSTALL_PREFIX}/${pkgconfig_dir} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" pkgconfig_to_prefix ${pkgconfig_to_prefix})
configure_file(cmake/orv.pc.in orv.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/orv.pc DESTINATION ${pkgconfig_dir})

# orv_install_program(target): a program that finds the library where both are installed.
function(orv_install_program target)
  file(RELATIVE_PATH bin_to_lib ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}
                                ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR})
  set(beside $<IF:$<PLATFORM_ID:Darwin>,@loader_path,$ORIGIN>)
  set_target_properties(${target} PROPERTIES INSTALL_RPATH ${beside}/${bin_to_lib})
  install(TARGETS ${target} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endfunction()
