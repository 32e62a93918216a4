# Runs inside CPack between installing and packing: each component lies in a folder of its own, and
# what is set here still counts.

# The date of everything that is packed: SOURCE_DATE_EPOCH, or else the last commit's.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND git -C ${CPACK_QRX_SOURCE} log -1 --format=%ct OUTPUT_VARIABLE date
                  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(ENV{SOURCE_DATE_EPOCH} ${date})
endif()

file(REMOVE_RECURSE ${CPACK_QRX_WORK})
file(MAKE_DIRECTORY ${CPACK_QRX_WORK}/debian)
set(version ${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})

function(run)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${CPACK_QRX_WORK} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# --- Documents of every package
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(control "Source: ${CPACK_DEBIAN_PACKAGE_SOURCE}\n")
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} key)
  set(name ${CPACK_DEBIAN_${key}_PACKAGE_NAME})
  set(folder ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr)
  set(documents ${folder}/share/doc/${name})
  string(APPEND control "\nPackage: ${name}\nArchitecture: any\n")

  configure_file(${CPACK_QRX_SOURCE}/cmake/packages/copyright ${documents}/copyright COPYONLY)
  configure_file(${CPACK_QRX_SOURCE}/cmake/packages/changelog.in ${documents}/changelog.Debian @ONLY)
  configure_file(${CPACK_QRX_SOURCE}/CHANGELOG.md ${documents}/changelog COPYONLY)
  run(gzip -9n ${documents}/changelog.Debian ${documents}/changelog)
  if(component STREQUAL "development")
    # README and what it points to, where its links expect them.
    file(GLOB pages ${CPACK_QRX_SOURCE}/docs/*.md ${CPACK_QRX_SOURCE}/docs/*.svg
         ${CPACK_QRX_SOURCE}/docs/*.png ${CPACK_QRX_SOURCE}/docs/*.jpg)
    file(GLOB examples ${CPACK_QRX_SOURCE}/docs/examples/*.c ${CPACK_QRX_SOURCE}/docs/examples/*.cpp
         ${CPACK_QRX_SOURCE}/docs/examples/*.py)
    file(COPY ${CPACK_QRX_SOURCE}/README.md ${CPACK_QRX_SOURCE}/SECURITY.md
         ${CPACK_QRX_SOURCE}/CONTRIBUTING.md DESTINATION ${documents})
    file(COPY ${pages} DESTINATION ${documents}/docs)
    file(COPY ${examples} DESTINATION ${documents}/docs/examples)
  elseif(component STREQUAL "tools")
    run(gzip -9n ${folder}/share/man/man1/qrx-jpeg.1)
    # Debian's zsh looks for those of packages here, and not in site-functions.
    file(MAKE_DIRECTORY ${folder}/share/zsh/vendor-completions)
    file(RENAME ${folder}/share/zsh/site-functions/_qrx-jpeg
         ${folder}/share/zsh/vendor-completions/_qrx-jpeg)
    file(REMOVE_RECURSE ${folder}/share/zsh/site-functions)
    configure_file(${CPACK_QRX_SOURCE}/cmake/packages/overrides
                   ${folder}/share/lintian/overrides/${name} COPYONLY)
  endif()
endforeach()
file(WRITE ${CPACK_QRX_WORK}/debian/control "${control}")

# --- Which version has which symbol, and what the binaries need
foreach(component library tools)
  string(TOUPPER ${component} key)
  set(copy ${CPACK_QRX_WORK}/${CPACK_DEBIAN_${key}_PACKAGE_NAME})
  file(MAKE_DIRECTORY ${copy}/DEBIAN)
  file(COPY ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr DESTINATION ${copy})
endforeach()
run(dpkg-gensymbols -q -c4 -plibqrx-jpeg1 -v${version} -Plibqrx-jpeg1 -Osymbols
    -I${CPACK_QRX_SOURCE}/cmake/packages/symbols)
configure_file(${CPACK_QRX_WORK}/symbols ${CPACK_QRX_WORK}/libqrx-jpeg1/DEBIAN/symbols COPYONLY)
file(WRITE ${CPACK_QRX_WORK}/shlibs "libqrx_jpeg 1 libqrx-jpeg1 (>= ${CPACK_PACKAGE_VERSION})\n")

function(set_dependencies key)
  execute_process(COMMAND dpkg-shlibdeps -O -Slibqrx-jpeg1 ${ARGN} WORKING_DIRECTORY ${CPACK_QRX_WORK}
                  OUTPUT_VARIABLE depends OUTPUT_STRIP_TRAILING_WHITESPACE
                  COMMAND_ERROR_IS_FATAL ANY)
  string(REPLACE "shlibs:Depends=" "" depends "${depends}")
  set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
endfunction()
file(GLOB_RECURSE library LIST_DIRECTORIES false
     ${CPACK_QRX_WORK}/libqrx-jpeg1/usr/lib/libqrx_jpeg.so.${CPACK_PACKAGE_VERSION})
file(GLOB_RECURSE tools LIST_DIRECTORIES false ${CPACK_QRX_WORK}/qrx-jpeg-tools/usr/bin/*
     ${CPACK_QRX_WORK}/qrx-jpeg-tools/usr/lib/qrx-jpeg-modes.so)
set_dependencies(LIBRARY ${library})
set_dependencies(TOOLS ${tools})

# Rights and dates tell nothing of the place where this was built.
run(chmod -R u=rwX,go=rX ${CPACK_TEMPORARY_DIRECTORY})
run(find ${CPACK_TEMPORARY_DIRECTORY} -exec touch --no-dereference --date=@$ENV{SOURCE_DATE_EPOCH} {}
    +)
