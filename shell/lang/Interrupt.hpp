// The interrupt request of the interpreter thread (Interpreter::requestInterrupt): one
// process-wide lock-free flag that a signal handler or any thread sets and the interpreter
// polls before each statement, each loop iteration and while pause() waits. The error it
// raises, "KORVAN:lang:Interrupted", is an ordinary error: try/catch can catch it (a script
// that serves until Ctrl-C cleans up in its catch).
// Threads: any thread and signal handlers set it; the interpreter thread checks and clears it.
#pragma once

namespace korvan::lang {

/// Raises "KORVAN:lang:Interrupted" (and clears the request) when an interrupt is requested.
void checkInterrupt();

}  // namespace korvan::lang
