# The Debian packages, made by ./package.sh linux: the service, and the simulator with the driver.
set(packaging ${CMAKE_SOURCE_DIR}/packaging/linux)
set(made ${CMAKE_BINARY_DIR}/packaging)

# Debian wants what is read by people compressed, without the time of the compression in it.
function(kv500_compressed result source)
  get_filename_component(name ${source} NAME)
  file(MAKE_DIRECTORY ${made})
  configure_file(${source} ${made}/${name} @ONLY)
  execute_process(COMMAND gzip -9nkf ${made}/${name} COMMAND_ERROR_IS_FATAL ANY)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
  set(${result} ${made}/${name}.gz PARENT_SCOPE)
endfunction()

kv500_compressed(changelog ${packaging}/changelog)
foreach(part service simulator)
  set(package kv500service)
  set(manual ${packaging}/service/kv500service.8)
  set(section man8)
  if(part STREQUAL "simulator")
    set(package kv500-simulator)
    set(manual ${packaging}/simulator/kv500-simulator.1)
    set(section man1)
  endif()
  kv500_compressed(manual ${manual})
  install(FILES ${manual} DESTINATION usr/share/man/${section} COMPONENT ${part})
  install(FILES ${changelog} DESTINATION usr/share/doc/${package} COMPONENT ${part}
    RENAME changelog.gz)
  install(FILES ${packaging}/copyright DESTINATION usr/share/doc/${package} COMPONENT ${part})
  install(FILES ${packaging}/${part}/lintian-overrides DESTINATION usr/share/lintian/overrides
    RENAME ${package} COMPONENT ${part})
endforeach()

install(TARGETS KV500Service DESTINATION opt/kv500service COMPONENT service)
install(FILES ${packaging}/service/config.txt DESTINATION opt/kv500service COMPONENT service)
install(FILES ${packaging}/service/kv500service.service DESTINATION lib/systemd/system
  COMPONENT service)
install(FILES ${packaging}/service/logrotate DESTINATION etc/logrotate.d RENAME kv500service
  COMPONENT service)

install(TARGETS kv500-simulator DESTINATION usr/lib/kv500-simulator COMPONENT simulator)
install(CODE "execute_process(COMMAND ${CMAKE_COMMAND} -E make_directory
  \$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/var/lib/kv500-simulator/reader
  \$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/usr/bin)
execute_process(COMMAND ${CMAKE_COMMAND} -E create_symlink ../lib/kv500-simulator/kv500-simulator
  \$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/usr/bin/kv500-simulator)" COMPONENT simulator)
install(TARGETS ifdkv500sim DESTINATION usr/lib/pcsc/drivers/serial COMPONENT simulator)
install(FILES ${packaging}/simulator/kv500-simulator.conf DESTINATION usr/share/kv500-simulator
  COMPONENT simulator)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/examples/cards DESTINATION usr/share/kv500-simulator
  COMPONENT simulator)

file(WRITE ${made}/conffiles "/opt/kv500service/config.txt\n/etc/logrotate.d/kv500service\n")

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL service simulator)
set(CPACK_PACKAGE_NAME kv500service)
set(CPACK_PACKAGE_VENDOR "The KV500 team")
set(CPACK_PACKAGE_CONTACT "The KV500 team <kv500@example.org>")
set(CPACK_PACKAGING_INSTALL_PREFIX /)
set(CPACK_OUTPUT_FILE_PREFIX ${CMAKE_SOURCE_DIR}/dist)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_SERVICE_PACKAGE_NAME kv500service)
set(CPACK_DEBIAN_SERVICE_PACKAGE_SECTION misc)
set(CPACK_DEBIAN_SERVICE_PACKAGE_DEPENDS "pcscd, init-system-helpers (>= 1.52)")
set(CPACK_DEBIAN_SERVICE_PACKAGE_RECOMMENDS "logrotate")
set(CPACK_DEBIAN_SERVICE_PACKAGE_SUGGESTS "zenity | kdialog | x11-utils")
set(CPACK_DEBIAN_SERVICE_DESCRIPTION "local HTTP service for a KV500 smart-card reader
Web pages on this machine ask it for the state of reader and card and have it
read the insurance data off a German electronic health card.")
set(CPACK_DEBIAN_SERVICE_PACKAGE_CONTROL_EXTRA
  "${packaging}/service/postinst;${packaging}/service/prerm;${packaging}/service/postrm;${made}/conffiles")

set(CPACK_DEBIAN_SIMULATOR_PACKAGE_NAME kv500-simulator)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_SECTION misc)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_SUGGESTS "pcscd, pcsc-tools, kv500service")
set(CPACK_DEBIAN_SIMULATOR_DESCRIPTION "KV500 service with a simulated card reader
The service in the foreground with a reader and cards made of memory, a driver
that shows such a reader to every PC/SC program, and example cards.")
include(CPack)
