# cmake --install: the library, its headers, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS qrx_jpeg EXPORT qrx_jpeg_targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/qrx DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(
  EXPORT qrx_jpeg_targets
  NAMESPACE qrx::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qrx_jpeg)

configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/qrx_jpegConfig.cmake.in
  ${PROJECT_BINARY_DIR}/qrx_jpegConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qrx_jpeg)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qrx_jpegConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qrx_jpegConfig.cmake
              ${PROJECT_BINARY_DIR}/qrx_jpegConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qrx_jpeg)

configure_file(${PROJECT_SOURCE_DIR}/cmake/qrx_jpeg.pc.in ${PROJECT_BINARY_DIR}/qrx_jpeg.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qrx_jpeg.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
