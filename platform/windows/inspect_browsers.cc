// Browser policies: values in the registry, of the machine and of the user.
#include <algorithm>

#include "platform/inspection.h"
#include "platform/win32/native.h"

namespace platform {
namespace {

struct Place {
  Browser browser;
  const wchar_t* key;
};
constexpr Place places[] = {
    {Browser::Chrome, L"Software\\Policies\\Google\\Chrome"},
    {Browser::Edge, L"Software\\Policies\\Microsoft\\Edge"},
    {Browser::Firefox, L"Software\\Policies\\Mozilla\\Firefox"},
};
constexpr int deepest = 4;  // Keys below keys; policies have three.

bool isWanted(const std::string& name) {
  return name.starts_with("LocalNetworkAccess") || name.starts_with("LoopbackNetwork");
}

std::string valueText(DWORD type, const std::vector<BYTE>& data, DWORD size) {
  if (type == REG_DWORD && size == sizeof(DWORD)) {
    DWORD number = 0;
    std::copy_n(data.begin(), sizeof(number), reinterpret_cast<BYTE*>(&number));
    return std::to_string(number);
  }
  if (type != REG_SZ && type != REG_EXPAND_SZ && type != REG_MULTI_SZ) {
    return {};
  }
  std::u16string text(size / sizeof(char16_t), u'\0');
  std::copy_n(data.begin(), text.size() * sizeof(char16_t), reinterpret_cast<BYTE*>(text.data()));
  return toUtf8(text.substr(0, text.find(u'\0')));
}

void readKey(::HKEY parent, const wchar_t* path, Browser browser, const std::string& name,
             int depth, std::vector<PolicyValue>& values) {
  constexpr DWORD longestName = 16384;  // Units, of a value's name.
  ::HKEY key = nullptr;
  if (depth > deepest || ::RegOpenKeyExW(parent, path, 0, KEY_READ, &key) != ERROR_SUCCESS) {
    return;
  }
  std::u16string item(longestName, u'\0');
  std::vector<BYTE> data(65536);
  const auto nameOf = [&](DWORD length) {
    const std::string last = toUtf8(item.substr(0, length));
    return name.empty() ? last : name + "/" + last;
  };
  for (DWORD i = 0;; ++i) {  // Bounded by the key.
    DWORD length = longestName;
    DWORD type = 0;
    auto size = static_cast<DWORD>(data.size());
    const LONG result = ::RegEnumValueW(key, i, win32::toNative(item.data()), &length, nullptr,
                                        &type, data.data(), &size);
    if (result == ERROR_SUCCESS && isWanted(nameOf(length))) {
      values.push_back({browser, nameOf(length), valueText(type, data, size)});
    } else if (result != ERROR_SUCCESS && result != ERROR_MORE_DATA) {
      break;
    }
  }
  for (DWORD i = 0;; ++i) {  // Bounded by the key.
    DWORD length = longestName;
    if (::RegEnumKeyExW(key, i, win32::toNative(item.data()), &length, nullptr, nullptr, nullptr,
                        nullptr) != ERROR_SUCCESS) {
      break;
    }
    const std::string below = nameOf(length);
    if (isWanted(below)) {
      const std::u16string child = item.substr(0, length);
      readKey(key, win32::toNative(child.c_str()), browser, below, depth + 1, values);
    }
  }
  ::RegCloseKey(key);
}

}  // namespace

std::vector<PolicyValue> browserPolicies() {
  std::vector<PolicyValue> values;
  for (const Place& place : places) {
    for (const ::HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
      readKey(root, place.key, place.browser, "", 0, values);
    }
  }
  return values;
}

}  // namespace platform
