#include "FakeConnectorClient.hpp"

#include <boost/json.hpp>

#include "kx/kxUtf.hpp"

namespace korvan::test {

namespace {

std::string joined(const std::vector<std::string>& items, const char* separator) {
    std::string text;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (i > 0) text += separator;
        text += items[i];
    }
    return text;
}

}  // namespace

ClientState FakeConnectorClient::state() const {
    std::lock_guard lock(fMutex);
    return fState;
}

void FakeConnectorClient::setState(const ClientState& state) {
    std::lock_guard lock(fMutex);
    fState = state;
}

void FakeConnectorClient::edit(const std::function<void(ClientState&)>& change) {
    std::lock_guard lock(fMutex);
    change(fState);
}

void FakeConnectorClient::reset() {
    std::lock_guard lock(fMutex);
    fState = ClientState{};
    fScript.reset();
    fCalls.clear();
    fFaults.clear();
}

void FakeConnectorClient::forgetUpdateCallback() {
    std::lock_guard lock(fMutex);
    fUpdateCallback = nullptr;
}

void FakeConnectorClient::scriptDocument(std::optional<std::string> text) {
    std::lock_guard lock(fMutex);
    fScript = std::move(text);
}

std::string FakeConnectorClient::documentOf(const ClientState& state) {
    boost::json::object document;
    document["Port"] = state.fPort;
    document["LogLocation"] = kx::utf16ToUtf8(state.fLogLocation);
    document["HostName"] = state.fHostName;
    document["ClientAccessMode"] = state.fAccessMode;
    document["ServiceNames"] = joined(state.fServiceNames, " ");
    document["RESTPersonalAccessToken"] = state.fToken;
    document["TokenExpirationDate"] = state.fTokenExpirationDate;
    document["Certificate"] = kx::utf16ToUtf8(state.fCertificate);
    document["CertificateExpirationDate"] = kx::utf16ToUtf8(state.fCertificateExpirationDate);
    document["BaseUrl"] = state.fBaseUrl;
    document["Status"] = state.fStatus;
    return boost::json::serialize(document);
}

std::vector<ClientCall> FakeConnectorClient::calls() const {
    std::lock_guard lock(fMutex);
    return fCalls;
}

std::vector<std::string> FakeConnectorClient::callNames() const {
    std::lock_guard lock(fMutex);
    std::vector<std::string> names;
    for (const auto& call : fCalls) names.push_back(call.fName);
    return names;
}

std::vector<std::string> FakeConnectorClient::trace() const {
    std::lock_guard lock(fMutex);
    std::vector<std::string> lines;
    for (const auto& call : fCalls) {
        lines.push_back(call.fArgs.empty() ? call.fName
                                           : call.fName + "(" + joined(call.fArgs, ",") + ")");
    }
    return lines;
}

std::size_t FakeConnectorClient::countOf(const std::string& operation) const {
    return callsOf(operation).size();
}

std::vector<ClientCall> FakeConnectorClient::callsOf(const std::string& operation) const {
    std::lock_guard lock(fMutex);
    std::vector<ClientCall> found;
    for (const auto& call : fCalls) {
        if (call.fName == operation) found.push_back(call);
    }
    return found;
}

void FakeConnectorClient::clearCalls() {
    std::lock_guard lock(fMutex);
    fCalls.clear();
}

void FakeConnectorClient::failWith(const std::string& operation, std::exception_ptr error) {
    std::lock_guard lock(fMutex);
    fFaults[operation] = std::move(error);
}

void FakeConnectorClient::failWithStd(const std::string& operation, const std::string& what) {
    failWith(operation, std::make_exception_ptr(std::runtime_error(what)));
}

void FakeConnectorClient::failWithForeign(const std::string& operation, int code) {
    failWith(operation, std::make_exception_ptr(ForeignFault{code}));
}

void FakeConnectorClient::clearFaults() {
    std::lock_guard lock(fMutex);
    fFaults.clear();
}

bool FakeConnectorClient::hasUpdateCallback() const {
    std::lock_guard lock(fMutex);
    return static_cast<bool>(fUpdateCallback);
}

std::optional<std::thread::id> FakeConnectorClient::fireUpdateCallback() {
    std::function<void()> callback;
    {
        std::lock_guard lock(fMutex);
        callback = fUpdateCallback;
    }
    if (!callback) return std::nullopt;
    std::thread::id id;
    std::thread caller([&] {
        id = std::this_thread::get_id();
        callback();
    });
    caller.join();
    return id;
}

void FakeConnectorClient::enter(const std::string& operation, std::vector<std::string> args) {
    fCalls.push_back(ClientCall{operation, std::move(args), std::this_thread::get_id()});
    auto fault = fFaults.find(operation);
    if (fault != fFaults.end()) std::rethrow_exception(fault->second);
}

void FakeConnectorClient::setPort(std::uint16_t port) {
    std::lock_guard lock(fMutex);
    enter("setPort", {std::to_string(port)});
    fState.fPort = port;
}

void FakeConnectorClient::setLogLocation(const std::u16string& logLocation) {
    std::lock_guard lock(fMutex);
    enter("setLogLocation", {kx::utf16ToUtf8(logLocation)});
    fState.fLogLocation = logLocation;
}

void FakeConnectorClient::setHostname(const std::string& hostName) {
    std::lock_guard lock(fMutex);
    enter("setHostname", {hostName});
    fState.fHostName = hostName;
}

void FakeConnectorClient::setAccessMode(std::int32_t accessMode) {
    std::lock_guard lock(fMutex);
    enter("setAccessMode", {std::to_string(accessMode)});
    fState.fAccessMode = accessMode;
}

std::string FakeConnectorClient::getPropertiesJson() {
    std::lock_guard lock(fMutex);
    enter("getPropertiesJson");
    return fScript ? *fScript : documentOf(fState);
}

void FakeConnectorClient::restoreSettings(std::int32_t port, const std::u16string& logLocation,
                                          const std::string& hostName, std::int32_t accessMode) {
    std::lock_guard lock(fMutex);
    enter("restoreSettings", {std::to_string(port), kx::utf16ToUtf8(logLocation), hostName,
                              std::to_string(accessMode)});
    fState.fPort = static_cast<std::uint16_t>(port);
    fState.fLogLocation = logLocation;
    fState.fHostName = hostName;
    fState.fAccessMode = accessMode;
}

void FakeConnectorClient::changeToken(std::uint32_t days) {
    std::lock_guard lock(fMutex);
    enter("changeToken", {std::to_string(days)});
    fState.fToken = "token-" + std::to_string(days);
}

void FakeConnectorClient::changeCertificate(const std::u16string& privateKeyPath,
                                            const std::u16string& certificatePath,
                                            const std::vector<std::string>& ipAddresses) {
    std::lock_guard lock(fMutex);
    enter("changeCertificate", {kx::utf16ToUtf8(privateKeyPath), kx::utf16ToUtf8(certificatePath),
                                joined(ipAddresses, ",")});
    fState.fCertificate = certificatePath;
}

void FakeConnectorClient::startConnector() {
    std::lock_guard lock(fMutex);
    enter("startConnector");
    fState.fStatus = 1;
}

void FakeConnectorClient::stopConnector() {
    std::lock_guard lock(fMutex);
    enter("stopConnector");
    fState.fStatus = 0;
}

void FakeConnectorClient::resetConnector() {
    std::lock_guard lock(fMutex);
    enter("resetConnector");
    const ClientState defaults;
    fState.fPort = defaults.fPort;
    fState.fLogLocation = defaults.fLogLocation;
    fState.fHostName = defaults.fHostName;
    fState.fAccessMode = defaults.fAccessMode;
    fState.fToken = "token-after-reset";
}

std::u16string FakeConnectorClient::getAccessLogLocation() {
    std::lock_guard lock(fMutex);
    enter("getAccessLogLocation");
    return {};
}

void FakeConnectorClient::registerVshUpdateCallback(std::function<void()> callback) {
    std::lock_guard lock(fMutex);
    enter("registerVshUpdateCallback");
    fUpdateCallback = std::move(callback);
}

}  // namespace korvan::test
