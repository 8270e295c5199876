// The consent dialog (see ConsentDialog.hpp).
#include "ConsentDialog.hpp"

#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string>

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/trim.hpp>

namespace korvan::shell {
namespace {

constexpr const char* kExplanation =
    "Remote access lets any machine that can reach this one over the network call the\n"
    "functions this connector exposes, as long as it presents the connector's access token.\n"
    "Calls travel over HTTPS (TLS), so the token and the data are encrypted on the way;\n"
    "keep the token secret. To go back to local access, stop the connector and set\n"
    "ClientAccessMode to korvan.engine.rest.ClientAccessMode.local.\n";

std::string normalised(std::string text) {
    boost::algorithm::trim(text);
    boost::algorithm::to_lower(text);
    return text;
}

}  // namespace

bool askForConsent(std::istream& in, std::ostream& out) {
    out << kExplanation << "Allow remote access? [y/N] " << std::flush;
    std::string answer;
    if (!std::getline(in, answer)) {
        in.clear();  // end of input: refused, and the stream stays usable for the prompt
        out << "\n";
        return false;
    }
    answer = normalised(answer);
    return answer == "y" || answer == "yes";
}

bool consentFromEnvironment(const char* value, std::ostream& out) {
    bool consent = value != nullptr && normalised(value) == "yes";
    if (consent)
        out << "No terminal to ask: remote access allowed, because " << kConsentVariable
            << " is \"yes\".\n";
    else
        out << "No terminal to ask: remote access refused, because " << kConsentVariable
            << (value ? " is not \"yes\".\n" : " is not set.\n");
    return consent;
}

bool showAccessDialog(std::ostream& out) {
    if (::isatty(STDIN_FILENO) && ::isatty(STDOUT_FILENO)) return askForConsent(std::cin, out);
    return consentFromEnvironment(std::getenv(kConsentVariable), out);
}

}  // namespace korvan::shell
