# The service on Linux' own components: pcsc-lite, udev, logind, systemd.
find_package(PkgConfig REQUIRED)
pkg_check_modules(PCSCLITE REQUIRED IMPORTED_TARGET libpcsclite)
pkg_check_modules(UDEV REQUIRED IMPORTED_TARGET libudev)
pkg_check_modules(SYSTEMD REQUIRED IMPORTED_TARGET libsystemd)

kv500_sources(linux_sources platform platform/real platform/posix platform/linux)
add_library(platform_linux STATIC ${linux_sources})
target_link_libraries(platform_linux
  PUBLIC kv500_flags Threads::Threads
  PRIVATE PkgConfig::PCSCLITE PkgConfig::UDEV PkgConfig::SYSTEMD)

add_executable(KV500Service service/main.cc)
target_link_libraries(KV500Service PRIVATE kv500_logic platform_linux)

# The simulated reader as a driver of pcscd. It exports only the interface of the daemon.
add_library(ifdkv500sim MODULE
  driver/pcscd/ifd_handler.cc driver/pcscd/slot.cc
  platform/simulated/bytes.cc platform/simulated/card.cc platform/simulated/card_folder.cc
  platform/simulated/insurance_files.cc platform/simulated/overrides.cc)
target_link_libraries(ifdkv500sim PRIVATE kv500_flags PkgConfig::PCSCLITE ZLIB::ZLIB)
set_target_properties(ifdkv500sim PROPERTIES
  CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
