// The definition of korvan.engine.rest.RESTFunctionConnector: its properties in display
// order, its method descriptions and its plain methods.
#include "classes/RestFcnConnectorInfo.hpp"

#include <cstdint>

#include "classes/ConnectorMethods.hpp"
#include "connector/RestfcnConnector.hpp"
#include "kcos/Class.hpp"
#include "kcos/Property.hpp"
#include "kcos/Types.hpp"

namespace rest::kv::connector {

namespace {

using kcos::MemberAccess;

// Attribute words of the properties: init, default, reset, copy, listeners, inspect and
// visible; the expiration dates also answer "cannot contain interfaces" without asking the
// type.
constexpr std::uint32_t kPropertyAttributes = 3022;
constexpr std::uint32_t kDateAttributes = 19406;

using ArrayGetter = kxArray* (RestConnector::*)();
using ArraySetter = void (RestConnector::*)(const kxArray*);

struct ArrayProperty {
    const char* fName;
    const char* fTypeLabel;
    ArrayGetter fGetter;
    ArraySetter fSetter;  // null: read-only (private set access, empty setter)
    std::uint32_t fAttributes;
    bool fRelease;  // false for shared enumeration members, which must not be destroyed
    const char* fDescription;
};

// The properties after Port, in the order the host shows them.
const ArrayProperty kArrayProperties[] = {
    {"LogLocation", "string scalar", &RestConnector::getLogLocation, &RestConnector::setLogLocation,
     kPropertyAttributes, true, "Location of Logs for Function connector"},
    {"HostName", "string scalar", &RestConnector::getHostname, &RestConnector::setHostname,
     kPropertyAttributes, true, "Hostname for Base URL in Function Connector"},
    {"PreferredRestartHour", "any", &RestConnector::getPreferredRestartHour,
     &RestConnector::setPreferredRestartHour, kPropertyAttributes, true,
     "Preferred Restart Hour for restarting the Connector"},
    {"ClientAccessMode", "any", &RestConnector::getAccessMode, &RestConnector::setAccessMode,
     kPropertyAttributes, false, "Client Access Mode for Function Connector"},
    {"ServiceNames", "string vector", &RestConnector::getServiceNames, nullptr, kPropertyAttributes,
     true, "Function Services registered with Function Connector"},
    {"RESTPersonalAccessToken", "string scalar", &RestConnector::getPersonalAccessToken, nullptr,
     kPropertyAttributes, true, "Access Token for Function Connector"},
    {"TokenExpirationDate", "any", &RestConnector::getTokenExpirationDate, nullptr, kDateAttributes,
     true, "Token Expiration Date"},
    {"Certificate", "string scalar", &RestConnector::getCertificate, nullptr, kPropertyAttributes,
     true, "Path to Certificate File"},
    {"CertificateExpirationDate", "any", &RestConnector::getCertificateExpirationDate, nullptr,
     kDateAttributes, true, "Certificate Expiration Date"},
    {"BaseURL", "string scalar", &RestConnector::getBaseUrl, nullptr, kPropertyAttributes, true,
     "Base URL"},
    {"Status", "korvan.engine.rest.Status", &RestConnector::getStatus, nullptr, kPropertyAttributes,
     false, "Status of Function Connector"},
};

const kcos::COSType* propertyType(kcos::COSClass* cls, const char* name, const char* label) {
    const kcos::COSType* type = kcos::COSTypeRepository::findType(label);
    if (!type) cls->throwPropertyAddedWithNonexistingTypeError(name, label);
    return type;
}

void addPortProperty(kcos::COSClass* cls) {
    kcos::PropMethods<RestConnector, double> methods;
    methods.getter = &RestConnector::getPort;
    methods.setter = &RestConnector::setPort;
    cls->addProperty("Port", propertyType(cls, "Port", "double scalar"), MemberAccess::Public,
                     MemberAccess::Public, kPropertyAttributes, "Port for Function Connector",
                     std::move(methods));
}

void addArrayProperty(kcos::COSClass* cls, const ArrayProperty& property) {
    kcos::PropMethods<RestConnector, kxArray*> methods;
    methods.getter = property.fGetter;
    if (property.fSetter) {
        methods.setter = property.fSetter;
    } else {
        methods.setter = [](RestConnector*, const kxArray*) {};
    }
    if (property.fRelease) {
        methods.release = [](kxArray* value) {
            if (value) kxDestroyArray(value);
        };
    }
    cls->addProperty(property.fName, propertyType(cls, property.fName, property.fTypeLabel),
                     MemberAccess::Public,
                     property.fSetter ? MemberAccess::Public : MemberAccess::Private,
                     property.fAttributes, property.fDescription, std::move(methods));
}

// Plain methods: an object without a RestConnector is left alone.
void startMethod(RestConnector* connector) {
    if (connector) connector->startConnector();
}
void stopMethod(RestConnector* connector) {
    if (connector) connector->stopConnector();
}
void resetMethod(RestConnector* connector) {
    if (connector) connector->reset();
}
// A host delete never tears the process-wide connector down.
void deleteMethod(RestConnector*) {}

}  // namespace

void RestFcnConnectorInfo::defineClass(kcos::COSClass* cls, kcos::COSClient*) {
    addPortProperty(cls);
    for (const ArrayProperty& property : kArrayProperties) addArrayProperty(cls, property);

    cls->addMethod(new RestFunctionConnector_Constructor(cls));
    cls->addMethod(new ChangeTokenMethodInfo(cls));
    cls->addMethod(new ChangeCertificateMethodInfo(cls));
    cls->addMethod("start", MemberAccess::Public, 0, 0, &startMethod);
    cls->addMethod("stop", MemberAccess::Public, 0, 0, &stopMethod);
    cls->addMethod("reset", MemberAccess::Public, 0, 0, &resetMethod);
    cls->addMethod("delete", MemberAccess::Private, 0, 0, &deleteMethod);
}

void* RestFcnConnectorInfo::createInstanceData(kcos::COSClass*) {
    return RestConnector::getInstance();
}

}  // namespace rest::kv::connector
