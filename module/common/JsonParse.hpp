// Parsing the connector's JSON texts with the host's JSON facility.
//
// parseJson requires the whole text to be one JSON value: a parser failure throws
// foundation::json::ParserException with the parser's code and description, and content left
// after the value throws ParserException with code 0 and "Parse incomplete". Objects with the
// typed-number envelope ("zxtype" / "zxdata") keep their integers exact (the facility's rule).
//
// Threads: reentrant.
#pragma once

#include <cstdint>
#include <string_view>

#include "foundation/json/Value.hpp"

namespace rest::kv::connector {

/// The JSON value of `text`; `flags` go to the facility's parser unchanged (0: strict JSON).
foundation::json::Value parseJson(std::string_view text, std::uint8_t flags = 0);

}  // namespace rest::kv::connector
