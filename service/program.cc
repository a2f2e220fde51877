#include "service/program.h"

#include "service/service_host.h"
#include "support/log.h"

namespace kv500 {

int runProgram() {
  try {
    openLog();
    runService("KV500Service");
    return 0;
  } catch (...) {
    return 1;
  }
}

}  // namespace kv500
