// Parsing the korvan command line and its usage text (see CommandLine.hpp).
#include "CommandLine.hpp"

#include <string>

namespace korvan::shell {
namespace {

CommandLine usageError(std::string what) {
    CommandLine cl;
    cl.fMode = CommandLine::Mode::UsageError;
    cl.fError = std::move(what);
    return cl;
}

}  // namespace

CommandLine parseCommandLine(const std::vector<std::string>& args, bool stdinIsTerminal) {
    CommandLine cl;
    bool haveCode = false, haveFile = false, optionsEnded = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (!optionsEnded && (a == "-h" || a == "--help")) {
            cl.fMode = CommandLine::Mode::Help;
            return cl;
        }
        if (!optionsEnded && a == "--version") {
            cl.fMode = CommandLine::Mode::Version;
            return cl;
        }
        if (!optionsEnded && a == "--function-worker") {
            if (i + 1 >= args.size())
                return usageError("option '--function-worker' needs the service folder");
            cl.fServiceFolder = args[++i];
            continue;
        }
        if (!optionsEnded && a == "--memory-limit-mib") {
            if (i + 1 >= args.size() ||
                args[i + 1].find_first_not_of("0123456789") != std::string::npos ||
                args[i + 1].empty() || args[i + 1].size() > 9)
                return usageError("option '--memory-limit-mib' needs a whole number of MiB");
            cl.fMemoryLimitMiB = std::stoul(args[++i]);
            continue;
        }
        if (!optionsEnded && a == "--") {
            optionsEnded = true;
            continue;
        }
        if (!optionsEnded && a == "-e") {
            if (i + 1 >= args.size()) return usageError("option '-e' needs the code to run");
            if (haveCode) return usageError("option '-e' given more than once");
            cl.fCode = args[++i];
            haveCode = true;
            continue;
        }
        if (!optionsEnded && a.size() > 1 && a[0] == '-')
            return usageError("unknown option '" + a + "'");
        if (haveFile) return usageError("only one script may be given, found also '" + a + "'");
        cl.fFile = a;
        haveFile = true;
    }
    if (!cl.fServiceFolder.empty()) {
        if (haveCode || haveFile)
            return usageError("a function worker runs no script and no -e CODE");
        cl.fMode = CommandLine::Mode::FunctionWorker;
        return cl;
    }
    if (cl.fMemoryLimitMiB != 0)
        return usageError("option '--memory-limit-mib' belongs to '--function-worker'");
    if (haveCode && haveFile) return usageError("give either a script or -e CODE, not both");
    if (haveCode)
        cl.fMode = CommandLine::Mode::Code;
    else if (haveFile)
        cl.fMode = cl.fFile == "-" ? CommandLine::Mode::StandardInput : CommandLine::Mode::Script;
    else
        cl.fMode = stdinIsTerminal ? CommandLine::Mode::Prompt : CommandLine::Mode::StandardInput;
    return cl;
}

std::string usageText() {
    return R"(Usage:
  korvan                 interactive prompt (when standard input is a terminal;
                         otherwise standard input is run as a script)
  korvan FILE            run the script FILE ("-" reads standard input); the
                         script's folder is added to the function search path
  korvan -e CODE         run CODE
  korvan --help          show this text
  korvan --version       show the version

Options:
  -e CODE                run CODE instead of a script or the prompt
  -h, --help             show this text and exit
  --version              show the version and exit
  --                     end of options: the next argument is the script

Started by the REST function connector, not by people:
  --function-worker FOLDER [--memory-limit-mib N]
                         a function worker: runs calls of the function service in
                         FOLDER sent over descriptor 3, with at most N MiB of memory

At the prompt (">> "), a statement that opens a block (if, for, while, try,
function) continues on the following lines ("..  ") until its end. Ctrl-C
discards the line being typed or interrupts the running statement; Ctrl-D on an
empty line leaves.

Environment:
  KORVAN_PREFDIR         settings folder (default ~/.korvan): connector settings,
                         function services in rest/services/, prompt history
  KORVAN_REST_CONSENT    answer of the remote-access consent dialog when there is
                         no terminal ("yes" agrees, anything else refuses)
  KORVAN_LOG             host and connector log: "stderr", a file path, or off
                         (unset, empty or "off"; the default); KORVAN_LOG_CHANNELS
                         and KORVAN_LOG_LEVEL narrow it
  KORVAN_MODULE_PATH     folders (separated by ':') holding the host's modules
                         (default: the lib folder next to the korvan command's bin)

Exit status:
  0   success (or Ctrl-D at the prompt)
  1   the script or -e code ended with an uncaught error
  N   the code given to exit(N)
  2   usage error
)";
}

}  // namespace korvan::shell
