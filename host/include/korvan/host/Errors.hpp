// Raising host errors: identifier-carrying exceptions for the host's own areas.
//
// Two ways:
//  - a message class per identifier (as below for KORVAN:host) with
//    foundation::core::except::Exception<Tag>, when callers catch by type;
//  - korvan::host::throwError(component, name, args...), when an area only needs the
//    identifier and arguments to reach user code; it throws HostError, whose record is a
//    DynamicMsgID.
//
// The texts live in the message catalogue (korvan/host/Catalogue.hpp), never here.
//
// The host component "KORVAN:host":
//   KORVAN:host:TooManyOutputs   kxErrTooManyOutputs()   more outputs requested than returned
//   KORVAN:host:TooManyInputs    kxErrTooManyInputs()    more inputs given than accepted
//   KORVAN:host:NotEnoughInputs  kxErrNotEnoughInputs()  fewer inputs given than required
//   KORVAN:host:OutOfMemory      kxErrOutOfMemory()      an allocation failed
#pragma once

#include <cstddef>
#include <string>
#include <utility>

#include "foundation/core/except/Exception.hpp"
#include "korvan/host/Export.hpp"
#include "resource_core/BaseMsgID.hpp"

namespace korvan::host {

/// A record whose component, name and arguments are chosen at run time.
class KORVAN_HOST_EXPORT DynamicMsgID : public resource_core::BaseMsgID {
  public:
    template <class... Args>
    DynamicMsgID(std::string component, std::string name, Args&&... args)
        : BaseMsgID(std::move(component), std::move(name), sizeof...(Args)) {
        std::size_t index = 0;
        (setArgument(index++, std::forward<Args>(args)), ...);
    }
    ~DynamicMsgID() override;
};

using HostError = foundation::core::except::Exception<DynamicMsgID>;

/// Throws HostError for the identifier component ":" name with the given arguments (integers,
/// UTF-8 or UTF-16 texts, C strings; a null C string becomes "").
template <class... Args>
[[noreturn]] void throwError(std::string component, std::string name, Args&&... args) {
    throw HostError(
        DynamicMsgID(std::move(component), std::move(name), std::forward<Args>(args)...));
}

inline constexpr const char* kHostComponent = "KORVAN:host";

}  // namespace korvan::host

namespace KORVAN::host {

class KORVAN_HOST_EXPORT TooManyOutputs : public resource_core::BaseMsgID {
  public:
    TooManyOutputs() : BaseMsgID(korvan::host::kHostComponent, "TooManyOutputs", 0) {}
};
class KORVAN_HOST_EXPORT TooManyInputs : public resource_core::BaseMsgID {
  public:
    TooManyInputs() : BaseMsgID(korvan::host::kHostComponent, "TooManyInputs", 0) {}
};
class KORVAN_HOST_EXPORT NotEnoughInputs : public resource_core::BaseMsgID {
  public:
    NotEnoughInputs() : BaseMsgID(korvan::host::kHostComponent, "NotEnoughInputs", 0) {}
};
class KORVAN_HOST_EXPORT OutOfMemory : public resource_core::BaseMsgID {
  public:
    OutOfMemory() : BaseMsgID(korvan::host::kHostComponent, "OutOfMemory", 0) {}
};

}  // namespace KORVAN::host

namespace foundation::core::except {
extern template class Exception<korvan::host::DynamicMsgID>;
extern template class Exception<KORVAN::host::TooManyOutputs>;
extern template class Exception<KORVAN::host::TooManyInputs>;
extern template class Exception<KORVAN::host::NotEnoughInputs>;
extern template class Exception<KORVAN::host::OutOfMemory>;
}  // namespace foundation::core::except

/// Each throws foundation::core::except::Exception<KORVAN::host::...>.
[[noreturn]] KORVAN_HOST_EXPORT void kxErrTooManyOutputs();
[[noreturn]] KORVAN_HOST_EXPORT void kxErrTooManyInputs();
[[noreturn]] KORVAN_HOST_EXPORT void kxErrNotEnoughInputs();
[[noreturn]] KORVAN_HOST_EXPORT void kxErrOutOfMemory();

/// The standard check of a host-facing function, outputs first: throws TooManyOutputs when
/// nlhs > maxOutputs, then NotEnoughInputs when nrhs < minInputs, then TooManyInputs when
/// nrhs > maxInputs (a negative maxInputs means no upper limit).
KORVAN_HOST_EXPORT void kxCheckArgumentCounts(int nlhs, int maxOutputs, int nrhs, int minInputs,
                                              int maxInputs);
