# Toolchain of the presets macos-x86_64 and macos-arm64, which name the processor and the least macOS.
#
# On a Mac the system's own compiler builds the library. Elsewhere it is cross-built with the
# compiler, the headers and the stubs that scripts/macos-tools puts together; scripts/build-macos
# calls that first.

if(NOT CMAKE_HOST_SYSTEM_NAME STREQUAL "Darwin")
  set(orv_macos_tools ${CMAKE_CURRENT_LIST_DIR}/../build/macos-tools)
  if(DEFINED ENV{ORV_MACOS_TOOLS})
    set(orv_macos_tools $ENV{ORV_MACOS_TOOLS})
  endif()
  get_filename_component(orv_macos_tools ${orv_macos_tools} ABSOLUTE)
  if(NOT EXISTS ${orv_macos_tools}/bin/c++)
    message(FATAL_ERROR "There is no cross compiler in ${orv_macos_tools}. Run scripts/build-macos, "
                        "which puts it there and then builds.")
  endif()

  set(CMAKE_SYSTEM_NAME Darwin)
  set(CMAKE_SYSTEM_PROCESSOR ${CMAKE_OSX_ARCHITECTURES})
  set(CMAKE_OSX_SYSROOT ${orv_macos_tools}/sdk CACHE PATH "")
  set(CMAKE_C_COMPILER ${orv_macos_tools}/bin/cc)
  set(CMAKE_CXX_COMPILER ${orv_macos_tools}/bin/c++)
  foreach(tool AR RANLIB STRIP INSTALL_NAME_TOOL)
    string(TOLOWER ${tool} name)
    string(REPLACE "_" "-" name ${name})
    set(CMAKE_${tool} ${orv_macos_tools}/bin/llvm-${name} CACHE FILEPATH "")
  endforeach()

  # The stubs name only what the library calls; programs are built only to see that they compile.
  set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-undefined,dynamic_lookup")

  # CMake omits this option where it cannot ask a Mac for its version, and then writes no @rpath. This
  # file is read again as an override, because a toolchain file is read too early to set it.
  set(CMAKE_SHARED_LIBRARY_RUNTIME_C_FLAG "-Wl,-rpath,")
  set(CMAKE_USER_MAKE_RULES_OVERRIDE ${CMAKE_CURRENT_LIST_FILE})

  set(CMAKE_FIND_ROOT_PATH ${CMAKE_OSX_SYSROOT})
  set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
  set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
  set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
  set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
endif()
