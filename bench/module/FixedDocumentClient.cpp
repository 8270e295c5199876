#include "FixedDocumentClient.hpp"

#include <boost/json/serialize.hpp>
#include <boost/json/value.hpp>

namespace korvan::bench {

namespace {

constexpr const char* kToken = "3f9c0d5e7a1b2c4d6e8f0a1b3c5d7e9f1a2b4c6d8e0f1a3b5c7d9e1f2a4b6c8d";
constexpr const char16_t* kLogFolder = u"/home/ada/.korvan/rest/logs";
constexpr const char16_t* kCertificate = u"/home/ada/.korvan/rest/certificate/connector-cert.pem";

}  // namespace

const std::string& FixedDocumentClient::document() {
    static const std::string text = boost::json::serialize(
        boost::json::value{{"Port", 9920},
                           {"LogLocation", "/home/ada/.korvan/rest/logs"},
                           {"HostName", "localhost"},
                           {"ClientAccessMode", 0},
                           {"ServiceNames", "demo math"},
                           {"RESTPersonalAccessToken", kToken},
                           {"TokenExpirationDate", "22-Dec-2026"},
                           {"Certificate", "/home/ada/.korvan/rest/certificate/connector-cert.pem"},
                           {"CertificateExpirationDate", "22-Nov-2027"},
                           {"BaseUrl", "https://localhost:9920/v1"},
                           {"Status", 1}});
    return text;
}

std::u16string FixedDocumentClient::getLogLocation() {
    return kLogFolder;
}

std::string FixedDocumentClient::getPersonalAccessToken() {
    return kToken;
}

std::u16string FixedDocumentClient::getCertificate() {
    return kCertificate;
}

std::u16string FixedDocumentClient::getAccessLogLocation() {
    return std::u16string(kLogFolder) + u"/access.log";
}

}  // namespace korvan::bench
