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

# The pkg-config file tells the prefix by its own place, as the prefix is chosen at installation.
# Where the library's folder is absolute, it is that of the configuration, as in the CMake package.
set(pc_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE ${pc_folder})
  set(PC_PREFIX ${CMAKE_INSTALL_PREFIX})
else()
  file(RELATIVE_PATH way_up /${pc_folder} /)
  string(REGEX REPLACE "/$" "" PC_PREFIX "\${pcfiledir}/${way_up}")
endif()
foreach(folder LIBDIR INCLUDEDIR)
  set(PC_${folder} ${CMAKE_INSTALL_${folder}})
  if(NOT IS_ABSOLUTE ${PC_${folder}})
    string(PREPEND PC_${folder} "\${prefix}/")
  endif()
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/qrx_jpeg.pc.in ${PROJECT_BINARY_DIR}/qrx_jpeg.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qrx_jpeg.pc
        DESTINATION ${pc_folder})
