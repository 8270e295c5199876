// Recursive-descent parser. Precedence, lowest first: || && | & comparisons : + - * / .* ./
// unary (+ - !) ^ .^ postfix (indexing, fields, transpose).
#include "korvan/lang/Parser.hpp"

#include "korvan/host/Errors.hpp"
#include "korvan/lang/Lexer.hpp"

namespace korvan::lang {
namespace {

using TK = Token::Kind;

class Parser {
  public:
    explicit Parser(std::vector<Token> tokens) : fTokens(std::move(tokens)) {}

    Program program() {
        Program prog;
        for (;;) {
            skipSeparators();
            if (at(TK::End)) break;
            if (isKeyword("function"))
                prog.fFunctions.push_back(function());
            else
                prog.fStatements.push_back(statement());
        }
        return prog;
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

    std::shared_ptr<FunctionDef> function() {
        next();
        auto def = std::make_shared<FunctionDef>();
        // function [a, b] = name(x, y) | function a = name(x) | function name(x)
        if (isOp("[")) {
            next();
            while (!isOp("]")) {
                def->fOutputs.push_back(expectIdent());
                if (at(TK::Comma)) next();
            }
            next();
            expectOp("=");
            def->fName = expectIdent();
        } else {
            std::string first = expectIdent();
            if (isOp("=")) {
                next();
                def->fOutputs.push_back(first);
                def->fName = expectIdent();
            } else {
                def->fName = first;
            }
        }
        while (isOp(".")) {  // package-qualified names
            next();
            def->fName += "." + expectIdent();
        }
        if (isOp("(")) {
            next();
            while (!isOp(")")) {
                def->fInputs.push_back(expectIdent());
                if (at(TK::Comma))
                    next();
                else if (!isOp(")"))
                    fail("')'");
            }
            next();
        }
        def->fBody = block({"end"});
        expectKeyword("end");
        return def;
    }

    // Statements up to (not including) one of the given keywords.
    Block block(std::initializer_list<std::string_view> stops) {
        Block out;
        for (;;) {
            skipSeparators();
            if (at(TK::End)) fail("'end'");
            if (at(TK::Keyword))
                for (auto s : stops)
                    if (peek().fText == s) return out;
            out.push_back(statement());
        }
    }

    StmtPtr make(Stmt::Kind kind) {
        auto s = std::make_unique<Stmt>();
        s->fKind = kind;
        s->fLine = peek().fLine;
        return s;
    }

    StmtPtr statement() {
        if (at(TK::Keyword)) {
            const std::string& w = peek().fText;
            if (w == "if") return ifStatement();
            if (w == "for" || w == "while") return loop(w == "for");
            if (w == "try") return tryStatement();
            if (w == "break" || w == "continue" || w == "return") {
                auto s = make(w == "break"      ? Stmt::Kind::Break
                              : w == "continue" ? Stmt::Kind::Continue
                                                : Stmt::Kind::Return);
                next();
                return s;
            }
            fail("a statement");
        }
        if (isOp("[") && isMultiAssign()) return multiAssign();
        auto s = make(Stmt::Kind::Expr);
        ExprPtr e = expression();
        if (isOp("=")) {
            next();
            s->fKind = Stmt::Kind::Assign;
            s->fTargets.push_back(std::move(e));
            s->fExpr = expression();
        } else {
            s->fExpr = std::move(e);
        }
        terminate(*s);
        return s;
    }

    void terminate(Stmt& s) {
        if (at(TK::Semicolon)) {
            s.fDisplay = false;
            next();
        } else if (at(TK::Comma) || at(TK::Newline)) {
            s.fDisplay = true;
            next();
        } else if (at(TK::End) || at(TK::Keyword)) {
            s.fDisplay = true;
        } else {
            fail("end of statement");
        }
    }

    // "[a, b] = ..." : a bracket whose matching "]" is followed by "=".
    bool isMultiAssign() const {
        int depth = 0;
        for (std::size_t i = fPos; i < fTokens.size(); ++i) {
            const Token& t = fTokens[i];
            if (t.fKind == TK::Newline || t.fKind == TK::End) return false;
            if (t.fKind != TK::Op) continue;
            if (t.fText == "[" || t.fText == "(") ++depth;
            if (t.fText == "]" || t.fText == ")") {
                if (--depth == 0)
                    return i + 1 < fTokens.size() && fTokens[i + 1].fKind == TK::Op &&
                           fTokens[i + 1].fText == "=";
            }
        }
        return false;
    }

    StmtPtr multiAssign() {
        auto s = make(Stmt::Kind::MultiAssign);
        next();
        while (!isOp("]")) {
            if (isOp("!")) {  // an output to ignore: [~, b] = f()
                auto skip = node(Expr::Kind::Unary, peek().fLine);
                skip->fText = next().fText;
                s->fTargets.push_back(std::move(skip));
            } else {
                s->fTargets.push_back(postfix());
            }
            if (at(TK::Comma))
                next();
            else if (!isOp("]"))
                fail("']'");
        }
        next();
        expectOp("=");
        s->fExpr = expression();
        terminate(*s);
        return s;
    }

    StmtPtr ifStatement() {
        auto s = make(Stmt::Kind::If);
        next();
        ExprPtr cond = expression();
        s->fClauses.emplace_back(std::move(cond), block({"elseif", "else", "end"}));
        while (isKeyword("elseif")) {
            next();
            ExprPtr c = expression();
            s->fClauses.emplace_back(std::move(c), block({"elseif", "else", "end"}));
        }
        if (isKeyword("else")) {
            next();
            s->fBody = block({"end"});
        }
        expectKeyword("end");
        return s;
    }

    StmtPtr loop(bool isFor) {
        auto s = make(isFor ? Stmt::Kind::For : Stmt::Kind::While);
        next();
        if (isFor) {
            bool paren = isOp("(");
            if (paren) next();
            s->fName = expectIdent();
            expectOp("=");
            s->fExpr = expression();
            if (paren) expectOp(")");
            s->fBody = block({"end"});
        } else {
            ExprPtr cond = expression();
            s->fClauses.emplace_back(std::move(cond), block({"end"}));
        }
        expectKeyword("end");
        return s;
    }

    StmtPtr tryStatement() {
        auto s = make(Stmt::Kind::Try);
        next();
        s->fBody = block({"catch", "end"});
        if (isKeyword("catch")) {
            int line = peek().fLine;
            next();
            if (at(TK::Ident) && peek().fLine == line) s->fName = next().fText;
            s->fCatch = block({"end"});
        }
        expectKeyword("end");
        return s;
    }

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

    ExprPtr expression() { return binaryLevel(0); }

    // Levels 0..5 are left-associative binary operator groups; level 6 is the range.
    ExprPtr binaryLevel(int level) {
        static const std::vector<std::vector<std::string_view>> kLevels = {
            {"||"}, {"&&"}, {"|"}, {"&"}, {"==", "!=", "<", "<=", ">", ">="}};
        if (level == 5) return range();
        ExprPtr left = binaryLevel(level + 1);
        for (;;) {
            bool matched = false;
            for (auto op : kLevels[static_cast<std::size_t>(level)])
                if (isOp(op)) {
                    next();
                    left = binary(std::string(op), std::move(left), binaryLevel(level + 1));
                    matched = true;
                    break;
                }
            if (!matched) return left;
        }
    }

    ExprPtr range() {
        ExprPtr first = additive();
        if (!isOp(":")) return first;
        auto e = node(Expr::Kind::Range, first->fLine);
        e->fArgs.push_back(std::move(first));
        next();
        e->fArgs.push_back(additive());
        if (isOp(":")) {
            next();
            e->fArgs.push_back(additive());
        }
        return e;
    }

    ExprPtr additive() {
        ExprPtr left = multiplicative();
        while (isOp("+") || isOp("-")) {
            std::string op = next().fText;
            left = binary(op, std::move(left), multiplicative());
        }
        return left;
    }

    ExprPtr multiplicative() {
        ExprPtr left = unary();
        while (isOp("*") || isOp("/") || isOp(".*") || isOp("./")) {
            std::string op = next().fText;
            left = binary(op, std::move(left), unary());
        }
        return left;
    }

    ExprPtr unary() {
        if (isOp("-") || isOp("+") || isOp("!")) {
            int line = peek().fLine;
            std::string op = next().fText;
            auto e = node(Expr::Kind::Unary, line);
            e->fText = op;
            e->fArgs.push_back(unary());
            return e;
        }
        return power();
    }

    ExprPtr power() {
        ExprPtr base = postfix();
        while (isOp("^") || isOp(".^")) {
            std::string op = next().fText;
            // the exponent may carry its own sign: 2^-1
            ExprPtr exponent;
            if (isOp("-") || isOp("+")) {
                int line = peek().fLine;
                auto u = node(Expr::Kind::Unary, line);
                u->fText = next().fText;
                u->fArgs.push_back(postfix());
                exponent = std::move(u);
            } else {
                exponent = postfix();
            }
            base = binary(op, std::move(base), std::move(exponent));
        }
        return base;
    }

    ExprPtr postfix() {
        ExprPtr e = primary();
        for (;;) {
            if (isOp("(")) {
                next();
                auto call = node(Expr::Kind::Index, e->fLine);
                call->fArgs.push_back(std::move(e));
                ++fIndexDepth;
                while (!isOp(")")) {
                    if (isOp(":") && (peek(1).fKind == TK::Comma || isOp(")", 1))) {
                        next();
                        call->fArgs.push_back(node(Expr::Kind::Colon, peek().fLine));
                    } else {
                        call->fArgs.push_back(expression());
                    }
                    if (at(TK::Comma))
                        next();
                    else if (!isOp(")"))
                        fail("')'");
                }
                --fIndexDepth;
                next();
                e = std::move(call);
            } else if (isOp(".") && peek(1).fKind == TK::Ident) {
                next();
                auto field = node(Expr::Kind::Field, e->fLine);
                field->fText = next().fText;
                field->fArgs.push_back(std::move(e));
                e = std::move(field);
            } else if (isOp("'") || isOp(".'")) {
                next();
                auto t = node(Expr::Kind::Transpose, e->fLine);
                t->fArgs.push_back(std::move(e));
                e = std::move(t);
            } else {
                return e;
            }
        }
    }

    ExprPtr primary() {
        const Token& t = peek();
        int line = t.fLine;
        switch (t.fKind) {
            case TK::Number: {
                auto e = node(Expr::Kind::Number, line);
                e->fNumber = t.fNumber;
                e->fImaginary = t.fImaginary;
                next();
                return e;
            }
            case TK::Char:
            case TK::String: {
                auto e = node(t.fKind == TK::Char ? Expr::Kind::Char : Expr::Kind::String, line);
                e->fText = t.fText;
                next();
                return e;
            }
            case TK::Ident: {
                auto e = node(Expr::Kind::Ident, line);
                e->fText = t.fText;
                next();
                return e;
            }
            case TK::Keyword:
                if (t.fText == "end" && fIndexDepth > 0) {
                    next();
                    return node(Expr::Kind::End, line);
                }
                break;
            case TK::Op:
                if (t.fText == "(") {
                    next();
                    ExprPtr e = expression();
                    expectOp(")");
                    return e;
                }
                if (t.fText == "[") return matrix();
                break;
            default:
                break;
        }
        fail("a value");
    }

    ExprPtr matrix() {
        auto e = node(Expr::Kind::Matrix, peek().fLine);
        next();
        std::vector<ExprPtr> row;
        for (;;) {
            if (isOp("]")) break;
            if (at(TK::Comma)) {
                next();
                continue;
            }
            if (at(TK::Semicolon)) {
                next();
                if (!row.empty()) e->fRows.push_back(std::move(row));
                row.clear();
                continue;
            }
            row.push_back(expression());
        }
        next();
        if (!row.empty()) e->fRows.push_back(std::move(row));
        return e;
    }

    std::vector<Token> fTokens;
    std::size_t fPos = 0;
    int fIndexDepth = 0;  // > 0 inside an index or argument list: `end` and `:` are indices
};

}  // namespace

Program parse(std::string_view source) {
    return Parser(tokenize(source)).program();
}

}  // namespace korvan::lang
