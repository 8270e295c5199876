#include "korvan/services/servicehost/HostedConnector.hpp"

#include <map>
#include <stdexcept>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value.hpp>

#include "HostedConnectorArguments.hpp"
#include "HostedConnectorState.hpp"
#include "korvan/services/connector/Certificate.hpp"
#include "rest/kv/connectorservice/Operations.hpp"

namespace korvan::services::servicehost {

namespace json = boost::json;
namespace op = rest::kv::connectorservice::op;
using detail::optionalText;
using detail::optionalTexts;
using detail::text;
using detail::wholeNumber;
using settings::ConnectorSettings;

struct HostedConnector::Impl {
    Impl(std::shared_ptr<settings::SettingsStore> settings,
         std::shared_ptr<connector::FunctionServiceCatalog> catalog,
         std::shared_ptr<connector::FunctionInvoker> invoker, connector::Config tuning)
        : fState(std::move(settings), std::move(catalog), std::move(invoker), std::move(tuning)) {}

    std::mutex fLock;
    bool fShutDown = false;       // guarded by fLock
    HostedConnectorState fState;  // guarded by fLock
};

namespace {

using Operation = json::value (*)(HostedConnectorState&, std::string_view name,
                                  const json::object& arguments);

std::string joinedNames(const std::vector<std::string>& names) {
    std::string out;
    for (const auto& name : names) {
        if (!out.empty()) out += ' ';
        out += name;
    }
    return out;
}

json::value propertyDocument(HostedConnectorState& state) {
    const ConnectorSettings s = state.settings();
    auto& service = state.service();
    const auto token = state.token();
    const auto files = state.certificate();
    json::object document;
    document["Port"] = service.port();
    document["LogLocation"] = state.logFolder().string();
    document["HostName"] = s.fHostName;
    document["ClientAccessMode"] = s.fAccessMode;
    document["ServiceNames"] = joinedNames(state.catalog().serviceNames());
    document["RESTPersonalAccessToken"] = token.value();
    document["TokenExpirationDate"] = token.expirationDate();
    document["Certificate"] = files.fCertificate.string();
    document["CertificateExpirationDate"] =
        connector::certificateExpirationDate(files.fCertificate);
    document["BaseUrl"] = service.baseUrl();
    document["Status"] = static_cast<int>(service.status());
    return document;
}

/// Whether a requested port is the current one: the configured port, or the bound one that
/// getPort reports while running (a port of 0 picks a free port).
bool isCurrentPort(HostedConnectorState& state, std::int64_t port) {
    return port == state.settings().fPort || port == state.service().port();
}

const std::map<std::string, Operation, std::less<>>& operations() {
    static const std::map<std::string, Operation, std::less<>> table = {
        {std::string(op::getPort),
         [](HostedConnectorState& s, std::string_view, const json::object&) -> json::value {
             return s.service().port();
         }},
        {std::string(op::setPort),
         [](HostedConnectorState& s, std::string_view name, const json::object& a) -> json::value {
             const auto port = wholeNumber(name, a, "port", 0, 65535);
             if (!isCurrentPort(s, port))
                 s.changeSettings([port](ConnectorSettings& next) {
                     next.fPort = static_cast<std::uint16_t>(port);
                 });
             return nullptr;
         }},
        {std::string(op::getLogLocation),
         [](HostedConnectorState& s, std::string_view, const json::object&) -> json::value {
             return json::string(s.logFolder().string());
         }},
        {std::string(op::setLogLocation),
         [](HostedConnectorState& s, std::string_view name, const json::object& a) -> json::value {
             const std::string folder = text(name, a, "logLocation");
             if (folder != s.logFolder().string())
                 s.changeSettings(
                     [&folder](ConnectorSettings& next) { next.fLogLocation = folder; });
             return nullptr;
         }},
        {std::string(op::getHostname),
         [](HostedConnectorState& s, std::string_view, const json::object&) -> json::value {
             return json::string(s.settings().fHostName);
         }},
        {std::string(op::setHostname),
         [](HostedConnectorState& s, std::string_view name, const json::object& a) -> json::value {
             const std::string host = text(name, a, "hostName");
             s.changeSettings([&host](ConnectorSettings& next) { next.fHostName = host; });
             return nullptr;
         }},
        {std::string(op::getClientAccessMode),
         [](HostedConnectorState& s, std::string_view, const json::object&) -> json::value {
             return s.settings().fAccessMode;
         }},
        {std::string(op::setAccessMode),
         [](HostedConnectorState& s, std::string_view name, const json::object& a) -> json::value {
             const auto mode = wholeNumber(name, a, "accessMode", 0, 1);
             s.changeSettings([mode](ConnectorSettings& next) {
                 next.fAccessMode = static_cast<std::int32_t>(mode);
             });
             return nullptr;
         }},
        {std::string(op::getServiceNames),
         [](HostedConnectorState& s, std::string_view, const json::object&) -> json::value {
             json::array names;
             for (const auto& n : s.catalog().serviceNames()) names.emplace_back(n);
             return names;
         }},
        {std::string(op::getPersonalAccessToken),
         [](HostedConnectorState& s, std::string_view, const json::object&) -> json::value {
             return json::string(s.token().value());
         }},
        {std::string(op::getTokenExpirationDate),
         [](HostedConnectorState& s, std::string_view, const json::object&) -> json::value {
             return json::string(s.token().expirationDate());
         }},
        {std::string(op::getCertificate),
         [](HostedConnectorState& s, std::string_view, const json::object&) -> json::value {
             return json::string(s.certificate().fCertificate.string());
         }},
        {std::string(op::getCertificateExpirationDate),
         [](HostedConnectorState& s, std::string_view, const json::object&) -> json::value {
             return json::string(
                 connector::certificateExpirationDate(s.certificate().fCertificate));
         }},
        {std::string(op::getBaseUrl),
         [](HostedConnectorState& s, std::string_view, const json::object&) -> json::value {
             return json::string(s.service().baseUrl());
         }},
        {std::string(op::getStatus),
         [](HostedConnectorState& s, std::string_view, const json::object&) -> json::value {
             return static_cast<int>(s.service().status());
         }},
        {std::string(op::getPropertiesJson),
         [](HostedConnectorState& s, std::string_view, const json::object&) -> json::value {
             return propertyDocument(s);
         }},
        {std::string(op::restoreSettings),
         [](HostedConnectorState& s, std::string_view name, const json::object& a) -> json::value {
             const auto port = wholeNumber(name, a, "port", 0, 65535);
             const std::string folder = text(name, a, "logLocation");
             const std::string host = text(name, a, "hostName");
             const auto mode = wholeNumber(name, a, "accessMode", 0, 1);
             const bool samePort = isCurrentPort(s, port);
             const bool sameFolder = folder == s.logFolder().string();
             s.changeSettings([&](ConnectorSettings& next) {
                 if (!samePort) next.fPort = static_cast<std::uint16_t>(port);
                 if (!sameFolder) next.fLogLocation = folder;
                 next.fHostName = host;
                 next.fAccessMode = static_cast<std::int32_t>(mode);
             });
             return nullptr;
         }},
        {std::string(op::refreshServices),
         [](HostedConnectorState& s, std::string_view, const json::object&) -> json::value {
             s.catalog().refresh();
             return nullptr;
         }},
        {std::string(op::changeToken),
         [](HostedConnectorState& s, std::string_view name, const json::object& a) -> json::value {
             const auto days = wholeNumber(name, a, "days", connector::AccessToken::kMinDays,
                                           connector::AccessToken::kMaxDays);
             s.changeToken(static_cast<std::uint32_t>(days));
             return nullptr;
         }},
        {std::string(op::changeCertificate),
         [](HostedConnectorState& s, std::string_view name, const json::object& a) -> json::value {
             s.changeCertificate(optionalText(name, a, "privateKey"),
                                 optionalText(name, a, "certificate"),
                                 optionalTexts(name, a, "addresses"));
             return nullptr;
         }},
        {std::string(op::startConnector),
         [](HostedConnectorState& s, std::string_view, const json::object&) -> json::value {
             s.start();
             return nullptr;
         }},
        {std::string(op::stopConnector),
         [](HostedConnectorState& s, std::string_view, const json::object&) -> json::value {
             s.stop();
             return nullptr;
         }},
        {std::string(op::resetConnector),
         [](HostedConnectorState& s, std::string_view, const json::object&) -> json::value {
             s.reset();
             return nullptr;
         }},
        {std::string(op::getAccessLogLocation),
         [](HostedConnectorState& s, std::string_view, const json::object&) -> json::value {
             return json::string(s.logFolder().string());
         }},
    };
    return table;
}

}  // namespace

HostedConnector::HostedConnector(std::shared_ptr<settings::SettingsStore> settings,
                                 std::shared_ptr<connector::FunctionServiceCatalog> catalog,
                                 std::shared_ptr<connector::FunctionInvoker> invoker,
                                 connector::Config tuning)
    : fImpl(std::make_unique<Impl>(std::move(settings), std::move(catalog), std::move(invoker),
                                   std::move(tuning))) {}

HostedConnector::~HostedConnector() {
    shutdown();
}

std::string HostedConnector::invoke(const std::string& operation, const std::string& arguments) {
    const auto& table = operations();
    const auto found = table.find(operation);
    if (found == table.end())
        throw std::invalid_argument("The connector service has no operation \"" + operation + "\"");
    const json::object parsed = detail::parseArguments(operation, arguments);
    std::lock_guard lock(fImpl->fLock);
    if (fImpl->fShutDown)
        throw std::runtime_error(
            "The connector service instance has been shut down (an update replaced it)");
    const json::value result = found->second(fImpl->fState, operation, parsed);
    // Integers (port, status, mode) are most of the traffic: no serializer for those.
    if (result.is_int64()) return std::to_string(result.get_int64());
    // So are texts (URL, host name, paths, token); printable ASCII needs no escaping.
    if (result.is_string()) {
        const json::string& text = result.get_string();
        if (rest::kv::connectorservice::isPlainJsonText(
                std::string_view(text.data(), text.size()))) {
            std::string quoted;
            quoted.reserve(text.size() + 2);
            quoted.append(1, '"').append(text.data(), text.size()).append(1, '"');
            return quoted;
        }
    }
    return json::serialize(result);
}

void HostedConnector::shutdown() {
    std::lock_guard lock(fImpl->fLock);
    if (fImpl->fShutDown) return;
    fImpl->fShutDown = true;
    try {
        fImpl->fState.stop("the service instance was shut down");
    } catch (...) {
        // Stopping never reports anything a caller could act on; the instance is gone anyway.
    }
}

}  // namespace korvan::services::servicehost
