# gRPC without TLS and the lite Protocol Buffers library, found by pkg-config: the CMake packages that gRPC installs
# would pull in the full Protocol Buffers library.
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
# Abseil's parts require each other along so many paths that to follow them all takes a second for each of the twenty
# questions that CMake asks. What is deeper than this, only Abseil itself calls.
set(ENV{PKG_CONFIG_MAXIMUM_TRAVERSE_DEPTH} 7)
pkg_check_modules(GRPC REQUIRED IMPORTED_TARGET grpc++_unsecure>=1.51 protobuf-lite>=3.21)

add_library(corvalux_grpc_runtime INTERFACE)
add_library(corvalux::grpc_runtime ALIAS corvalux_grpc_runtime)
target_link_libraries(corvalux_grpc_runtime INTERFACE PkgConfig::GRPC Threads::Threads)
# The library's messages are lite ones; without this its headers name the full library's types.
target_compile_definitions(corvalux_grpc_runtime INTERFACE GRPC_USE_PROTO_LITE)
# pkg-config lists all that the libraries may need; what is not used is not linked.
target_link_options(corvalux_grpc_runtime INTERFACE LINKER:--as-needed)

find_program(PROTOC protoc REQUIRED)
find_program(GRPC_CPP_PLUGIN grpc_cpp_plugin REQUIRED)
