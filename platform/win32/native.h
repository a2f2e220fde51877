// Windows' own headers, and its types beside those of the seam.
//
// Include it after the seam's headers. After it many of the seam's constants are macros with the
// same values.
#ifndef KV500_PLATFORM_WIN32_NATIVE_H
#define KV500_PLATFORM_WIN32_NATIVE_H

#include <winsock2.h>
// winsock2.h must come before windows.h.
#include <windows.h>

#include <cstdint>
#include <string>

namespace platform::win32 {

/// A handle of the seam is Windows' own, as a number.
inline ::HANDLE toNative(std::uintptr_t handle) {
  return reinterpret_cast<::HANDLE>(handle);
}
inline std::uintptr_t toSeam(::HANDLE handle) {
  return reinterpret_cast<std::uintptr_t>(handle);
}

// Here wchar_t and char16_t are two types for the same 16-bit unit.
static_assert(sizeof(wchar_t) == sizeof(char16_t));
inline const wchar_t* toNative(const char16_t* text) {
  return reinterpret_cast<const wchar_t*>(text);
}
inline wchar_t* toNative(char16_t* text) {
  return reinterpret_cast<wchar_t*>(text);
}

}  // namespace platform::win32

#endif
