// The value `err` of `try ... catch err`: an object of class "korvan.lang.Error" with the
// read-only fields identifier and message. Interpreter-side only (not a registered class).
#pragma once

#include <string>

#include "kx/kxArray.hpp"

namespace korvan::lang {

class ErrorObject : public kx::Object {
  public:
    ErrorObject(std::string identifier, std::string message)
        : fIdentifier(std::move(identifier)), fMessage(std::move(message)) {}
    const std::string& className() const override {
        static const std::string kName = "korvan.lang.Error";
        return kName;
    }
    const std::string& identifier() const { return fIdentifier; }
    const std::string& message() const { return fMessage; }

  private:
    const std::string fIdentifier;
    const std::string fMessage;
};

/// The error object of a 1-by-1 array, or null.
inline const ErrorObject* errorObject(const kxArray* v) {
    if (!kxIsObject(v) || kxGetNumberOfElements(v) != 1) return nullptr;
    return dynamic_cast<const ErrorObject*>(kxGetObject(v, 0).get());
}

}  // namespace korvan::lang
