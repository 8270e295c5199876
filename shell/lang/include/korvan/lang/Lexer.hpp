// The lexer of the host language: turns source text into tokens.
//
// Inside square brackets, white space between two values separates elements ("[1 -2]" is two
// elements, "[1 - 2]" one) and a newline separates rows; the lexer makes those separators
// explicit as Comma and Semicolon tokens so the parser needs no look at white space.
// A quote is the transpose operator right after a value with no space, else it opens text.
// Errors: KORVAN:lang:UnexpectedCharacter, KORVAN:lang:UnterminatedText.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace korvan::lang {

struct Token {
    enum class Kind { Number, Ident, Keyword, Char, String, Op, Comma, Semicolon, Newline, End };
    Kind fKind;
    std::string fText;  // identifier, keyword, operator, or the text's contents (UTF-8)
    double fNumber = 0;
    bool fImaginary = false;
    int fLine = 1;
};

std::vector<Token> tokenize(std::string_view source);

}  // namespace korvan::lang
