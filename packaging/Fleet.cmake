# What the gateways of several machines need beside them. Nothing here depends on the architecture.
if(NOT TARGET corvalux_gateway)
  return()
endif()
install(FILES fleet/nats.conf fleet/routes.conf DESTINATION ${CORVALUX_CONFIG_DIR}/nats COMPONENT fleet)
install(FILES fleet/corvalux-nats.service DESTINATION lib/systemd/system COMPONENT fleet)
install(FILES fleet/corvalux-gateway.fleet.conf DESTINATION lib/systemd/system/corvalux-gateway.service.d RENAME fleet.conf
        COMPONENT fleet)
install(FILES "${PROJECT_SOURCE_DIR}/docs/fleet.md" DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/corvalux-fleet
        COMPONENT fleet)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples/fleet/" DESTINATION
        ${CMAKE_INSTALL_DATADIR}/doc/corvalux-fleet/examples COMPONENT fleet)
install_documents(fleet corvalux-fleet)
