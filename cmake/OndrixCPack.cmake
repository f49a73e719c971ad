# `cpack -G DEB` in a build folder: one Debian package with the libraries, the headers, the
# CMake and pkg-config files and the tool (everything `cmake --install` puts under /usr).
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ondrix)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "Ondrix")
set(CPACK_PACKAGE_CONTACT "Ondrix developers <ondrix@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Ondrix signal-processing components (library, headers) and the ondrix tool")
set(CPACK_PACKAGE_DESCRIPTION
    "A C++20 library of signal-processing components linked into graphs and pulled block by block: generators, file readers and writers, filters, multirate stages, spectrum analyzers, audio output. With its headers, CMake package (find_package(Ondrix)), ondrix.pc and the ondrix command-line tool.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
# Run-time libraries of the tool and of shared units come from dpkg-shlibdeps; building on
# the package needs the headers of what the installed targets use (and, for static units,
# their libraries too, which the -dev packages bring).
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
if(BUILD_SHARED_LIBS)
  # Our own shared libraries are in the package, not in another one.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "")
  foreach(unit IN LISTS ONDRIX_UNITS)
    get_target_property(dir ondrix_${unit} BINARY_DIR)
    list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${dir})
  endforeach()
endif()
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "libfftw3-dev, nlohmann-json3-dev, libavcodec-dev, libavformat-dev, libavutil-dev, libasound2-dev")
include(CPack)
