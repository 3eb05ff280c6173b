include(CMakePackageConfigHelpers)

install(TARGETS arvo_platform arvo_volume
  EXPORT ArvoVolumeTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)

set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ArvoVolume)
install(EXPORT ArvoVolumeTargets NAMESPACE ArvoVolume:: DESTINATION ${config_dir} COMPONENT dev)
configure_package_config_file(cmake/ArvoVolumeConfig.cmake.in ArvoVolumeConfig.cmake
  INSTALL_DESTINATION ${config_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(ArvoVolumeConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/ArvoVolumeConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/ArvoVolumeConfigVersion.cmake
  DESTINATION ${config_dir} COMPONENT dev)

file(RELATIVE_PATH ARVO_LIBDIR_TO_PREFIX /${CMAKE_INSTALL_LIBDIR} /)
configure_file(cmake/arvo-volume.pc.in arvo-volume.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/arvo-volume.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
