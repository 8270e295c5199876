// Clients of the class-object system and its call entries.
//
// A client is who is asking: the public client (user code: only public members), a class's
// own client (full access to that class's members; the client a class's defineClass
// receives) or the privileged client (the host's own code: full access everywhere).
//
// omConstructObjectWithClient and omCallMethod are the entries other code uses to construct
// objects and call functions and methods by name, with the access rights of a client.
//
// Ownership: clients belong to the host (the public and privileged clients live for the
// process; a class client as long as its class). Threads: the entries run user-visible code
// and must be called on the interpreter thread.
#pragma once

#include <exception>
#include <functional>
#include <string>
#include <string_view>

#include "kcos/Interned.hpp"
#include "kcos/Types.hpp"
#include "korvan/host/Export.hpp"

struct kxArray;

namespace kcos {

class COSClass;

class KORVAN_HOST_EXPORT COSClient {
  public:
    enum class Kind { Public, ClassScope, Privileged };

    COSClient(Kind kind, const COSClass* scope) : fKind(kind), fScope(scope) {}
    COSClient(const COSClient&) = delete;
    COSClient& operator=(const COSClient&) = delete;

    Kind getKind() const noexcept { return fKind; }
    /// The class of a class client; null otherwise.
    const COSClass* getScopeClass() const noexcept { return fScope; }
    /// Whether this client may use a member of `owner` with access `access`.
    bool mayAccess(const COSClass* owner, MemberAccess access) const noexcept;

    static COSClient* publicClient() noexcept;
    static COSClient* privilegedClient() noexcept;

  private:
    const Kind fKind;
    const COSClass* const fScope;
};

/// Receives an error that omCallMethod handled (its flag `handleErrors` set): the full name
/// of the function or method called and the error. The default writes
/// "Error in <name>: <what()>" to std::cerr.
using CallErrorSink = std::function<void(const std::string& name, const std::exception& error)>;
/// Replaces the sink and returns the previous one; an empty sink restores the default.
KORVAN_HOST_EXPORT CallErrorSink setCallErrorSink(CallErrorSink sink);

}  // namespace kcos

/// The public client: the rights of user code.
KORVAN_HOST_EXPORT kcos::COSClient* COSGetPublicClient();

/// Constructs an object of the class `className` with the arguments `prhs`, with the rights
/// of `client` (null: the public client): the class's description and constructor access are
/// checked, the instance data is created, the constructor runs. Returns the new object (the
/// caller owns one reference). A class named like a built-in array class ("uint32",
/// "double") converts its arguments instead. Errors are thrown: KORVAN:class:UndefinedClass,
/// KORVAN:class:ConstructorAccess, KORVAN:class:ClassIsAbstract, and whatever the
/// description's createInstanceData or constructor raise.
KORVAN_HOST_EXPORT kxArray* omConstructObjectWithClient(std::string_view className, int nrhs,
                                                        const kxArray** prhs,
                                                        kcos::COSClient* client);

/// Calls the function `packageName.functionName` of the function table (only `functionName`
/// when the package is null), or, when the package names a class, that class's method
/// `functionName` (a static method, or an instance method on prhs[0]), with the rights of
/// `client`. plhs has room for max(nlhs, 1) results, which the caller then owns.
/// Returns true on success. A missing function or method returns false without error. An
/// error raised by the call is given to the call-error sink and false returned when
/// `handleErrors` is true, and propagates when it is false.
KORVAN_HOST_EXPORT bool omCallMethod(kcos::InternedString packageName,
                                     kcos::InternedString functionName, kcos::COSClient* client,
                                     int nlhs, kxArray** plhs, int nrhs, const kxArray** prhs,
                                     bool handleErrors);
