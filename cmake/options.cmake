# How our own code is compiled. Applied target by target, so that a parent project that includes
# this one keeps its own flags.

include(CheckCXXCompilerFlag)

function(orv_compile_options target)
  set_target_properties(${target} PROPERTIES
    C_STANDARD 99 C_EXTENSIONS OFF
    CXX_STANDARD 17 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF
    C_VISIBILITY_PRESET hidden CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion $<$<BOOL:${ORV_WERROR}>:-Werror>)
  # Unique symbols would keep the library loaded after dlclose. Our own calls within a source may be
  # inlined.
  set(CMAKE_REQUIRED_FLAGS -Werror) # an option that is accepted but ignored counts as unknown
  foreach(option -fno-gnu-unique -fno-semantic-interposition)
    string(MAKE_C_IDENTIFIER ORV_KNOWS${option} known)
    check_cxx_compiler_flag(${option} ${known})
    if(${known})
      target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:${option}>)
    endif()
  endforeach()
  if(APPLE)
    # What the least macOS lacks would otherwise fail only there, when the library is loaded.
    target_compile_options(${target} PRIVATE -Werror=unguarded-availability)
  endif()
  if(ORV_SANITIZE)
    target_compile_options(${target} PRIVATE
      -fsanitize=${ORV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      target_compile_options(${target} PRIVATE
        -fno-sanitize=null) # Clang would check for a null receiver within the member itself
    endif()
    target_link_options(${target} PRIVATE -fsanitize=${ORV_SANITIZE})
  endif()
endfunction()
