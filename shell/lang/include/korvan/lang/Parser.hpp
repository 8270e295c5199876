// Recursive-descent parser: tokens to a Program (statements and function definitions).
// Errors: KORVAN:lang:SyntaxError with the line and what was expected.
#pragma once

#include <string_view>

#include "korvan/lang/Ast.hpp"

namespace korvan::lang {

Program parse(std::string_view source);

}  // namespace korvan::lang
