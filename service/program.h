// The program from its first step to its exit code.
#ifndef KV500_SERVICE_PROGRAM_H
#define KV500_SERVICE_PROGRAM_H

namespace kv500 {

/// Opens the log and runs the service "KV500Service". Gives the exit code: 0 after a stop, 1 if the
/// service could not be run. In that case whoever started the program is told why; the log is not.
/// Call it once, on the main thread.
int runProgram();

}  // namespace kv500

#endif
