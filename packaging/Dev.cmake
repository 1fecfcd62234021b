include(CMakePackageConfigHelpers)
set(schema corvalux/grpc/streams.proto)
set(descriptor_set "${CMAKE_CURRENT_BINARY_DIR}/streams.binpb")
add_custom_command(
  OUTPUT "${descriptor_set}"
  COMMAND ${PROTOC} --proto_path=${PROJECT_SOURCE_DIR}/proto --include_imports --include_source_info
          --descriptor_set_out=${descriptor_set} ${schema}
  DEPENDS "${PROJECT_SOURCE_DIR}/proto/${schema}"
  VERBATIM)
add_custom_target(corvalux_descriptor_set ALL DEPENDS "${descriptor_set}")
install(FILES "${PROJECT_SOURCE_DIR}/proto/${schema}" DESTINATION ${CORVALUX_PROTO_DIR}/corvalux/grpc COMPONENT dev)
install(FILES "${descriptor_set}" DESTINATION ${CMAKE_INSTALL_DATADIR}/corvalux COMPONENT dev)
install(FILES "${PROJECT_SOURCE_DIR}/host/corvalux/host.h" DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/corvalux
        COMPONENT dev)

foreach(name corvalux-grpc-schema corvalux-host)
  configure_file(pkgconfig/${name}.pc.in ${name}.pc @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${name}.pc" DESTINATION ${CMAKE_INSTALL_DATADIR}/pkgconfig COMPONENT dev)
endforeach()

# Nothing here depends on the architecture.
set(config_folder ${CMAKE_INSTALL_DATADIR}/cmake/corvalux-grpc)
configure_package_config_file(
  cmake/corvalux-grpc-config.cmake.in corvalux-grpc-config.cmake
  INSTALL_DESTINATION ${config_folder}
  PATH_VARS CORVALUX_PROTO_DIR CORVALUX_DESCRIPTOR_SET CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(corvalux-grpc-config-version.cmake COMPATIBILITY SameMinorVersion ARCH_INDEPENDENT)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/corvalux-grpc-config.cmake"
              "${CMAKE_CURRENT_BINARY_DIR}/corvalux-grpc-config-version.cmake"
        DESTINATION ${config_folder} COMPONENT dev)
install_documents(dev corvalux-grpc-dev)
