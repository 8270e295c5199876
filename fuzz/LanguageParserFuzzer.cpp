// Fuzzes the language's lexer and parser with any source text.
//
// Checks on every input:
//  - tokenize and parse either succeed or throw a std::exception (a language error), whose
//    message can be formatted;
//  - the token list ends with exactly one End token;
//  - source the parser accepts lexes, and is never reported incomplete;
//  - source reported incomplete does not parse;
//  - parsing is deterministic: the same text gives the same number of statements and
//    functions.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string>

#include "korvan/lang/Lexer.hpp"
#include "korvan/lang/Parser.hpp"

namespace {

using namespace korvan::lang;

[[noreturn]] void fail(const char* what, const std::string& text) {
    std::fprintf(stderr, "language fuzzer: %s\ninput: %s\n", what, text.c_str());
    std::abort();
}

std::optional<Program> tryParse(const std::string& source) {
    try {
        return parse(source);
    } catch (const std::exception& e) {
        if (e.what() == nullptr) fail("error without a message", source);
        return std::nullopt;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string source(reinterpret_cast<const char*>(data), size);

    bool lexed = false;
    try {
        const auto tokens = tokenize(source);
        lexed = true;
        std::size_t ends = 0;
        for (const Token& t : tokens) ends += t.fKind == Token::Kind::End ? 1 : 0;
        if (tokens.empty() || tokens.back().fKind != Token::Kind::End || ends != 1)
            fail("token list does not end with one End token", source);
    } catch (const std::exception& e) {
        if (e.what() == nullptr) fail("error without a message", source);
    }

    const auto program = tryParse(source);
    const bool incomplete = isIncomplete(source);
    if (program) {
        if (!lexed) fail("parsed source that does not lex", source);
        if (incomplete) fail("parsed source reported incomplete", source);
        const auto again = tryParse(source);
        if (!again || again->fStatements.size() != program->fStatements.size() ||
            again->fFunctions.size() != program->fFunctions.size())
            fail("parsing the same source twice differs", source);
    } else if (incomplete && !lexed) {
        fail("source that does not lex reported incomplete", source);
    }
    return 0;
}
