# What cpack makes of the components: ./run package. For Debian a package each, otherwise one archive of all.
set(CPACK_PACKAGE_NAME qv6dalgo)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime service development tools)

set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "magnetometer calibration and orientation for sensor services
Learns a magnetometer's hard-iron offset while the device is used, grades how
far the result can be trusted and gives azimuth, pitch and roll.")
set(CPACK_COMPONENT_SERVICE_DESCRIPTION "layer of a sensor service on top of libqv6dalgo
Takes samples of three sensors in any order and gives heading, calibrated field
and a status with the bounds of both errors; keeps what was learnt.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "magnetometer calibration and orientation - development files
Headers, static libraries and the files for find_package and pkg-config.")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "replay and make sensor recordings for libqv6dalgo
Shows what the library makes of a recording and why, tries settings, and
reads its record files and customer files.")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libqv6dalgo1) # after the soname
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/scripts/packaging/triggers)
set(CPACK_DEBIAN_SERVICE_PACKAGE_NAME libqv6dservice1)
set(CPACK_DEBIAN_SERVICE_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_SERVICE_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/scripts/packaging/triggers)
set(CPACK_DEBIAN_SERVICE_PACKAGE_DEPENDS "libqv6dalgo1 (>= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src) # where that is while packages are made
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libqv6dalgo-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libqv6dalgo1 (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}), \
libqv6dservice1 (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME qv6d)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
foreach(component RUNTIME SERVICE TOOLS)
  set(CPACK_DEBIAN_${component}_PACKAGE_SHLIBDEPS ON)
endforeach()
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY >=)

if(QV6D_DEBIAN) # every package has its licence and its history
  set(CPACK_PACKAGE_CONTACT $ENV{DEBEMAIL}) # who packages, as Debian's own tools ask for it
  string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
  file(WRITE ${PROJECT_BINARY_DIR}/changelog.Debian
    "qv6dalgo (${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium\n\n"
    "  * Packages of version ${PROJECT_VERSION}.\n\n"
    " -- ${CPACK_PACKAGE_CONTACT}  ${date}\n")
  execute_process(COMMAND gzip -9nf ${PROJECT_BINARY_DIR}/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)
  foreach(component runtime service development tools)
    string(TOUPPER ${component} upper)
    set(docs ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    install(FILES ${PROJECT_SOURCE_DIR}/scripts/packaging/copyright DESTINATION ${docs} COMPONENT ${component})
    install(FILES ${PROJECT_BINARY_DIR}/changelog.Debian.gz DESTINATION ${docs} COMPONENT ${component})
  endforeach()
  install(CODE "file(GLOB pages \$ENV{DESTDIR}${CMAKE_INSTALL_FULL_MANDIR}/man1/*.1)
    execute_process(COMMAND gzip -9n \${pages} COMMAND_ERROR_IS_FATAL ANY)" COMPONENT tools)
else()
  install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
endif()

# What is in the files, for who has to know: made when they are installed, after all of them are built.
find_program(QV6D_DPKG_QUERY dpkg-query)
find_program(QV6D_NINJA ninja)
if(QV6D_DPKG_QUERY AND QV6D_NINJA AND CMAKE_GENERATOR STREQUAL Ninja AND TARGET qv6d AND NOT CMAKE_CROSSCOMPILING)
  set(bill ${PROJECT_BINARY_DIR}/qv6dalgo.cdx.json)
  install(CODE "execute_process(
    COMMAND ${PROJECT_SOURCE_DIR}/scripts/packaging/bill.py qv6dalgo ${PROJECT_VERSION} ${PROJECT_BINARY_DIR}
      ${QV6D_PAGE_TEMPLATE} ${PROJECT_SOURCE_DIR}/qv6d/page/web/package-lock.json
      $<TARGET_FILE:qv6d> $<TARGET_FILE:qv6dalgo_shared> $<TARGET_FILE:qv6dservice_shared>
    OUTPUT_FILE ${bill} COMMAND_ERROR_IS_FATAL ANY)" ALL_COMPONENTS)
  if(QV6D_DEBIAN)
    foreach(component runtime service development tools)
      string(TOUPPER ${component} upper)
      install(FILES ${bill} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}
        COMPONENT ${component})
    endforeach()
  else()
    install(FILES ${bill} DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
  endif()
endif()

include(CPack)
