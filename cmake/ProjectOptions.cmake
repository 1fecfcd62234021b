# Compiler settings of our own code: link to corvalux::options. Generated code does not use them.
add_library(corvalux_options INTERFACE)
add_library(corvalux::options ALIAS corvalux_options)
target_compile_options(corvalux_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                                  -Woverloaded-virtual -Wcast-align)
if(CORVALUX_WARNINGS_AS_ERRORS)
  target_compile_options(corvalux_options INTERFACE -Werror)
endif()
# A constructor's parameter may have the name of the field that it initialises.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(corvalux_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wno-shadow>)
endif()
# GCC 12 wrongly warns of an overlap in `"text" + std::string` (its bug 105651).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(corvalux_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict>)
endif()
# Of sources that are compiled together GCC warns as if they were headers.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_UNITY_BUILD)
  target_compile_options(corvalux_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wno-subobject-linkage>)
endif()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# __FILE__ and debug information name files relative to the repository, so that builds are reproducible; also when a
# compiler cache hands the compiler names relative to the build folder.
cmake_path(RELATIVE_PATH PROJECT_SOURCE_DIR BASE_DIRECTORY "${PROJECT_BINARY_DIR}" OUTPUT_VARIABLE to_sources)
add_compile_options("-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=" "-ffile-prefix-map=${PROJECT_BINARY_DIR}=build"
                    "-ffile-prefix-map=${to_sources}/=")

if(CORVALUX_SANITIZE)
  add_compile_options(-fsanitize=${CORVALUX_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${CORVALUX_SANITIZE})
endif()
