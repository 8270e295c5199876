// The host's JSON facility: values (Value.hpp), parsing (Parser.hpp), writing (Serializer.hpp).
#pragma once

#include <foundation/json/Parser.hpp>
#include <foundation/json/Serializer.hpp>
#include <foundation/json/Value.hpp>
