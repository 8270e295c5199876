// The korvan command line: what to run and how, from argv.
//
//   korvan                 interactive prompt (stdin a terminal), else stdin as a script
//   korvan FILE            run a script ("-" is standard input)
//   korvan -e CODE         run CODE
//   korvan --help | -h     usage
//   korvan --version       version
//   korvan --function-worker FOLDER [--memory-limit-mib N]
//                          a function worker of the connector (started by it, not by people)
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace korvan::shell {

struct CommandLine {
    enum class Mode {
        Prompt,
        Script,
        Code,
        StandardInput,
        Help,
        Version,
        FunctionWorker,
        UsageError
    };
    Mode fMode = Mode::Prompt;
    std::string fFile;                // Script
    std::string fCode;                // Code
    std::string fError;               // UsageError: what was wrong, one sentence
    std::string fServiceFolder;       // FunctionWorker
    std::size_t fMemoryLimitMiB = 0;  // FunctionWorker; 0: no limit
};

/// Reads the arguments after the program name. `stdinIsTerminal` decides between the prompt
/// and running standard input when no file or code is given.
CommandLine parseCommandLine(const std::vector<std::string>& args, bool stdinIsTerminal);

/// The text --help prints: forms, options, environment variables, exit status.
std::string usageText();

/// Exit status of a usage error.
inline constexpr int kUsageExitCode = 2;

}  // namespace korvan::shell
