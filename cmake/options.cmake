# How our own code is compiled. Applied target by target, so that a parent project that includes
# this one keeps its own flags.

function(orv_compile_options target)
  set_target_properties(${target} PROPERTIES
    C_STANDARD 99 C_EXTENSIONS OFF
    CXX_STANDARD 17 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF
    C_VISIBILITY_PRESET hidden CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion $<$<BOOL:${ORV_WERROR}>:-Werror>)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Unique symbols would keep the library loaded after dlclose.
    target_compile_options(${target} PRIVATE
      -fno-semantic-interposition # our own calls within a source may be inlined
      $<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>)
  endif()
  if(APPLE)
    # Whatever the least macOS does not have yet would only fail there, when it is loaded.
    target_compile_options(${target} PRIVATE -Werror=unguarded-availability)
  endif()
  if(ORV_SANITIZE)
    target_compile_options(${target} PRIVATE
      -fsanitize=${ORV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      target_compile_options(${target} PRIVATE
        -fno-sanitize=null) # Clang would test for a null receiver within the member itself
    endif()
    target_link_options(${target} PRIVATE -fsanitize=${ORV_SANITIZE})
  endif()
endfunction()
