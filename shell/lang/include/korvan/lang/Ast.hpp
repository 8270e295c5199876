// The syntax tree of the host language, produced by the Parser and walked by the Interpreter.
//
// Ownership: each node owns its children through unique_ptr; a parsed Program or FunctionDef
// owns its whole tree and is immutable after parsing (the interpreter only reads it).
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace korvan::lang {

struct Expr;
struct Stmt;
using ExprPtr = std::unique_ptr<Expr>;
using StmtPtr = std::unique_ptr<Stmt>;
using Block = std::vector<StmtPtr>;

struct Expr {
    enum class Kind {
        Number,     // fNumber (fImaginary: a literal like 2i)
        Char,       // 'text' (fText, UTF-8)
        String,     // "text"
        Ident,      // fText
        End,        // `end` inside an index
        Colon,      // a lone `:` index
        Binary,     // fText operator, fArgs[0] op fArgs[1]
        Unary,      // fText operator ("-", "+", "!"), fArgs[0]
        Transpose,  // fArgs[0]'
        Range,      // fArgs: start, [step,] stop
        Matrix,     // fRows of elements
        Cell,       // {fRows of elements}: each element becomes one cell
        Index,      // fArgs[0](fArgs[1..])
        Brace,      // fArgs[0]{fArgs[1..]}: one element of a cell array
        Field,      // fArgs[0].fText
    };
    Kind fKind;
    int fLine = 0;
    std::string fText;
    double fNumber = 0;
    bool fImaginary = false;
    std::vector<ExprPtr> fArgs;
    std::vector<std::vector<ExprPtr>> fRows;
};

struct Stmt {
    enum class Kind { Expr, Assign, MultiAssign, If, For, While, Break, Continue, Return, Try };
    Kind fKind;
    int fLine = 0;
    bool fDisplay = false;          // not ended by ';'
    ExprPtr fExpr;                  // Expr, Assign (right side), MultiAssign (call), For (range)
    std::vector<ExprPtr> fTargets;  // Assign: one target; MultiAssign: several
    std::vector<std::pair<ExprPtr, Block>> fClauses;  // If: condition and block; While: one
    Block fBody;                                      // For, Try body; If: else block
    Block fCatch;                                     // Try
    std::string fName;                                // For variable, catch variable ("" when none)
};

struct FunctionDef {
    std::string fName;
    std::vector<std::string> fInputs;
    std::vector<std::string> fOutputs;
    Block fBody;
};

struct Program {
    Block fStatements;
    std::vector<std::shared_ptr<FunctionDef>> fFunctions;  // functions defined in the text
};

}  // namespace korvan::lang
