#include "SetterFaults.hpp"
#include "Invokers.hpp"

#include <fstream>
#include <utility>
#include <vector>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/services/connector/FunctionServiceCatalog.hpp"

namespace korvan::test {

namespace fs = std::filesystem;
namespace connector = korvan::services::connector;

namespace {

/// No function is called in these tests.
class NoCalls final : public korvan::test::BlockingInvoker {
  public:
    connector::CallOutcome invoke(korvan::host::Function, foundation::json::Value, int) override {
        return {500, {}};
    }
};

std::string readBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

struct SetterCase {
    const char* fOperation;
    std::string fArguments;
};

}  // namespace

SetterFaults::SetterFaults(fs::path prefs) : fPrefs(std::move(prefs)) {}

bool SetterFaults::prepare() {
    try {
        fStore = std::make_shared<korvan::services::settings::SettingsStore>(fPrefs);
        auto catalog = std::make_shared<connector::HostFunctionCatalog>();
        connector::Config tuning;
        tuning.fStopTimeout = std::chrono::seconds(2);
        fConnector = std::make_unique<korvan::services::servicehost::HostedConnector>(
            fStore, catalog, std::make_shared<NoCalls>(), tuning);
        fConnector->invoke("setPort", R"({"port":9925})");
        fConnector->invoke("setHostname", R"({"hostName":"faults.example"})");
        fConnector->invoke("getPropertiesJson", "{}");  // issues the token and the certificate
        // The pair moves out of the settings folder (adopted as the user's own files), so
        // that it stays readable whatever happens to the folder.
        const fs::path generated = fStore->certificateFolder();
        const fs::path own = fPrefs.parent_path() / "own-certificate";
        fs::create_directories(own);
        fs::copy_file(generated / "connector-key.pem", own / "key.pem");
        fs::copy_file(generated / "connector-cert.pem", own / "cert.pem");
        fConnector->invoke("changeCertificate", boost::json::serialize(boost::json::value{
                                                    {"privateKey", (own / "key.pem").string()},
                                                    {"certificate", (own / "cert.pem").string()},
                                                    {"addresses", boost::json::array{}}}));
    } catch (const std::exception& e) {
        fail(std::string("prepare: ") + e.what());
        return false;
    }
    return true;
}

SetterFaults::Snapshot SetterFaults::snapshot() const {
    Snapshot s;
    try {
        s.fDocument = fConnector->invoke("getPropertiesJson", "{}");
    } catch (const std::exception& e) {
        s.fDocument = std::string("<failed: ") + e.what() + ">";
    }
    s.fMemory = fStore->current();
    std::error_code ec;
    for (fs::recursive_directory_iterator it(fPrefs, ec), end; !ec && it != end; it.increment(ec)) {
        const auto relative = it->path().lexically_relative(fPrefs).generic_string();
        if (relative.rfind("rest/logs", 0) == 0) continue;  // the connector log may grow
        s.fDisk[relative] = it->is_regular_file() ? readBytes(it->path()) : "<folder>";
    }
    if (!fExtra.empty()) s.fDisk["<extra>"] = readBytes(fExtra);
    return s;
}

void SetterFaults::runFailingSetters() {
    // clang-format off
    const std::vector<SetterCase> cases = {
        {"setPort", R"({"port":9931})"},
        {"setLogLocation", boost::json::serialize(boost::json::value{ {"logLocation", (fPrefs / "other-logs").string()}})},
        {"setHostname", R"({"hostName":"other.example"})"},
        {"setAccessMode", R"({"accessMode":1})"},
        {"restoreSettings", R"({"port":9932,"logLocation":"","hostName":"restored.example","accessMode":1})"},
        {"changeToken", R"({"days":5})"},
        {"changeCertificate", R"({"privateKey":"","certificate":"","addresses":["127.0.0.1"]})"},
        {"resetConnector", "{}"},
    };
    // clang-format on
    for (const auto& c : cases) {
        const Snapshot before = snapshot();
        if (before.fDocument.rfind("<failed", 0) == 0)
            fail(std::string("reading the properties before ") + c.fOperation + ": " +
                 before.fDocument);
        std::string error;
        try {
            fConnector->invoke(c.fOperation, c.fArguments);
        } catch (const std::exception& e) {
            error = e.what();
        }
        ++fSetters;
        fReport << c.fOperation << ": " << (error.empty() ? "<no error>" : error) << "\n";
        if (error.empty()) fail(std::string(c.fOperation) + " succeeded");
        const Snapshot after = snapshot();
        if (after.fDocument != before.fDocument)
            fail(std::string(c.fOperation) + " changed the property document: " + before.fDocument +
                 " -> " + after.fDocument);
        if (!(after.fMemory == before.fMemory))
            fail(std::string(c.fOperation) + " changed the settings in memory");
        if (after.fDisk != before.fDisk) {
            for (const auto& [path, bytes] : after.fDisk)
                if (!before.fDisk.count(path) || before.fDisk.at(path) != bytes)
                    fail(std::string(c.fOperation) + " changed or left " + path);
            for (const auto& [path, bytes] : before.fDisk)
                if (!after.fDisk.count(path)) fail(std::string(c.fOperation) + " removed " + path);
        }
    }
}

void SetterFaults::checkRecovered() {
    try {
        fConnector->invoke("setPort", R"({"port":9941})");
        const auto port = boost::json::parse(fConnector->invoke("getPort", "{}")).as_int64();
        if (port != 9941) fail("getPort after recovery: " + std::to_string(port));
        if (fStore->current().fPort != 9941) fail("the store did not take the port after recovery");
        korvan::services::settings::SettingsStore reread(fPrefs);
        if (reread.current().fPort != 9941 || !reread.loadProblem().empty())
            fail("the file after recovery: port " + std::to_string(reread.current().fPort) + " " +
                 reread.loadProblem());
    } catch (const std::exception& e) {
        fail(std::string("after recovery: ") + e.what());
    }
}

void SetterFaults::fail(const std::string& what) {
    ++fFailures;
    fReport << "FAILED: " << what << "\n";
}

}  // namespace korvan::test
