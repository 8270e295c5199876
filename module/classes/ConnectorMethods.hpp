// Method descriptions of korvan.engine.rest.RESTFunctionConnector that need more than a plain
// function: the (private) constructor, changeToken and changeCertificate.
//
// Each holds the owning class (the class under definition when it was made; used to fetch
// an object's RestConnector from its instance data) and its signature, which it owns and
// deletes with itself.
//
// Ownership: allocated with the host's method-description allocator and owned by the class
// once added. Threads: invoked by the host on the interpreter thread; no locks. Errors (the
// host's argument-count errors and the module's catalogue errors) propagate to the host; a
// failed call sends nothing to the connector.
#pragma once

#include "kcos/MethodInfo.hpp"

namespace kcos {
class COSClass;
}

namespace rest::kv::connector {

class RestConnector;

/// What the three descriptions share: the owner and the owned signature.
class ConnectorMethodInfo : public kcos::COSMethodInfo {
  public:
    ~ConnectorMethodInfo() override;
    const kcos::COSMethodSignature* getMethodSignature() const override { return fSignature; }

  protected:
    /// Takes a new empty signature; the subclass fills it in its constructor.
    explicit ConnectorMethodInfo(kcos::COSClass* owner);
    kcos::COSMethodSignature& signature() { return *fSignature; }
    /// The RestConnector of the object prhs[0] (its live element 0), or null.
    RestConnector* connectorOf(const kxArray* object) const;

  private:
    kcos::COSClass* fOwner = nullptr;
    kcos::COSMethodSignature* fSignature = nullptr;  // owned
};

/// The constructor: private, no inputs, one output of the class. The object's native side
/// comes from createInstanceData, so invoke does nothing.
class RestFunctionConnector_Constructor final : public ConnectorMethodInfo {
  public:
    explicit RestFunctionConnector_Constructor(kcos::COSClass* owner);
    const char* getName() const override { return "RESTFunctionConnector"; }
    kcos::MemberAccess getMemberAccess() const override { return kcos::MemberAccess::Private; }
    void invoke(int, kxArray**, int, const kxArray**) override {}
};

/// obj.changeToken() / obj.changeToken(days): days a whole double or a scalar duration,
/// 1 to 365; 30 when not given.
class ChangeTokenMethodInfo final : public ConnectorMethodInfo {
  public:
    explicit ChangeTokenMethodInfo(kcos::COSClass* owner);
    const char* getName() const override { return "changeToken"; }
    void invoke(int nlhs, kxArray** plhs, int nrhs, const kxArray** prhs) override;
};

/// obj.changeCertificate() / obj.changeCertificate(addresses) /
/// obj.changeCertificate(name1, path1, name2, path2) with the names "PrivateKey" and
/// "Certificate" in any letter case.
class ChangeCertificateMethodInfo final : public ConnectorMethodInfo {
  public:
    explicit ChangeCertificateMethodInfo(kcos::COSClass* owner);
    const char* getName() const override { return "changeCertificate"; }
    void invoke(int nlhs, kxArray** plhs, int nrhs, const kxArray** prhs) override;
};

}  // namespace rest::kv::connector
