# Debian packages by CPack, one a component of the install rules. scripts/build_packages.sh makes them.
#
# cmake/packages/finish.cmake does what CPack leaves: documents, dependencies, and the date of every
# file, which is that of the last commit, so that two builds give the same bytes.
if(NOT PROJECT_IS_TOP_LEVEL OR NOT QRX_BUILD_TOOLS OR NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr"
   OR NOT QRX_PYTHON_FOLDER)
  return()  # a build whose folders are not those of Debian, or that lacks a component
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL library development tools python)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_NAME libqrx-jpeg)
set(QRX_PACKAGE_CONTACT "libqrx_jpeg maintainers <maintainers@qrx-jpeg.invalid>"
    CACHE STRING "Name and mail address in the packages; by default one that no mail can reach")
set(CPACK_PACKAGE_CONTACT "${QRX_PACKAGE_CONTACT}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_OUTPUT_FILE_PREFIX packages)

set(CPACK_DEBIAN_PACKAGE_SOURCE libqrx-jpeg)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/packages/finish.cmake)

# qrx_package(COMPONENT NAME SECTION SYNOPSIS DESCRIPTION): what CPack is to know of one.
function(qrx_package component name section synopsis description)
  string(TOUPPER ${component} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_DESCRIPTION "${synopsis}\n${description}" PARENT_SCOPE)
endfunction()

set(about "libqrx_jpeg codes the frames of a remote-visualisation product as baseline\n\
JPEGs or as packets of about 1250 bytes, each of which decodes alone, and\n\
brings both back.\n\n")
qrx_package(library libqrx-jpeg1 libs "JPEG codec for remote visualisation"
            "${about}This package has the shared library.")
qrx_package(development libqrx-jpeg-dev libdevel "JPEG codec for remote visualisation (development)"
            "${about}This package has the headers for C and C++, the manual for authors of hosts,\n\
examples, and files for CMake and pkg-config.")
qrx_package(tools qrx-jpeg-tools graphics "JPEG codec for remote visualisation (command line)"
            "${about}This package has qrx-jpeg, which encodes, decodes and inspects pictures, and\n\
serves and views a live window over a lossy network.")
qrx_package(python python3-qrx-jpeg python "JPEG codec for remote visualisation (Python)"
            "${about}This package has the Python module qrx_jpeg, which works on numpy arrays and\n\
other buffers without copies.")

# Dependencies that finish.cmake reads off the binaries come on top of these.
set(this_version "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libqrx-jpeg1 ${this_version}")
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3:any, libqrx-jpeg1 (>= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS python3-numpy)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_MULTIARCH same)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_MULTIARCH same)
set(CPACK_DEBIAN_TOOLS_PACKAGE_MULTIARCH foreign)

set(packages ${PROJECT_SOURCE_DIR}/cmake/packages)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${packages}/triggers
                                               ${PROJECT_BINARY_DIR}/packages/work/symbols
                                               ${PROJECT_BINARY_DIR}/packages/work/shlibs)
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${packages}/postinst ${packages}/prerm)

# For finish.cmake.
set(CPACK_QRX_SOURCE ${PROJECT_SOURCE_DIR})
set(CPACK_QRX_WORK ${PROJECT_BINARY_DIR}/packages/work)

include(CPack)
