// kx::Object: the base of native objects held by host object arrays.
#include "kx/kxArray.hpp"

namespace kx {
Object::~Object() = default;
}  // namespace kx
