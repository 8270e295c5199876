// Service interface ids and the map from interface id to service object that a registration
// carries.
//
// The id of an interface type is its demangled name ("ns::IFoo") unless the type is declared
// with CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(Type, "id") at global scope, before use.
#pragma once

#include <cppmicroservices/GlobalConfig.h>
#include <cppmicroservices/detail/TypeName.h>

#include <memory>
#include <string>
#include <typeinfo>
#include <unordered_map>

/// The interface id of T (global namespace, as callers expect).
template <class T>
std::string const& us_service_interface_iid() {
    static std::string const id = cppmicroservices::detail::demangledName(typeid(T));
    return id;
}

/// void has no interface id.
template <>
inline std::string const& us_service_interface_iid<void>() {
    static std::string const id;
    return id;
}

#define CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(_service_interface_type, _service_interface_id) \
    template <>                                                                                    \
    inline std::string const& us_service_interface_iid<_service_interface_type>() {                \
        static std::string const id(_service_interface_id);                                        \
        return id;                                                                                 \
    }

namespace cppmicroservices {

using InterfaceMap = std::unordered_map<std::string, std::shared_ptr<void>>;
using InterfaceMapPtr = std::shared_ptr<InterfaceMap>;
using InterfaceMapConstPtr = std::shared_ptr<InterfaceMap const>;

/// Builds the interface map of one service object that implements every one of Interfaces.
template <class... Interfaces>
class MakeInterfaceMap {
    static_assert(sizeof...(Interfaces) > 0, "at least one service interface is required");

  public:
    template <class Impl>
    MakeInterfaceMap(std::shared_ptr<Impl> const& impl) : fMap(std::make_shared<InterfaceMap>()) {
        (fMap->insert({us_service_interface_iid<Interfaces>(),
                       std::static_pointer_cast<void>(std::static_pointer_cast<Interfaces>(impl))}),
         ...);
    }

    operator InterfaceMapPtr() { return fMap; }
    operator InterfaceMapConstPtr() { return fMap; }

  private:
    InterfaceMapPtr fMap;
};

/// The object registered under interfaceId; "" means the first entry. Null when absent.
inline std::shared_ptr<void> ExtractInterface(InterfaceMapConstPtr const& map,
                                              std::string const& interfaceId) {
    if (!map || map->empty()) return nullptr;
    if (interfaceId.empty()) return map->begin()->second;
    auto found = map->find(interfaceId);
    return found == map->end() ? nullptr : found->second;
}

/// The object registered under Interface's id, or null.
template <class Interface>
std::shared_ptr<Interface> ExtractInterface(InterfaceMapConstPtr const& map) {
    return std::static_pointer_cast<Interface>(
        ExtractInterface(map, us_service_interface_iid<Interface>()));
}

}  // namespace cppmicroservices
