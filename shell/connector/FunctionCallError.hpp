// The error a function service call reports when a function file raised error(identifier, ...):
// an identifier-carrying host error whose identifier is the user's own and whose text is the
// user's message, so that the caller over HTTPS gets both back unchanged. The message catalogue
// has no entry for such identifiers, so the text is carried here rather than rendered.
//
// Threads: a plain exception value.
#pragma once

#include <stdexcept>
#include <string>

#include "foundation/core/except/IException.hpp"
#include "resource_core/BaseMsgID.hpp"

namespace korvan::shell {

class FunctionCallError final : public foundation::core::except::IMsgIDException,
                                public std::runtime_error {
  public:
    /// `identifier` is "component:name" (split at the last ':'); `message` is the full text.
    FunctionCallError(const std::string& identifier, const std::string& message);
    FunctionCallError(const FunctionCallError&) = default;
    ~FunctionCallError() override;

    FunctionCallError* clone() const override { return new FunctionCallError(*this); }
    [[noreturn]] void rethrow() const override { throw FunctionCallError(*this); }
    const char* what() const noexcept override { return std::runtime_error::what(); }

    std::string GetID() const override { return fID; }
    std::u16string GetUnicodeMessageTxt() const override;
    const resource_core::BaseMsgID& GetBaseMsgIDObj() const override { return fRecord; }

  private:
    const resource_core::BaseMsgID fRecord;
    const std::string fID;
};

}  // namespace korvan::shell
