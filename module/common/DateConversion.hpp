// Turning the connector's expiry-date texts into host datetime values.
//
// The connector writes dates as "dd-MMM-uuuu" (e.g. "21-Nov-2026"); the host's datetime class
// reads them with that input format, displays them the same way and uses the "en_US" locale.
// A text the class cannot read fails inside its constructor; that error is not caught here.
//
// Threads: interpreter thread only (constructs host objects). Ownership: each function returns
// a new host value that the caller owns.
#pragma once

#include <string_view>

#include "kx/kxArray.hpp"

namespace rest::kv::connector {

/// A datetime constructed from `text` through the public client, with the arguments text,
/// "InputFormat", "dd-MMM-uuuu", "Format", "dd-MMM-uuuu", "Locale", "en_US".
kxArray* makeDatetime(std::string_view text);
kxArray* makeDatetime(std::u16string_view text);

/// The empty datetime (the static method "empty" of class "datetime"); null if the host has
/// no such method.
kxArray* makeEmptyDatetime();

}  // namespace rest::kv::connector
