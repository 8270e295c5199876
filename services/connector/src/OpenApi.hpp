// The OpenAPI 3.1 document of a connector: GET /v1/openapi.json.
//
// Made at each request from the catalogue (the function files as they are now): one POST
// operation per function with the request body (arguments by position or by name, nargout) and
// the results, both in the JSON value mapping; a GET of each function's and service's metadata;
// health and the service listing; the bearer security scheme; every error status with its body.
// Server URL "/v1", relative, so that the document holds whatever name the client used.
//
// Threads: any (reads the catalogue only).
#pragma once

#include "foundation/json/Value.hpp"
#include "korvan/services/connector/FunctionServiceCatalog.hpp"

namespace korvan::services::connector::detail {

foundation::json::Value openApiDocument(const FunctionServiceCatalog& catalog);

}  // namespace korvan::services::connector::detail
