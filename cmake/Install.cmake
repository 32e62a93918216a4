# cmake --install: the library, its headers, a CMake package and a pkg-config file, the Python package;
# the tool's rules stand in tools/. Components are those of the Debian packages (Packages.cmake).
include(CMakePackageConfigHelpers)

install(
  TARGETS qrx_jpeg
  EXPORT qrx_jpeg_targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
          COMPONENT library
          NAMELINK_COMPONENT development)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)
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

# The Python package goes where Debian's Python looks below the prefix. It finds the library by the
# loader, as linked programs do.
set(python_folder "")
find_program(QRX_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH)
mark_as_advanced(QRX_PYTHON)
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(python_folder lib/python3/dist-packages)
elseif(QRX_PYTHON)
  execute_process(
    COMMAND ${QRX_PYTHON} -c "import sys; print('%d.%d' % sys.version_info[:2])"
    OUTPUT_VARIABLE python_version OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(python_folder lib/python${python_version}/dist-packages)
endif()
set(QRX_PYTHON_FOLDER "${python_folder}"
    CACHE STRING "Where the Python package goes, below the prefix; empty: it is not installed")
if(QRX_PYTHON_FOLDER)
  set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME python)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/qrx_jpeg DESTINATION ${QRX_PYTHON_FOLDER}
          FILES_MATCHING PATTERN "*.py" PATTERN __pycache__ EXCLUDE)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/python_metadata.in ${PROJECT_BINARY_DIR}/METADATA @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/METADATA
          DESTINATION ${QRX_PYTHON_FOLDER}/qrx_jpeg-${PROJECT_VERSION}.dist-info)
endif()
unset(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME)
