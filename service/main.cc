// The process entry of the service. There is no command line.
#include "service/program.h"
#include "support/process_end.h"

int main() {
  kv500::endProcess(kv500::runProgram());
}
