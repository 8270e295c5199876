// Message-identifier records (resource_core/BaseMsgID.hpp).
#include "resource_core/BaseMsgID.hpp"

#include <stdexcept>
#include <utility>

namespace resource_core {

BaseMsgID::BaseMsgID(const char* component, const char* name, std::size_t numParams)
    : BaseMsgID(std::string(component), std::string(name), numParams) {}

BaseMsgID::BaseMsgID(std::string component, std::string name, std::size_t numParams)
    : fArguments(numParams, MsgArgument(std::int64_t{0})),
      fComponent(std::move(component)),
      fName(std::move(name)) {}

BaseMsgID::~BaseMsgID() = default;

void BaseMsgID::setArgument(std::size_t index, MsgArgument value) {
    if (index >= fArguments.size()) {
        throw std::out_of_range("message " + fComponent + ":" + fName + " has " +
                                std::to_string(fArguments.size()) + " argument(s), not " +
                                std::to_string(index + 1));
    }
    fArguments[index] = std::move(value);
}

void BaseMsgID::setArgument(std::size_t index, const char* text) {
    setArgument(index, MsgArgument(std::string(text ? text : "")));
}

void BaseMsgID::setArgument(std::size_t index, const char16_t* text) {
    setArgument(index, MsgArgument(std::u16string(text ? text : u"")));
}

}  // namespace resource_core
