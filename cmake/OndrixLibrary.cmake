# Helpers for the unit libraries and for our own build flags.

# ondrix_add_library(<target> <name> [GENERATED_HEADERS <files under build/include>...])
# A unit's library from every .cpp of the calling folder, known as ondrix::<name> both in the
# tree (alias) and installed (export name). Its headers form a file set based at the source
# root, so users include "ondrix/<folder>/<header>.h" in the tree and installed alike; the
# installed target sees include/ only, never tests/, apps/ or bench/.
function(ondrix_add_library target name)
  cmake_parse_arguments(PARSE_ARGV 2 arg "" "" "GENERATED_HEADERS")
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  add_library(${target} ${sources})
  add_library(ondrix::${name} ALIAS ${target})
  target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${headers})
  set(generated_set "")
  if(arg_GENERATED_HEADERS)
    # A second set: the build tree lies inside the source tree, and base folders may not nest.
    target_sources(${target} PUBLIC FILE_SET generated TYPE HEADERS BASE_DIRS ${PROJECT_BINARY_DIR}/include
                   FILES ${arg_GENERATED_HEADERS})
    set(generated_set FILE_SET generated DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  endif()
  target_include_directories(${target} PUBLIC $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_compile_features(${target} PUBLIC cxx_std_20)
  # Warnings and instrumentation stay ours: wrapped so that the export leaves them out.
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:ondrix_build_flags> $<BUILD_INTERFACE:ondrix_fuzz_hooks>)
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${name}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${ONDRIX_SOVERSION})
  set_property(GLOBAL APPEND PROPERTY ONDRIX_UNITS ${name})
  if(ONDRIX_INSTALL)
    install(TARGETS ${target} EXPORT Ondrix_${name}
      ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
      LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
      RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
      FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
      ${generated_set})
    install(EXPORT Ondrix_${name} NAMESPACE ondrix:: FILE Ondrix_${name}Targets.cmake
      DESTINATION ${ONDRIX_INSTALL_CMAKEDIR})
  endif()
endfunction()

# ondrix_use_build_flags(<dir>)
# Gives every executable and library defined in <dir> and its subfolders our warnings and
# sanitizer / fuzzer instrumentation (for folders whose CMakeLists we leave to their owners).
function(ondrix_use_build_flags dir)
  get_property(targets DIRECTORY ${dir} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(t IN LISTS targets)
    get_target_property(type ${t} TYPE)
    get_target_property(imported ${t} IMPORTED)
    if(type MATCHES "^(EXECUTABLE|STATIC_LIBRARY|SHARED_LIBRARY|MODULE_LIBRARY|OBJECT_LIBRARY)$" AND NOT imported)
      target_link_libraries(${t} PRIVATE ondrix_build_flags)
    endif()
  endforeach()
  get_property(subdirs DIRECTORY ${dir} PROPERTY SUBDIRECTORIES)
  foreach(sub IN LISTS subdirs)
    ondrix_use_build_flags(${sub})
  endforeach()
endfunction()
