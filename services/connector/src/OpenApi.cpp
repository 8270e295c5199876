#include "OpenApi.hpp"

#include "korvan/services/connector/RequestHandler.hpp"

#include <string>
#include <utility>
#include <vector>

namespace korvan::services::connector::detail {
namespace {

using foundation::json::Array;
using foundation::json::Object;
using foundation::json::Value;

Value object(std::initializer_list<std::pair<const char*, Value>> members) {
    Value v{Object{}};
    for (const auto& [key, value] : members) v.set(key, value);
    return v;
}

Value ref(const std::string& name) {
    return object({{"$ref", Value("#/components/schemas/" + name)}});
}

Value strings(const std::vector<std::string>& texts) {
    Array list;
    for (const auto& t : texts) list.push_back(Value(t));
    return Value(std::move(list));
}

// Every answer names its request in this header (the access and connector logs use the same).
Value jsonBody(Value schema, const char* description) {
    return object(
        {{"description", Value(description)},
         {"headers",
          object({{kRequestIdField, object({{"$ref", Value("#/components/headers/RequestId")}})}})},
         {"content", object({{"application/json", object({{"schema", std::move(schema)}})}})}});
}

// The statuses every operation behind the token may answer, with the error body.
void addErrors(Value& responses, std::initializer_list<const char*> statuses) {
    static const std::pair<const char*, const char*> kAll[] = {
        {"400",
         "the request or its arguments are not valid (InvalidJson, InvalidRequest, "
         "InvalidArguments), or the function found the caller's mistake"},
        {"401", "no token, or a token that is not valid or has expired"},
        {"404", "no such service or function"},
        {"405", "the path does not take this method"},
        {"413", "the body is larger than the connector's limit"},
        {"421", "local access: the Host header does not name this machine"},
        {"431", "the request's header block is too large"},
        {"500",
         "the function failed (its own identifier and message), its worker ended, or a result has "
         "no JSON form"},
        {"503",
         "every worker is busy and the queue full, the call did not finish in time, or the "
         "connector is stopping"},
    };
    for (const char* wanted : statuses)
        for (const auto& [status, text] : kAll)
            if (std::string(status) == wanted) responses.set(status, jsonBody(ref("Error"), text));
}

Value components() {
    const Value value = object(
        {{"description",
          Value("A host value in JSON: a number (the shortest text that reads back to the same "
                "double), a string, true/false, an array of them (a row; null among numbers is "
                "NaN), an array of rows (a matrix), an object (a struct; objects with the same "
                "keys: a struct array), an array of mixed kinds (a cell), or an envelope "
                "{\"zxtype\": class, \"zxdata\": ...} for integer classes, NaN and infinities, "
                "complex numbers, sized empty arrays, cells and structs; see the connector's "
                "documentation for the whole mapping")}});
    const Value error = object(
        {{"type", Value("object")},
         {"required", strings({"error"})},
         {"properties",
          object({{"error",
                   object({{"type", Value("object")},
                           {"required", strings({"identifier", "message"})},
                           {"properties",
                            object({{"identifier", object({{"type", Value("string")}})},
                                    {"message", object({{"type", Value("string")}})}})}})}})}});
    const Value metadata =
        object({{"type", Value("object")},
                {"properties",
                 object({{"service", object({{"type", Value("string")}})},
                         {"name", object({{"type", Value("string")}})},
                         {"inputs", object({{"type", Value("array")},
                                            {"items", object({{"type", Value("string")}})}})},
                         {"outputs", object({{"type", Value("array")},
                                             {"items", object({{"type", Value("string")}})}})},
                         {"summary", object({{"type", Value("string")}})},
                         {"description", object({{"type", Value("string")}})}})}});
    return object(
        {{"schemas", object({{"Value", value}, {"Error", error}, {"FunctionMetadata", metadata}})},
         {"headers",
          object({{"RequestId",
                   object({{"description",
                            Value("The request's identifier, also written in the connector's "
                                  "logs: quote it when asking why a call failed")},
                           {"schema", object({{"type", Value("string")}})}})}})},
         {"securitySchemes",
          object({{"bearer", object({{"type", Value("http")},
                                     {"scheme", Value("bearer")},
                                     {"description", Value("The connector's personal access token "
                                                           "(c.RESTPersonalAccessToken)")}})}})}});
}

Value callOperation(const std::string& service, const std::string& name,
                    const FunctionMetadata& meta) {
    // Arguments by position (one item per input) or by name.
    Array prefix;
    Value byName = object({{"type", Value("object")}, {"additionalProperties", Value(false)}});
    Value names{Object{}};
    for (const auto& input : meta.fInputs) {
        prefix.push_back(
            object({{"$ref", Value("#/components/schemas/Value")}, {"title", Value(input)}}));
        names.set(input, ref("Value"));
    }
    byName.set("properties", std::move(names));
    Value byPosition = object({{"type", Value("array")}, {"items", ref("Value")}});
    if (!prefix.empty()) byPosition.set("prefixItems", Value(std::move(prefix)));
    Value request = object(
        {{"type", Value("object")},
         {"properties",
          object({{"args",
                   object({{"oneOf", Value(Array{std::move(byPosition), std::move(byName)})}})},
                  {"nargout", object({{"type", Value("integer")},
                                      {"minimum", Value(0)},
                                      {"maximum", Value(64)},
                                      {"default", Value(1)}})}})}});
    Array outputs;
    for (const auto& output : meta.fOutputs)
        outputs.push_back(
            object({{"$ref", Value("#/components/schemas/Value")}, {"title", Value(output)}}));
    Value results = object({{"type", Value("array")}, {"items", ref("Value")}});
    if (!outputs.empty()) results.set("prefixItems", Value(std::move(outputs)));
    Value responses{Object{}};
    responses.set("200",
                  jsonBody(object({{"type", Value("object")},
                                   {"required", strings({"results"})},
                                   {"properties", object({{"results", std::move(results)}})}}),
                           "the function's results, one per output asked for"));
    addErrors(responses, {"400", "401", "404", "413", "421", "500", "503"});
    Value op = object(
        {{"operationId", Value("call." + service + "." + name)},
         {"tags", strings({service})},
         {"summary", Value(meta.fSummary.empty() ? service + "/" + name : meta.fSummary)},
         {"requestBody",
          object({{"required", Value(true)},
                  {"content",
                   object({{"application/json", object({{"schema", std::move(request)}})}})}})},
         {"responses", std::move(responses)}});
    if (!meta.fDescription.empty()) op.set("description", Value(meta.fDescription));
    return op;
}

Value getOperation(std::string operationId, std::string summary, Value schema,
                   std::initializer_list<const char*> errors, bool secured = true) {
    Value responses{Object{}};
    responses.set("200", jsonBody(std::move(schema), "found"));
    addErrors(responses, errors);
    Value op = object({{"operationId", Value(std::move(operationId))},
                       {"summary", Value(std::move(summary))},
                       {"responses", std::move(responses)}});
    if (!secured) op.set("security", Value(Array{}));
    return op;
}

}  // namespace

Value openApiDocument(const FunctionServiceCatalog& catalog) {
    Value paths{Object{}};
    paths.set("/health",
              object({{"get", getOperation("health", "Whether the connector answers",
                                           object({{"type", Value("object")}}), {"421"}, false)}}));
    paths.set("/services",
              object({{"get", getOperation("services", "The function services and their functions",
                                           object({{"type", Value("object")}}), {"401", "421"})}}));
    for (const auto& service : catalog.serviceNames()) {
        paths.set(
            "/services/" + service,
            object({{"get",
                     getOperation("service." + service,
                                  "The functions of " + service + " with their metadata",
                                  object({{"type", Value("object")}}), {"401", "404", "421"})}}));
        for (const auto& name :
             catalog.functionNames(service).value_or(std::vector<std::string>{})) {
            const FunctionMetadata meta =
                catalog.describeFunction(service, name).value_or(FunctionMetadata{});
            paths.set(
                "/services/" + service + "/" + name,
                object({{"get", getOperation("describe." + service + "." + name,
                                             "What " + service + "/" + name + " takes and gives",
                                             ref("FunctionMetadata"), {"401", "404", "421"})},
                        {"post", callOperation(service, name, meta)}}));
        }
    }
    return object(
        {{"openapi", Value("3.1.0")},
         {"info",
          object({{"title", Value("Korvan REST function connector")},
                  {"version", Value("1")},
                  {"description", Value("The functions this connector serves. Every call needs the "
                                        "header Authorization: Bearer <token>.")}})},
         {"servers", Value(Array{object({{"url", Value("/v1")}})})},
         {"security", Value(Array{object({{"bearer", Value(Array{})}})})},
         {"paths", std::move(paths)},
         {"components", components()}});
}

}  // namespace korvan::services::connector::detail
