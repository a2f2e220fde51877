// The entry point of the service. It takes no command line.
#include "service/program.h"
#include "support/process_end.h"

int main() {
  kv500::endProcess(kv500::runProgram());
}
