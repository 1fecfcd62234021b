if(NOT TARGET corvalux_gateway)
  return()
endif()
# The system's own prefix has its configuration beside it.
set(CORVALUX_CONFIG_DIR ${CMAKE_INSTALL_SYSCONFDIR}/corvalux)
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(CORVALUX_CONFIG_DIR /etc/corvalux)
endif()
set(CORVALUX_GATEWAY_CONFIG ${CMAKE_INSTALL_FULL_SYSCONFDIR}/corvalux/gateway.conf)
configure_file(gateway/corvalux-gateway.service.in corvalux-gateway.service @ONLY)

install(TARGETS corvalux_gateway RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT gateway)
install(FILES gateway/gateway.conf DESTINATION ${CORVALUX_CONFIG_DIR} COMPONENT gateway)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/corvalux-gateway.service" DESTINATION lib/systemd/system COMPONENT gateway)
install(FILES completion/corvalux-gateway DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        COMPONENT gateway)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs/" DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/corvalux-gateway
        COMPONENT gateway FILES_MATCHING PATTERN gateway.md PATTERN live.md PATTERN "nginx-gateway-*.conf"
        PATTERN decisions EXCLUDE PATTERN images EXCLUDE)
set(CORVALUX_PAGE "" CACHE PATH "Where web/ has been built, to install the page; without it there is none")
if(CORVALUX_PAGE)
  install(DIRECTORY "${CORVALUX_PAGE}/" DESTINATION ${CMAKE_INSTALL_DATADIR}/corvalux/page COMPONENT gateway)
endif()
install_manuals(gateway corvalux-gateway.1)
install_documents(gateway corvalux-gateway)
