// Recursive-descent parser: statements, blocks and function definitions. The expression
// rules are in ParseExpressions.cpp.
#include "korvan/lang/Parser.hpp"

#include "ParserImpl.hpp"

namespace korvan::lang {
namespace detail {

Program Parser::program() {
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

std::shared_ptr<FunctionDef> Parser::function() {
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

Block Parser::block(std::initializer_list<std::string_view> stops) {
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

StmtPtr Parser::statement() {
    const Nesting nesting(*this);
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

void Parser::terminate(Stmt& s) {
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

bool Parser::isMultiAssign() const {
    int depth = 0;
    for (std::size_t i = fPos; i < fTokens.size(); ++i) {
        const Token& t = fTokens[i];
        if (t.fKind == TK::Newline || t.fKind == TK::End) return false;
        if (t.fKind != TK::Op) continue;
        if (t.fText == "[" || t.fText == "(" || t.fText == "{") ++depth;
        if (t.fText == "]" || t.fText == ")" || t.fText == "}") {
            if (--depth == 0)
                return i + 1 < fTokens.size() && fTokens[i + 1].fKind == TK::Op &&
                       fTokens[i + 1].fText == "=";
        }
    }
    return false;
}

StmtPtr Parser::multiAssign() {
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

StmtPtr Parser::ifStatement() {
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

StmtPtr Parser::loop(bool isFor) {
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

StmtPtr Parser::tryStatement() {
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

}  // namespace detail

Program parse(std::string_view source) {
    return detail::Parser(tokenize(source)).program();
}

}  // namespace korvan::lang
