// Compiled by the registry_any_* tests, never linked: Any must refuse a type without
// operator<<, as the installed library does. With KORVAN_PRINTABLE the same code must compile,
// which shows the failure comes from the missing operator and not from the build setup.
#include <cppmicroservices/Any.h>

#include <ostream>

struct Unprintable {
    int fValue = 1;
};

#ifdef KORVAN_PRINTABLE
std::ostream& operator<<(std::ostream& os, Unprintable const& value) {
    return os << value.fValue;
}
#endif

cppmicroservices::Any holdIt() {
    return cppmicroservices::Any(Unprintable{});
}
