// std::exception_ptr -> boost::exception_ptr without losing the exception's type.
//
// Boost 1.81's converting constructor wraps std::current_exception() instead of its argument,
// so it is only right inside a handler of that very exception; this helper makes it so.
#pragma once

#include <exception>

#include "kvutil/BoostFuture.hpp"

namespace cmddistributor::detail {

inline boost::exception_ptr toBoostExceptionPtr(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (...) {
        return boost::exception_ptr(std::current_exception());
    }
}

}  // namespace cmddistributor::detail
