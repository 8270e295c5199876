// Clients, and the entries omConstructObjectWithClient and omCallMethod.
#include "kcos/Client.hpp"

#include <iostream>
#include <mutex>
#include <stdexcept>

#include "ClassErrors.hpp"
#include "Registry.hpp"
#include "kcos/Class.hpp"
#include "kcos/Namespace.hpp"
#include "kcos/NamespaceInfo.hpp"
#include "kcos/Operations.hpp"

namespace kcos {
namespace {

struct CallErrorState {
    std::mutex fLock;
    CallErrorSink fSink;  // guarded by fLock; empty: std::cerr
};

CallErrorState& callErrors() {
    static auto* s = new CallErrorState;
    return *s;
}

void reportCallError(const std::string& name, const std::exception& error) {
    CallErrorSink sink;
    {
        auto& s = callErrors();
        std::lock_guard lock(s.fLock);
        sink = s.fSink;
    }
    if (sink) {
        sink(name, error);
    } else {
        std::cerr << "Error in " << name << ": " << error.what() << std::endl;
    }
}

}  // namespace

bool COSClient::mayAccess(const COSClass* owner, MemberAccess access) const noexcept {
    switch (access) {
        case MemberAccess::Public:
            return true;
        case MemberAccess::Protected:
        case MemberAccess::Private:
            return fKind == Kind::Privileged || (fKind == Kind::ClassScope && fScope == owner);
    }
    return false;
}

COSClient* COSClient::publicClient() noexcept {
    static COSClient client(Kind::Public, nullptr);
    return &client;
}

COSClient* COSClient::privilegedClient() noexcept {
    static COSClient client(Kind::Privileged, nullptr);
    return &client;
}

CallErrorSink setCallErrorSink(CallErrorSink sink) {
    auto& s = callErrors();
    std::lock_guard lock(s.fLock);
    std::swap(s.fSink, sink);
    return sink;
}

namespace internal {

std::optional<korvan::host::Function> findFunctionLoading(std::string_view fullName) {
    if (auto function = korvan::host::findFunction(std::string(fullName))) return function;
    auto dot = fullName.rfind('.');
    if (dot == std::string_view::npos) return std::nullopt;
    COSNamespace* ns = COSNamespace::getNamespace(makeInterned(fullName.substr(0, dot)));
    if (!ns || !ns->getInfo()->attemptToLoadFunction(makeInterned(fullName.substr(dot + 1)))) {
        return std::nullopt;
    }
    return korvan::host::findFunction(std::string(fullName));
}

}  // namespace internal
}  // namespace kcos

kcos::COSClient* COSGetPublicClient() {
    return kcos::COSClient::publicClient();
}

kxArray* omConstructObjectWithClient(std::string_view className, int nrhs, const kxArray** prhs,
                                     kcos::COSClient* client) {
    kcos::COSClass* cls = kcos::COSClass::getClass(kcos::internal::makeInterned(className));
    if (!cls) kcos::internal::throwClassError("UndefinedClass", std::string(className));
    return kcos::constructObject(client, cls, nrhs, prhs);
}

bool omCallMethod(kcos::InternedString packageName, kcos::InternedString functionName,
                  kcos::COSClient* client, int nlhs, kxArray** plhs, int nrhs, const kxArray** prhs,
                  bool handleErrors) {
    if (!functionName || !plhs || nrhs < 0 || (nrhs > 0 && !prhs)) return false;
    const std::string fullName =
        packageName ? packageName.str() + "." + functionName.str() : functionName.str();
    try {
        if (auto function = kcos::internal::findFunctionLoading(fullName)) {
            (*function)(nlhs, plhs, nrhs, prhs);
            return true;
        }
        kcos::COSClass* cls = packageName ? kcos::COSClass::getClass(packageName) : nullptr;
        if (!cls) return false;
        for (kcos::COSMethodInfo* method : cls->findMethods(functionName)) {
            const bool onObject = nrhs >= 1 && kxIsObject(prhs[0]) &&
                                  kxGetClassName(prhs[0]) == cls->getName().view();
            if (method->isStatic() || onObject) {
                kcos::callMethod(client, cls, method, nlhs, plhs, nrhs, prhs);
                return true;
            }
        }
        return false;
    } catch (const std::exception& error) {
        if (!handleErrors) throw;
        kcos::reportCallError(fullName, error);
        return false;
    } catch (...) {
        if (!handleErrors) throw;
        kcos::reportCallError(fullName, std::runtime_error("an error of unknown type"));
        return false;
    }
}
