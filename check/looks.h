// The checks of the machine, called looks. Each asks the platform, which may make it wait, and
// reports at least one finding. Any thread.
#ifndef KV500_CHECK_LOOKS_H
#define KV500_CHECK_LOOKS_H

#include <filesystem>

#include "check/finding.h"
#include "device/settings.h"
#include "platform/inspection.h"

namespace check {

/// Where config.txt and log.txt lie.
struct Folder {
  std::filesystem::path path;
  bool isGiven = false;  ///< Given by the person who runs this; the service may be elsewhere.
};

/// The settings with which the service works, as far as this user's rights tell.
struct WorkingSettings {
  kv500::Settings values;    ///< The defaults for whatever is not known.
  bool areKnown = false;     ///< Only a file that can't be read leaves them unknown.
  bool portIsKnown = false;  ///< The port can be known without the file.
};

/// What the service manager says. Asked once, before the looks.
struct Services {
  platform::ServiceFacts kv500;
  platform::ServiceFacts smartcard;
};
Services askServiceManager();

/// Whether the installed service lies in the folder.
bool isServiceIn(const Folder& folder, const Services& services);

/// Whether no service is known and the folder has the simulator, whose readers are its own.
bool isSimulator(const Folder& folder, const Services& services);

/// What to do about a service that is disabled.
Message enableAdvice(const platform::ServiceFacts& facts);

Findings lookAtService(const Folder& folder, const Services& services);
/// `settings` becomes what the service works with.
Findings lookAtSettings(const Folder& folder, const Services& services, WorkingSettings& settings);
Findings lookAtAccess(const WorkingSettings& settings);
Findings lookAtPort(const WorkingSettings& settings, const Services& services);
Findings lookAtAnswer(const WorkingSettings& settings);
Findings lookAtLog(const Folder& folder, const Services& services);
Findings lookAtSmartcardService(const Services& services);
Findings lookAtReaders(const Services& services);
Findings lookAtUsb();
Findings lookAtCard(const Services& services);
Findings lookAtSession(const kv500::Settings& settings);
Findings lookAtBrowserPolicy(const kv500::Settings& settings);

}  // namespace check

#endif
