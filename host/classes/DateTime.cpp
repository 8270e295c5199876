// The built-in class "datetime": a point in time with a display format and a locale.
//
//   datetime(text, "InputFormat", f, "Format", g, "Locale", l)  reads text with f (or, without
//       f, with g and then the usual patterns); "" and the missing string give NaT; no
//       arguments give the current time. Unreadable text: KORVAN:datetime:ParseFailed.
//   datetime.empty()   the 0-by-0 datetime array
//   string(d), char(d) the text in d's Format ("NaT" for not-a-time); isnat(d)
//   d.Format, d.Year, d.Month, d.Day   read-only properties
#include "BuiltinMethod.hpp"
#include "Builtins.hpp"
#include "DateTimeFormat.hpp"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <optional>

#include "kcos/Class.hpp"
#include "kcos/ClassInfo.hpp"
#include "kcos/Instance.hpp"
#include "korvan/host/Errors.hpp"
#include "kx/kxUtf.hpp"
#include "quillon/String.hpp"

namespace korvan::host::classes {
namespace {

struct DateTimeData {
    bool fNaT = true;
    DateTimeMillis fTime = 0;
    std::string fFormat = kDefaultDateTimeFormat;
    std::string fLocale = "en_US";
};

template <class... Args>
[[noreturn]] void dateTimeError(const char* name, Args&&... args) {
    korvan::host::throwError("KORVAN:datetime", name, std::forward<Args>(args)...);
}

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string textArgument(const kxArray* value, const std::string& what) {
    if (!Quillon::String::isNonMissingScalarText(value)) dateTimeError("TextExpected", what);
    return Quillon::String::getScalarTextUtf8(value);
}

bool isMissingString(const kxArray* value) {
    return Quillon::String::isString(value) && kxGetNumberOfElements(value) == 1 &&
           !kxGetStringElement(value, 0).has_value();
}

void construct(DateTimeData& data, int nargs, const kxArray** args) {
    using namespace std::chrono;
    if (nargs == 0) {
        data.fNaT = false;
        data.fTime = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
        return;
    }
    std::optional<std::string> text;
    if (!isMissingString(args[0])) text = textArgument(args[0], "text");
    if ((nargs - 1) % 2 != 0) dateTimeError("OptionsNotPaired");
    std::optional<std::string> inputFormat, format, locale;
    for (int i = 1; i + 1 < nargs; i += 2) {
        std::string name = textArgument(args[i], "option name");
        std::string value = textArgument(args[i + 1], name);
        std::string key = lower(name);
        if (key == "inputformat") {
            inputFormat = value;
        } else if (key == "format") {
            format = value;
        } else if (key == "locale") {
            locale = value;
        } else {
            dateTimeError("UnknownOption", name);
        }
    }
    if (locale && !isSupportedDateLocale(*locale)) dateTimeError("UnsupportedLocale", *locale);
    if (inputFormat) checkDateTimePattern(*inputFormat);
    if (format) checkDateTimePattern(*format);
    data.fFormat = format ? *format : inputFormat ? *inputFormat : kDefaultDateTimeFormat;
    data.fLocale = locale.value_or("en_US");
    if (!text || text->empty()) {
        data.fNaT = true;
        return;
    }
    std::vector<std::string> patterns;
    if (inputFormat) {
        patterns.push_back(*inputFormat);
    } else {
        if (format) patterns.push_back(*format);
        for (const char* p : {kDefaultDateTimeFormat, "dd-MMM-uuuu", "uuuu-MM-dd HH:mm:ss",
                              "uuuu-MM-dd", "MM/dd/uuuu"}) {
            patterns.emplace_back(p);
        }
    }
    for (const auto& pattern : patterns) {
        if (auto time = parseDateTime(*text, pattern)) {
            data.fNaT = false;
            data.fTime = *time;
            return;
        }
    }
    dateTimeError("ParseFailed", *text, inputFormat.value_or(""));
}

std::string textOf(const DateTimeData* data) {
    if (!data || data->fNaT) return "NaT";
    return formatDateTime(data->fTime, data->fFormat);
}

double field(const DateTimeData* d, int which) {
    if (d->fNaT) return std::numeric_limits<double>::quiet_NaN();
    using namespace std::chrono;
    year_month_day ymd{floor<days>(sys_time<milliseconds>(milliseconds(d->fTime)))};
    switch (which) {
        case 0:
            return static_cast<int>(ymd.year());
        case 1:
            return static_cast<unsigned>(ymd.month());
        default:
            return static_cast<unsigned>(ymd.day());
    }
}

class DateTimeClassInfo final : public kcos::COSClassInfo {
  public:
    const char* getName() const override { return "datetime"; }
    const char* getDescription() const override { return "Points in time"; }
    void* createInstanceData(kcos::COSClass*) override { return new DateTimeData; }
    void destroyInstanceData(void* data) override { delete static_cast<DateTimeData*>(data); }

    void defineClass(kcos::COSClass* cls, kcos::COSClient*) override {
        auto data = [cls](const kxArray* object, kxSize i) {
            return static_cast<DateTimeData*>(kcos::instanceDataOf(object, i, cls));
        };
        cls->addMethod(new BuiltinMethodInfo(
            MethodDecl("datetime").noFirstArgDispatch().out({"datetime scalar"}).further(),
            [data](int, kxArray**, int nrhs, const kxArray** prhs) {
                construct(*data(prhs[0], 0), nrhs - 1, prhs + 1);
            }));
        cls->addMethod(new BuiltinMethodInfo(MethodDecl("empty").staticMethod().out({"datetime"}),
                                             [](int, kxArray** plhs, int, const kxArray**) {
                                                 plhs[0] = kxCreateObjectMatrix(0, 0, "datetime");
                                             }));
        cls->addMethod(new BuiltinMethodInfo(
            MethodDecl("string").in({"datetime"}).out({"string"}),
            [data](int, kxArray** plhs, int, const kxArray** prhs) {
                kx::ArrayPtr out(kxCreateStringArray(kxGetNumberOfDimensions(prhs[0]),
                                                     kxGetDimensions(prhs[0])));
                for (kxSize i = 0, n = kxGetNumberOfElements(prhs[0]); i < n; ++i) {
                    kxSetStringElement(out.get(), i, kx::utf8ToUtf16(textOf(data(prhs[0], i))));
                }
                plhs[0] = out.release();
            }));
        cls->addMethod(new BuiltinMethodInfo(
            MethodDecl("char").in({"datetime scalar"}).out({"char"}),
            [data](int, kxArray** plhs, int, const kxArray** prhs) {
                if (kxGetNumberOfElements(prhs[0]) != 1) {
                    korvan::host::throwError("KORVAN:class", "NotScalarObject", "datetime");
                }
                plhs[0] = kxCreateCharFromUtf8(textOf(data(prhs[0], 0)));
            }));
        cls->addMethod(
            new BuiltinMethodInfo(MethodDecl("isnat").in({"datetime"}).out({"logical"}),
                                  [data](int, kxArray** plhs, int, const kxArray** prhs) {
                                      kxSize n = kxGetNumberOfElements(prhs[0]);
                                      kx::ArrayPtr out(kxCreateLogicalMatrix(n, 1));
                                      for (kxSize i = 0; i < n; ++i) {
                                          const DateTimeData* d = data(prhs[0], i);
                                          kxGetLogicals(out.get())[i] = !d || d->fNaT;
                                      }
                                      kxSetDimensions(out.get(), kxGetNumberOfDimensions(prhs[0]),
                                                      kxGetDimensions(prhs[0]));
                                      plhs[0] = out.release();
                                  }));

        const std::uint32_t readOnly = kReadOnlyPropertyAttributes;
        cls->addProperty(
            "Format", kcos::COSTypeRepository::findType("string scalar"),
            kcos::MemberAccess::Public, kcos::MemberAccess::Private, readOnly, "Display format",
            kcos::PropMethods<DateTimeData, kxArray*>{
                [](DateTimeData* d) { return kxCreateStringScalarFromUtf8(d->fFormat); },
                {},
                [](kxArray* a) { kxDestroyArray(a); }});
        const char* names[] = {"Year", "Month", "Day"};
        for (int which = 0; which < 3; ++which) {
            cls->addProperty(names[which], kcos::COSTypeRepository::findType("double scalar"),
                             kcos::MemberAccess::Public, kcos::MemberAccess::Private, readOnly,
                             names[which],
                             kcos::PropMethods<DateTimeData, double>{
                                 [which](DateTimeData* d) { return field(d, which); }, {}});
        }
    }
};

}  // namespace

kcos::COSClassInfo* makeDateTimeClassInfo() {
    return new DateTimeClassInfo;
}

}  // namespace korvan::host::classes
