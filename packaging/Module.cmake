install(TARGETS corvalux_grpc_module LIBRARY DESTINATION ${CORVALUX_MODULE_DIR} COMPONENT module)
install(FILES "${PROJECT_SOURCE_DIR}/README.md" DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/corvalux-grpc
        COMPONENT module)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs" DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/corvalux-grpc
        COMPONENT module PATTERN "*.png" EXCLUDE)
install_documents(module corvalux-grpc)
install_manuals(module corvalux-grpc.7)
