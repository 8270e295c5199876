// RestFcnConnectorInfo: the description of the host class
// korvan.engine.rest.RESTFunctionConnector. Its twelve properties and its methods are bound to
// the process-wide RestConnector; every host object of the class is a handle on that one
// connector (createInstanceData hands it out, destroyInstanceData leaves it alone).
//
// Ownership: allocated with the host allocator and owned by the host once added to the
// namespace (registerClasses). It has no state of its own.
// Threads: the host calls it on the interpreter thread. Errors of the RestConnector
// operations leave the callbacks unchanged and become host errors.
#pragma once

#include "kcos/ClassInfo.hpp"

namespace rest::kv::connector {

class RestFcnConnectorInfo final : public kcos::COSClassInfo {
  public:
    ~RestFcnConnectorInfo() override {}

    const char* getName() const override { return "RESTFunctionConnector"; }
    /// Adds the properties, then the constructor, changeToken, changeCertificate, start, stop,
    /// reset and delete.
    void defineClass(kcos::COSClass* cls, kcos::COSClient* client) override;
    /// The process-wide RestConnector (created on first use; NoConnectorFound when no
    /// connector client is tracked, and then no object results).
    void* createInstanceData(kcos::COSClass* cls) override;
    /// The RestConnector outlives every host object: nothing to do.
    void destroyInstanceData(void*) override {}
    int getClassOption() const override { return 0; }
    int getClassKind() const override { return 1; }
    int getArrayNature() const override { return 1; }
};

}  // namespace rest::kv::connector
