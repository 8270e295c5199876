// A host error as a self-contained value that can travel between threads: what user code
// would see as an error (identifier, text, stack), without any reference to the interpreter
// state that raised it. The command distributor stores one in the future of work that the
// host could not run (cmddistributor::RuntimeException).
//
// It is an identifier-carrying host error (IMsgIDException), so a caller that rethrows it in
// user code gets a host error with its identifier and text; it is also a std::exception.
//
// Threads: immutable after construction; may be read from several threads.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <vector>

#include "foundation/core/except/IException.hpp"
#include "korvan/host/Export.hpp"
#include "resource_core/BaseMsgID.hpp"

namespace kvutil::except {

/// One entry of the stack of a host error, innermost first.
struct StackFrame {
    std::string fFile;      // source file or unit, e.g. "RestfcnConnector"
    std::string fFunction;  // function name; may be empty
    int fLine = 0;          // 0 when unknown
};

class KORVAN_HOST_EXPORT IMExceptionEnvelope : public foundation::core::except::IMsgIDException,
                                               public std::exception {
  public:
    IMExceptionEnvelope() = default;
    IMExceptionEnvelope(const IMExceptionEnvelope&) = default;
    ~IMExceptionEnvelope() override;

    /// The error's text without the identifier.
    virtual const std::string& getMessage() const noexcept = 0;
    /// The stack of the error, innermost first; may be empty.
    virtual const std::vector<StackFrame>& getStack() const noexcept = 0;
    /// Errors that caused this one (e.g. the original C++ exception); may be empty.
    virtual const std::vector<std::exception_ptr>& getNestedExceptions() const noexcept = 0;

    /// One text for both bases: the message with its arguments filled in.
    const char* what() const noexcept override { return IMsgIDException::what(); }
};

}  // namespace kvutil::except
