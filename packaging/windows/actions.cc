// What the tables of Windows Installer can't express about the service. The actions are listed in
// tables.sql in their sequence. Each returns ERROR_SUCCESS or makes the installation roll back.
#include <windows.h>
// The headers of Windows Installer need the one above.
#include <msiquery.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr const wchar_t* serviceName = L"KV500Service";
constexpr const wchar_t* programName = L"KV500Service.exe";
constexpr DWORD interval = 100;  // Milliseconds between two looks.

struct ServiceHandleCloser {
  void operator()(SC_HANDLE handle) const { ::CloseServiceHandle(handle); }
};
using ServiceHandle = std::unique_ptr<SC_HANDLE__, ServiceHandleCloser>;

/// The service with these rights. Empty, with the cause in `GetLastError`, if it is not available.
ServiceHandle openService(DWORD rights) {
  const ServiceHandle manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
  return ServiceHandle(manager ? ::OpenServiceW(manager.get(), serviceName, rights) : nullptr);
}

/// The state of the service; also SERVICE_STOPPED if there is no service.
DWORD serviceState() {
  SERVICE_STATUS status{};
  const ServiceHandle service = openService(SERVICE_QUERY_STATUS);
  return service && ::QueryServiceStatus(service.get(), &status) ? status.dwCurrentState
                                                                 : SERVICE_STOPPED;
}

std::wstring property(MSIHANDLE installer, const wchar_t* name) {
  DWORD length = 0;
  std::array<wchar_t, 1> none{};
  ::MsiGetPropertyW(installer, name, none.data(), &length);
  std::wstring value(++length, L'\0');
  value.resize(::MsiGetPropertyW(installer, name, value.data(), &length) == ERROR_SUCCESS ? length
                                                                                          : 0);
  return value;
}

void setProperty(MSIHANDLE installer, const wchar_t* name, const std::wstring& value) {
  ::MsiSetPropertyW(installer, name, value.c_str());
}

void tell(MSIHANDLE installer, INSTALLMESSAGE kind, const std::wstring& text) {
  const MSIHANDLE record = ::MsiCreateRecord(0);
  ::MsiRecordSetStringW(record, 0, text.c_str());
  ::MsiProcessMessage(installer, kind, record);
  ::MsiCloseHandle(record);
}

void logCause(MSIHANDLE installer, const std::wstring& what) {
  tell(installer, INSTALLMESSAGE_INFO, what + L": error " + std::to_wstring(::GetLastError()));
}

UINT refuse(MSIHANDLE installer, const std::wstring& text) {
  tell(installer, INSTALLMESSAGE_ERROR, text);
  return ERROR_INSTALL_FAILURE;
}

/// The parts of the data that a deferred action gets; they are separated by "|".
std::vector<std::wstring> actionData(MSIHANDLE installer) {
  const std::wstring data = property(installer, L"CustomActionData") + L"|";
  std::vector<std::wstring> parts;
  for (std::size_t begin = 0, end; (end = data.find(L'|', begin)) != std::wstring::npos;
       begin = end + 1) {
    parts.push_back(data.substr(begin, end - begin));
  }
  return parts;
}

bool exists(const std::wstring& path) {
  return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool samePath(const std::wstring& one, const std::wstring& other) {
  return ::CompareStringOrdinal(one.c_str(), -1, other.c_str(), -1, TRUE) == CSTR_EQUAL;
}

/// The folder, with a backslash at its end, of the program in a service's command line.
std::wstring programFolder(std::wstring command) {
  if (!command.empty() && command.front() == L'"') {
    command = command.substr(1, command.find(L'"', 1) - 1);
  }
  const std::size_t backslash = command.rfind(L'\\');
  return backslash == std::wstring::npos ? L"" : command.substr(0, backslash + 1);
}

/// Whether a folder holds anything that is not the service's, or can't be looked at.
bool holdsOtherFiles(const std::wstring& folder) {
  constexpr std::array<const wchar_t*, 7> own{
      L".", L"..", programName, L"kv500-check.exe", L"config.txt", L"log.txt", L"uninstall.exe"};
  WIN32_FIND_DATAW entry{};
  const HANDLE search = ::FindFirstFileW((folder + L'*').c_str(), &entry);
  if (search == INVALID_HANDLE_VALUE) {
    return ::GetLastError() == ERROR_ACCESS_DENIED;
  }
  bool others = false;
  do {
    others = std::none_of(own.begin(), own.end(), [&entry](const wchar_t* name) {
      return samePath(entry.cFileName, name);
    });
  } while (!others && ::FindNextFileW(search, &entry));
  ::FindClose(search);
  return others;
}

/// The port in a settings file. Without a setting that the service accepts, its default port.
std::wstring statusPort(const std::wstring& settings) {
  const std::unique_ptr<FILE, int (*)(FILE*)> file(::_wfopen(settings.c_str(), L"r"), std::fclose);
  std::array<char, 256> line{};
  unsigned port = 0;
  while (file && std::fgets(line.data(), static_cast<int>(line.size()), file.get()) != nullptr) {
    if (std::sscanf(line.data(), "Port=%5u", &port) == 1 && port >= 1024 && port <= 32766) {
      return std::to_wstring(port);
    }
  }
  return L"5724";
}

/// Whether another program holds the program in that folder open. Whatever else is in the way, such
/// as a missing right, is left to Windows Installer, which names it.
bool isHeld(const std::wstring& folder, DWORD access, DWORD sharing) {
  const HANDLE file = ::CreateFileW((folder + programName).c_str(), access, sharing, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    return ::GetLastError() == ERROR_SHARING_VIOLATION;
  }
  ::CloseHandle(file);
  return false;
}

UINT refuseHeldProgram(MSIHANDLE installer, const std::wstring& folder) {
  return refuse(installer, folder + programName +
                               L" is in use by another program. Nothing was changed. End that "
                               L"program, or restart the computer, and try again.");
}

/// Whether the service is about to vanish. Nobody can change or register it until then.
bool isMarkedForDeletion() {
  const ServiceHandle service = openService(SERVICE_CHANGE_CONFIG);
  return service &&
         !::ChangeServiceConfigW(service.get(), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                                 SERVICE_NO_CHANGE, nullptr, nullptr, nullptr, nullptr, nullptr,
                                 nullptr, nullptr) &&
         ::GetLastError() == ERROR_SERVICE_MARKED_FOR_DELETE;
}

}  // namespace

/// Sets properties about the installed service, however it was installed. SERVICEFOLDER is the
/// folder of its program. SERVICESTART is its start type. SERVICERUNNING or SERVICESTOPPED is its
/// state. INSTALLFOLDER is set if this package put the service there. LEFTFOLDER is the service's
/// folder if it is about to be left. SETTINGSFOLDER is set if the settings come from there.
/// STATUSPORT is always set.
extern "C" UINT __stdcall LookAtService(MSIHANDLE installer) {
  if (property(installer, L"REMOVE").empty() && isMarkedForDeletion()) {
    return refuse(installer,
                  L"The service KV500Service was deleted, but a program still uses it. "
                  L"Nothing was changed. Close all windows that show services, or "
                  L"restart the computer, and try again.");
  }
  std::wstring serviceFolder;
  const ServiceHandle service = openService(SERVICE_QUERY_CONFIG | SERVICE_QUERY_STATUS);
  alignas(QUERY_SERVICE_CONFIGW) std::array<std::uint8_t, 8192> space{};  // Windows' own limit.
  auto* const config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(space.data());
  DWORD needed = 0;
  SERVICE_STATUS status{};
  if (service && ::QueryServiceConfigW(service.get(), config, space.size(), &needed) &&
      ::QueryServiceStatus(service.get(), &status)) {
    serviceFolder = programFolder(config->lpBinaryPathName);
    setProperty(installer, L"SERVICEFOLDER", serviceFolder);
    setProperty(installer, L"SERVICESTART", std::to_wstring(config->dwStartType));
    // A service that crashed was not stopped by a person.
    const bool stopped =
        status.dwCurrentState == SERVICE_STOPPED && status.dwWin32ExitCode != ERROR_PROCESS_ABORTED;
    setProperty(installer, stopped ? L"SERVICESTOPPED" : L"SERVICERUNNING", L"1");
  }

  // This version stays where it is. Another version may be installed elsewhere.
  const bool installed = !property(installer, L"Installed").empty();
  const bool updates = !property(installer, L"WIX_UPGRADE_DETECTED").empty();
  const std::wstring programs = property(installer, L"ProgramFiles64Folder");
  std::wstring folder = property(installer, L"INSTALLFOLDER");
  if (!serviceFolder.empty() && (installed || (updates && folder.empty()))) {
    folder = serviceFolder;
    setProperty(installer, L"INSTALLFOLDER", folder);
  } else if (folder.empty()) {
    folder = programs + L"KV500Service\\";
  } else if (folder.back() != L'\\') {
    folder += L'\\';
  }
  // The package sets the rights of a folder that is not below Program Files, and with them those of
  // everything in it.
  if (!samePath(folder, serviceFolder) && !samePath(folder.substr(0, programs.size()), programs) &&
      holdsOtherFiles(folder)) {
    return refuse(installer, folder +
                                 L" holds other files, whose rights would change. Nothing was "
                                 L"changed. Choose a folder below Program Files.");
  }
  std::wstring settings = folder + L"config.txt";
  if (!serviceFolder.empty() && !samePath(folder, serviceFolder)) {
    setProperty(installer, L"LEFTFOLDER", serviceFolder);
    if (!exists(settings) && exists(serviceFolder + L"config.txt")) {
      settings = serviceFolder + L"config.txt";
      setProperty(installer, L"SETTINGSFOLDER", serviceFolder);
    }
  }
  setProperty(installer, L"STATUSPORT", statusPort(settings));

  // Finds programs other than the service that hold the service's program; the service itself holds
  // no file of it. Checked before anything is changed: Windows Installer would delay replacing such
  // a program to the next start of the computer.
  constexpr DWORD everything = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  return isHeld(folder, DELETE, everything) ? refuseHeldProgram(installer, folder)
                                            : static_cast<UINT>(ERROR_SUCCESS);
}

/// Waits until the program of the stopped service can be replaced. Windows Installer would delay
/// replacing a program that is held to the next start of the computer. Data: folders.
extern "C" UINT __stdcall ReleaseProgram(MSIHANDLE installer) {
  if (serviceState() == SERVICE_RUNNING) {
    return ERROR_SUCCESS;  // A newer version's, which takes this one off the list: not to be
                           // touched.
  }
  constexpr int attempts = 100;
  for (const std::wstring& folder : actionData(installer)) {
    for (int attempt = 0; !folder.empty() && isHeld(folder, GENERIC_WRITE | DELETE, 0); ++attempt) {
      if (attempt == attempts) {
        return refuseHeldProgram(installer, folder);
      }
      ::Sleep(interval);
    }
  }
  return ERROR_SUCCESS;
}

/// Rollback: starts the service again, which ran before.
extern "C" UINT __stdcall StartAgain(MSIHANDLE installer) {
  const ServiceHandle service = openService(SERVICE_START);
  if (!service || (!::StartServiceW(service.get(), 0, nullptr) &&
                   ::GetLastError() != ERROR_SERVICE_ALREADY_RUNNING)) {
    logCause(installer, L"The service could not be started again");
  }
  return ERROR_SUCCESS;
}

/// Sets what Windows Installer can't set, or can't set for an existing service: program, start
/// type, restart on failure, rights. Data: the folder; the start type, empty for automatic.
extern "C" UINT __stdcall ConfigureService(MSIHANDLE installer) {
  const std::vector<std::wstring> data = actionData(installer);
  // Asking for a restart on failure requires the right to start the service.
  const ServiceHandle service = openService(SERVICE_CHANGE_CONFIG | SERVICE_START);
  const std::wstring command = L'"' + data.at(0) + programName + L'"';
  const DWORD start = data.at(1).empty() ? SERVICE_AUTO_START : std::stoul(data.at(1));
  if (!service || !::ChangeServiceConfigW(service.get(), SERVICE_NO_CHANGE, start,
                                          SERVICE_NO_CHANGE, command.c_str(), nullptr, nullptr,
                                          nullptr, nullptr, nullptr, nullptr)) {
    logCause(installer, L"The service could not be configured");
    return refuse(installer, L"The service could not be configured.");
  }

  std::array<SC_ACTION, 3> actions{
      {{SC_ACTION_RESTART, 5'000}, {SC_ACTION_RESTART, 5'000}, {SC_ACTION_RESTART, 60'000}}};
  SERVICE_FAILURE_ACTIONSW failure{};
  failure.dwResetPeriod = 24 * 60 * 60;  // Seconds.
  failure.cActions = actions.size();
  failure.lpsaActions = actions.data();
  // A process that is gone always counts as a failure; this adds a stop that reports an error.
  SERVICE_FAILURE_ACTIONS_FLAG alsoReported{TRUE};
  SERVICE_SID_INFO identity{SERVICE_SID_TYPE_UNRESTRICTED};
  // To get the token of a session's user and to start a process with it. Every program has the last
  // one.
  std::wstring names =
      L"SeTcbPrivilege|SeAssignPrimaryTokenPrivilege|SeIncreaseQuotaPrivilege|"
      L"SeImpersonatePrivilege|SeChangeNotifyPrivilege|";
  for (wchar_t& unit : names) {
    unit = unit == L'|' ? L'\0' : unit;
  }
  SERVICE_REQUIRED_PRIVILEGES_INFOW privileges{names.data()};
  const std::array<std::pair<DWORD, void*>, 4> settings{
      {{SERVICE_CONFIG_FAILURE_ACTIONS, &failure},
       {SERVICE_CONFIG_FAILURE_ACTIONS_FLAG, &alsoReported},
       {SERVICE_CONFIG_SERVICE_SID_INFO, &identity},
       {SERVICE_CONFIG_REQUIRED_PRIVILEGES_INFO, &privileges}}};
  for (const auto& [kind, setting] : settings) {
    if (!::ChangeServiceConfig2W(service.get(), kind, setting)) {
      logCause(installer, L"Setting " + std::to_wstring(kind) + L" of the service is not made");
    }
  }
  return ERROR_SUCCESS;
}

/// Checks that the service, which has been started, keeps running: it reports that it runs before
/// it opens its port. Data: its folder.
extern "C" UINT __stdcall CheckService(MSIHANDLE installer) {
  constexpr DWORD limit = 3'000;  // Milliseconds.
  const ServiceHandle service = openService(SERVICE_QUERY_STATUS);
  SERVICE_STATUS_PROCESS status{};
  DWORD needed = 0;
  if (service) {
    ::QueryServiceStatusEx(service.get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                           sizeof(status), &needed);
  }
  const HANDLE process = ::OpenProcess(SYNCHRONIZE, FALSE, status.dwProcessId);
  const bool goesOn = process != nullptr && ::WaitForSingleObject(process, limit) == WAIT_TIMEOUT;
  if (process != nullptr) {
    ::CloseHandle(process);
  }
  return goesOn ? static_cast<UINT>(ERROR_SUCCESS)
                : refuse(installer,
                         L"The service ended as soon as it was started. The reason stands "
                         L"in the event log and in " +
                             actionData(installer).at(0) +
                             L"log.txt; most often another program has its port.");
}
