#include "ServiceAway.hpp"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include "rest/kv/connectorservice/Operations.hpp"

namespace korvan::services::client::detail {

namespace op = rest::kv::connectorservice::op;
namespace json = boost::json;

namespace {

// The property operations answered while the service is away.
constexpr std::string_view kReads[] = {op::getPort,
                                       op::getLogLocation,
                                       op::getHostname,
                                       op::getClientAccessMode,
                                       op::getServiceNames,
                                       op::getPersonalAccessToken,
                                       op::getTokenExpirationDate,
                                       op::getCertificate,
                                       op::getCertificateExpirationDate,
                                       op::getBaseUrl,
                                       op::getAccessLogLocation,
                                       op::getPropertiesJson,
                                       op::getStatus};

// Each setter: its argument and the property document's member it changes.
struct Setter {
    std::string_view fOperation;
    const char* fArgument;
    std::string_view fGetter;
    const char* fMember;
};
constexpr Setter kSetters[] = {
    {op::setPort, "port", op::getPort, "Port"},
    {op::setLogLocation, "logLocation", op::getLogLocation, "LogLocation"},
    {op::setHostname, "hostName", op::getHostname, "HostName"},
    {op::setAccessMode, "accessMode", op::getClientAccessMode, "ClientAccessMode"},
};

}  // namespace

void ServiceAway::record(agent::spf::core::Invokable& service) {
    std::map<std::string, std::string, std::less<>> answers;
    for (std::string_view operation : kReads) {
        try {
            answers.emplace(std::string(operation), service.invoke(std::string(operation), "{}"));
        } catch (...) {
            // Not answered while away: the caller refuses it as unavailable.
        }
    }
    if (answers.empty()) return;
    const auto status = answers.find(op::getStatus);
    fWasRunning = status != answers.end() && status->second == "1";
    fAnswers = std::move(answers);
    fChanges.clear();
}

std::optional<std::string> ServiceAway::answer(std::string_view operation) const {
    if (operation == op::getStatus) return std::string("0");  // notrunning
    const auto recorded = fAnswers.find(operation);
    if (recorded == fAnswers.end()) return std::nullopt;
    if (fChanges.empty() && operation != op::getPropertiesJson) return recorded->second;
    // The document as recorded, with the changes kept since and the status of now.
    json::object document;
    try {
        if (const auto doc = fAnswers.find(op::getPropertiesJson); doc != fAnswers.end())
            document = json::parse(doc->second).as_object();
    } catch (const std::exception&) {
        document.clear();
    }
    for (const auto& setter : kSetters) {
        const auto change = fChanges.find(std::string(setter.fOperation));
        if (change == fChanges.end()) continue;
        const json::value& value = change->second.at(setter.fArgument);
        if (operation == setter.fGetter) return json::serialize(value);
        document[setter.fMember] = value;
    }
    if (operation == op::getAccessLogLocation && document.contains("LogLocation"))
        return json::serialize(document["LogLocation"]);
    if ((operation == op::getBaseUrl || operation == op::getPropertiesJson) &&
        document.contains("Port") && document.contains("HostName") &&
        document.contains("BaseUrl") && document["BaseUrl"].is_string() &&
        document["HostName"].is_string()) {
        // The recorded URL's path, behind the host and port as changed.
        const std::string before(document["BaseUrl"].as_string());
        const auto path = before.find('/', before.find("://") + 3);
        const std::string host(document["HostName"].as_string());
        const std::string url = "https://" + (host.empty() ? std::string("localhost") : host) +
                                ":" + json::serialize(document["Port"]) +
                                (path == std::string::npos ? std::string() : before.substr(path));
        if (operation == op::getBaseUrl) return json::serialize(json::value(url));
        document["BaseUrl"] = url;
    }
    if (operation == op::getPropertiesJson) {
        document["Status"] = 0;
        return json::serialize(document);
    }
    return recorded->second;
}

bool ServiceAway::isSetter(std::string_view operation) {
    for (const auto& setter : kSetters)
        if (operation == setter.fOperation) return true;
    return false;
}

bool ServiceAway::change(std::string_view operation, const json::object& arguments) {
    for (const auto& setter : kSetters) {
        if (operation != setter.fOperation || !arguments.contains(setter.fArgument)) continue;
        fChanges[std::string(operation)] = arguments;
        return true;
    }
    return false;
}

std::map<std::string, json::object> ServiceAway::takeChanges() {
    auto changes = std::move(fChanges);
    fChanges.clear();
    return changes;
}

}  // namespace korvan::services::client::detail
