// The consent dialog behind korvan.internal.rest.showDialog(): whether the person allows the
// connector to be reached from other machines.
//
// At a terminal (standard input and output both terminals) it explains what remote access
// means and asks "Allow remote access? [y/N]"; only "y" or "yes" (any case) consents, and an
// empty answer or the end of input refuses. Without a terminal nobody can be asked, so the
// answer comes from the environment variable KORVAN_REST_CONSENT: "yes" (any case) consents,
// anything else or no variable refuses; one line says which answer was taken and why.
//
// Threads: the interpreter thread (it reads the person's answer from standard input).
#pragma once

#include <istream>
#include <ostream>

namespace korvan::shell {

/// The variable read when there is no terminal.
inline constexpr const char* kConsentVariable = "KORVAN_REST_CONSENT";

/// Explains remote access on `out` and reads the answer from `in`.
bool askForConsent(std::istream& in, std::ostream& out);
/// The answer without a terminal: `value` is the variable's value (null when it is not set).
bool consentFromEnvironment(const char* value, std::ostream& out);
/// Decides as described above, using the process's standard streams and environment.
bool showAccessDialog(std::ostream& out);

}  // namespace korvan::shell
