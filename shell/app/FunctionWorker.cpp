#include "FunctionWorker.hpp"

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <iostream>
#include <optional>
#include <streambuf>
#include <string>

#include "InterruptSignal.hpp"
#include "Runtime.hpp"
#include "foundation/json/Parser.hpp"
#include "korvan/host/Warnings.hpp"
#include "korvan/lang/Interpreter.hpp"
#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/services/connector/JsonValues.hpp"
#include "korvan/services/connector/RequestHandler.hpp"
#include "korvan/services/connector/WorkerProtocol.hpp"
#include "korvan/shell/FolderFunctionCatalog.hpp"
#include "xvm/XVM.hpp"

namespace korvan::shell {
namespace {

namespace connector = korvan::services::connector;
namespace protocol = korvan::services::connector::worker;

constexpr int kChannel = 3;  // answers to the connector
constexpr int kCalls = 4;    // the pool's call queue, shared with the other workers
constexpr int kRunning = 5;  // the running-call page the connector reads
constexpr int kLog = STDOUT_FILENO;

std::uint64_t* gRunning = nullptr;  // mapped once before the first call

std::uint64_t runningCall() noexcept {
    return std::atomic_ref<std::uint64_t>(*gRunning).load(std::memory_order_acquire);
}
void setRunningCall(std::uint64_t call) noexcept {
    std::atomic_ref<std::uint64_t>(*gRunning).store(call, std::memory_order_release);
}
// A queued SIGINT names the call to stop: one that has already ended is left alone.
bool isRunningCall(std::uintptr_t call) noexcept {
    return gRunning && call != 0 && runningCall() == call;
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

// "2026-11-24T06:01:02.345Z"
std::string utcNow() {
    const auto now = std::chrono::system_clock::now();
    const std::time_t t = std::chrono::system_clock::to_time_t(now);
    const auto ms =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()) % 1000;
    std::tm tm{};
    ::gmtime_r(&t, &tm);
    char buf[80];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", tm.tm_year + 1900,
                  tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec,
                  static_cast<int>(ms.count()));
    return buf;
}

// Turns what is printed into whole log lines tagged with the call that printed them, each
// written with one write() so that the lines of several workers never interleave.
class CallLog : public std::streambuf {
  public:
    void setCall(std::string tag) {
        flushLine();
        fTag = std::move(tag);
    }
    void writeLine(std::string_view text) {
        std::string line = utcNow() + " " + fTag + ": ";
        line.append(text);
        line.push_back('\n');
        std::string_view rest(line);
        while (!rest.empty()) {
            const ssize_t n = ::write(kLog, rest.data(), rest.size());
            if (n <= 0) return;  // a log that cannot be written loses the line, not the call
            rest.remove_prefix(static_cast<std::size_t>(n));
        }
    }
    void flushLine() {
        if (!fLine.empty()) writeLine(fLine);
        fLine.clear();
    }

  protected:
    int_type overflow(int_type c) override {
        if (c == traits_type::eof()) return c;
        if (c == '\n') {
            writeLine(fLine);
            fLine.clear();
        } else {
            fLine.push_back(static_cast<char>(c));
        }
        return c;
    }
    std::streamsize xsputn(const char* s, std::streamsize n) override {
        for (std::streamsize i = 0; i < n; ++i) overflow(static_cast<unsigned char>(s[i]));
        return n;
    }
    int sync() override { return 0; }

  private:
    std::string fTag = "worker";
    std::string fLine;
};

// "plus(a, b)", for messages.
std::string signature(const std::string& name, const connector::FunctionMetadata& meta) {
    std::string text = name + "(";
    for (std::size_t i = 0; i < meta.fInputs.size(); ++i) text += (i ? ", " : "") + meta.fInputs[i];
    return text + ")";
}

connector::CallOutcome invalidArguments(std::string message) {
    return {400, connector::errorBody(connector::errorid::kInvalidArguments, message)};
}

// Named arguments ({"b": 2, "a": 1}) become the positional list, in the order of the
// function's inputs; a name it has not, or a gap before the last name given, is refused.
std::optional<connector::CallOutcome> bindByName(
    const std::optional<connector::FunctionMetadata>& meta, const std::string& name,
    foundation::json::Value& args) {
    if (!meta)
        return invalidArguments("The inputs of " + name +
                                " are not known, so its arguments must be given by position");
    const auto& given = args.asObject();
    std::string unknown;
    for (const auto& [key, value] : given)
        if (std::find(meta->fInputs.begin(), meta->fInputs.end(), key) == meta->fInputs.end())
            unknown += (unknown.empty() ? "\"" : ", \"") + key + "\"";
    if (!unknown.empty())
        return invalidArguments(signature(name, *meta) + " has no input " + unknown);
    std::size_t count = 0;  // inputs up to the last one given
    for (std::size_t i = 0; i < meta->fInputs.size(); ++i)
        if (given.count(meta->fInputs[i])) count = i + 1;
    foundation::json::Array positional;
    std::string missing;
    for (std::size_t i = 0; i < count; ++i) {
        const auto found = given.find(meta->fInputs[i]);
        if (found == given.end()) {
            missing += (missing.empty() ? "\"" : ", \"") + meta->fInputs[i] + "\"";
            continue;
        }
        positional.push_back(found->second);
    }
    if (!missing.empty())
        return invalidArguments(signature(name, *meta) + " needs " + missing +
                                " before the inputs given after it");
    args = foundation::json::Value(std::move(positional));
    return std::nullopt;
}

// The function stopped at an input the call did not give ("Undefined variable or function
// 'b'." for an input past those given): answered as the caller's mistake, naming it.
std::optional<connector::CallOutcome> missingInput(
    const connector::CallOutcome& outcome, const std::optional<connector::FunctionMetadata>& meta,
    const foundation::json::Value& args) {
    if (outcome.fStatus != 500 || !meta || !args.isArray() || !outcome.fBody.isObject())
        return std::nullopt;
    const auto& error = outcome.fBody["error"];
    if (!error.isObject() || !error["identifier"].isString() ||
        error["identifier"].asString() != "KORVAN:lang:UndefinedVariable" ||
        !error["message"].isString())
        return std::nullopt;
    const std::string& message = error["message"].asString();
    const auto open = message.find('\'');
    const auto close = message.find('\'', open + 1);
    if (open == std::string::npos || close == std::string::npos) return std::nullopt;
    const std::string variable = message.substr(open + 1, close - open - 1);
    const auto input = std::find(meta->fInputs.begin(), meta->fInputs.end(), variable);
    const auto index = static_cast<std::size_t>(input - meta->fInputs.begin());
    if (input == meta->fInputs.end() || index < args.asArray().size()) return std::nullopt;
    return invalidArguments("Missing argument \"" + variable + "\": the function needs it (" +
                            std::to_string(args.asArray().size()) + " of " +
                            std::to_string(meta->fInputs.size()) + " inputs were given)");
}

// An error message goes to a remote caller, who has no business knowing where the server keeps
// its files: a path under the services folder is written from the service's name on
// ("/home/me/.korvan/rest/services/demo/f.k" becomes "demo/f.k").
void hideServerPaths(connector::CallOutcome& outcome, const std::string& servicesFolder) {
    if (outcome.fStatus < 400 || !outcome.fBody.isObject() || !outcome.fBody["error"].isObject() ||
        !outcome.fBody["error"]["message"].isString())
        return;
    std::string message = outcome.fBody["error"]["message"].asString();
    const std::string prefix = servicesFolder + "/";
    bool changed = false;
    for (auto at = message.find(prefix); at != std::string::npos; at = message.find(prefix, at)) {
        message.erase(at, prefix.size());
        changed = true;
    }
    if (changed)
        outcome.fBody = connector::errorBody(outcome.fBody["error"]["identifier"].isString()
                                                 ? outcome.fBody["error"]["identifier"].asString()
                                                 : std::string(),
                                             message);
}

// Runs one request and gives the answer to send.
protocol::CallAnswer runCall(FolderFunctionCatalog& catalog, const std::string& service,
                             const std::string& servicesFolder,
                             const protocol::CallRequest& request) {
    protocol::CallAnswer answer;
    answer.fCall = request.fCall;
    auto function = catalog.findFunction(service, request.fFunction);
    if (!function) {
        catalog.refresh();  // a file added since the last look
        function = catalog.findFunction(service, request.fFunction);
    }
    connector::CallOutcome outcome;
    if (!function) {
        outcome = {404, connector::errorBody(connector::errorid::kUnknownFunction,
                                             "No function \"" + request.fFunction +
                                                 "\" in service \"" + service + "\"")};
    } else {
        foundation::json::Value args;
        try {
            args = foundation::json::parse(request.fArgs);
        } catch (const std::exception&) {
            args = foundation::json::Value();  // refused below
        }
        // The file's function line is read only when a call needs it (by name, or failed).
        const auto meta = [&] { return catalog.describeFunction(service, request.fFunction); };
        std::optional<connector::CallOutcome> refused;
        if (args.isObject())
            refused = bindByName(meta(), request.fFunction, args);
        else if (!args.isArray())
            refused = connector::CallOutcome{
                400, connector::errorBody(connector::errorid::kInvalidRequest,
                                          "\"args\" must be an array or an object")};
        if (refused)
            outcome = std::move(*refused);
        else
            outcome =
                connector::runFunctionCall(*function, args, static_cast<int>(request.fNargout));
        // An input the call did not give, which the function needed: the caller's mistake.
        if (outcome.fStatus == 500)
            if (auto missing = missingInput(outcome, meta(), args)) outcome = std::move(*missing);
        // The file was removed since the folder was last looked at: the function is gone.
        if (outcome.fStatus == 500 && outcome.fBody.isObject() &&
            outcome.fBody["error"].isObject() && outcome.fBody["error"]["identifier"].isString() &&
            outcome.fBody["error"]["identifier"].asString() == "KORVAN:lang:FileNotFound") {
            catalog.refresh();
            if (!catalog.findFunction(service, request.fFunction))
                outcome = {404, connector::errorBody(connector::errorid::kUnknownFunction,
                                                     "No function \"" + request.fFunction +
                                                         "\" in service \"" + service + "\"")};
        }
    }
    hideServerPaths(outcome, servicesFolder);
    answer.fStatus = outcome.fStatus;
    answer.fBody = outcome.fBodyText.empty() ? connector::writeJson(outcome.fBody)
                                             : std::move(outcome.fBodyText);
    return answer;
}

}  // namespace

int runFunctionWorker(const std::filesystem::path& serviceFolder, std::size_t memoryLimitMiB,
                      const std::filesystem::path& executable) {
    auto vm = xvm::Factory::createXVM();
    xvm::CurrentXVMScope current(vm);
    void* page =
        ::mmap(nullptr, sizeof(std::uint64_t), PROT_READ | PROT_WRITE, MAP_SHARED, kRunning, 0);
    if (page == MAP_FAILED) return 1;
    gRunning = static_cast<std::uint64_t*>(page);
    InterruptSignal::install();
    InterruptSignal::setFilter(isRunningCall);
    installCatalogues(executable, std::cerr);

    CallLog log;
    std::cout.rdbuf(&log);
    std::cerr.rdbuf(&log);
    korvan::host::setWarningSink([&log](const std::string& line) {
        log.writeLine(std::string_view(line).substr(0, line.find_last_not_of('\n') + 1));
    });

    const std::filesystem::path folder =
        std::filesystem::absolute(serviceFolder).lexically_normal();
    const std::string service = folder.filename().string();
    FolderFunctionCatalog catalog(folder.parent_path());

    if (memoryLimitMiB > 0 && !kSanitized) {
        // Set last: the limit is on the address space, and starting up maps libraries.
        const rlim_t bytes = static_cast<rlim_t>(memoryLimitMiB) * 1024 * 1024;
        const rlimit limit{bytes, bytes};
        if (::setrlimit(RLIMIT_AS, &limit) != 0) {
            log.writeLine("the memory limit could not be set");
            return 1;
        }
    }
    if (!protocol::writeAll(kChannel, protocol::encode(protocol::CallAnswer{})))
        return 0;  // the connector went away while we started
    for (;;) {
        auto payload = protocol::receiveCall(kCalls);
        if (!payload) return 0;  // the connector closed the call queue: it is done with us
        auto request = protocol::decodeRequest(*payload);
        if (!request) return 1;
        // An interrupt is meant for the call its signal names (see isRunningCall): a flag left
        // by one that came as the previous call ended must not stop this one.
        korvan::lang::Interpreter::clearInterrupt();
        // Written before the deadline is read: a time-out that finds the page empty finds
        // the deadline passed here.
        setRunningCall(request->fCall);
        protocol::CallAnswer answer;
        const auto now = std::chrono::duration_cast<std::chrono::nanoseconds>(
            std::chrono::steady_clock::now().time_since_epoch());
        if (request->fDeadline != 0 &&
            static_cast<std::uint64_t>(now.count()) >= request->fDeadline) {
            answer.fCall = request->fCall;
            answer.fStatus = protocol::kSkipped;
        } else {
            log.setCall(service + "/" + request->fFunction + " #" + std::to_string(request->fCall));
            answer = runCall(catalog, service, folder.parent_path().string(), *request);
            log.flushLine();
        }
        setRunningCall(0);
        if (!protocol::writeAll(kChannel, protocol::encode(answer))) return 0;
    }
}

}  // namespace korvan::shell
