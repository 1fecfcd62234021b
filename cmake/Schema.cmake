# compile_schema(ROOT FILE OUTPUT FILE... WITH ARGUMENT...): at build time, generates the output by running protoc with
# these arguments on ROOT/FILE.
function(compile_schema root file)
  cmake_parse_arguments(PARSE_ARGV 2 arg "" "" "OUTPUT;WITH")
  add_custom_command(OUTPUT ${arg_OUTPUT} COMMAND ${PROTOC} --proto_path=${root} ${arg_WITH} ${root}/${file}
                     DEPENDS ${root}/${file} VERBATIM)
endfunction()

# add_schema_library(NAME ROOT FILE): the message classes of ROOT/FILE, whose header is found by the path of FILE.
function(add_schema_library name root file)
  string(REGEX REPLACE "proto$" "pb" generated "${CMAKE_CURRENT_BINARY_DIR}/${file}")
  compile_schema("${root}" ${file} OUTPUT ${generated}.cc ${generated}.h WITH --cpp_out=${CMAKE_CURRENT_BINARY_DIR})
  add_library(${name} STATIC ${generated}.cc ${generated}.h)
  target_include_directories(${name} SYSTEM PUBLIC "${CMAKE_CURRENT_BINARY_DIR}")
  target_link_libraries(${name} PUBLIC corvalux::grpc_runtime)
  set_target_properties(${name} PROPERTIES CXX_VISIBILITY_PRESET hidden)
endfunction()
