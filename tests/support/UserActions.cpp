#include "UserActions.hpp"

#include "ModuleHarness.hpp"
#include "kcos/Class.hpp"
#include "kcos/Instance.hpp"
#include "kcos/Interned.hpp"
#include "kcos/Operations.hpp"
#include "korvan/host/UserCode.hpp"
#include "kx/kxUtf.hpp"

namespace korvan::test {

namespace {

void releaseOnInterpreter(kxArray* array) {
    if (array == nullptr) return;
    auto& harness = ModuleHarness::instance();
    if (std::this_thread::get_id() == harness.interpreterThreadId()) {
        kxReleaseArray(array);
        return;
    }
    try {
        harness.run([array] { kxReleaseArray(array); });
    } catch (...) {
        kxReleaseArray(array);  // the interpreter thread has ended (tear-down)
    }
}

korvan::host::ArgList borrowed(const std::vector<Value>& args) {
    korvan::host::ArgList list;
    for (const auto& arg : args) list.push_back(arg.get());
    return list;
}

std::vector<Value> owned(std::vector<kx::ArrayPtr> results) {
    std::vector<Value> values;
    for (auto& result : results) values.push_back(own(result.release()));
    return values;
}

}  // namespace

Value own(kxArray* array) {
    return Value(array, releaseOnInterpreter);
}

Value num(double value) {
    return own(kxCreateDoubleScalar(value));
}

Value complexNum(double re, double im) {
    return own(kxCreateComplexScalar(re, im));
}

Value doubles(std::size_t m, std::size_t n, std::initializer_list<double> values) {
    kxArray* array = kxCreateDoubleMatrix(m, n);
    std::size_t i = 0;
    for (double v : values) kxGetDoubles(array)[i++] = v;
    return own(array);
}

Value emptyDouble() {
    return own(kxCreateDoubleMatrix(0, 0));
}

Value int32(std::int32_t value) {
    return own(kxCreateIntegerScalar(kxClassID::Int32, value));
}

Value logical(bool value) {
    return own(kxCreateLogicalScalar(value));
}

Value str(std::string_view utf8) {
    return own(kxCreateStringScalarFromUtf8(utf8));
}

Value chars(std::string_view utf8) {
    return own(kxCreateCharFromUtf8(utf8));
}

Value charMatrix(std::size_t m, std::size_t n) {
    const kxSize shape[] = {m, n};
    kxArray* array = kxCreateCharArray(2, shape);
    for (std::size_t i = 0; i < m * n; ++i) kxGetChars(array)[i] = u'a';
    return own(array);
}

Value strings(std::size_t m, std::size_t n, const std::vector<std::optional<std::string>>& items) {
    kxArray* array = kxCreateStringMatrix(m, n);
    for (std::size_t i = 0; i < items.size() && i < m * n; ++i) {
        std::optional<std::u16string> element;
        if (items[i]) element = kx::utf8ToUtf16(*items[i]);
        kxSetStringElement(array, i, std::move(element));
    }
    return own(array);
}

Value missingString() {
    return own(kxCreateMissingString());
}

double scalar(const Value& value) {
    return kxGetScalar(value.get());
}

std::string text(const Value& value) {
    if (kxIsStringArray(value.get())) {
        const auto& element = kxGetStringElement(value.get(), 0);
        return element ? kx::utf16ToUtf8(*element) : "<missing>";
    }
    return kxGetCharTextUtf8(value.get());
}

std::vector<std::string> texts(const Value& value) {
    std::vector<std::string> items;
    for (kxSize i = 0; i < kxGetNumberOfElements(value.get()); ++i) {
        const auto& element = kxGetStringElement(value.get(), i);
        items.push_back(element ? kx::utf16ToUtf8(*element) : "<missing>");
    }
    return items;
}

std::string className(const Value& value) {
    return kxGetClassName(value.get());
}

std::vector<std::size_t> dims(const Value& value) {
    const kxSize* shape = kxGetDimensions(value.get());
    return std::vector<std::size_t>(shape, shape + kxGetNumberOfDimensions(value.get()));
}

namespace user {

Value connector() {
    return call("restFunctionConnector").at(0);
}

std::vector<Value> call(std::string_view name, const std::vector<Value>& args, int nlhs) {
    const std::string fn(name);
    return ModuleHarness::instance().run(
        [&] { return owned(korvan::host::UserCode().call(fn, borrowed(args), nlhs)); });
}

void method(const Value& object, std::string_view name, const std::vector<Value>& args, int nlhs) {
    const std::string fn(name);
    ModuleHarness::instance().run([&] {
        owned(korvan::host::UserCode().callMethod(object.get(), fn, borrowed(args), nlhs));
    });
}

void function(const Value& object, std::string_view name, const std::vector<Value>& args,
              int nlhs) {
    std::vector<Value> all{object};
    all.insert(all.end(), args.begin(), args.end());
    call(name, all, nlhs);
}

Value get(const Value& object, std::string_view property) {
    const std::string name(property);
    return ModuleHarness::instance().run(
        [&] { return own(korvan::host::UserCode().getProperty(object.get(), name).release()); });
}

void set(const Value& object, std::string_view property, const Value& value) {
    const std::string name(property);
    ModuleHarness::instance().run(
        [&] { korvan::host::UserCode().setProperty(object.get(), name, value.get()); });
}

Value member(std::string_view fullName) {
    const std::string name(fullName);
    return ModuleHarness::instance().run(
        [&] { return own(korvan::host::UserCode().enumMember(name).release()); });
}

std::string memberName(const Value& value) {
    return ModuleHarness::instance().run([&] { return kcos::getEnumMemberName(value.get()); });
}

void remove(const Value& object) {
    ModuleHarness::instance().run([&] { korvan::host::UserCode().deleteObject(object.get()); });
}

std::vector<std::string> propertyNames(const Value& object) {
    return ModuleHarness::instance().run(
        [&] { return korvan::host::UserCode().propertyNames(object.get()); });
}

const void* nativeOf(const Value& object) {
    return ModuleHarness::instance().run([&]() -> const void* {
        kcos::COSClass* cls = kcos::COSClass::getClass(
            kcos::internal::makeInterned("korvan.engine.rest.RESTFunctionConnector"));
        return cls ? kcos::instanceDataOf(object.get(), 0, cls) : nullptr;
    });
}

}  // namespace user

}  // namespace korvan::test
