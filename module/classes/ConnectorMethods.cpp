// Construction of the method descriptions of ConnectorMethods.hpp (their invoke operations for
// changeToken and changeCertificate are in ChangeMethods.cpp).
#include "classes/ConnectorMethods.hpp"

#include "kcos/Instance.hpp"

namespace rest::kv::connector {

namespace {
constexpr const char* kConnectorScalar = "korvan.engine.rest.RESTFunctionConnector scalar";
constexpr const char* kAnyValue = "any";
}  // namespace

ConnectorMethodInfo::ConnectorMethodInfo(kcos::COSClass* owner)
    : fOwner(owner), fSignature(kcos::COSMethodSignature::createMethodSignature()) {}

ConnectorMethodInfo::~ConnectorMethodInfo() {
    delete fSignature;
}

RestConnector* ConnectorMethodInfo::connectorOf(const kxArray* object) const {
    return static_cast<RestConnector*>(kcos::instanceDataOf(object, 0, fOwner));
}

RestFunctionConnector_Constructor::RestFunctionConnector_Constructor(kcos::COSClass* owner)
    : ConnectorMethodInfo(owner) {
    signature().addOutputType(kConnectorScalar);
}

ChangeTokenMethodInfo::ChangeTokenMethodInfo(kcos::COSClass* owner) : ConnectorMethodInfo(owner) {
    signature().addInputType(kAnyValue);
    signature().setAcceptsFurtherArguments();
}

ChangeCertificateMethodInfo::ChangeCertificateMethodInfo(kcos::COSClass* owner)
    : ConnectorMethodInfo(owner) {
    signature().addInputType(kAnyValue);
    signature().setAcceptsFurtherArguments();
}

}  // namespace rest::kv::connector
