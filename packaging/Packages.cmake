# The Debian packages, made by `cpack -G DEB`. Their revision is in the change log beside this file.
file(STRINGS changelog newest LIMIT_COUNT 1)
if(NOT newest MATCHES "^corvalux-grpc \\(${PROJECT_VERSION}-([0-9]+)\\) ")
  message(FATAL_ERROR "packaging/changelog begins with '${newest}', but the version is ${PROJECT_VERSION}")
endif()
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CMAKE_MATCH_1})
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS changelog)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME corvalux-grpc)
# Each package has its own description; a common one would be prepended.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_VENDOR corvalux)
set(CPACK_PACKAGE_CONTACT "corvalux-grpc maintainers <maintainers@corvalux.invalid>")
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                                WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL module tools gateway fleet dev)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
endif()

set(CPACK_DEBIAN_MODULE_PACKAGE_NAME corvalux-grpc)
set(CPACK_DEBIAN_MODULE_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_MODULE_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_MODULE_PACKAGE_SUGGESTS corvalux-grpc-tools)
set(CPACK_DEBIAN_MODULE_DESCRIPTION
    "gRPC module of the corvalux audio engine
A module that the engine loads. It streams live level meters and changed
values to any number of network clients, each message serialised once.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME corvalux-grpc-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS corvalux-grpc)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION
    "monitor and development host for the corvalux gRPC module
corvalux-monitor shows what an engine streams: live bars on a terminal, JSON
lines anywhere else. corvalux-devhost simulates the engine.")

set(gateway_control conffiles postinst postrm prerm)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_NAME corvalux-gateway)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_SUGGESTS "corvalux-fleet, corvalux-grpc-tools, nginx-light")
list(TRANSFORM gateway_control PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/gateway/" OUTPUT_VARIABLE
     CPACK_DEBIAN_GATEWAY_PACKAGE_CONTROL_EXTRA)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_GATEWAY_DESCRIPTION
    "present values of corvalux devices over HTTP
A client of any number of devices that serves what they send to scripts, as
JSON and server-sent events, and to monitoring, as metrics for Prometheus.
Each device has one subscriber, however many are served.")

set(fleet_control conffiles postinst postrm prerm)
set(CPACK_DEBIAN_FLEET_PACKAGE_NAME corvalux-fleet)
set(CPACK_DEBIAN_FLEET_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_FLEET_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_FLEET_PACKAGE_DEPENDS "corvalux-gateway (>= ${PROJECT_VERSION}), nats-server (>= 2.9.10), adduser")
list(TRANSFORM fleet_control PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/fleet/" OUTPUT_VARIABLE
     CPACK_DEBIAN_FLEET_PACKAGE_CONTROL_EXTRA)
set(CPACK_DEBIAN_FLEET_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_FLEET_DESCRIPTION
    "corvalux gateways of several machines as one fleet
Configures a NATS server beside the gateway: each gateway publishes what its
devices send, and serves the devices of all of them.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME corvalux-grpc-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_DEV_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DEV_PACKAGE_SUGGESTS "protobuf-compiler, protobuf-compiler-grpc")
set(CPACK_DEBIAN_DEV_DESCRIPTION
    "schema and host interface of the corvalux gRPC module
The streams' schema, as source and compiled, for those who write clients,
and the header between engine and module, for those who write engines. With
CMake and pkg-config files.")
include(CPack)
