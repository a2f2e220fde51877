// The program from its first step to its exit code.
#ifndef KV500_SERVICE_PROGRAM_H
#define KV500_SERVICE_PROGRAM_H

namespace kv500 {

/// Opens the log and runs the service "KV500Service". Gives the exit code: 0 after a stop, 1 if it
/// could not be run, of which the starter is told why and the log nothing. Called once, on the main
/// thread.
int runProgram();

}  // namespace kv500

#endif
