// The host's own errors and the generic raising path (korvan/host/Errors.hpp).
#include "korvan/host/Errors.hpp"

namespace korvan::host {
DynamicMsgID::~DynamicMsgID() = default;
}  // namespace korvan::host

// One instantiation of each in the host library, so type info and vtables have one home.
namespace foundation::core::except {
template class Exception<korvan::host::DynamicMsgID>;
template class Exception<KORVAN::host::TooManyOutputs>;
template class Exception<KORVAN::host::TooManyInputs>;
template class Exception<KORVAN::host::NotEnoughInputs>;
template class Exception<KORVAN::host::OutOfMemory>;
}  // namespace foundation::core::except

using foundation::core::except::Exception;

void kxErrTooManyOutputs() {
    throw Exception<KORVAN::host::TooManyOutputs>(KORVAN::host::TooManyOutputs());
}

void kxErrTooManyInputs() {
    throw Exception<KORVAN::host::TooManyInputs>(KORVAN::host::TooManyInputs());
}

void kxErrNotEnoughInputs() {
    throw Exception<KORVAN::host::NotEnoughInputs>(KORVAN::host::NotEnoughInputs());
}

void kxErrOutOfMemory() {
    throw Exception<KORVAN::host::OutOfMemory>(KORVAN::host::OutOfMemory());
}

void kxCheckArgumentCounts(int nlhs, int maxOutputs, int nrhs, int minInputs, int maxInputs) {
    if (nlhs > maxOutputs) {
        kxErrTooManyOutputs();
    }
    if (nrhs < minInputs) {
        kxErrNotEnoughInputs();
    }
    if (maxInputs >= 0 && nrhs > maxInputs) {
        kxErrTooManyInputs();
    }
}
