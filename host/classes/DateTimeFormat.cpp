#include "DateTimeFormat.hpp"

#include <array>
#include <cctype>
#include <chrono>
#include <vector>

#include "korvan/host/Errors.hpp"

namespace korvan::host::classes {
namespace {

using namespace std::chrono;

constexpr std::array<const char*, 12> kMonths = {"January",   "February", "March",    "April",
                                                 "May",       "June",     "July",     "August",
                                                 "September", "October",  "November", "December"};
constexpr std::array<const char*, 7> kDays = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                              "Thursday", "Friday", "Saturday"};

struct Token {
    char letter = 0;  // 0: literal text
    int count = 0;
    std::string literal;
};

[[noreturn]] void unsupported(std::string_view pattern) {
    korvan::host::throwError("KORVAN:datetime", "UnsupportedFormat", std::string(pattern));
}

std::vector<Token> tokenize(std::string_view pattern) {
    std::vector<Token> tokens;
    auto addLiteral = [&tokens](char c) {
        if (tokens.empty() || tokens.back().letter != 0) tokens.push_back(Token{});
        tokens.back().literal += c;
    };
    for (std::size_t i = 0; i < pattern.size();) {
        char c = pattern[i];
        if (c == '\'') {
            if (i + 1 < pattern.size() && pattern[i + 1] == '\'') {
                addLiteral('\'');
                i += 2;
                continue;
            }
            auto end = pattern.find('\'', i + 1);
            if (end == std::string_view::npos) unsupported(pattern);
            for (char q : pattern.substr(i + 1, end - i - 1)) addLiteral(q);
            i = end + 1;
        } else if (std::isalpha(static_cast<unsigned char>(c))) {
            std::size_t j = i;
            while (j < pattern.size() && pattern[j] == c) ++j;
            int count = static_cast<int>(j - i);
            bool ok = false;
            switch (c) {
                case 'd':
                case 'H':
                case 'm':
                case 's':
                    ok = count <= 2;
                    break;
                case 'M':
                case 'y':
                case 'u':
                case 'E':
                    ok = count <= 4;
                    break;
                case 'S':
                    ok = count <= 9;
                    break;
                default:
                    break;
            }
            if (!ok) unsupported(pattern);
            tokens.push_back(Token{c, count, {}});
            i = j;
        } else {
            addLiteral(c);
            ++i;
        }
    }
    return tokens;
}

bool sameLetters(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (std::tolower(static_cast<unsigned char>(a[i])) !=
            std::tolower(static_cast<unsigned char>(b[i]))) {
            return false;
        }
    }
    return true;
}

// Reads minDigits..maxDigits decimal digits at pos.
std::optional<int> readNumber(std::string_view text, std::size_t& pos, int minDigits,
                              int maxDigits) {
    int value = 0, n = 0;
    while (n < maxDigits && pos < text.size() &&
           std::isdigit(static_cast<unsigned char>(text[pos]))) {
        value = value * 10 + (text[pos++] - '0');
        ++n;
    }
    if (n < minDigits) return std::nullopt;
    return value;
}

// Reads one of `names` (full, or its first three letters when `shortForm`) at pos; 1-based.
template <std::size_t N>
std::optional<int> readName(std::string_view text, std::size_t& pos,
                            const std::array<const char*, N>& names, bool shortForm) {
    for (std::size_t k = 0; k < N; ++k) {
        std::string_view name = names[k];
        if (shortForm) name = name.substr(0, 3);
        if (sameLetters(text.substr(pos, name.size()), name)) {
            pos += name.size();
            return static_cast<int>(k) + 1;
        }
    }
    return std::nullopt;
}

std::string pad(long long value, int width) {
    std::string digits = std::to_string(value < 0 ? -value : value);
    if (static_cast<int>(digits.size()) < width) digits.insert(0, width - digits.size(), '0');
    return value < 0 ? "-" + digits : digits;
}

}  // namespace

void checkDateTimePattern(std::string_view pattern) {
    (void)tokenize(pattern);
}

std::optional<DateTimeMillis> parseDateTime(std::string_view text, std::string_view pattern) {
    int year = 1970, month = 1, day = 1, hour = 0, minute = 0, second = 0, millis = 0;
    std::size_t pos = 0;
    for (const Token& t : tokenize(pattern)) {
        std::optional<int> v;
        switch (t.letter) {
            case 0:
                if (!sameLetters(text.substr(pos, t.literal.size()), t.literal))
                    return std::nullopt;
                pos += t.literal.size();
                continue;
            case 'd':
                v = readNumber(text, pos, 1, 2);
                if (v) day = *v;
                break;
            case 'H':
                v = readNumber(text, pos, 1, 2);
                if (v) hour = *v;
                break;
            case 'm':
                v = readNumber(text, pos, 1, 2);
                if (v) minute = *v;
                break;
            case 's':
                v = readNumber(text, pos, 1, 2);
                if (v) second = *v;
                break;
            case 'M':
                v = t.count <= 2 ? readNumber(text, pos, 1, 2)
                                 : readName(text, pos, kMonths, t.count == 3);
                if (v) month = *v;
                break;
            case 'y':
            case 'u':
                if (t.count == 2) {
                    v = readNumber(text, pos, 2, 2);
                    if (v) year = 2000 + *v;
                } else {
                    v = readNumber(text, pos, t.count == 4 ? 4 : 1, 4);
                    if (v) year = *v;
                }
                break;
            case 'S': {
                std::size_t start = pos;
                v = readNumber(text, pos, t.count, t.count);
                if (v) {
                    std::string_view digits = text.substr(start, pos - start);
                    std::string ms(digits.substr(0, 3));
                    ms.resize(3, '0');
                    millis = std::stoi(ms);
                }
                break;
            }
            case 'E':
                v = readName(text, pos, kDays, t.count < 4);
                break;
        }
        if (!v) return std::nullopt;
    }
    if (pos != text.size()) return std::nullopt;
    year_month_day ymd{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                       std::chrono::day(static_cast<unsigned>(day))};
    if (!ymd.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
    auto dayCount = sys_days(ymd).time_since_epoch().count();
    return (((static_cast<DateTimeMillis>(dayCount) * 24 + hour) * 60 + minute) * 60 + second) *
               1000 +
           millis;
}

std::string formatDateTime(DateTimeMillis time, std::string_view pattern) {
    const auto dayPoint = floor<days>(sys_time<milliseconds>(milliseconds(time)));
    const year_month_day ymd{dayPoint};
    const weekday wd{dayPoint};
    DateTimeMillis ofDay =
        time - static_cast<DateTimeMillis>(dayPoint.time_since_epoch().count()) * 86400000;
    const int hour = static_cast<int>(ofDay / 3600000),
              minute = static_cast<int>(ofDay / 60000 % 60),
              second = static_cast<int>(ofDay / 1000 % 60), millis = static_cast<int>(ofDay % 1000);
    const int y = static_cast<int>(ymd.year());
    const unsigned m = static_cast<unsigned>(ymd.month()), d = static_cast<unsigned>(ymd.day());
    std::string out;
    for (const Token& t : tokenize(pattern)) {
        switch (t.letter) {
            case 0:
                out += t.literal;
                break;
            case 'd':
                out += pad(d, t.count);
                break;
            case 'H':
                out += pad(hour, t.count);
                break;
            case 'm':
                out += pad(minute, t.count);
                break;
            case 's':
                out += pad(second, t.count);
                break;
            case 'M':
                if (t.count <= 2)
                    out += pad(m, t.count);
                else
                    out += std::string_view(kMonths[m - 1])
                               .substr(0, t.count == 3 ? 3 : std::string_view::npos);
                break;
            case 'y':
            case 'u':
                out += t.count == 2 ? pad(((y % 100) + 100) % 100, 2) : pad(y, t.count);
                break;
            case 'S': {
                std::string fraction = pad(millis, 3);
                fraction.resize(static_cast<std::size_t>(t.count), '0');
                out += fraction;
                break;
            }
            case 'E':
                out += std::string_view(kDays[wd.c_encoding()])
                           .substr(0, t.count < 4 ? 3 : std::string_view::npos);
                break;
        }
    }
    return out;
}

bool isSupportedDateLocale(std::string_view locale) {
    return locale == "en_US" || locale == "en_GB" || locale == "en" || locale == "system";
}

}  // namespace korvan::host::classes
