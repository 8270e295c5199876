// ParserException: the failure position as line and column, and the message text.
#include <foundation/json/Parser.hpp>

#include <algorithm>
#include <cstdio>

namespace foundation::json {

namespace {

struct Place {
    std::size_t fLine = 1;
    std::size_t fColumn = 1;
};

// Lines and columns from 1; UTF-8 continuation bytes do not start a new column.
Place placeOf(const char* start, const char* failure) {
    Place place;
    for (const char* p = start; p < failure; ++p) {
        const auto byte = static_cast<unsigned char>(*p);
        if (byte == '\n') {
            ++place.fLine;
            place.fColumn = 1;
        } else if ((byte & 0xC0) != 0x80) {
            ++place.fColumn;
        }
    }
    return place;
}

std::string messageOf(int code, const std::string& description, Place place) {
    char number[32];
    std::snprintf(number, sizeof number, "%04d", code);
    return std::string("JSON ParserException (E") + number + "): " + description + " (Line " +
           std::to_string(place.fLine) + ", Column " + std::to_string(place.fColumn) + ")";
}

}  // namespace

ParserException::ParserException(const char* start, const char* failure, const char* end, int code,
                                 std::string description)
    : std::runtime_error(
          messageOf(code, description, placeOf(start, std::clamp(failure, start, end)))),
      fCode(code),
      fDescription(std::move(description)) {
    failure = std::clamp(failure, start, end);
    const Place place = placeOf(start, failure);
    fLine = place.fLine;
    fColumn = place.fColumn;
    fOffset = static_cast<std::size_t>(failure - start);
}

}  // namespace foundation::json
