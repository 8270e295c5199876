// The operations of the hosted REST function connector service, as its Invokable carries them.
//
// The service host publishes the connector service as an agent::spf::core::Invokable with the
// client ID "restfcnconnectorservice" (kClientId, version 1.0). The connector client bundle
// reaches it only through Invokable::invoke(operation, arguments): the operation is one of the
// names below, the arguments are a JSON object text ("{}" when there are none) and the result
// is a JSON text ("null" when there is none). A failure is thrown as a std::exception whose
// what() is the reason a person can act on (for "startConnector": port in use, permission,
// bad certificate); an unknown operation or malformed arguments throw std::invalid_argument.
//
// Each operation mirrors the RestFcnConnectorClient operation of the same name, so that the
// client is a thin forwarder:
//
//   operation                  arguments                                   result
//   getPort                    {}                                          number
//   setPort                    {"port": n}                                 null
//   getLogLocation             {}                                          string (UTF-8)
//   setLogLocation             {"logLocation": s}                          null
//   getHostname                {}                                          string
//   setHostname                {"hostName": s}                             null
//   getClientAccessMode        {}                                          number, 0 local 1 remote
//   setAccessMode              {"accessMode": n}                           null
//   getServiceNames            {}                                          array of strings
//   getPersonalAccessToken     {}                                          string
//   getTokenExpirationDate     {}                                          string "dd-MMM-yyyy"
//   getCertificate             {}                                          string, the file's path
//   getCertificateExpirationDate {}                                        string "dd-MMM-yyyy"
//   getBaseUrl                 {}                                          string
//   getStatus                  {}                                          number, 0 or 1
//   getPropertiesJson          {}                                          the property document
//   restoreSettings            {"port", "logLocation", "hostName", "accessMode"}  null
//   refreshServices            {}                                          null
//   changeToken                {"days": n}                                 null
//   changeCertificate          {"privateKey": s, "certificate": s, "addresses": [s...]}  null
//   startConnector             {}                                          null
//   stopConnector              {}                                          null
//   resetConnector             {}                                          null
//   getAccessLogLocation       {}                                          string (UTF-8)
//
// The property document is one JSON object with the members "Port", "LogLocation",
// "HostName", "ClientAccessMode", "ServiceNames" (the names joined by single spaces),
// "RESTPersonalAccessToken", "TokenExpirationDate", "Certificate",
// "CertificateExpirationDate", "BaseUrl" and "Status".
//
// Setters persist the setting at once; they throw std::logic_error while the connector runs.
#pragma once

#include <string_view>

namespace rest::kv::connectorservice {

inline constexpr std::string_view kClientId = "restfcnconnectorservice";
inline constexpr int kMajorVersion = 1;
inline constexpr int kMinorVersion = 0;

namespace op {
inline constexpr std::string_view getPort = "getPort";
inline constexpr std::string_view setPort = "setPort";
inline constexpr std::string_view getLogLocation = "getLogLocation";
inline constexpr std::string_view setLogLocation = "setLogLocation";
inline constexpr std::string_view getHostname = "getHostname";
inline constexpr std::string_view setHostname = "setHostname";
inline constexpr std::string_view getClientAccessMode = "getClientAccessMode";
inline constexpr std::string_view setAccessMode = "setAccessMode";
inline constexpr std::string_view getServiceNames = "getServiceNames";
inline constexpr std::string_view getPersonalAccessToken = "getPersonalAccessToken";
inline constexpr std::string_view getTokenExpirationDate = "getTokenExpirationDate";
inline constexpr std::string_view getCertificate = "getCertificate";
inline constexpr std::string_view getCertificateExpirationDate = "getCertificateExpirationDate";
inline constexpr std::string_view getBaseUrl = "getBaseUrl";
inline constexpr std::string_view getStatus = "getStatus";
inline constexpr std::string_view getPropertiesJson = "getPropertiesJson";
inline constexpr std::string_view restoreSettings = "restoreSettings";
inline constexpr std::string_view refreshServices = "refreshServices";
inline constexpr std::string_view changeToken = "changeToken";
inline constexpr std::string_view changeCertificate = "changeCertificate";
inline constexpr std::string_view startConnector = "startConnector";
inline constexpr std::string_view stopConnector = "stopConnector";
inline constexpr std::string_view resetConnector = "resetConnector";
inline constexpr std::string_view getAccessLogLocation = "getAccessLogLocation";
}  // namespace op

/// True when JSON writes `text` as it stands between two quotes (printable ASCII without '"'
/// and '\\'): both sides then pass such texts without a JSON writer or parser.
inline constexpr bool isPlainJsonText(std::string_view text) {
    for (const char c : text) {
        if (c < 0x20 || c >= 0x7f || c == '"' || c == '\\') return false;
    }
    return true;
}

}  // namespace rest::kv::connectorservice
