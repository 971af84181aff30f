include(CMakePackageConfigHelpers)

# Components are what distributions make packages of: runtime, development, tools.
install(TARGETS kovadata kovarun EXPORT kovadataTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/kovadata DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(FILES share/kovadata-log.ini DESTINATION ${CMAKE_INSTALL_DATADIR}/kovadata COMPONENT tools)
install(EXPORT kovadataTargets NAMESPACE kovadata:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kovadata
  COMPONENT development)
set(KOVADATA_EXAMPLES_DIR "${CMAKE_INSTALL_DOCDIR}/examples" CACHE STRING "Where examples are installed")
install(DIRECTORY examples/ DESTINATION "${KOVADATA_EXAMPLES_DIR}" COMPONENT development
  PATTERN .clang-format EXCLUDE)

configure_package_config_file(cmake/kovadata-config.cmake.in kovadata-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kovadata)
# Before 1.0 every minor version may change the interface.
set(compatibility SameMajorVersion)
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(compatibility SameMinorVersion)
endif()
write_basic_package_version_file(kovadata-config-version.cmake COMPATIBILITY ${compatibility})
install(FILES "${PROJECT_BINARY_DIR}/kovadata-config.cmake" "${PROJECT_BINARY_DIR}/kovadata-config-version.cmake"
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kovadata COMPONENT development)

file(RELATIVE_PATH pc_to_prefix "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
foreach(library kovadata kovarun)
  configure_file(cmake/kovadata.pc.in ${library}.pc @ONLY)
endforeach()
install(FILES "${PROJECT_BINARY_DIR}/kovadata.pc" "${PROJECT_BINARY_DIR}/kovarun.pc" DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

if(KOVADATA_BUILD_TOOLS)
  # The installed tool finds the library beside it, wherever the prefix is; in a package the linker knows the place.
  if(NOT KOVADATA_PACKAGES)
    file(RELATIVE_PATH bin_to_lib "/prefix/${CMAKE_INSTALL_BINDIR}" "/prefix/${CMAKE_INSTALL_LIBDIR}")
    set_target_properties(kova PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")
  endif()
  install(TARGETS kova kova-simulate RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(DIRECTORY "${PROJECT_BINARY_DIR}/man/" DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools
    FILES_MATCHING PATTERN "kova*.1")
  install(FILES "${PROJECT_BINARY_DIR}/completions/kova.bash"
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME kova COMPONENT tools)
  install(FILES "${PROJECT_BINARY_DIR}/completions/kova.zsh" DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions RENAME _kova
    COMPONENT tools)
  install(FILES "${PROJECT_BINARY_DIR}/completions/kova.fish" DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
    COMPONENT tools)
endif()
