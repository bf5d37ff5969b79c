# Compiler settings shared by every target, and one library target per folder of src/.

add_library(marvik_options INTERFACE)
target_compile_options(marvik_options INTERFACE -Wall -Wextra -Wshadow -Werror)
target_include_directories(marvik_options INTERFACE "${CMAKE_SOURCE_DIR}/src")
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 warns of an overlap that is not there in "text" + std::to_string(n) (GCC bug 105329).
  target_compile_options(marvik_options INTERFACE -Wno-restrict)
endif()
if(MARVIK_SANITIZE)
  target_compile_options(marvik_options INTERFACE -fsanitize=${MARVIK_SANITIZE} -fno-sanitize-recover=all
                                                  -fno-omit-frame-pointer)
  target_link_options(marvik_options INTERFACE -fsanitize=${MARVIK_SANITIZE})
  # The instrumented code makes gcc see uninitialised values in the standard library.
  target_compile_options(marvik_options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()
if(MARVIK_FUZZ)
  target_compile_options(marvik_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# marvik_library(NAME [FOLDER ...] [LINKS TARGET ... [PUBLIC TARGET ...]]): src/NAME and its sub-folders become
# marvik_NAME, linked to the folders it may use and to packaged libraries; those behind PUBLIC show in its headers.
function(marvik_library name)
  cmake_parse_arguments(arg "" "" "LINKS;PUBLIC" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/src/${name}/*.cpp")
  add_library(marvik_${name} STATIC ${sources})
  marvik_harden(marvik_${name})
  target_link_libraries(marvik_${name} PRIVATE ${arg_LINKS} PUBLIC marvik_options ${arg_PUBLIC})
  if(MARVIK_COVERAGE AND NOT name STREQUAL "app")
    target_compile_options(marvik_${name} PRIVATE -O1 --coverage)
    target_link_options(marvik_${name} PUBLIC --coverage)
  endif()
  foreach(used IN LISTS arg_UNPARSED_ARGUMENTS)
    target_link_libraries(marvik_${name} PUBLIC marvik_${used})
  endforeach()
endfunction()
