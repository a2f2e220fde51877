#include "service/program.h"

#include <new>
#include <string>

#include "platform/program.h"
#include "platform/sessions.h"
#include "service/service_host.h"
#include "support/log.h"

namespace kv500 {

int runProgram() {
  try {
    openLog();
    if (!platform::canReachOtherSessions()) {
      logMessage("Started as an ordinary user: the sessions of other users are out of reach", "");
    }
    runService("KV500Service");
    return 0;
  } catch (const std::string& text) {
    platform::tellStarter(text);
  } catch (const std::bad_alloc&) {
    platform::tellStarter("Out of memory");
  } catch (...) {
    platform::tellStarter("Unhandled exception");
  }
  return 1;
}

}  // namespace kv500
