// foundation::core::except::Exception<Tag, std::exception, void>: the one exception class per
// message-identifier class. Tag is a class derived from resource_core::BaseMsgID; the
// exception keeps a copy of the record and the identifier computed once at construction.
//
//   throw foundation::core::except::Exception<KORVAN::host::TooManyInputs>(
//       KORVAN::host::TooManyInputs());
//
// Catch it as IMsgIDException (identifier and arguments), as std::exception (what()), or by
// its exact type. what() is the catalogue text, rendered on first use.
#pragma once

#include <concepts>
#include <exception>
#include <string>

#include "foundation/core/except/IException.hpp"
#include "korvan/host/Export.hpp"
#include "resource_core/BaseMsgID.hpp"

namespace foundation::core::except {

template <class Tag, class StdBase = std::exception, class Unused = void>
requires std::derived_from<Tag, resource_core::BaseMsgID> &&
    std::derived_from<StdBase, std::exception>
class KORVAN_HOST_EXPORT Exception : public IMsgIDException, public StdBase {
  public:
    explicit Exception(const Tag& msgID) : fMsgID(msgID), fID(get_error_id(fMsgID)) {}
    Exception(const Exception& other) = default;

    Exception* clone() const override { return new Exception(*this); }
    [[noreturn]] void rethrow() const override { throw Exception(*this); }
    ~Exception() override = default;

    /// One override for both bases: the catalogue text, rendered by IUserException.
    const char* what() const noexcept override { return IMsgIDException::what(); }

    std::string GetID() const override { return fID; }
    const resource_core::BaseMsgID& GetBaseMsgIDObj() const override { return fMsgID; }
    /// The record with its concrete type.
    const Tag& getMsgID() const noexcept { return fMsgID; }

  private:
    const Tag fMsgID;
    const std::string fID;
};

}  // namespace foundation::core::except
