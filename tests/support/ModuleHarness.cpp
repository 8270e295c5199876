#include "ModuleHarness.hpp"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "korvan/host/ModuleLoader.hpp"
#include "kx/kxUtf.hpp"

namespace korvan::test {

ModuleHarness& ModuleHarness::instance() {
    // Never destroyed: the module's static objects may still use the interpreter handle
    // and the doubles while the process exits.
    static ModuleHarness* const harness = new ModuleHarness();
    return *harness;
}

ModuleHarness::ModuleHarness() : fThread(std::make_unique<korvan::host::InterpreterThread>()) {}

std::string ModuleHarness::modulePath() {
    return KORVAN_MODULE_PATH;
}

void ModuleHarness::loadModule() {
    run([] {
        korvan::host::loadModule(modulePath(),
                                 {{"restFunctionConnector", "restFunctionConnectorBuiltinFcn"}});
    });
}

void ModuleHarness::drainInterpreter() {
    // The queue is FIFO: once this no-op has run, everything queued before it has run too.
    run([] {});
}

void ModuleHarness::CapturedFailure::capture() {
    try {
        throw;
    } catch (const foundation::core::except::IException& e) {
        fClone.reset(e.clone());
    } catch (const std::exception& e) {
        fStdWhat = e.what();
    } catch (...) {
        fOther = true;
    }
}

void ModuleHarness::CapturedFailure::rethrowIfAny() const {
    if (fClone) fClone->rethrow();
    if (fStdWhat) throw std::runtime_error(*fStdWhat);
    if (fOther) throw NonStdError{};
}

void ModuleHarness::stop() {
    fThread->stop();
}

void ModuleHarness::abortTimedOut() {
    std::fputs("module test: work on the interpreter thread did not finish within a minute\n",
               stderr);
    std::abort();
}

bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) return condition();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

std::string argumentText(const resource_core::MsgArgument& argument) {
    if (const auto* number = std::get_if<std::int64_t>(&argument)) {
        return "<int> " + std::to_string(*number);
    }
    if (const auto* text = std::get_if<std::string>(&argument)) return *text;
    return "u:" + kx::utf16ToUtf8(std::get<std::u16string>(argument));
}

bool containsInOrder(const std::vector<std::string>& all,
                     const std::vector<std::string>& expected) {
    std::size_t next = 0;
    for (const auto& line : all) {
        if (next < expected.size() && line == expected[next]) ++next;
    }
    return next == expected.size();
}

}  // namespace korvan::test
