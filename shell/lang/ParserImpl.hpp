// The parser's state and grammar rules, shared by the statement rules (Parser.cpp) and the
// expression rules (ParseExpressions.cpp). One Parser reads one token list once; it is used on
// one thread and owns its tokens.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "korvan/host/Errors.hpp"
#include "korvan/lang/Ast.hpp"
#include "korvan/lang/Lexer.hpp"

namespace korvan::lang::detail {

using TK = Token::Kind;

class Parser {
  public:
    explicit Parser(std::vector<Token> tokens) : fTokens(std::move(tokens)) {}

    Program program();

    /// True when only the closing newline and end of the text remain (where program() stops
    /// when the text ends too early).
    bool atTextEnd() const {
        for (std::size_t i = fPos; i < fTokens.size(); ++i)
            if (fTokens[i].fKind != TK::Newline && fTokens[i].fKind != TK::End) return false;
        return true;
    }

  private:
    const Token& peek(std::size_t ahead = 0) const {
        return fTokens[std::min(fPos + ahead, fTokens.size() - 1)];
    }
    bool at(TK kind) const { return peek().fKind == kind; }
    bool isOp(std::string_view op, std::size_t ahead = 0) const {
        return peek(ahead).fKind == TK::Op && peek(ahead).fText == op;
    }
    bool isKeyword(std::string_view word) const { return at(TK::Keyword) && peek().fText == word; }
    const Token& next() { return fTokens[fPos < fTokens.size() - 1 ? fPos++ : fPos]; }

    [[noreturn]] void fail(const std::string& what) const {
        std::string found = at(TK::Newline) ? "end of line"
                            : at(TK::End)   ? "end of text"
                                            : "'" + peek().fText + "'";
        korvan::host::throwError("KORVAN:lang", "SyntaxError", peek().fLine,
                                 what + " expected, found " + found + ".");
    }
    void expectOp(std::string_view op) {
        if (!isOp(op)) fail("'" + std::string(op) + "'");
        next();
    }
    void expectKeyword(std::string_view word) {
        if (!isKeyword(word)) fail("'" + std::string(word) + "'");
        next();
    }
    std::string expectIdent() {
        if (!at(TK::Ident)) fail("a name");
        return next().fText;
    }
    void skipSeparators() {
        while (at(TK::Newline) || at(TK::Semicolon) || at(TK::Comma)) next();
    }

    std::shared_ptr<FunctionDef> function();

    // Statements up to (not including) one of the given keywords.
    Block block(std::initializer_list<std::string_view> stops);

    StmtPtr make(Stmt::Kind kind) {
        auto s = std::make_unique<Stmt>();
        s->fKind = kind;
        s->fLine = peek().fLine;
        return s;
    }

    StmtPtr statement();

    void terminate(Stmt& s);

    // "[a, b] = ..." : a bracket whose matching "]" is followed by "=".
    bool isMultiAssign() const;

    StmtPtr multiAssign();

    StmtPtr ifStatement();

    StmtPtr loop(bool isFor);

    StmtPtr tryStatement();

    // ---- expressions -----------------------------------------------------------------------

    ExprPtr node(Expr::Kind kind, int line) {
        auto e = std::make_unique<Expr>();
        e->fKind = kind;
        e->fLine = line;
        return e;
    }
    ExprPtr binary(std::string op, ExprPtr a, ExprPtr b) {
        auto e = node(Expr::Kind::Binary, a->fLine);
        e->fText = std::move(op);
        e->fArgs.push_back(std::move(a));
        e->fArgs.push_back(std::move(b));
        return e;
    }

    ExprPtr expression() {
        const Nesting nesting(*this);
        return binaryLevel(0);
    }

    // Levels 0..5 are left-associative binary operator groups; level 6 is the range.
    ExprPtr binaryLevel(int level);

    ExprPtr range();

    ExprPtr additive();

    ExprPtr multiplicative();

    ExprPtr unary();

    ExprPtr power();

    ExprPtr postfix();

    ExprPtr primary();

    // [a, b; c] or {a, b; c}: rows of elements up to the closing bracket.
    ExprPtr matrix(Expr::Kind kind, std::string_view close);

    // The arguments of x(...) or x{...} up to `close`, appended to call->fArgs.
    void indexArguments(Expr& call, std::string_view close);

    // Deeper text is refused, so that neither the parser nor the evaluator runs out of stack:
    // each statement, expression and prefix operator inside another counts one level.
    static constexpr int kMaxNesting = 256;
    class Nesting {
      public:
        explicit Nesting(Parser& parser) : fParser(parser) {
            if (fParser.fNesting >= kMaxNesting)
                korvan::host::throwError("KORVAN:lang", "SyntaxError", fParser.peek().fLine,
                                         std::string("Too deeply nested."));
            ++fParser.fNesting;
        }
        ~Nesting() { --fParser.fNesting; }
        Nesting(const Nesting&) = delete;
        Nesting& operator=(const Nesting&) = delete;

      private:
        Parser& fParser;
    };

    std::vector<Token> fTokens;
    std::size_t fPos = 0;
    int fIndexDepth = 0;  // > 0 inside an index or argument list: `end` and `:` are indices
    int fNesting = 0;     // levels open now (Nesting)
};

}  // namespace korvan::lang::detail
