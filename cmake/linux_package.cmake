# The content of the Debian packages: the service, and the simulator with the driver. ./package.sh
# linux installs these two components and packs them.
set(packaging ${CMAKE_SOURCE_DIR}/packaging/linux)
set(made ${CMAKE_BINARY_DIR}/packaging)

# The folder of units: Debian 13 and Ubuntu 24.04 have moved all of /lib below /usr.
cmake_host_system_information(RESULT release QUERY DISTRIB_ID DISTRIB_VERSION_ID)
set(units usr/lib/systemd/system)
if(release MATCHES "^debian;([0-9]|1[0-2])$" OR release MATCHES "^ubuntu;2[0-3]")
  set(units lib/systemd/system)
endif()

# Debian wants documents compressed, without the time of the compression in them.
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
endforeach()

install(FILES ${packaging}/service/lintian-overrides DESTINATION usr/share/lintian/overrides
  RENAME kv500service COMPONENT service)

# Puts a link to a program into a folder of PATH.
function(kv500_in_path program target part)
  install(CODE "set(folder \$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/usr/bin)
    file(MAKE_DIRECTORY \${folder})
    file(CREATE_LINK ${target} \${folder}/${program} SYMBOLIC)"
    COMPONENT ${part})
endfunction()

install(TARGETS KV500Service kv500-check DESTINATION opt/kv500service COMPONENT service)
kv500_in_path(kv500-check /opt/kv500service/kv500-check service)
kv500_compressed(manual ${packaging}/service/kv500-check.1)
install(FILES ${manual} DESTINATION usr/share/man/man1 COMPONENT service)
install(PROGRAMS ${packaging}/service/wait-before-restart DESTINATION usr/lib/kv500service
  COMPONENT service)
install(FILES ${packaging}/service/config.txt DESTINATION usr/share/kv500service COMPONENT service)
install(FILES ${packaging}/service/kv500service.service
  ${packaging}/service/kv500service-logrotate.service
  ${packaging}/service/kv500service-logrotate.timer
  DESTINATION ${units} COMPONENT service)
install(FILES ${packaging}/service/logrotate DESTINATION etc/logrotate.d RENAME kv500service
  COMPONENT service)

install(TARGETS kv500-simulator DESTINATION usr/lib/kv500-simulator COMPONENT simulator)
kv500_in_path(kv500-simulator ../lib/kv500-simulator/kv500-simulator simulator)
install(DIRECTORY DESTINATION var/lib/kv500-simulator/reader COMPONENT simulator)
install(TARGETS ifdkv500sim DESTINATION usr/lib/pcsc/drivers/serial COMPONENT simulator)
install(FILES ${packaging}/simulator/kv500-simulator.conf DESTINATION usr/share/kv500-simulator
  COMPONENT simulator)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/examples/cards DESTINATION usr/share/kv500-simulator
  COMPONENT simulator)
