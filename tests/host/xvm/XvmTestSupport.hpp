// Shorthands shared by the interpreter tests.
#pragma once

#include <cstddef>

#include "xvm/XVM.hpp"

namespace korvan::test {

inline xvm::XVMOptions options(bool withDistributor, std::size_t capacity = 16,
                               kvutil::io::KVSinkRef out = nullptr,
                               kvutil::io::KVSinkRef err = nullptr) {
    xvm::XVMOptions o;
    o.fWithDistributor = withDistributor;
    o.fQueueCapacity = capacity;
    o.fOutputSink = std::move(out);
    o.fErrorSink = std::move(err);
    return o;
}

}  // namespace korvan::test
