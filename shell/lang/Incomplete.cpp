// Whether source text stops too early (see isIncomplete in Parser.hpp). The prompt asks this
// for each line it reads, to go on with a continuation prompt inside a block.
#include <exception>

#include "ParserImpl.hpp"
#include "korvan/lang/Parser.hpp"

namespace korvan::lang {
namespace {

using detail::TK;

// Blocks opened and not yet closed, and brackets left open.
struct Openings {
    int fBlocks = 0;
    int fBrackets = 0;
};

Openings countOpenings(const std::vector<Token>& tokens) {
    Openings open;
    for (const Token& t : tokens) {
        if (t.fKind == TK::Op) {
            if (t.fText == "(" || t.fText == "[" || t.fText == "{") ++open.fBrackets;
            if (t.fText == ")" || t.fText == "]" || t.fText == "}") --open.fBrackets;
        } else if (t.fKind == TK::Keyword && open.fBrackets <= 0) {
            // `end` inside brackets is an index, not the end of a block.
            if (t.fText == "if" || t.fText == "for" || t.fText == "while" || t.fText == "try" ||
                t.fText == "function")
                ++open.fBlocks;
            else if (t.fText == "end")
                --open.fBlocks;
        }
    }
    return open;
}

// The last line (ignoring trailing white space) ends with the "..." continuation.
bool endsWithContinuation(std::string_view source) {
    std::size_t last = source.find_last_not_of(" \t\r\n");
    if (last == std::string_view::npos || last < 2) return false;
    return source.substr(last - 2, 3) == "...";
}

}  // namespace

bool isIncomplete(std::string_view source) {
    std::vector<Token> tokens;
    try {
        tokens = tokenize(source);
    } catch (const std::exception&) {
        return false;  // a lexical error: more lines would not cure it
    }
    Openings open = countOpenings(tokens);
    detail::Parser parser(std::move(tokens));
    try {
        parser.program();
        return false;
    } catch (const std::exception&) {
        return parser.atTextEnd() &&
               (open.fBlocks > 0 || open.fBrackets > 0 || endsWithContinuation(source));
    }
}

}  // namespace korvan::lang
