// The korvan command: runs the host language as an interactive prompt, a script or a line of
// code (see CommandLine.hpp), with the connector module and the service side started around
// it (Runtime.hpp). The main thread is the interpreter thread for the whole run.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "CommandLine.hpp"
#include "FunctionWorker.hpp"
#include "InterruptSignal.hpp"
#include "Prompt.hpp"
#include "Runtime.hpp"
#include "korvan/host/Version.hpp"
#include "korvan/lang/Interpreter.hpp"
#include "xvm/XVM.hpp"

namespace {

using korvan::lang::Interpreter;
using korvan::shell::CommandLine;

int exitStatus(const Interpreter::Result& result) {
    switch (result.fStatus) {
        case Interpreter::Status::Ok:
            return 0;
        case Interpreter::Status::Exit:
            return result.fExitCode;
        case Interpreter::Status::Error:
            break;
    }
    return 1;
}

int runMode(const CommandLine& cl, const std::filesystem::path& executable) {
    auto vm = xvm::Factory::createXVM();
    xvm::CurrentXVMScope current(vm);
    korvan::shell::InterruptSignal::install();

    korvan::shell::Runtime runtime(vm, executable, std::cerr);
    // Declared after the runtime: the workspace's objects go before the modules their
    // classes come from.
    Interpreter interpreter(std::cout, std::cerr);
    int status = 0;
    switch (cl.fMode) {
        case CommandLine::Mode::Script: {
            std::filesystem::path file(cl.fFile);
            std::error_code ec;
            std::filesystem::path folder = std::filesystem::absolute(file, ec).parent_path();
            if (!ec) interpreter.addPath(folder);
            status = exitStatus(interpreter.runFile(file));
            break;
        }
        case CommandLine::Mode::Code:
            status = exitStatus(interpreter.run(cl.fCode));
            break;
        case CommandLine::Mode::StandardInput: {
            std::string source((std::istreambuf_iterator<char>(std::cin)),
                               std::istreambuf_iterator<char>());
            status = exitStatus(interpreter.run(source));
            break;
        }
        case CommandLine::Mode::Prompt: {
            std::filesystem::path history;
            if (!runtime.settingsFolder().empty()) history = runtime.settingsFolder() / "history";
            status = korvan::shell::Prompt(interpreter, vm, history).run();
            // Leaving the prompt (Ctrl-D, exit) ends the connector with korvan: say so, so
            // that nobody wonders why its callers are refused from now on.
            if (std::string url = runtime.runningConnectorAddress(); !url.empty())
                std::cout << "Stopping the REST function connector at " << url
                          << " before korvan ends.\n";
            break;
        }
        default:
            break;
    }
    std::cout.flush();
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    // The connector's I/O and call threads would each get a malloc arena of their own (up to
    // eight per core); memory freed after a burst of connections then stays spread over them
    // and the resident size keeps growing from one burst to the next. One arena per core is
    // enough for threads that mostly wait.
    ::mallopt(M_ARENA_MAX, static_cast<int>(std::max(2u, std::thread::hardware_concurrency())));
    // Standard output is line-buffered whatever it is (a terminal, a file, a pipe): whoever
    // reads a script's output through a pipe or a supervisor sees each line as it is written.
    // Standard error stays unbuffered, and std::cerr flushes std::cout before it writes (tie),
    // so the two streams keep their order when they go to the same place.
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
    CommandLine cl = korvan::shell::parseCommandLine(args, ::isatty(STDIN_FILENO) == 1);
    switch (cl.fMode) {
        case CommandLine::Mode::Help:
            std::cout << korvan::shell::usageText();
            return 0;
        case CommandLine::Mode::Version:
            std::cout << "korvan " << korvan::hostVersion() << "\n";
            return 0;
        case CommandLine::Mode::UsageError:
            std::cerr << "korvan: " << cl.fError << "\n"
                      << "Try 'korvan --help' for more information.\n";
            return korvan::shell::kUsageExitCode;
        default:
            break;
    }
    try {
        if (cl.fMode == CommandLine::Mode::FunctionWorker)
            return korvan::shell::runFunctionWorker(
                cl.fServiceFolder, cl.fMemoryLimitMiB,
                korvan::shell::executablePath(argc > 0 ? argv[0] : "korvan"));
        return runMode(cl, korvan::shell::executablePath(argc > 0 ? argv[0] : "korvan"));
    } catch (const std::exception& e) {
        std::cerr << "korvan: " << e.what() << "\n";
        return 1;
    }
}
