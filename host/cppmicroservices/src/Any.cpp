// Any and AnyMap support, type names and the framework's constants.
#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/detail/TypeName.h>

#include <cxxabi.h>

#include <cctype>
#include <cstdlib>
#include <memory>
#include <stdexcept>

namespace cppmicroservices {

namespace detail {

std::string demangledName(std::type_info const& type) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> demangled(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
    std::string name = status == 0 && demangled ? demangled.get() : type.name();
    static std::string const longString =
        "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >";
    for (auto at = name.find(longString); at != std::string::npos; at = name.find(longString)) {
        name.replace(at, longString.size(), "std::string");
    }
    return name.rfind("::", 0) == 0 ? name.substr(2) : name;
}

void anyValueToStream(std::ostream& os, Any const& value) {
    if (value.fContent) value.fContent->toStream(os);
}

void throwBadAnyCast(std::type_info const& held, std::type_info const& wanted) {
    throw BadAnyCastException(
        "cppmicroservices::any_cast: Failed to convert from cppmicroservices::Any type " +
        demangledName(held) + " to target type " + demangledName(wanted));
}

namespace {
unsigned char lower(char c) {
    return static_cast<unsigned char>(std::tolower(static_cast<unsigned char>(c)));
}
}  // namespace

bool keysEqualIgnoreCase(std::string const& a, std::string const& b) noexcept {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (lower(a[i]) != lower(b[i])) return false;
    }
    return true;
}

bool keyLessIgnoreCase(std::string const& a, std::string const& b) noexcept {
    std::size_t const n = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < n; ++i) {
        if (lower(a[i]) != lower(b[i])) return lower(a[i]) < lower(b[i]);
    }
    return a.size() < b.size();
}

std::size_t any_map_cihash::operator()(std::string const& key) const noexcept {
    std::size_t hash = 1469598103934665603ULL;  // FNV-1a over the lower-case key
    for (char c : key) hash = (hash ^ lower(c)) * 1099511628211ULL;
    return hash;
}

}  // namespace detail

BadAnyCastException::~BadAnyCastException() = default;

std::string Any::ToString() const {
    if (!fContent) throw std::logic_error("empty any");
    std::ostringstream os;
    fContent->toStream(os);
    return os.str();
}

std::string Any::ToStringNoExcept() const {
    return fContent ? ToString() : std::string();
}

std::ostream& operator<<(std::ostream& os, Any const& any) {
    detail::anyValueToStream(os, any);
    return os;
}

std::ostream& operator<<(std::ostream& os, any_map const& map) {
    detail::mapToStream(os, map);
    return os;
}

namespace Constants {
std::string const OBJECTCLASS = "objectclass";
std::string const SERVICE_ID = "service.id";
std::string const SERVICE_RANKING = "service.ranking";
std::string const SERVICE_SCOPE = "service.scope";
std::string const SCOPE_SINGLETON = "singleton";
std::string const SCOPE_BUNDLE = "bundle";
std::string const SCOPE_PROTOTYPE = "prototype";
std::string const SERVICE_PID = "service.pid";
std::string const SERVICE_VENDOR = "service.vendor";
std::string const SERVICE_DESCRIPTION = "service.description";
std::string const FRAMEWORK_THREADING_SUPPORT = "org.cppmicroservices.framework.threading.support";
std::string const FRAMEWORK_STORAGE = "org.cppmicroservices.framework.storage";
}  // namespace Constants

}  // namespace cppmicroservices
