// FakeConnectorClient: a connector client that the module tests register in the host's service
// registry under rest::kv::connectorclient::RestFcnConnectorClient.
//
// It behaves like a small connector: it keeps the connector's state (ClientState), its setters
// change that state, startConnector / stopConnector flip the status, resetConnector returns to
// the defaults, and getPropertiesJson serves the property document built from the state (or a
// scripted raw text, for malformed and out-of-range documents). Every call is recorded in order
// with its arguments as text and the calling thread, so a test can check the exact sequence of
// client calls and which thread made them. Any operation can be told to throw a given exception
// (std or not) on every call until cleared. The callback handed to registerVshUpdateCallback is
// kept; fireUpdateCallback runs it on a thread of the double's own, as the connector client does
// when the service host flips to an update.
//
// Threads: every member may be called from any thread; fMutex guards all state. The update
// callback is called without the lock held.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "rest/kv/connectorclient/RestFcnConnectorClient.hpp"

namespace korvan::test {

/// The connector's state as the double keeps it. The defaults are those of a connector that
/// was never configured.
struct ClientState {
    std::uint16_t fPort = 9920;
    std::u16string fLogLocation;
    std::string fHostName = "localhost";
    std::int32_t fAccessMode = 0;  // 0 local, 1 remote
    std::vector<std::string> fServiceNames;
    std::string fToken = "token-initial";
    std::string fTokenExpirationDate = "21-Nov-2026";
    std::u16string fCertificate = u"/etc/korvan/connector.pem";
    std::u16string fCertificateExpirationDate = u"05-Mar-2027";
    std::string fBaseUrl = "https://localhost:9920/korvan";
    std::int32_t fStatus = 0;  // 0 notrunning, 1 running
};

/// One recorded call: the operation's name, its arguments as text (UTF-16 converted to UTF-8,
/// numbers in decimal, a list as its elements joined by ","), and the calling thread.
struct ClientCall {
    std::string fName;
    std::vector<std::string> fArgs;
    std::thread::id fThread;
};

/// An exception that does not derive from std::exception, for the pass-through paths.
struct ForeignFault {
    int fCode = 0;
};

class FakeConnectorClient final : public rest::kv::connectorclient::RestFcnConnectorClient {
  public:
    FakeConnectorClient() = default;

    // ---- state -------------------------------------------------------------------------
    ClientState state() const;
    void setState(const ClientState& state);
    /// Changes the state in place under the lock.
    void edit(const std::function<void(ClientState&)>& change);
    /// Default state, no calls, no faults, no scripted document. The update callback is kept:
    /// the module hands it over only when the connector service appears.
    void reset();

    // ---- property document -------------------------------------------------------------
    /// Serves `text` as the property document instead of the one built from the state;
    /// nullopt returns to the built document.
    void scriptDocument(std::optional<std::string> text);
    /// The document built from `state` (every key, ServiceNames joined by single spaces).
    static std::string documentOf(const ClientState& state);

    // ---- call record -------------------------------------------------------------------
    std::vector<ClientCall> calls() const;
    /// The names of the calls in order.
    std::vector<std::string> callNames() const;
    std::size_t countOf(const std::string& operation) const;
    /// The calls in order as "name" or "name(arg,arg)".
    std::vector<std::string> trace() const;
    /// The calls of one operation, in order.
    std::vector<ClientCall> callsOf(const std::string& operation) const;
    void clearCalls();

    // ---- faults ------------------------------------------------------------------------
    /// Makes `operation` throw `error` (rethrown as it is) on every call, after recording it.
    void failWith(const std::string& operation, std::exception_ptr error);
    /// Makes `operation` throw std::runtime_error(what).
    void failWithStd(const std::string& operation, const std::string& what);
    /// Makes `operation` throw ForeignFault{code}.
    void failWithForeign(const std::string& operation, int code);
    void clearFaults();

    // ---- update callback ---------------------------------------------------------------
    bool hasUpdateCallback() const;
    void forgetUpdateCallback();
    /// Calls the kept update callback on a new thread and waits for it to return. Returns the
    /// id of that thread, or nullopt when no callback was registered.
    std::optional<std::thread::id> fireUpdateCallback();

    // ---- RestFcnConnectorClient --------------------------------------------------------
    std::uint16_t getPort() override { return read("getPort", &ClientState::fPort); }
    void setPort(std::uint16_t port) override;
    std::u16string getLogLocation() override {
        return read("getLogLocation", &ClientState::fLogLocation);
    }
    void setLogLocation(const std::u16string& logLocation) override;
    std::string getHostname() override { return read("getHostname", &ClientState::fHostName); }
    void setHostname(const std::string& hostName) override;
    std::int32_t getClientAccessMode() override {
        return read("getClientAccessMode", &ClientState::fAccessMode);
    }
    void setAccessMode(std::int32_t accessMode) override;
    std::vector<std::string> getServiceNames() override {
        return read("getServiceNames", &ClientState::fServiceNames);
    }
    std::string getPersonalAccessToken() override {
        return read("getPersonalAccessToken", &ClientState::fToken);
    }
    std::string getTokenExpirationDate() override {
        return read("getTokenExpirationDate", &ClientState::fTokenExpirationDate);
    }
    std::u16string getCertificate() override {
        return read("getCertificate", &ClientState::fCertificate);
    }
    std::u16string getCertificateExpirationDate() override {
        return read("getCertificateExpirationDate", &ClientState::fCertificateExpirationDate);
    }
    std::string getBaseUrl() override { return read("getBaseUrl", &ClientState::fBaseUrl); }
    std::int32_t getStatus() override { return read("getStatus", &ClientState::fStatus); }
    std::string getPropertiesJson() override;
    void restoreSettings(std::int32_t port, const std::u16string& logLocation,
                         const std::string& hostName, std::int32_t accessMode) override;
    void refreshServices() override { record("refreshServices"); }
    void changeToken(std::uint32_t days) override;
    void changeCertificate(const std::u16string& privateKeyPath,
                           const std::u16string& certificatePath,
                           const std::vector<std::string>& ipAddresses) override;
    void startConnector() override;
    void stopConnector() override;
    void resetConnector() override;
    void notifyVshUpdate() override { record("notifyVshUpdate"); }
    std::u16string getAccessLogLocation() override;
    void registerVshUpdateCallback(std::function<void()> callback) override;

  private:
    /// Records the call and throws the operation's fault, if any. Caller holds fMutex.
    void enter(const std::string& operation, std::vector<std::string> args = {});
    /// A getter: records the call, throws its fault or answers the member.
    template <typename T>
    T read(const char* operation, T ClientState::*member) {
        std::lock_guard lock(fMutex);
        enter(operation);
        return fState.*member;
    }
    /// An operation without arguments or answer.
    void record(const char* operation) {
        std::lock_guard lock(fMutex);
        enter(operation);
    }

    mutable std::mutex fMutex;
    // Guarded by fMutex.
    ClientState fState;
    std::optional<std::string> fScript;
    std::vector<ClientCall> fCalls;
    std::map<std::string, std::exception_ptr> fFaults;
    std::function<void()> fUpdateCallback;
};

}  // namespace korvan::test
