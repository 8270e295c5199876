// Expression rules of the parser. Precedence, lowest first: || && | & comparisons : + -
// * / .* ./ unary (+ - !) ^ .^ postfix (indexing x(i) and x{i}, fields, transpose).
#include "ParserImpl.hpp"

namespace korvan::lang::detail {

ExprPtr Parser::binaryLevel(int level) {
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

ExprPtr Parser::range() {
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

ExprPtr Parser::additive() {
    ExprPtr left = multiplicative();
    while (isOp("+") || isOp("-")) {
        std::string op = next().fText;
        left = binary(op, std::move(left), multiplicative());
    }
    return left;
}

ExprPtr Parser::multiplicative() {
    ExprPtr left = unary();
    while (isOp("*") || isOp("/") || isOp(".*") || isOp("./")) {
        std::string op = next().fText;
        left = binary(op, std::move(left), unary());
    }
    return left;
}

ExprPtr Parser::unary() {
    const Nesting nesting(*this);
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

ExprPtr Parser::power() {
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

void Parser::indexArguments(Expr& call, std::string_view close) {
    ++fIndexDepth;
    while (!isOp(close)) {
        if (isOp(":") && (peek(1).fKind == TK::Comma || isOp(close, 1))) {
            next();
            call.fArgs.push_back(node(Expr::Kind::Colon, peek().fLine));
        } else {
            call.fArgs.push_back(expression());
        }
        if (at(TK::Comma))
            next();
        else if (!isOp(close))
            fail("'" + std::string(close) + "'");
    }
    --fIndexDepth;
    next();
}

ExprPtr Parser::postfix() {
    ExprPtr e = primary();
    for (;;) {
        if (isOp("(") || isOp("{")) {
            bool brace = isOp("{");
            next();
            auto call = node(brace ? Expr::Kind::Brace : Expr::Kind::Index, e->fLine);
            call->fArgs.push_back(std::move(e));
            indexArguments(*call, brace ? "}" : ")");
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

ExprPtr Parser::primary() {
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
            if (t.fText == "[") return matrix(Expr::Kind::Matrix, "]");
            if (t.fText == "{") return matrix(Expr::Kind::Cell, "}");
            break;
        default:
            break;
    }
    fail("a value");
}

ExprPtr Parser::matrix(Expr::Kind kind, std::string_view close) {
    auto e = node(kind, peek().fLine);
    next();
    std::vector<ExprPtr> row;
    for (;;) {
        if (isOp(close)) break;
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

}  // namespace korvan::lang::detail
