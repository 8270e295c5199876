// Access levels and the type repository of the class-object system.
//
// MemberAccess: who may use a property (get and set separately), a method or a class.
// Public members are open to every client; protected and private members only to the
// class's own client and to the privileged client (kcos/Client.hpp).
//
// COSType: a type label that properties and method signatures declare. The repository knows
//   "any"                         any value
//   "<class>"                     a value of the class: a built-in array class ("double",
//                                 "uint32", "string", ...) or a registered class
//                                 ("korvan.engine.rest.Status", "datetime")
//   "<class> scalar"              the same, 1-by-1
//   "<class> vector"              the same, 1-by-N or N-by-1
// The host records the types for display and for the property query canContainInterfaces;
// it does not convert or check values against them (setters validate their own values).
//
// Threads: findType may be called from any thread; types are created on first look-up and
// never destroyed, so a `const COSType*` stays valid for the life of the process.
#pragma once

#include <string>
#include <string_view>

#include "korvan/host/Export.hpp"

namespace kcos {

enum class MemberAccess : int {
    Public = 0,
    Protected = 1,
    Private = 2,
};

class COSType {
  public:
    enum class Kind { Any, BuiltinClass, RegisteredClass };
    enum class Shape { Any, Scalar, Vector };

    COSType(std::string label, Kind kind, Shape shape, std::string className);
    COSType(const COSType&) = delete;
    COSType& operator=(const COSType&) = delete;

    /// The label it was found by, e.g. "string scalar".
    const std::string& getLabel() const noexcept { return fLabel; }
    Kind getKind() const noexcept { return fKind; }
    Shape getShape() const noexcept { return fShape; }
    /// The class part ("string", "korvan.engine.rest.Status"); "" for "any".
    const std::string& getClassName() const noexcept { return fClassName; }
    /// Whether a value of this type can hold objects: true for "any" and registered classes,
    /// false for the built-in array classes.
    bool canContainInterfaces() const noexcept { return fKind != Kind::BuiltinClass; }

  private:
    const std::string fLabel;
    const Kind fKind;
    const Shape fShape;
    const std::string fClassName;
};

class KORVAN_HOST_EXPORT COSTypeRepository {
  public:
    /// The type with this label, or null when the label names no type (an unknown class, an
    /// unknown shape word). A class name is known once the class has been added to a
    /// namespace, even before the host has defined it.
    static const COSType* findType(std::string_view label);
};

}  // namespace kcos
