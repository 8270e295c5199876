// Value to JSON text.
//
// Output is compact (no white space). Object members come out in key order. Strings are
// escaped as JSON requires (control characters as \u00XX); UTF-8 is passed through.
// Undefined: an undefined member of an object is left out, an undefined array element or
// top-level value is written as null (as JavaScript does).
// Numbers: doubles are written in the shortest form that reads back to the same double, or
// with 17 significant digits when fFullPrecision is set; floats in the shortest form that
// reads back to the same float. Integers are written exactly; with fIntegerEnvelope each int64
// or uint64 is written as {"zxdata":<n>,"zxtype":"int64"|"uint64"} so that the parser keeps it
// exact (integers already inside an envelope object are written bare).
// NaN and infinities have no JSON form: by default serialize() throws std::domain_error; with
// NonFinite::Null they are written as null.
//
// Threads: reentrant.
#pragma once

#include <string>

#include <foundation/json/Value.hpp>

#include "korvan/host/Export.hpp"

namespace foundation::json {

struct SerializeOptions {
    enum class NonFinite { Error, Null };

    bool fIntegerEnvelope = false;
    bool fFullPrecision = false;
    NonFinite fNonFinite = NonFinite::Error;
};

KORVAN_HOST_EXPORT std::string serialize(const Value& value, const SerializeOptions& options = {});

}  // namespace foundation::json
