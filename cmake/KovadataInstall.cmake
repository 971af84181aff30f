include(CMakePackageConfigHelpers)

install(TARGETS kovadata EXPORT kovadataTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/kovadata DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES share/kovadata-log.ini DESTINATION ${CMAKE_INSTALL_DATADIR}/kovadata)
install(EXPORT kovadataTargets NAMESPACE kovadata:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kovadata)

configure_package_config_file(cmake/kovadata-config.cmake.in kovadata-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kovadata)
write_basic_package_version_file(kovadata-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/kovadata-config.cmake" "${PROJECT_BINARY_DIR}/kovadata-config-version.cmake"
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kovadata)

file(RELATIVE_PATH pc_to_prefix "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file(cmake/kovadata.pc.in kovadata.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/kovadata.pc" DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(KOVADATA_BUILD_TOOLS)
  # The installed tool finds the library beside it, wherever the prefix is.
  file(RELATIVE_PATH bin_to_lib "/prefix/${CMAKE_INSTALL_BINDIR}" "/prefix/${CMAKE_INSTALL_LIBDIR}")
  set_target_properties(kova PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")
  install(TARGETS kova kova-simulate RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(TARGETS kova-states RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/kovadata)
endif()
