#include "kcos/Types.hpp"

#include <map>
#include <memory>
#include <mutex>

#include "Registry.hpp"

namespace kcos {

COSType::COSType(std::string label, Kind kind, Shape shape, std::string className)
    : fLabel(std::move(label)), fKind(kind), fShape(shape), fClassName(std::move(className)) {}

namespace internal {

bool isBuiltinArrayClass(std::string_view name) {
    static constexpr std::string_view kNames[] = {
        "double", "single", "logical", "char",   "string", "int8",   "uint8",
        "int16",  "uint16", "int32",   "uint32", "int64",  "uint64",
    };
    for (auto n : kNames) {
        if (n == name) return true;
    }
    return false;
}

}  // namespace internal

namespace {

struct TypeTable {
    std::mutex fLock;
    std::map<std::string, std::unique_ptr<COSType>, std::less<>> fTypes;  // guarded by fLock
};

TypeTable& types() {
    static auto* t = new TypeTable;  // never destroyed: types are handed out as raw pointers
    return *t;
}

// Builds the type a label names, or null. Class names are checked against the registry at
// the time of the look-up, so an unknown class is not remembered as unknown.
std::unique_ptr<COSType> parseLabel(std::string_view label) {
    if (label == "any") {
        return std::make_unique<COSType>(std::string(label), COSType::Kind::Any,
                                         COSType::Shape::Any, "");
    }
    std::string_view className = label;
    COSType::Shape shape = COSType::Shape::Any;
    if (auto space = label.rfind(' '); space != std::string_view::npos) {
        std::string_view word = label.substr(space + 1);
        if (word == "scalar") {
            shape = COSType::Shape::Scalar;
        } else if (word == "vector") {
            shape = COSType::Shape::Vector;
        } else {
            return nullptr;
        }
        className = label.substr(0, space);
    }
    if (className.empty() || className.find(' ') != std::string_view::npos) return nullptr;
    COSType::Kind kind;
    if (internal::isBuiltinArrayClass(className)) {
        kind = COSType::Kind::BuiltinClass;
    } else if (internal::findRegisteredClass(internal::makeInterned(className))) {
        kind = COSType::Kind::RegisteredClass;
    } else {
        return nullptr;
    }
    return std::make_unique<COSType>(std::string(label), kind, shape, std::string(className));
}

}  // namespace

const COSType* COSTypeRepository::findType(std::string_view label) {
    auto& t = types();
    {
        std::lock_guard lock(t.fLock);
        if (auto it = t.fTypes.find(label); it != t.fTypes.end()) return it->second.get();
    }
    // Parse outside the lock: the registry look-up takes the registry lock.
    auto type = parseLabel(label);
    if (!type) return nullptr;
    std::lock_guard lock(t.fLock);
    auto [it, added] = t.fTypes.emplace(std::string(label), std::move(type));
    return it->second.get();
}

}  // namespace kcos
