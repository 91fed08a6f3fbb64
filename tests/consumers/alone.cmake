# A project that fetches the library gets only the library.
get_property(targets DIRECTORY ${orv_SOURCE_DIR} PROPERTY BUILDSYSTEM_TARGETS)
if(NOT targets STREQUAL "orv")
  message(SEND_ERROR "the subproject has targets ${targets}")
endif()
