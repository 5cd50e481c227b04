// kavhost.h: the reference host of libKAV_mod_math.so.1.
//
// A host integrator's tour of the module's C ABI (kav/abi.h):
//
//   std::string err;
//   auto m = kav::host::Module::load("libKAV_mod_math.so.1", &err);
//   if (!m) { /* err says why */ }
//   m->run_init();                                  // the init callbacks
//   const kav::host::Row *row = m->find("abs(I)");
//   std::vector<kav::host::Arg> args{kav::host::Arg::of(kav::host::Value::of_int(-3))};
//   kav::host::CallResult r = m->call(*row, args);  // r.result is the int 3
//
// Module::load plays both entry points and copies everything the module
// registers. Module::call pushes typed arguments, runs the row's routine and
// checks that it popped exactly its arguments, last first and of the right
// kinds, and set exactly one result of the row's return type. Session adds the
// expression language of the kavmath command line on top.
//
// Single-threaded: the runtime interface is plain C function pointers, so one
// call at a time per process.
#ifndef KAV_HOST_H
#define KAV_HOST_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kav/abi.h"

namespace kav::host {

// ---- Types and values ---------------------------------------------------------

enum class Scalar : uint8_t { Int, Float, Double };
std::size_t scalar_size(Scalar s);  // 4, 4 or 8

struct Field {
    std::string name;
    Scalar kind;
    int count;  // 1, or the length of an array field
};

// A struct type declared by the module's type script.
struct Type {
    struct Element {
        Scalar kind;
        std::size_t offset;
    };
    std::string name;
    std::vector<Field> fields;
    std::vector<Element> elements;  // every scalar, array fields flattened, in order
    std::size_t size = 0;           // bytes: fields packed in order, natural widths
};
using TypePtr = std::shared_ptr<const Type>;

// Parses a type script ("type vec2 float x;float y;end ..."). On a syntax
// error returns false and sets *error; *out keeps the types read before it.
bool parse_type_script(std::string_view script, std::vector<TypePtr> *out, std::string *error);

// An int, float, double or struct value, held as its bytes.
struct Value {
    enum class Kind : uint8_t { None, Int, Float, Double, Struct };
    Kind kind = Kind::None;
    TypePtr type;                      // Struct only
    std::vector<unsigned char> bytes;  // 4, 4, 8 or type->size

    static Value of_int(int32_t v);
    static Value of_float(float v);
    static Value of_double(double v);
    static Value of_struct(TypePtr type, std::vector<unsigned char> bytes);  // zero-filled if empty

    int32_t as_int() const;
    float as_float() const;
    double as_double() const;

    // The value's scalars in order: one for a scalar value, the flattened
    // fields of a struct.
    std::size_t element_count() const;
    Scalar element_kind(std::size_t i) const;
    const unsigned char *element(std::size_t i) const;
    unsigned char *element(std::size_t i);
};

// ---- Registration ---------------------------------------------------------------

// An argument or return code of a row: I F D IP FP DP T(type) TP(type).
struct Code {
    enum class Kind : uint8_t {
        Int, Float, Double,           // I F D
        IntRef, FloatRef, DoubleRef,  // IP FP DP
        Struct, StructRef             // T(type) TP(type)
    };
    Kind kind;
    TypePtr type;  // Struct and StructRef
    std::string text() const;
    bool operator==(const Code &o) const { return kind == o.kind && type == o.type; }
};

// One row of the function table.
struct Row {
    std::size_t index = 0;   // position in the table
    std::string signature;   // as registered, "mat_add(TP(mat2),TP(mat2))"
    std::string name;        // script name, "mat_add"
    std::vector<Code> args;  // argument codes, first argument first
    std::string return_text; // as registered, "T(mat2)"
    Code ret{};
    KavProc routine = nullptr;
    // Documented deviations of this row (see deviations.def).
    std::vector<std::size_t> extra_bytes;  // per argument: zero-filled bytes past its storage
    std::optional<Code> alt_result;        // a result also accepted instead of ret
};

struct Constant {
    std::string name;
    Value value;
};

// A call the module made to a slot of the properties or registration table.
struct SlotCall {
    enum class Table : uint8_t { Properties, Registration };
    Table table;
    int slot;
    uint32_t value;  // the argument of a properties slot; 0 otherwise
    bool operator==(const SlotCall &o) const = default;
};

// An error the module raised through the runtime's raise_error slot.
struct RaisedError {
    int32_t code = 0;
    std::string routine;
    int32_t a = 0, b = 0, value = 0;
    bool operator==(const RaisedError &o) const = default;
};

// ---- Calls -------------------------------------------------------------------

// One argument of Module::call.
struct Arg {
    Value value;              // by-value argument, unless variable is set
    Value *variable = nullptr;  // the script variable behind it, if any
    bool reference = false;   // IP FP DP TP: the variable's storage, or null

    // A plain value.
    static Arg of(Value v) { return {std::move(v), nullptr, false}; }
    // A variable passed by value; a routine's writes into a struct argument
    // are copied back into it.
    static Arg from_variable(Value &v) { return {{}, &v, false}; }
    // A reference to the variable: IP FP DP TP.
    static Arg ref(Value &v) { return {{}, &v, true}; }
    // The null reference, for TP only.
    static Arg null() { return {{}, nullptr, true}; }
};

struct CallResult {
    Value result;  // Kind::None when the routine set no usable result
    std::vector<RaisedError> errors;
    std::vector<std::string> violations;  // the routine broke the calling rules
    int fault = 0;  // the fault signal that ended the routine (SIGFPE ...), or 0
};

// "SIGFPE (Floating point exception)" for a fault signal.
std::string describe_fault(int signal);

// ---- The module ----------------------------------------------------------------

class Module {
public:
    // Loads the module at path (dlopen search rules when it has no '/') and
    // plays both entry points. Returns null with *error set when the file
    // does not load, lacks an entry point or registers something unreadable.
    static std::unique_ptr<Module> load(const std::string &path, std::string *error);
    ~Module();
    Module(const Module &) = delete;
    Module &operator=(const Module &) = delete;

    const std::string &path() const;
    const std::vector<Row> &rows() const;  // table order
    const std::vector<Constant> &constants() const;
    const std::vector<TypePtr> &types() const;  // declaration order
    const std::vector<SlotCall> &slot_calls() const;
    // What the registration recorded beyond the data: unused slots called,
    // reserved fields that are not zero...
    const std::vector<std::string> &problems() const;
    int32_t properties_result() const;
    int32_t exports_result() const;
    // The runtime interface handed to the module through get_runtime: one
    // table for the process, its slots serving the call in progress.
    const RuntimeInterface *runtime() const;

    const Row *find(std::string_view signature) const;
    // A row for an exported routine that no row binds, called as the given
    // signature and return type say; null with *error set when the module
    // lacks the routine or the codes do not read.
    std::optional<Row> exported_row(const std::string &routine, const std::string &signature,
                                    const std::string &return_type, std::string *error) const;
    std::vector<const Row *> rows_named(std::string_view name) const;
    TypePtr type(std::string_view name) const;
    const Constant *constant(std::string_view name) const;

    // Calls every init callback once; the routines may not pop or return.
    CallResult run_init();
    // Calls a row. args must fit the row's codes (std::invalid_argument).
    CallResult call(const Row &row, std::vector<Arg> &args);
    // Sees every call before it is made (for tools that record calls).
    std::function<void(const Row &, const std::vector<Arg> &)> on_call;
    // Sees every call's outcome, its fault and violations included (for the
    // input fuzzer, which checks calls that the language makes).
    std::function<void(const Row &, const CallResult &)> on_return;

    struct Impl;  // internal.h

private:
    explicit Module(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

// ---- Printing ------------------------------------------------------------------

// The print format: -2147483648, 0.5f, 1.0, nan, -inff,
// vec2(0.5, 1.0); with bits: 0.5f [0x3f000000].
std::string format_value(const Value &v, bool bits = false);
// " raises 171 \"ACOS\" 0 1 1001" for each error.
std::string format_raised(const std::vector<RaisedError> &errors);
// "int", "float", "double".
const char *scalar_name(Scalar kind);
// A field as the type script declares it: "float m[4]".
std::string field_text(const Field &f);

// ---- The expression language -----------------------------------------------------

struct Outcome {
    Value value;  // Kind::None when the line had an error
    std::vector<RaisedError> raised;
    std::vector<std::string> violations;  // "SIGNATURE: what went wrong"
    std::string error;                    // the line could not be evaluated
    std::size_t column = 1;               // where evaluation stopped, from 1
    bool ok() const { return error.empty() && violations.empty(); }
};

// An expected value of a conformance vector.
struct Expectation {
    enum class Tolerance : uint8_t { Exact, Ulp, Absolute };
    Value value;
    std::vector<RaisedError> raised;
    Tolerance tolerance = Tolerance::Exact;
    double within = 0;
};

class Session {
public:
    explicit Session(Module &module) : module_(module) {}

    // Evaluates "EXPR" or "NAME = EXPR".
    Outcome eval(std::string_view line);
    // Parses "VALUE [raises CODE \"NAME\" A B VALUE]... [within N ulp | within X]".
    bool parse_expectation(std::string_view text, Expectation *out, std::string *error);
    // Forgets the variables and runs the init callbacks again.
    CallResult reset();

    std::map<std::string, Value, std::less<>> variables;
    Module &module() const { return module_; }

private:
    Module &module_;
};

// Whether a result (kind, type, every element by bits or within the
// tolerance; any NaN matches NaN) and its raised errors meet the expectation.
bool matches(const Expectation &expected, const Value &got, const std::vector<RaisedError> &raised);

// ---- Conformance vectors -------------------------------------------------------

struct CheckReport {
    int passed = 0;
    int failed = 0;
    std::vector<std::string> failures;  // "FILE:LINE: EXPR: expected X, got Y"
};

// Runs a .kvt file from a fresh state (no variables, init run again).
void check_file(Module &module, const std::string &path, bool bits, CheckReport *report);

}  // namespace kav::host

#endif  // KAV_HOST_H
