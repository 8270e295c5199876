// The connector module's message identifiers: one record class per catalogue entry, one
// exception class per record class, and raise<Tag>(args...) to throw one.
//
// A record carries only the identifier (component + name) and the arguments; the text comes
// from the host's message catalogue (resources/messages/KORVAN_restFcnService.json). Record
// classes and exceptions keep default visibility: their type information must match across
// the module and the host, which catch them as foundation::core::except::IMsgIDException.
#pragma once

#include <exception>
#include <utility>

#include "foundation/core/except/Exception.hpp"
#include "korvan/module/Export.hpp"
#include "resource_core/BaseMsgID.hpp"

// A record without parameters.
#define KORVAN_MSGID_0(Component, Name)                                 \
    class KORVAN_MODULE_EXPORT Name : public resource_core::BaseMsgID { \
      public:                                                           \
        Name() : BaseMsgID(Component, #Name, 0) {}                      \
    };

// A record with one parameter (an integer, a UTF-8 or a UTF-16 text, or a C string, which
// may be null and is then stored as the empty text).
#define KORVAN_MSGID_1(Component, Name)                                 \
    class KORVAN_MODULE_EXPORT Name : public resource_core::BaseMsgID { \
      public:                                                           \
        template <class A>                                              \
        explicit Name(A&& argument) : BaseMsgID(Component, #Name, 1) {  \
            setArgument(0, std::forward<A>(argument));                  \
        }                                                               \
    };

namespace KORVAN::restFcnService {

inline constexpr const char* kComponent = "KORVAN:restFcnService";

KORVAN_MSGID_0(kComponent, NoConnectorFound)
KORVAN_MSGID_0(kComponent, NoUpdateClientFound)
KORVAN_MSGID_0(kComponent, CannotModifyConnector)
KORVAN_MSGID_0(kComponent, CannotReset)
KORVAN_MSGID_1(kComponent, ServerStartFailed)
KORVAN_MSGID_0(kComponent, InvalidPortNumber)
KORVAN_MSGID_0(kComponent, InvalidLogLocationType)
KORVAN_MSGID_1(kComponent, InvalidFileLocation)
KORVAN_MSGID_0(kComponent, InvalidHostnameType)
KORVAN_MSGID_1(kComponent, InvalidHostname)
KORVAN_MSGID_0(kComponent, InvalidClientAccessModeType)
KORVAN_MSGID_0(kComponent, InvalidClientAccessMode)
KORVAN_MSGID_0(kComponent, CannotSetRestartHourDefault)
KORVAN_MSGID_1(kComponent, CannotSetRestartHour)
KORVAN_MSGID_0(kComponent, InvalidPreferredRestartHour)
KORVAN_MSGID_0(kComponent, InvalidTokenDays)
KORVAN_MSGID_0(kComponent, InvalidTokenDaysType)
KORVAN_MSGID_0(kComponent, InvalidNameValuePair)
KORVAN_MSGID_0(kComponent, KeysException)
KORVAN_MSGID_0(kComponent, InvalidKeyName)
KORVAN_MSGID_0(kComponent, InvalidIPAddresses)
KORVAN_MSGID_1(kComponent, ConnectorRestartWarning)

}  // namespace KORVAN::restFcnService

namespace KORVAN::string {

inline constexpr const char* kComponent = "KORVAN:string";

KORVAN_MSGID_0(kComponent, MustBeStringScalarOrCharacterVector)
KORVAN_MSGID_0(kComponent, MissingNotSupported)

}  // namespace KORVAN::string

#undef KORVAN_MSGID_0
#undef KORVAN_MSGID_1

namespace rest::kv::connector {

/// The exception thrown for the record class Tag.
template <class Tag>
using CatalogueError = foundation::core::except::Exception<Tag, std::exception, void>;

/// Builds the record with its arguments and throws its exception by value.
template <class Tag, class... Args>
[[noreturn]] void raise(Args&&... args) {
    throw CatalogueError<Tag>(Tag(std::forward<Args>(args)...));
}

}  // namespace rest::kv::connector
