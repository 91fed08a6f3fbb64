# What "cmake --install" installs: the library, the headers below include/orv/, the pages and the
# examples, the CMake package, the pkg-config file and the tools. Nothing in them names the
# prefix, so that an installed tree can be moved; only a directory given as an absolute path must stay
# where it is.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS orv EXPORT orv
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
                NAMELINK_COMPONENT development
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development) # of all that follows

foreach(header ${orv_headers})
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
endforeach()

# The pages, and what they link to.
install(FILES CHANGELOG.md CONTRIBUTING.md README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} OPTIONAL)
install(FILES
  docs/architecture.md
  docs/bench.json
  docs/bench.svg
  docs/fuzz.txt
  docs/quality.md
  docs/scale.json
  docs/scale.svg
  docs/security.md
  docs/settings-file.md
  docs/stress.txt
  docs/transport.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)
install(FILES
  examples/activation_code.cpp
  examples/host.c
  examples/host_dlopen.c
  examples/soap_client.cpp
  examples/soap_service.cpp
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/orv)
install(EXPORT orv NAMESPACE orv:: FILE orv-config.cmake DESTINATION ${package_dir})
write_basic_package_version_file(orv-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/orv-config-version.cmake DESTINATION ${package_dir})

# The pkg-config file finds the prefix from its own place, if both directories are below the prefix.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR} OR IS_ABSOLUTE ${CMAKE_INSTALL_INCLUDEDIR})
  set(pc_prefix ${CMAKE_INSTALL_PREFIX})
  set(pc_libdir ${CMAKE_INSTALL_FULL_LIBDIR})
  set(pc_includedir ${CMAKE_INSTALL_FULL_INCLUDEDIR})
else()
  file(RELATIVE_PATH pc_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
  set(pc_prefix "\${pcfiledir}/${pc_prefix}")
  set(pc_libdir "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
  set(pc_includedir "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
configure_file(cmake/orv.pc.in orv.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/orv.pc DESTINATION ${pkgconfig_dir})

# orv_install_program(target): installs a program that finds the installed library.
function(orv_install_program target)
  file(RELATIVE_PATH bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set(path $<IF:$<PLATFORM_ID:Darwin>,@loader_path,$ORIGIN>/${bin_to_lib})
  if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR} OR IS_ABSOLUTE ${CMAKE_INSTALL_BINDIR})
    set(path ${CMAKE_INSTALL_FULL_LIBDIR})
  endif()
  set_target_properties(${target} PROPERTIES INSTALL_RPATH ${path})
  install(TARGETS ${target} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
endfunction()
