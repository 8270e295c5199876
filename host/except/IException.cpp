// The host's exception interfaces (foundation/core/except/IException.hpp).
#include "foundation/core/except/IException.hpp"

#include "korvan/host/Catalogue.hpp"
#include "kx/kxUtf.hpp"

namespace foundation::core::except {

IException::~IException() = default;

IUserException::IUserException(const IUserException& other) : IException(other) {}

IUserException::~IUserException() = default;

const char* IUserException::what() const noexcept {
    try {
        std::call_once(fWhatOnce, [this] { fWhatText = convert_str(ToUstringImpl()); });
        return fWhatText.c_str();
    } catch (...) {
        return "host error (its message could not be rendered)";
    }
}

std::string IUserException::convert_str(const std::u16string& text) const {
    return kx::utf16ToUtf8(text);
}

std::u16string IUserException::convert_str(const std::string& text) const {
    return kx::utf8ToUtf16(text);
}

IMsgIDException::~IMsgIDException() = default;

std::string IMsgIDException::get_error_id(const resource_core::BaseMsgID& msgID) {
    return msgID.getComponent() + ":" + msgID.getName();
}

std::u16string IMsgIDException::GetUnicodeMessageTxt() const {
    return korvan::host::MessageCatalogue::instance().render(GetBaseMsgIDObj());
}

std::u16string IMsgIDException::ToUstringImpl() const {
    return GetUnicodeMessageTxt();
}

}  // namespace foundation::core::except
