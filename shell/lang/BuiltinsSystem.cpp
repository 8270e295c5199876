// Built-ins around the program's run: error, assert, warning, lastwarning, getenv, pause,
// delete; and the registration helper shared by every group.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "Builtins.hpp"
#include "ErrorObject.hpp"
#include "Interrupt.hpp"
#include "korvan/host/Functions.hpp"
#include "korvan/host/UserCode.hpp"
#include "korvan/host/Warnings.hpp"
#include "korvan/lang/Interpreter.hpp"
#include "xvm/XVM.hpp"

namespace korvan::lang {
namespace {

bool looksLikeIdentifier(const std::string& s) {
    return s.find(':') != std::string::npos && s.find(' ') == std::string::npos && s.back() != ':';
}

// pause: drains work posted to the interpreter thread while it waits. It waits in short
// slices so that an interrupt (set from a signal handler, which may not wake the interpreter
// itself) ends it within one slice.
void pauseFor(double seconds) {
    if (!(seconds > 0)) return;
    using namespace std::chrono;
    constexpr milliseconds kSlice(50);
    auto deadline =
        steady_clock::now() + duration_cast<steady_clock::duration>(duration<double>(seconds));
    auto vm = xvm::Factory::getCurrentLocalXVM();
    for (auto now = steady_clock::now(); now < deadline; now = steady_clock::now()) {
        checkInterrupt();
        auto left = std::min(duration_cast<milliseconds>(deadline - now) + milliseconds(1), kSlice);
        if (vm)
            vm->waitAndDrain(left);
        else
            std::this_thread::sleep_for(left);
    }
    checkInterrupt();
}

}  // namespace

void defineBuiltin(const std::string& name, int minInputs, int maxInputs, Builtin fn) {
    korvan::host::registerFunction(
        name, [minInputs, maxInputs, fn = std::move(fn)](int nlhs, kxArray** plhs, int nrhs,
                                                         const kxArray** prhs) {
            if (nrhs < minInputs) kxErrNotEnoughInputs();
            if (maxInputs >= 0 && nrhs > maxInputs) kxErrTooManyInputs();
            std::vector<Value> out = fn(Args(prhs, prhs + nrhs), nlhs);
            if (static_cast<int>(out.size()) < nlhs) kxErrTooManyOutputs();
            for (std::size_t i = 0; i < out.size() && static_cast<int>(i) < std::max(nlhs, 1); ++i)
                plhs[i] = out[i].release();
        });
}

void registerSystemBuiltins() {
    defineBuiltin("error", 1, -1, [](const Args& a, int) -> std::vector<Value> {
        if (const ErrorObject* err = errorObject(a[0]))
            throw ScriptError(err->identifier(), err->message());
        std::string first = textOf(a[0]);
        if (a.size() >= 2 && looksLikeIdentifier(first))
            throw ScriptError(first, formatValues(textOf(a[1]), Args(a.begin() + 2, a.end())));
        throw ScriptError(
            "", a.size() == 1 ? first : formatValues(first, Args(a.begin() + 1, a.end())));
    });
    defineBuiltin("assert", 1, -1, [](const Args& a, int) {
        if (!isTrue(a[0])) {
            if (a.size() == 1) langError("AssertionFailed");
            std::string second = textOf(a[1]);
            if (a.size() >= 3 && looksLikeIdentifier(second))
                throw ScriptError(second, formatValues(textOf(a[2]), Args(a.begin() + 3, a.end())));
            throw ScriptError("KORVAN:lang:AssertionFailed",
                              formatValues(second, Args(a.begin() + 2, a.end())));
        }
        return std::vector<Value>{};
    });
    defineBuiltin("warning", 1, -1, [](const Args& a, int) {
        std::string first = textOf(a[0]);
        if (a.size() >= 2 && looksLikeIdentifier(first))
            korvan::host::issueWarning(formatValues(textOf(a[1]), Args(a.begin() + 2, a.end())),
                                       first);
        else
            korvan::host::issueWarning(formatValues(first, Args(a.begin() + 1, a.end())));
        return std::vector<Value>{};
    });
    defineBuiltin("lastwarning", 0, 0, [](const Args&, int) {
        korvan::host::LastWarning w = korvan::host::lastWarning();
        return std::vector<Value>{makeChar(w.message), makeChar(w.identifier)};
    });
    defineBuiltin("getenv", 1, 1, [](const Args& a, int) {
        const char* v = std::getenv(textOf(a[0]).c_str());
        return std::vector<Value>{makeChar(v ? v : "")};
    });
    defineBuiltin("pause", 1, 1, [](const Args& a, int) {
        if (!kxIsNumeric(a[0]) || kxGetNumberOfElements(a[0]) != 1)
            langError("InvalidArgument", "pause", "the time must be a number of seconds.");
        pauseFor(realAt(a[0], 0));
        return std::vector<Value>{};
    });
    defineBuiltin("delete", 1, 1, [](const Args& a, int) {
        korvan::host::UserCode().deleteObject(a[0]);
        return std::vector<Value>{};
    });
}

void registerBuiltins() {
    static std::once_flag once;
    std::call_once(once, [] {
        registerMathBuiltins();
        registerTextBuiltins();
        registerSystemBuiltins();
        registerCommandBuiltins();
        registerHelpBuiltins();
        registerContainerBuiltins();
    });
}

}  // namespace korvan::lang
