# Both libraries are built, hardened, named, installed and found in the same way.

# NAME_shared and NAME_static of the same sources: of the caller's folder, with the version script libNAME.map and the
# file NAME.pc.in for pkg-config. Tests and tools link the static one, where they also reach what is not exported. `abi`
# is the number in the shared one's name; programs need that library only, so that packages have the rest elsewhere.
function(add_installed_library name abi component)
  foreach(kind SHARED STATIC)
    string(TOLOWER ${kind} suffix)
    set(target ${name}_${suffix})
    add_library(${target} ${kind} ${ARGN})
    set_target_properties(${target} PROPERTIES
      OUTPUT_NAME ${name}
      POSITION_INDEPENDENT_CODE ON
      CXX_VISIBILITY_PRESET hidden
      VISIBILITY_INLINES_HIDDEN ON)
    target_include_directories(${target} PUBLIC
      $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    # The libraries use neither exceptions nor type information.
    target_compile_options(${target} PRIVATE -fno-exceptions -fno-rtti -fno-semantic-interposition ${hardening})
    if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND NOT ANDROID) # or files with a large inode number cannot be read
      target_compile_definitions(${target} PRIVATE _FILE_OFFSET_BITS=64)
    endif()
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:qv6d_build>)
  endforeach()

  set(map ${CMAKE_CURRENT_SOURCE_DIR}/lib${name}.map)
  target_link_options(${name}_shared PRIVATE
    -Wl,--version-script=${map}
    -Wl,-Bsymbolic # a function or a variable of the same name in the host changes nothing inside
    -Wl,--as-needed) # no library of which nothing is called
  set_target_properties(${name}_shared PROPERTIES LINK_DEPENDS ${map})
  if(NOT QV6D_SANITIZE)
    target_link_options(${name}_shared PRIVATE -Wl,--no-undefined ${hardened_link})
  endif()
  if(NOT ANDROID) # Android ships libraries under their plain names
    set_target_properties(${name}_shared PROPERTIES VERSION ${abi}.${PROJECT_VERSION} SOVERSION ${abi})
  endif()
  install(TARGETS ${name}_shared ${name}_static EXPORT qv6dalgo
    LIBRARY COMPONENT ${component} NAMELINK_COMPONENT development
    ARCHIVE COMPONENT development)

  # By paths from where the file lies.
  set(pkgconfig ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
  file(RELATIVE_PATH from_pkgconfig_to_prefix ${pkgconfig} ${CMAKE_INSTALL_PREFIX})
  string(REGEX REPLACE "/$" "" from_pkgconfig_to_prefix "${from_pkgconfig_to_prefix}")
  file(RELATIVE_PATH from_pkgconfig_to_includes ${pkgconfig} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
  configure_file(${name}.pc.in ${name}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)
endfunction()
