// Tokenizer of the host language (see Lexer.hpp for the bracket and quote rules).
#include "korvan/lang/Lexer.hpp"

#include <cctype>
#include <cstdlib>
#include <set>

#include "korvan/host/Errors.hpp"

namespace korvan::lang {
namespace {

const std::set<std::string, std::less<>> kKeywords = {"if",     "elseif", "else",  "end",
                                                      "for",    "while",  "break", "continue",
                                                      "return", "try",    "catch", "function"};

// Longest operators first.
const char* const kOperators[] = {"...", ".*", "./", ".^", ".'", "==", "~=", "!=", "<=", ">=", "&&",
                                  "||",  "+",  "-",  "*",  "/",  "^",  "<",  ">",  "&",  "|",  "!",
                                  "~",   "=",  ":",  "(",  ")",  "[",  "]",  "{",  "}",  ".",  "@"};

bool isIdentStart(char c) {
    return std::isalpha(static_cast<unsigned char>(c)) || c == '_';
}
bool isIdentChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
}

class Lexer {
  public:
    explicit Lexer(std::string_view src) : fSrc(src) {}

    std::vector<Token> run() {
        while (fPos < fSrc.size()) {
            char c = fSrc[fPos];
            if (c == ' ' || c == '\t' || c == '\r') {
                skipSpace();
                continue;
            }
            if (c == '#') {
                while (fPos < fSrc.size() && fSrc[fPos] != '\n') ++fPos;
                continue;
            }
            if (c == '\n') {
                ++fPos;
                if (inBrackets())
                    push(Token::Kind::Semicolon, ";");
                else if (fBrackets.empty())
                    push(Token::Kind::Newline, "\n");
                ++fLine;
                continue;
            }
            if (std::isdigit(static_cast<unsigned char>(c)) ||
                (c == '.' && fPos + 1 < fSrc.size() &&
                 std::isdigit(static_cast<unsigned char>(fSrc[fPos + 1])))) {
                number();
            } else if (isIdentStart(c)) {
                ident();
            } else if (c == '"') {
                text('"', Token::Kind::String);
            } else if (c == '\'' && !(endsValue() && !fSpaceBefore)) {
                text('\'', Token::Kind::Char);
            } else if (c == '\'') {
                ++fPos;
                push(Token::Kind::Op, "'");
            } else {
                op();
            }
            fSpaceBefore = false;
        }
        push(Token::Kind::Newline, "\n");
        push(Token::Kind::End, "");
        return std::move(fTokens);
    }

  private:
    bool inBrackets() const { return !fBrackets.empty() && fBrackets.back() != '('; }

    bool endsValue() const {
        if (fTokens.empty()) return false;
        const Token& t = fTokens.back();
        switch (t.fKind) {
            case Token::Kind::Number:
            case Token::Kind::Ident:
            case Token::Kind::Char:
            case Token::Kind::String:
                return true;
            case Token::Kind::Keyword:
                return t.fText == "end";
            case Token::Kind::Op:
                return t.fText == ")" || t.fText == "]" || t.fText == "}" || t.fText == "'" ||
                       t.fText == ".'";
            default:
                return false;
        }
    }

    // In brackets, space between two values becomes an element separator.
    void skipSpace() {
        while (fPos < fSrc.size() &&
               (fSrc[fPos] == ' ' || fSrc[fPos] == '\t' || fSrc[fPos] == '\r'))
            ++fPos;
        fSpaceBefore = true;
        if (!inBrackets() || !endsValue() || fPos >= fSrc.size()) return;
        char c = fSrc[fPos];
        char next = fPos + 1 < fSrc.size() ? fSrc[fPos + 1] : '\0';
        bool startsValue = isIdentStart(c) || std::isdigit(static_cast<unsigned char>(c)) ||
                           c == '"' || c == '\'' || c == '(' || c == '[' || c == '{' || c == '@' ||
                           ((c == '!' || c == '~') && next != '=') ||
                           (c == '.' && std::isdigit(static_cast<unsigned char>(next))) ||
                           ((c == '+' || c == '-') && next != ' ' && next != '\t');
        if (startsValue) push(Token::Kind::Comma, ",");
    }

    void number() {
        const char* begin = fSrc.data() + fPos;
        char* end = nullptr;
        double v = std::strtod(begin, &end);
        fPos += static_cast<std::size_t>(end - begin);
        Token t{Token::Kind::Number, std::string(begin, static_cast<const char*>(end)), v, false,
                fLine};
        if (fPos < fSrc.size() && (fSrc[fPos] == 'i' || fSrc[fPos] == 'j') &&
            !(fPos + 1 < fSrc.size() && isIdentChar(fSrc[fPos + 1]))) {
            t.fImaginary = true;
            ++fPos;
        }
        fTokens.push_back(std::move(t));
    }

    void ident() {
        std::size_t start = fPos;
        while (fPos < fSrc.size() && isIdentChar(fSrc[fPos])) ++fPos;
        std::string word(fSrc.substr(start, fPos - start));
        // After a dot, keywords are names (obj.end is a property).
        bool afterDot = !fTokens.empty() && fTokens.back().fKind == Token::Kind::Op &&
                        fTokens.back().fText == ".";
        Token::Kind kind =
            !afterDot && kKeywords.count(word) ? Token::Kind::Keyword : Token::Kind::Ident;
        push(kind, std::move(word));
    }

    void text(char quote, Token::Kind kind) {
        std::string out;
        ++fPos;
        for (;;) {
            if (fPos >= fSrc.size() || fSrc[fPos] == '\n')
                korvan::host::throwError("KORVAN:lang", "UnterminatedText", fLine);
            char c = fSrc[fPos++];
            if (c == quote) {
                if (fPos < fSrc.size() && fSrc[fPos] == quote) {  // doubled quote
                    out += quote;
                    ++fPos;
                    continue;
                }
                break;
            }
            out += c;
        }
        push(kind, std::move(out));
    }

    void op() {
        for (const char* o : kOperators) {
            std::string_view ov(o);
            if (fSrc.substr(fPos, ov.size()) == ov) {
                fPos += ov.size();
                if (ov == "...") {  // continuation: skip to the next line
                    while (fPos < fSrc.size() && fSrc[fPos] != '\n') ++fPos;
                    if (fPos < fSrc.size()) ++fPos, ++fLine;
                    return;
                }
                if (ov == "(" || ov == "[" || ov == "{") fBrackets.push_back(ov[0]);
                if ((ov == ")" || ov == "]" || ov == "}") && !fBrackets.empty())
                    fBrackets.pop_back();
                push(Token::Kind::Op, std::string(ov == "~=" ? "!=" : ov == "~" ? "!" : ov));
                return;
            }
        }
        char c = fSrc[fPos];
        if (c == ',') {
            ++fPos;
            push(Token::Kind::Comma, ",");
            return;
        }
        if (c == ';') {
            ++fPos;
            push(Token::Kind::Semicolon, ";");
            return;
        }
        korvan::host::throwError("KORVAN:lang", "UnexpectedCharacter", fLine, std::string(1, c));
    }

    void push(Token::Kind kind, std::string text) {
        fTokens.push_back(Token{kind, std::move(text), 0, false, fLine});
    }

    std::string_view fSrc;
    std::size_t fPos = 0;
    int fLine = 1;
    bool fSpaceBefore = false;
    std::string fBrackets;  // open brackets, innermost last
    std::vector<Token> fTokens;
};

}  // namespace

std::vector<Token> tokenize(std::string_view source) {
    return Lexer(source).run();
}

}  // namespace korvan::lang
