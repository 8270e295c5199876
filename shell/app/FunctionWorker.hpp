// The korvan command as a function worker of the REST function connector (korvan
// --function-worker FOLDER): a loop that reads calls from descriptor 3, runs each in the
// language's interpreter with the service's folder on its search path, and writes the answer
// back (the frames of korvan/services/connector/WorkerProtocol.hpp). No connector module, no
// service host, no settings, no token: only the functions of one service.
//
// What a function prints (disp, print, the display of a statement, warnings) goes to
// standard output, which the connector opened on its functions.log: one line per line
// printed, "<UTC time> <service>/<function> #<call>: <text>".
//
// SIGINT interrupts the running call (the language's interrupt); the connector sends it when
// a call's time-out passes. The memory limit (RLIMIT_AS) makes an allocation beyond it fail
// with the host's OutOfMemory error, which the function may catch.
//
// Threads: the main thread only (it is the worker's interpreter thread).
#pragma once

#include <cstddef>
#include <filesystem>

namespace korvan::shell {

/// Serves calls until the connector closes the channel; returns the exit status.
int runFunctionWorker(const std::filesystem::path& serviceFolder, std::size_t memoryLimitMiB,
                      const std::filesystem::path& executable);

}  // namespace korvan::shell
