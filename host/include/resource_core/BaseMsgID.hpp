// Message-identifier records: what an identifier-carrying error or warning says, as data.
//
// A record names one entry of the host's message catalogue (component + name, joined by ":"
// into the identifier, e.g. "KORVAN:host:TooManyOutputs") and carries the values for the
// numbered holes of that entry's text ({1}, {2}, ...). Concrete message classes derive from
// BaseMsgID, pass (component, name, number of parameters) to its constructor and store each
// parameter in its slot in parameter order.
//
// A record is a plain value: copyable, no shared state, used by one thread at a time.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "korvan/host/Export.hpp"

namespace resource_core {

/// One message argument: 0 a signed 64-bit integer, 1 UTF-8 text, 2 UTF-16 text.
using MsgArgument = std::variant<std::int64_t, std::string, std::u16string>;

class KORVAN_HOST_EXPORT BaseMsgID {
  public:
    /// Creates `numParams` argument slots, each the integer 0.
    /// Throws std::logic_error (from std::string) for a null component or name.
    BaseMsgID(const char* component, const char* name, std::size_t numParams);
    BaseMsgID(std::string component, std::string name, std::size_t numParams);
    BaseMsgID(const BaseMsgID&) = default;
    BaseMsgID(BaseMsgID&&) noexcept = default;
    BaseMsgID& operator=(const BaseMsgID&) = default;
    BaseMsgID& operator=(BaseMsgID&&) noexcept = default;
    virtual ~BaseMsgID();

    const std::vector<MsgArgument>& getArguments() const noexcept { return fArguments; }
    const std::string& getComponent() const noexcept { return fComponent; }
    const std::string& getName() const noexcept { return fName; }
    std::size_t getNumberOfArguments() const noexcept { return fArguments.size(); }

    /// Stores an argument in slot `index`; throws std::out_of_range past the last slot.
    void setArgument(std::size_t index, MsgArgument value);
    /// A null C string is stored as the empty UTF-8 text.
    void setArgument(std::size_t index, const char* text);
    void setArgument(std::size_t index, const char16_t* text);
    /// Any integer type is stored as a signed 64-bit integer.
    template <std::integral T>
    void setArgument(std::size_t index, T value) {
        setArgument(index, MsgArgument(static_cast<std::int64_t>(value)));
    }

  private:
    std::vector<MsgArgument> fArguments;
    std::string fComponent;
    std::string fName;
};

}  // namespace resource_core
