// The host's exception interfaces.
//
//   IException       every host exception: clone, rethrow with the exact type, what()
//   IUserException   an error meant for user code: text as UTF-16 (ToUstringImpl)
//   IMsgIDException  an error that carries a message identifier and its arguments; the host
//                    turns any such exception leaving a callback into a host error whose text
//                    is the catalogue entry filled with the arguments
//
// Exported (type information included) because these exceptions are thrown in one
// shared library and caught in another. An exception object may be read from several threads
// (a stored exception rethrown in two places); what() renders once, under a once-flag.
#pragma once

#include <mutex>
#include <string>

#include <boost/exception/exception.hpp>

#include "korvan/host/Export.hpp"
#include "resource_core/BaseMsgID.hpp"

namespace foundation::core::except {

class KORVAN_HOST_EXPORT IException {
  public:
    IException() = default;
    IException(const IException&) = default;
    IException& operator=(const IException&) = delete;

    /// A new heap copy with the dynamic type of this exception; the caller owns it.
    virtual IException* clone() const = 0;
    /// Throws a copy of this exception with its exact dynamic type.
    [[noreturn]] virtual void rethrow() const = 0;
    virtual ~IException();
    /// UTF-8 text of the error; the pointer stays valid as long as the exception lives.
    virtual const char* what() const noexcept = 0;
};

class KORVAN_HOST_EXPORT IUserException : public IException {
  public:
    IUserException() = default;
    /// Copies do not share the rendered text; each renders its own on first what().
    IUserException(const IUserException& other);
    ~IUserException() override;

    /// Renders ToUstringImpl() as UTF-8 once and keeps it. Never throws: if rendering fails
    /// the text says so.
    const char* what() const noexcept override;

    /// UTF-16 to UTF-8 (invalid code units become U+FFFD).
    virtual std::string convert_str(const std::u16string& text) const;
    /// UTF-8 to UTF-16 (invalid sequences become U+FFFD).
    virtual std::u16string convert_str(const std::string& text) const;
    /// The error's text for user code.
    virtual std::u16string ToUstringImpl() const = 0;

  private:
    mutable std::once_flag fWhatOnce;
    mutable std::string fWhatText;  // written once under fWhatOnce
};

class KORVAN_HOST_EXPORT IMsgIDException : public IUserException, public virtual boost::exception {
  public:
    IMsgIDException() = default;
    IMsgIDException(const IMsgIDException&) = default;
    ~IMsgIDException() override;

    /// The identifier of a record: component ":" name.
    static std::string get_error_id(const resource_core::BaseMsgID& msgID);

    virtual std::string GetID() const = 0;
    /// The catalogue text of GetBaseMsgIDObj() with its arguments filled in.
    virtual std::u16string GetUnicodeMessageTxt() const;
    virtual const resource_core::BaseMsgID& GetBaseMsgIDObj() const = 0;

    /// Same as GetUnicodeMessageTxt().
    std::u16string ToUstringImpl() const override;
};

}  // namespace foundation::core::except
