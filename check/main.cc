// The entry point of kv500-check.
#include "check/program.h"
#include "support/process_end.h"

int main(int count, char** arguments) {
  kv500::endProcess(check::runProgram({arguments + 1, arguments + count}));
}
