// Recursive-descent parser: tokens to a Program (statements and function definitions).
// Errors: KORVAN:lang:SyntaxError with the line and what was expected.
#pragma once

#include <string_view>

#include "korvan/lang/Ast.hpp"

namespace korvan::lang {

Program parse(std::string_view source);

/// True when `source` cannot be parsed only because it stops too early inside an open block
/// (if, for, while, try, function without its end), an open bracket, or after a "..."
/// continuation: a prompt then reads more lines before running it. False for complete
/// source and for source with an error that more lines would not cure.
bool isIncomplete(std::string_view source);

}  // namespace korvan::lang
