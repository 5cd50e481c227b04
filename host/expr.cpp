// The expression language: literals, struct values, constants, variables,
// references and calls resolved against the module's rows.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "internal.h"

namespace kav::host {

namespace {

// A line that cannot be evaluated.
struct EvalError : std::runtime_error {
    explicit EvalError(const std::string &what, std::size_t at = 0)
        : std::runtime_error(what), column(at) {}
    std::size_t column;  // 0: where the evaluator was
};
// A call broke the rules and left nothing to go on with; its violations say why.
struct Abandon {};

bool is_word(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

// ---- Tokens ------------------------------------------------------------------------

struct Token {
    enum class Kind : uint8_t { End, Number, Word, String, Punct };
    Kind kind = Kind::End;
    std::string text;  // String: the unescaped contents
    std::size_t column = 0;
};

[[noreturn]] void syntax(std::size_t column, const std::string &what) {
    throw EvalError("column " + std::to_string(column) + ": " + what, column);
}

std::vector<Token> tokenize(std::string_view s) {
    std::vector<Token> out;
    std::size_t i = 0;
    while (i < s.size()) {
        char c = s[i];
        std::size_t start = i;
        Token t;
        t.column = i + 1;
        if (std::isspace(static_cast<unsigned char>(c))) {
            ++i;
            continue;
        }
        auto digit = [&](std::size_t k) {
            return k < s.size() && std::isdigit(static_cast<unsigned char>(s[k]));
        };
        if (digit(i) || (c == '.' && digit(i + 1))) {
            t.kind = Token::Kind::Number;
            if (c == '0' && i + 1 < s.size() && (s[i + 1] == 'x' || s[i + 1] == 'X')) {
                i += 2;
                if (i == s.size() || !std::isxdigit(static_cast<unsigned char>(s[i])))
                    syntax(t.column, "bad number");
                while (i < s.size() && std::isxdigit(static_cast<unsigned char>(s[i])))
                    ++i;
            } else {
                while (digit(i))
                    ++i;
                if (i < s.size() && s[i] == '.')
                    for (++i; digit(i);)
                        ++i;
                if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
                    std::size_t e = i + 1;
                    if (e < s.size() && (s[e] == '+' || s[e] == '-'))
                        ++e;
                    if (!digit(e))
                        syntax(t.column, "bad exponent");
                    for (i = e; digit(i);)
                        ++i;
                }
                if (i < s.size() && s[i] == 'f')
                    ++i;
            }
            if (i < s.size() && (is_word(s[i]) || s[i] == '.'))
                syntax(t.column, "bad number");
        } else if (is_word(c)) {
            t.kind = Token::Kind::Word;
            while (i < s.size() && is_word(s[i]))
                ++i;
        } else if (c == '"') {
            t.kind = Token::Kind::String;
            for (++i;; ++i) {
                if (i >= s.size())
                    syntax(t.column, "unterminated string");
                if (s[i] == '"')
                    break;
                if (s[i] == '\\' && i + 1 < s.size())
                    t.text += s[++i] == 'n' ? '\n' : s[i];
                else
                    t.text += s[i];
            }
            ++i;
            out.push_back(std::move(t));
            continue;
        } else if (c == '=' && i + 1 < s.size() && s[i + 1] == '>') {
            t.kind = Token::Kind::Punct;
            i += 2;
        } else if (std::strchr("(),=&-", c)) {
            t.kind = Token::Kind::Punct;
            ++i;
        } else {
            syntax(t.column, std::string("unexpected '") + c + "'");
        }
        t.text = s.substr(start, i - start);
        out.push_back(std::move(t));
    }
    Token end;
    end.column = s.size() + 1;
    out.push_back(end);
    return out;
}

// ---- Literals ----------------------------------------------------------------------

// Parses digits (decimal or 0x hex) into an unsigned; false past `limit`.
bool parse_unsigned(std::string_view text, uint64_t limit, uint64_t *out) {
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.remove_prefix(2);
    }
    const uint64_t b = static_cast<uint64_t>(base);
    uint64_t v = 0;
    for (char c : text) {
        int d = std::isdigit(static_cast<unsigned char>(c))
                    ? c - '0'
                    : std::tolower(static_cast<unsigned char>(c)) - 'a' + 10;
        if (d < 0 || d >= base || v > (limit - static_cast<uint64_t>(d)) / b)
            return false;
        v = v * b + static_cast<uint64_t>(d);
    }
    *out = v;
    return !text.empty();
}

bool is_hex(std::string_view t) {
    return t.size() > 1 && t[0] == '0' && (t[1] == 'x' || t[1] == 'X');
}

// Reads a floating literal's text with the precision of T; false on overflow.
template <class T>
bool read_floating(const std::string &text, T *out) {
    const char *p = text.c_str();
    T v;
    if constexpr (sizeof(T) == sizeof(float))
        v = std::strtof(p, nullptr);
    else
        v = std::strtod(p, nullptr);
    *out = v;
    bool written_inf = text.find("inf") != std::string::npos;
    return !std::isinf(v) || written_inf;
}

// A value as written in the source, before it finds its place.
struct Operand {
    enum class Form : uint8_t { Value, Literal, Variable, Reference, Null };
    Form form = Form::Value;
    Value value;          // all but Null; for Reference the variable's current value
    std::string literal;  // Literal: the text without suffix, sign included
    std::string variable; // Variable and Reference
    std::size_t column = 0;

    bool int_literal() const { return form == Form::Literal && value.kind == Value::Kind::Int; }
};

Operand make_literal(const Token &t, bool negative) {
    Operand op;
    op.form = Operand::Form::Literal;
    op.column = t.column;
    std::string text = t.text;
    const std::string sign = negative ? "-" : "";
    bool number = t.kind == Token::Kind::Number;
    if (number && !is_hex(text) && text.find_first_of(".eEf") == std::string::npos) {
        uint64_t mag;
        if (!parse_unsigned(text, negative ? 0x80000000u : 0x7fffffffu, &mag))
            syntax(t.column, "int literal out of range");
        op.value = Value::of_int(static_cast<int32_t>(negative ? 0u - static_cast<uint32_t>(mag)
                                                                 : static_cast<uint32_t>(mag)));
        op.literal = sign + text;
        return op;
    }
    if (number && is_hex(text)) {
        // A 32-bit pattern: 0xffffffff is -1.
        uint64_t mag;
        if (!parse_unsigned(text, 0xffffffffu, &mag))
            syntax(t.column, "int literal out of range");
        uint32_t u = static_cast<uint32_t>(mag);
        op.value = Value::of_int(static_cast<int32_t>(negative ? 0u - u : u));
        op.literal = std::to_string(op.value.as_int());
        return op;
    }
    bool is_float = number ? text.back() == 'f' : text == "nanf" || text == "inff";
    if (is_float)
        text.pop_back();  // "1.5f", and "nanf" / "inff" as "nan" / "inf"
    op.literal = sign + text;
    if (is_float) {
        float v;
        if (!read_floating(op.literal, &v))
            syntax(t.column, "float literal out of range");
        op.value = Value::of_float(v);
    } else {
        double v;
        if (!read_floating(op.literal, &v))
            syntax(t.column, "double literal out of range");
        op.value = Value::of_double(v);
    }
    return op;
}

bool is_literal_word(std::string_view w) {
    return w == "nan" || w == "inf" || w == "nanf" || w == "inff";
}

bool is_keyword(std::string_view w) {
    return is_literal_word(w) || w == "null" || w == "f32" || w == "f64";
}

// ---- Overloads ----------------------------------------------------------------------

bool same_type(const TypePtr &a, const TypePtr &b) {
    return a && b && (a == b || a->name == b->name);
}

// How far a call stretches what was written to find a row, tried in this
// order so that a call that resolves at one step never becomes ambiguous
// through a later one.
enum class Stretch : uint8_t {
    Exact,
    Literals,     // an int literal stands for F or D
    Temporaries,  // and a struct value for TP(type), through a temporary
};

bool fits(const Operand &op, const Code &code, Stretch stretch) {
    using K = Code::Kind;
    if (op.form == Operand::Form::Null)
        return code.kind == K::StructRef;
    bool ref = op.form == Operand::Form::Reference;
    switch (op.value.kind) {
    case Value::Kind::Int:
        return code.kind == (ref ? K::IntRef : K::Int) ||
               (stretch != Stretch::Exact && op.int_literal() &&
                (code.kind == K::Float || code.kind == K::Double));
    case Value::Kind::Float: return code.kind == (ref ? K::FloatRef : K::Float);
    case Value::Kind::Double: return code.kind == (ref ? K::DoubleRef : K::Double);
    case Value::Kind::Struct:
        return same_type(op.value.type, code.type) &&
               (code.kind == (ref ? K::StructRef : K::Struct) ||
                (stretch == Stretch::Temporaries && code.kind == K::StructRef));
    default: return false;
    }
}

std::string describe(const Operand &op) {
    if (op.form == Operand::Form::Null)
        return "null";
    std::string s;
    switch (op.value.kind) {
    case Value::Kind::Int: s = "I"; break;
    case Value::Kind::Float: s = "F"; break;
    case Value::Kind::Double: s = "D"; break;
    case Value::Kind::Struct:
        return (op.form == Operand::Form::Reference ? "TP(" : "T(") + op.value.type->name + ")";
    default: return "?";
    }
    return op.form == Operand::Form::Reference ? s + "P" : s;
}

// Whether a and b are at most `limit` edits apart. Only the band of cells
// within `limit` of the diagonal can be, so a long name costs its length.
bool within_edits(std::string_view a, std::string_view b, std::size_t limit) {
    if (a.size() > b.size())
        std::swap(a, b);
    if (b.size() - a.size() > limit)
        return false;
    const std::size_t out = limit + 1;  // any distance past the limit
    std::vector<std::size_t> row(b.size() + 1, out);
    for (std::size_t j = 0; j <= limit && j <= b.size(); ++j)
        row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        const std::size_t lo = i > limit ? i - limit : 1, hi = std::min(b.size(), i + limit);
        std::size_t diag = row[lo - 1];
        row[lo - 1] = lo == 1 ? std::min(i, out) : out;
        std::size_t best = row[lo - 1];
        for (std::size_t j = lo; j <= hi; ++j) {
            const std::size_t up = row[j];
            row[j] = std::min({up + 1, row[j - 1] + 1, diag + (a[i - 1] != b[j - 1]), out});
            diag = up;
            best = std::min(best, row[j]);
        }
        if (best > limit)
            return false;
    }
    return row[b.size()] <= limit;
}

// Variables are offered as "did you mean" only while there are at most this
// many, so that a typo costs a bounded time however many a script makes.
constexpr std::size_t kSuggestAmong = 1000;

// " (did you mean a, b?)" from the names within two edits.
std::string suggest(std::string_view name, const std::vector<std::string> &names) {
    std::vector<std::string> close;
    for (const std::string &n : names)
        if (within_edits(name, n, name.size() > 4 ? 2 : 1) &&
            std::find(close.begin(), close.end(), n) == close.end() && close.size() < 4)
            close.push_back(n);
    std::string out;
    for (const std::string &n : close)
        out += (out.empty() ? " (did you mean " : ", ") + n;
    return out.empty() ? out : out + "?)";
}

// ---- Parser and evaluator ---------------------------------------------------------

class Evaluator {
public:
    Evaluator(Session &s, std::string_view text, Outcome *out, bool values_only)
        : s_(s), m_(s.module()), toks_(tokenize(text)), out_(out), values_only_(values_only) {}

    // NAME = EXPR | EXPR
    void line() {
        std::string target;
        if (peek().kind == Token::Kind::Word && peek(1).text == "=") {
            const Token &t = next();
            target = t.text;
            if (is_keyword(target) || m_.constant(target))
                throw EvalError("cannot assign to " + target);
            if (!m_.rows_named(target).empty())
                throw EvalError("cannot assign to " + target + ": it names a function");
            next();
        }
        Operand v = expression();
        end();
        // null has no value: it is only an absent reference passed to a call.
        if (v.form == Operand::Form::Null)
            throw EvalError("null is only an argument, for an absent TP(type) reference", v.column);
        if (v.form == Operand::Form::Reference && v.value.kind == Value::Kind::None)
            throw EvalError("unknown variable '" + v.variable + "': assign it first", v.column);
        out_->value = v.value;
        if (!target.empty())
            s_.variables[target] = v.value;
    }

    // VALUE [raises CODE "NAME" A B VALUE]... [within N [ulp]]
    void expectation(Expectation *e) {
        e->value = expression().value;
        bool within = false;
        while (peek().kind != Token::Kind::End) {
            const Token &w = next();
            if (w.text == "raises") {
                RaisedError r;
                r.code = signed_int();
                const Token &name = next();
                if (name.kind != Token::Kind::String)
                    syntax(name.column, "expected the quoted routine name");
                r.routine = name.text;
                r.a = signed_int();
                r.b = signed_int();
                r.value = signed_int();
                e->raised.push_back(std::move(r));
            } else if (w.text == "within" && !within) {
                within = true;
                const Token &n = next();
                if (n.kind != Token::Kind::Number || is_hex(n.text))
                    syntax(n.column, "expected a tolerance");
                Operand t = make_literal(n, false);
                e->within = std::strtod(t.literal.c_str(), nullptr);
                e->tolerance = Expectation::Tolerance::Absolute;
                if (peek().text == "ulp" && peek().kind == Token::Kind::Word) {
                    next();
                    e->tolerance = Expectation::Tolerance::Ulp;
                }
            } else {
                syntax(w.column, "expected 'raises' or 'within', found '" + w.text + "'");
            }
        }
    }

private:
    const Token &peek(std::size_t ahead = 0) const {
        return toks_[std::min(pos_ + ahead, toks_.size() - 1)];
    }
    const Token &next() {
        const Token &t = peek();
        if (pos_ + 1 < toks_.size())
            ++pos_;
        out_->column = t.column;
        return t;
    }
    void expect(const char *punct) {
        const Token &t = next();
        if (t.kind != Token::Kind::Punct || t.text != punct)
            syntax(t.column, std::string("expected '") + punct + "'" + found(t));
    }
    static std::string found(const Token &t) {
        return t.kind == Token::Kind::End ? " at the end" : ", found '" + t.text + "'";
    }
    void end() {
        if (peek().kind != Token::Kind::End)
            syntax(peek().column, "unexpected '" + peek().text + "'");
    }

    int32_t signed_int() {
        bool negative = peek().text == "-" && peek().kind == Token::Kind::Punct;
        if (negative)
            next();
        const Token &t = next();
        if (t.kind != Token::Kind::Number)
            syntax(t.column, "expected an int" + found(t));
        Operand op = make_literal(t, negative);
        if (op.value.kind != Value::Kind::Int)
            syntax(t.column, "expected an int" + found(t));
        return op.value.as_int();
    }

    Operand expression() {
        // Nesting is bounded so that no input exhausts the stack.
        struct Depth {
            explicit Depth(int *d) : d_(d) {
                if (++*d_ > kMaxDepth)
                    throw EvalError("nested too deeply");
            }
            ~Depth() { --*d_; }
            int *d_;
        } depth(&depth_);
        const Token &t = next();
        if (t.kind == Token::Kind::Punct && t.text == "-") {
            const Token &n = peek();
            if (n.kind == Token::Kind::Number ||
                (n.kind == Token::Kind::Word && is_literal_word(n.text))) {
                Operand op = make_literal(next(), true);
                op.column = t.column;
                return op;
            }
            Operand op = expression();
            negate(&op, t.column);
            return op;
        }
        if (t.kind == Token::Kind::Number)
            return make_literal(t, false);
        if (t.kind == Token::Kind::Punct && t.text == "&" && !values_only_)
            return reference(t);
        if (t.kind != Token::Kind::Word)
            syntax(t.column, "expected a value" + found(t));
        if (peek().text == "(" && peek().kind == Token::Kind::Punct) {
            next();
            if (t.text == "f32" || t.text == "f64")
                return bits(t);
            if (TypePtr type = m_.type(t.text))
                return construct(t, type);
            if (values_only_)
                throw EvalError("calls are not allowed in an expected value: " + t.text);
            return call(t);
        }
        if (is_literal_word(t.text))
            return make_literal(t, false);
        Operand op;
        op.column = t.column;
        if (t.text == "null" && !values_only_) {
            op.form = Operand::Form::Null;
            return op;
        }
        if (!values_only_) {
            if (auto v = s_.variables.find(t.text); v != s_.variables.end()) {
                op.form = Operand::Form::Variable;
                op.variable = t.text;
                op.value = v->second;
                return op;
            }
        }
        if (const Constant *c = m_.constant(t.text)) {
            op.value = c->value;
            return op;
        }
        if (!m_.rows_named(t.text).empty())
            throw EvalError(t.text + " is a function: call it as " + t.text + "(...)");
        std::vector<std::string> names;
        for (const Constant &c : m_.constants())
            names.push_back(c.name);
        if (s_.variables.size() <= kSuggestAmong)
            for (const auto &[name, value] : s_.variables)
                names.push_back(name);
        throw EvalError("unknown name '" + t.text + "'" + suggest(t.text, names));
    }

    void negate(Operand *op, std::size_t column) {
        Value &v = op->value;
        if (op->form == Operand::Form::Null || op->form == Operand::Form::Reference ||
            v.kind == Value::Kind::Struct)
            throw EvalError("column " + std::to_string(column) + ": only a number can be negated");
        if (v.kind == Value::Kind::Int)
            v = Value::of_int(static_cast<int32_t>(0u - static_cast<uint32_t>(v.as_int())));
        else
            v.bytes.back() ^= 0x80;  // the sign bit (little-endian), also of a NaN
        op->form = Operand::Form::Value;
    }

    Operand reference(const Token &amp) {
        const Token &t = next();
        if (t.kind != Token::Kind::Word)
            syntax(t.column, "'&' needs a variable name" + found(t));
        Operand op;
        op.form = Operand::Form::Reference;
        op.variable = t.text;
        op.column = amp.column;
        // An unset one is reported by the call, which knows what it takes.
        if (auto v = s_.variables.find(t.text); v != s_.variables.end())
            op.value = v->second;
        return op;
    }

    // f32(0x40490FD8), f64(0x400921FB54442D18): exact bit patterns.
    Operand bits(const Token &t) {
        const Token &n = next();
        uint64_t u;
        bool wide = t.text == "f64";
        if (n.kind != Token::Kind::Number ||
            !parse_unsigned(n.text, wide ? UINT64_MAX : 0xffffffffu, &u))
            syntax(n.column, t.text + " takes the value's bits as an unsigned int");
        expect(")");
        Operand op;
        op.column = t.column;
        if (wide) {
            double d;
            std::memcpy(&d, &u, sizeof d);
            op.value = Value::of_double(d);
        } else {
            uint32_t w = static_cast<uint32_t>(u);
            float f;
            std::memcpy(&f, &w, sizeof f);
            op.value = Value::of_float(f);
        }
        return op;
    }

    std::vector<Operand> arguments() {
        std::vector<Operand> args;
        if (peek().text == ")" && peek().kind == Token::Kind::Punct) {
            next();
            return args;
        }
        for (;;) {
            args.push_back(expression());
            const Token &t = next();
            if (t.kind == Token::Kind::Punct && t.text == ")")
                return args;
            if (t.kind != Token::Kind::Punct || t.text != ",")
                syntax(t.column, "expected ',' or ')'" + found(t));
        }
    }

    // vec2(1, 0.5): every element flattened, each converted to its field.
    Operand construct(const Token &t, const TypePtr &type) {
        std::vector<Operand> args = arguments();
        if (args.size() != type->elements.size())
            throw EvalError(type->name + " takes " + std::to_string(type->elements.size()) +
                            " elements, not " + std::to_string(args.size()));
        Operand op;
        op.column = t.column;
        op.value = Value::of_struct(type, {});
        for (std::size_t i = 0; i < args.size(); ++i)
            place(args[i], type, i, op.value.element(i));
        return op;
    }

    void place(const Operand &a, const TypePtr &type, std::size_t i, unsigned char *dst) {
        Scalar field = type->elements[i].kind;
        Value::Kind kind = a.value.kind;
        auto misfit = [&]() {
            return EvalError(type->name + " element " + std::to_string(i + 1) + " is " +
                             scalar_name(field) + ": " + describe(a) +
                             " does not fit");
        };
        if (a.form == Operand::Form::Null || a.form == Operand::Form::Reference ||
            kind == Value::Kind::Struct)
            throw misfit();
        Value v;
        if (field == Scalar::Int) {
            if (kind != Value::Kind::Int)
                throw misfit();
            v = a.value;
        } else if (kind == Value::Kind::Int) {
            v = field == Scalar::Float ? Value::of_float(static_cast<float>(a.value.as_int()))
                                       : Value::of_double(a.value.as_int());
        } else if (a.form == Operand::Form::Literal) {
            // Read the written digits at the field's precision.
            if (field == Scalar::Float) {
                float f;
                if (!read_floating(a.literal, &f))
                    throw EvalError(a.literal + " is out of range for a float");
                v = Value::of_float(f);
            } else {
                double d;
                read_floating(a.literal, &d);
                v = Value::of_double(d);
            }
        } else if ((field == Scalar::Float) == (kind == Value::Kind::Float)) {
            v = a.value;
        } else {
            throw misfit();
        }
        std::memcpy(dst, v.bytes.data(), v.bytes.size());
    }

    Operand call(const Token &t) {
        // The function first: its name is the likelier mistake than its arguments.
        std::vector<const Row *> rows = m_.rows_named(t.text);
        if (rows.empty()) {
            std::vector<std::string> names;
            for (const Row &r : m_.rows())
                if (names.empty() || names.back() != r.name)  // a name's rows stand together
                    names.push_back(r.name);
            for (const TypePtr &type : m_.types())
                names.push_back(type->name);
            throw EvalError("unknown function '" + t.text + "'" + suggest(t.text, names),
                            t.column);
        }
        std::vector<Operand> args = arguments();
        for (std::size_t i = 0; i < args.size(); ++i)
            if (args[i].form == Operand::Form::Reference && args[i].value.kind == Value::Kind::None)
                unset_reference(t.text, rows, &args, i);
        const Row *row = resolve(t.text, rows, args);
        std::vector<Arg> call_args;
        std::vector<Value> temporaries;
        temporaries.reserve(args.size());  // the arguments point into it
        for (std::size_t i = 0; i < args.size(); ++i)
            call_args.push_back(argument(args[i], row->args[i], &temporaries));
        CallResult r = m_.call(*row, call_args);
        if (r.fault != 0)
            throw EvalError(written(t.text, args) + ": " + describe_fault(r.fault) + " in " +
                            row->signature);
        for (RaisedError &e : r.errors)
            out_->raised.push_back(std::move(e));
        for (std::string &v : r.violations)
            out_->violations.push_back(row->signature + ": " + v);
        if (r.result.kind == Value::Kind::None)
            throw Abandon{};
        Operand op;
        op.column = t.column;
        op.value = std::move(r.result);
        return op;
    }

    // The call as a script would write it: "imod(7, 0)".
    static std::string written(const std::string &name, const std::vector<Operand> &args) {
        std::string s = name + "(";
        for (std::size_t i = 0; i < args.size(); ++i) {
            const Operand &op = args[i];
            s += i ? ", " : "";
            if (op.form == Operand::Form::Null)
                s += "null";
            else if (op.form == Operand::Form::Reference)
                s += "&" + op.variable;
            else
                s += format_value(op.value);
        }
        return s + ")";
    }

    // &NAME of a variable never set. When every row that fits the other
    // arguments takes the same IP, FP or DP there, the call creates it, as 0
    // of that kind, once a row is chosen (argument()); otherwise the error
    // says what the function takes there.
    void unset_reference(const std::string &name, const std::vector<const Row *> &rows,
                         std::vector<Operand> *operands, std::size_t at) {
        const std::vector<Operand> &args = *operands;
        std::vector<Code> takes;
        for (const Row *r : rows) {
            bool ok = r->args.size() == args.size();
            for (std::size_t i = 0; ok && i < args.size(); ++i)
                ok = i == at || args[i].value.kind == Value::Kind::None ||
                     fits(args[i], r->args[i], Stretch::Temporaries);
            if (ok && std::find(takes.begin(), takes.end(), r->args[at]) == takes.end())
                takes.push_back(r->args[at]);
        }
        if (takes.size() == 1) {
            switch (takes[0].kind) {
            case Code::Kind::IntRef: (*operands)[at].value = Value::of_int(0); return;
            case Code::Kind::FloatRef: (*operands)[at].value = Value::of_float(0); return;
            case Code::Kind::DoubleRef: (*operands)[at].value = Value::of_double(0); return;
            default: break;
            }
        }
        std::string what;
        for (std::size_t i = 0; i < takes.size() && i < 6; ++i)
            what += (i ? ", " : "") + takes[i].text();
        if (takes.size() > 6)
            what += " or " + std::to_string(takes.size() - 6) + " more";
        throw EvalError("unknown variable '" + args[at].variable + "': assign it first" +
                            (takes.empty() ? " (no " + name + " row fits these arguments)"
                                           : "; " + name + " takes " + what + " there"),
                        args[at].column);
    }

    const Row *resolve(const std::string &name, const std::vector<const Row *> &rows,
                       const std::vector<Operand> &args) {
        std::vector<const Row *> found;
        for (Stretch stretch : {Stretch::Exact, Stretch::Literals, Stretch::Temporaries}) {
            for (const Row *r : rows) {
                bool ok = r->args.size() == args.size();
                for (std::size_t i = 0; ok && i < args.size(); ++i)
                    ok = fits(args[i], r->args[i], stretch);
                if (ok)
                    found.push_back(r);
            }
            if (!found.empty())
                break;
        }
        if (found.size() == 1)
            return found[0];
        std::string call = name + "(";
        for (std::size_t i = 0; i < args.size(); ++i) {
            if (i)
                call += ",";
            call += describe(args[i]);
        }
        call += ")";
        // The closest candidates: most arguments in place, then the rest counted.
        std::vector<const Row *> list = found;
        if (found.empty()) {
            std::size_t best = 0;
            for (const Row *r : rows) {
                std::size_t n = r->args.size() == args.size();
                for (std::size_t i = 0; n && i < args.size(); ++i)
                    n += fits(args[i], r->args[i], Stretch::Temporaries);
                if (n > best)
                    list.clear(), best = n;
                if (n == best)
                    list.push_back(r);
            }
        }
        std::string candidates;
        for (std::size_t i = 0; i < list.size() && i < 8; ++i)
            candidates += (i ? ", " : "") + list[i]->signature;
        if (list.size() > 8)
            candidates += " and " + std::to_string(list.size() - 8) + " more";
        if (list.size() < rows.size() && found.empty())
            candidates += " (kavmath --list " + name + "( shows all " +
                          std::to_string(rows.size()) + ")";
        throw EvalError((found.empty() ? "no signature matches " : "ambiguous call ") + call +
                        "; candidates: " + candidates);
    }

    Arg argument(const Operand &op, const Code &code, std::vector<Value> *temporaries) {
        if (op.form == Operand::Form::Null)
            return Arg::null();
        if (op.form == Operand::Form::Reference)  // created here if unset_reference chose its kind
            return Arg::ref(s_.variables.try_emplace(op.variable, op.value).first->second);
        if (code.kind == Code::Kind::StructRef) {  // a value for TP(type); a variable stays as it is
            temporaries->push_back(op.value);
            return Arg::ref(temporaries->back());
        }
        if (op.form == Operand::Form::Variable && code.kind == Code::Kind::Struct)
            return Arg::from_variable(s_.variables.at(op.variable));
        if (op.value.kind == Value::Kind::Int && code.kind == Code::Kind::Float)
            return Arg::of(Value::of_float(static_cast<float>(op.value.as_int())));
        if (op.value.kind == Value::Kind::Int && code.kind == Code::Kind::Double)
            return Arg::of(Value::of_double(op.value.as_int()));
        return Arg::of(op.value);
    }

    Session &s_;
    Module &m_;
    std::vector<Token> toks_;
    std::size_t pos_ = 0;
    static constexpr int kMaxDepth = 256;
    int depth_ = 0;
    Outcome *out_;
    bool values_only_;
};

}  // namespace

Outcome Session::eval(std::string_view line) {
    Outcome out;
    try {
        Evaluator(*this, line, &out, false).line();
    } catch (const EvalError &e) {
        out.value = Value{};
        out.error = e.what();
        if (e.column)
            out.column = e.column;
    } catch (const Abandon &) {
        out.value = Value{};
    } catch (const std::exception &e) {
        out.value = Value{};
        out.error = std::string("internal error: ") + e.what();
    }
    return out;
}

bool Session::parse_expectation(std::string_view text, Expectation *out, std::string *error) {
    Outcome scratch;
    try {
        Evaluator(*this, text, &scratch, true).expectation(out);
        return true;
    } catch (const std::exception &e) {
        *error = e.what();
        return false;
    }
}

CallResult Session::reset() {
    variables.clear();
    return module_.run_init();
}

}  // namespace kav::host
