// Registration of the module's classes with the host class-object system, and the look-up of
// enumeration members by numeric value.
//
// registerClasses runs once, on the thread that initialises the module (the initialise entry
// guards it). enumMemberForValue runs on the host interpreter thread only: the member values
// it hands out are cached lazily without a lock.
#pragma once

#include <cstdint>
#include <string>

#include "kx/kxArray.hpp"

namespace rest::kv::connector {

/// Creates (or reuses) the namespace korvan.engine.rest and adds to it the classes
/// RESTFunctionConnector, Status and ClientAccessMode. The host owns what is added.
void registerClasses();

/// The member of the enumeration className (full name, e.g. "korvan.engine.rest.Status") at
/// position value in definition order, as its shared host value; null when there is no member
/// at that position. The result is owned by the member description: never release it.
kxArray* enumMemberForValue(std::uint32_t value, const std::string& className);

}  // namespace rest::kv::connector
