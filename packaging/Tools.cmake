# Without the tools these targets do not exist.
foreach(tool devhost monitor)
  if(NOT TARGET corvalux_${tool})
    continue()
  endif()
  install(TARGETS corvalux_${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(FILES completion/corvalux-${tool} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
          COMPONENT tools)
  install_manuals(tools corvalux-${tool}.1)
endforeach()
if(CORVALUX_BUILD_TOOLS)
  install_documents(tools corvalux-grpc-tools)
endif()
