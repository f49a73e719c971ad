# What a project building on Ondrix finds once it is installed: the CMake package (targets,
# config, version), ondrix.pc for pkg-config, and the Debian package settings for CPack.
include(CMakePackageConfigHelpers)

# Each unit's ondrix:: dependencies, read from its link libraries, so that the config file
# loads a requested component together with everything under it.
get_property(ONDRIX_UNITS GLOBAL PROPERTY ONDRIX_UNITS)
set(ONDRIX_CONFIG_UNIT_DEPS "")
foreach(unit IN LISTS ONDRIX_UNITS)
  get_target_property(libs ondrix_${unit} LINK_LIBRARIES)
  set(deps "")
  foreach(lib IN LISTS libs)
    if(lib MATCHES "^ondrix::(.+)$")
      list(APPEND deps ${CMAKE_MATCH_1})
    endif()
  endforeach()
  string(APPEND ONDRIX_CONFIG_UNIT_DEPS "set(_ondrix_deps_${unit} ${deps})\n")
endforeach()
if(BUILD_SHARED_LIBS)
  set(ONDRIX_STATIC OFF)
else()
  set(ONDRIX_STATIC ON)
endif()

install(TARGETS ondrix_ondrix EXPORT Ondrix_ondrix)
install(EXPORT Ondrix_ondrix NAMESPACE ondrix:: FILE Ondrix_ondrixTargets.cmake DESTINATION ${ONDRIX_INSTALL_CMAKEDIR})
configure_package_config_file(cmake/OndrixConfig.cmake.in ${PROJECT_BINARY_DIR}/OndrixConfig.cmake
                              INSTALL_DESTINATION ${ONDRIX_INSTALL_CMAKEDIR})
# Before 1.0 only the same minor version is compatible (the soname says so too).
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(compatibility SameMinorVersion)
else()
  set(compatibility SameMajorVersion)
endif()
write_basic_package_version_file(${PROJECT_BINARY_DIR}/OndrixConfigVersion.cmake
                                 COMPATIBILITY ${compatibility})
install(FILES ${PROJECT_BINARY_DIR}/OndrixConfig.cmake ${PROJECT_BINARY_DIR}/OndrixConfigVersion.cmake
        DESTINATION ${ONDRIX_INSTALL_CMAKEDIR})

# ondrix.pc finds its prefix from its own place, so a staging install works as well as /usr.
# Static libraries need their dependencies on every link line, shared ones only at run time.
set(ONDRIX_PC_LIBS "")
foreach(unit IN LISTS ONDRIX_UNITS)
  list(PREPEND ONDRIX_PC_LIBS -londrix_${unit})  # users before what they use
endforeach()
list(JOIN ONDRIX_PC_LIBS " " ONDRIX_PC_LIBS)
file(RELATIVE_PATH ONDRIX_PC_PREFIX_FROM_PCDIR ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" ONDRIX_PC_PREFIX_FROM_PCDIR "/${ONDRIX_PC_PREFIX_FROM_PCDIR}")
set(ONDRIX_PC_REQUIRES "fftw3 nlohmann_json")
set(ONDRIX_PC_PRIVATE "libavcodec libavformat libavutil alsa")
if(ONDRIX_STATIC)
  string(APPEND ONDRIX_PC_REQUIRES " ${ONDRIX_PC_PRIVATE}")
  set(ONDRIX_PC_PRIVATE "")
endif()
configure_file(cmake/ondrix.pc.in ${PROJECT_BINARY_DIR}/ondrix.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ondrix.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

include(cmake/OndrixCPack.cmake)
