# The real platform of Windows and the service on it.
enable_language(RC)
if(MINGW)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
endif()

# windows.h without its rarely used parts and without the macros min and max, as of Windows 10.
add_compile_definitions(WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00 _WINSOCK_DEPRECATED_NO_WARNINGS)

if(MINGW)
  # Random addresses, no code in data; no symbols in programs that are handed out, and no time of
  # the build. This compiler does not offer Windows' own guard for calls.
  add_compile_options(-fstack-protector-strong -fcf-protection=full)
  link_libraries(ssp)
  add_link_options(-Wl,--dynamicbase,--nxcompat,--high-entropy-va,--no-insert-timestamp
    $<$<CONFIG:Release>:-s>)
else()
  # The runtime is part of the program. The libraries that the program is linked with are looked for
  # only in Windows' own folder.
  set(CMAKE_MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")
  add_compile_options(/GS /guard:cf)
  add_link_options(/DYNAMICBASE /NXCOMPAT /HIGHENTROPYVA /GUARD:CF /CETCOMPAT
    /DEPENDENTLOADFLAG:0x800 /Brepro)
endif()

# Icon, version, manifest and load configuration for a program.
function(kv500_resources program description)
  set(resources ${CMAKE_BINARY_DIR}/${program}.rc)
  configure_file(${CMAKE_SOURCE_DIR}/platform/windows/resources.rc.in ${resources} @ONLY)
  set_property(SOURCE ${resources} PROPERTY OBJECT_DEPENDS
    ${CMAKE_SOURCE_DIR}/platform/windows/kv500.ico
    ${CMAKE_SOURCE_DIR}/platform/windows/program.manifest)
  target_sources(${program} PRIVATE ${resources})
  if(MSVC)
    target_link_options(${program} PRIVATE /MANIFEST:NO)
  else()
    target_sources(${program} PRIVATE ${CMAKE_SOURCE_DIR}/platform/windows/load_config.cc)
    add_custom_command(TARGET ${program} POST_BUILD COMMAND Python3::Interpreter
      ${CMAKE_SOURCE_DIR}/cmake/set_load_config.py $<TARGET_FILE:${program}>)
  endif()
endfunction()

# The simulated reader as Windows' smart-card library, and a service that replaces the smart-card
# service. For machines without a reader, such as those of the tests: see driver/winscard.
function(kv500_simulated_winscard)
  kv500_sources(simulator_logic simulator)
  # It has another name than the library itself, which the service is linked with.
  add_library(simulated_winscard SHARED driver/winscard/winscard.cc driver/winscard/winscard.def
    ${simulator_logic})
  set_target_properties(simulated_winscard PROPERTIES PREFIX "" OUTPUT_NAME winscard)
  target_link_libraries(simulated_winscard PRIVATE platform_simulated)
  add_executable(smartcard_service driver/winscard/smartcard_service.cc)
  target_link_libraries(smartcard_service PRIVATE kv500_flags)
endfunction()
