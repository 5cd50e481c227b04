// The runtime interface and the checks of one call.
//
// The slots are plain C functions, so the call in progress is a global: one
// call at a time.
#include <csetjmp>
#include <csignal>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "internal.h"

namespace kav::host {

namespace {

// What a mismatched pointer pop gets: zeroed, big enough for any value.
constexpr std::size_t kScratchSize = 256;
alignas(16) unsigned char g_scratch[kScratchSize];

void *scratch() {
    std::memset(g_scratch, 0, sizeof g_scratch);
    return g_scratch;
}

struct ArgSlot {
    Value by_value;                            // I F D
    std::unique_ptr<unsigned char[]> storage;  // T and the references; null for a null TP
    std::size_t declared = 0;                  // bytes that belong to the variable
    Value *variable = nullptr;                 // receives the declared bytes afterwards
};

struct ActiveCall {
    const Row *row = nullptr;  // null while the init callbacks run
    std::vector<ArgSlot> args;
    std::size_t pops = 0;
    std::vector<std::string> result_slots;
    Value result;
    CallResult *out = nullptr;

    void violation(std::string what) { out->violations.push_back(std::move(what)); }
};

ActiveCall *g_call = nullptr;
// Runtime use outside any call, reported with the next call.
std::vector<std::string> g_stray;

// The argument that pop number `pops` takes, if it has the popped kind.
ArgSlot *next_arg(Code::Kind kind, const char *slot) {
    ActiveCall *c = g_call;
    if (!c) {
        g_stray.push_back(std::string(slot) + " called outside a call");
        return nullptr;
    }
    std::size_t k = c->pops++;
    if (!c->row) {
        c->violation(std::string(slot) + " called by an init callback");
        return nullptr;
    }
    std::size_t n = c->args.size();
    if (k >= n) {
        c->violation("pop " + std::to_string(k + 1) + " is " + slot + ", but there " +
                     (n == 1 ? "is 1 argument" : "are " + std::to_string(n) + " arguments"));
        return nullptr;
    }
    std::size_t i = n - 1 - k;
    const Code &code = c->row->args[i];
    if (code.kind != kind) {
        c->violation("pop " + std::to_string(k + 1) + " is " + slot + ", but argument " +
                     std::to_string(i + 1) + " is " + code.text());
        return nullptr;
    }
    return &c->args[i];
}

int32_t pop_int() {
    ArgSlot *a = next_arg(Code::Kind::Int, "pop_int");
    return a ? a->by_value.as_int() : 0;
}
float pop_float() {
    ArgSlot *a = next_arg(Code::Kind::Float, "pop_float");
    return a ? a->by_value.as_float() : 0.0f;
}
double pop_double() {
    ArgSlot *a = next_arg(Code::Kind::Double, "pop_double");
    return a ? a->by_value.as_double() : 0.0;
}

template <Code::Kind K>
void *pop_pointer(const char *slot) {
    ArgSlot *a = next_arg(K, slot);
    return a ? a->storage.get() : scratch();
}
void *pop_struct() { return pop_pointer<Code::Kind::Struct>("pop_struct"); }
void *pop_struct_ptr() { return pop_pointer<Code::Kind::StructRef>("pop_struct_ptr"); }
int32_t *pop_int_ptr() {
    return static_cast<int32_t *>(pop_pointer<Code::Kind::IntRef>("pop_int_ptr"));
}
float *pop_float_ptr() {
    return static_cast<float *>(pop_pointer<Code::Kind::FloatRef>("pop_float_ptr"));
}
double *pop_double_ptr() {
    return static_cast<double *>(pop_pointer<Code::Kind::DoubleRef>("pop_double_ptr"));
}

// Counts a result and keeps it when the row (or its documented deviation)
// allows that kind; `make` builds the value for a code of that kind.
template <class Make>
void add_result(const char *slot, Code::Kind kind, Make make) {
    ActiveCall *c = g_call;
    if (!c) {
        g_stray.push_back(std::string(slot) + " called outside a call");
        return;
    }
    c->result_slots.push_back(slot);
    if (!c->row) {
        c->violation(std::string(slot) + " called by an init callback");
        return;
    }
    const Code &ret = c->row->ret;
    const Code *alt = c->row->alt_result ? &*c->row->alt_result : nullptr;
    std::string why;
    // The deviation first: a float twin of the same size is reported as such.
    for (const Code *code : {alt, &ret}) {
        if (!code || code->kind != kind)
            continue;
        if (std::optional<Value> v = make(*code, &why)) {
            if (c->result_slots.size() == 1)
                c->result = std::move(*v);
            return;
        }
    }
    c->violation(why.empty() ? "result is " + std::string(slot) + ", but the row returns " +
                                   c->row->return_text
                             : why);
}

void ret_int(int32_t v) {
    add_result("ret_int", Code::Kind::Int,
               [&](const Code &, std::string *) { return std::optional(Value::of_int(v)); });
}
void ret_float(float v) {
    add_result("ret_float", Code::Kind::Float,
               [&](const Code &, std::string *) { return std::optional(Value::of_float(v)); });
}
void ret_double(double v) {
    add_result("ret_double", Code::Kind::Double,
               [&](const Code &, std::string *) { return std::optional(Value::of_double(v)); });
}
void ret_struct(const void *fields, int32_t byte_count) {
    add_result("ret_struct", Code::Kind::Struct,
               [&](const Code &code, std::string *why) -> std::optional<Value> {
                   if (!fields) {
                       *why = "ret_struct with a null pointer";
                       return std::nullopt;
                   }
                   if (byte_count < 0 || static_cast<std::size_t>(byte_count) != code.type->size) {
                       if (why->empty())
                           *why = "ret_struct of " + std::to_string(byte_count) +
                                  " bytes, but " + code.type->name + " has " +
                                  std::to_string(code.type->size);
                       return std::nullopt;
                   }
                   auto p = static_cast<const unsigned char *>(fields);
                   return Value::of_struct(code.type,
                                           std::vector<unsigned char>(p, p + byte_count));
               });
}

void raise_error(int32_t code, const char *routine, int32_t a, int32_t b, int32_t value) {
    RaisedError e{code, routine ? routine : "", a, b, value};
    if (g_call)
        g_call->out->errors.push_back(std::move(e));
    else
        g_stray.push_back("raise_error called outside a call");
}

template <int N>
void unused_slot() {
    std::string what = "runtime slot " + std::to_string(N) + " called";
    if (g_call)
        g_call->violation(what);
    else
        g_stray.push_back(what);
}

template <int... N>
void fill_unused(RuntimeInterface *rt, std::integer_sequence<int, N...>) {
    ((rt->slot[N] = unused_slot<N>), ...);
}

// Runs `body` as the call in progress, with the stray uses so far reported.
template <class Body>
void in_call(ActiveCall *c, Body body) {
    if (g_call)
        throw std::logic_error("a module call is already in progress");
    for (std::string &s : g_stray)
        c->violation(std::move(s));
    g_stray.clear();
    struct Active {
        explicit Active(ActiveCall *c) { g_call = c; }
        ~Active() { g_call = nullptr; }
    } active(c);
    body();
}

bool same_type(const TypePtr &a, const TypePtr &b) {
    return a && b && (a == b || (a->name == b->name && a->size == b->size));
}

// Prepares the storage of one argument; throws when it does not fit the code.
ArgSlot prepare(const Code &code, std::size_t extra, Arg &arg, std::size_t index) {
    auto misfit = [&]() {
        return std::invalid_argument("argument " + std::to_string(index + 1) + " does not fit " +
                                     code.text());
    };
    const Value &v = arg.variable ? *arg.variable : arg.value;
    ArgSlot slot;
    auto store = [&](std::size_t size) {
        if (v.bytes.size() != size)
            throw misfit();
        slot.declared = size;
        slot.storage = std::make_unique<unsigned char[]>(size + extra);  // zero-filled
        std::memcpy(slot.storage.get(), v.bytes.data(), size);
        slot.variable = arg.variable;
    };
    switch (code.kind) {
    case Code::Kind::Int:
    case Code::Kind::Float:
    case Code::Kind::Double: {
        static constexpr Value::Kind by_code[] = {Value::Kind::Int, Value::Kind::Float,
                                                  Value::Kind::Double};
        if (arg.reference || v.kind != by_code[static_cast<int>(code.kind)])
            throw misfit();
        slot.by_value = v;
        break;
    }
    case Code::Kind::IntRef:
    case Code::Kind::FloatRef:
    case Code::Kind::DoubleRef: {
        static constexpr Value::Kind by_code[] = {Value::Kind::Int, Value::Kind::Float,
                                                  Value::Kind::Double};
        if (!arg.reference || !arg.variable ||
            v.kind != by_code[static_cast<int>(code.kind) - static_cast<int>(Code::Kind::IntRef)])
            throw misfit();
        store(v.bytes.size());
        break;
    }
    case Code::Kind::Struct:
        if (arg.reference || v.kind != Value::Kind::Struct || !same_type(v.type, code.type))
            throw misfit();
        store(code.type->size);
        break;
    case Code::Kind::StructRef:
        if (!arg.reference)
            throw misfit();
        if (arg.variable) {
            if (v.kind != Value::Kind::Struct || !same_type(v.type, code.type))
                throw misfit();
            store(code.type->size);
        }
        break;
    }
    return slot;
}

// ---- Faults -----------------------------------------------------------------------
// A routine that faults (imod's division fault, a stray access) ends its own
// call, not the host: while a routine runs, the fault signals jump back to
// the call. The frames left behind are the module's, which own nothing. The
// handlers are installed once, so a call costs no system call.

constexpr int kFaultSignals[] = {SIGFPE, SIGSEGV, SIGBUS, SIGILL};
struct sigaction g_previous[std::size(kFaultSignals)];
sigjmp_buf g_fault_return;
volatile sig_atomic_t g_guarding = 0;

extern "C" void on_fault(int signal) {
    if (g_guarding) {
        g_guarding = 0;
        siglongjmp(g_fault_return, signal);
    }
    // Not a routine's fault: the handler from before takes it.
    for (std::size_t i = 0; i < std::size(kFaultSignals); ++i)
        if (kFaultSignals[i] == signal)
            sigaction(signal, &g_previous[i], nullptr);
    raise(signal);
}

// Runs a routine; returns the fault signal that ended it, or 0.
int run_guarded(KavProc routine) {
    static const bool installed = [] {
        struct sigaction action {};
        action.sa_handler = on_fault;
        action.sa_flags = SA_NODEFER;  // the jump leaves the handler: nothing stays blocked
        sigemptyset(&action.sa_mask);
        for (std::size_t i = 0; i < std::size(kFaultSignals); ++i)
            sigaction(kFaultSignals[i], &action, &g_previous[i]);
        return true;
    }();
    (void)installed;
    const int fault = sigsetjmp(g_fault_return, 0);
    if (fault == 0) {
        g_guarding = 1;
        routine();
    }
    g_guarding = 0;
    return fault;
}

// Runs a row with its arguments in place and checks what it did.
CallResult checked_call(const Row &row, std::vector<Arg> &args) {
    CallResult out;
    ActiveCall c;
    c.row = &row;
    c.out = &out;
    for (std::size_t i = 0; i < args.size(); ++i)
        c.args.push_back(prepare(row.args[i], row.extra_bytes[i], args[i], i));

    if (!row.routine) {
        c.violation("the row has no routine");
        return out;
    }
    in_call(&c, [&] { out.fault = run_guarded(row.routine); });

    if (out.fault != 0) {
        // Cut short: what it popped or set so far means nothing.
        out.result = Value{};
        return out;
    }
    if (c.pops < c.args.size())
        c.violation("popped " + std::to_string(c.pops) + " of " + std::to_string(c.args.size()) +
                    " arguments");
    if (c.result_slots.empty()) {
        c.violation("no result set");
    } else if (c.result_slots.size() > 1) {
        std::string list;
        for (const std::string &s : c.result_slots)
            list += (list.empty() ? "" : ", ") + s;
        c.violation(std::to_string(c.result_slots.size()) + " results set (" + list + ")");
        c.result = Value{};
    }
    out.result = std::move(c.result);

    for (ArgSlot &a : c.args)
        if (a.variable && a.storage)
            std::memcpy(a.variable->bytes.data(), a.storage.get(), a.declared);
    return out;
}

}  // namespace

std::string describe_fault(int signal) {
    static const std::pair<int, const char *> names[] = {
        {SIGFPE, "SIGFPE"}, {SIGSEGV, "SIGSEGV"}, {SIGBUS, "SIGBUS"}, {SIGILL, "SIGILL"}};
    std::string name = "signal " + std::to_string(signal);
    for (const auto &[number, text] : names)
        if (number == signal)
            name = text;
    return name + " (" + strsignal(signal) + ")";
}

RuntimeInterface *host_runtime() {
    static RuntimeInterface table = [] {
        RuntimeInterface t{};
        fill_unused(&t, std::make_integer_sequence<int, KAV_RT_SLOT_COUNT>());
        t.slot[KAV_RT_POP_INT] = reinterpret_cast<KavProc>(pop_int);
        t.slot[KAV_RT_POP_FLOAT] = reinterpret_cast<KavProc>(pop_float);
        t.slot[KAV_RT_POP_DOUBLE] = reinterpret_cast<KavProc>(pop_double);
        t.slot[KAV_RT_POP_STRUCT] = reinterpret_cast<KavProc>(pop_struct);
        t.slot[KAV_RT_POP_INT_PTR] = reinterpret_cast<KavProc>(pop_int_ptr);
        t.slot[KAV_RT_POP_FLOAT_PTR] = reinterpret_cast<KavProc>(pop_float_ptr);
        t.slot[KAV_RT_POP_DOUBLE_PTR] = reinterpret_cast<KavProc>(pop_double_ptr);
        t.slot[KAV_RT_POP_STRUCT_PTR] = reinterpret_cast<KavProc>(pop_struct_ptr);
        t.slot[KAV_RT_RET_INT] = reinterpret_cast<KavProc>(ret_int);
        t.slot[KAV_RT_RET_FLOAT] = reinterpret_cast<KavProc>(ret_float);
        t.slot[KAV_RT_RET_DOUBLE] = reinterpret_cast<KavProc>(ret_double);
        t.slot[KAV_RT_RET_STRUCT] = reinterpret_cast<KavProc>(ret_struct);
        t.slot[KAV_RT_RAISE_ERROR] = reinterpret_cast<KavProc>(raise_error);
        return t;
    }();
    return &table;
}

CallResult Module::run_init() {
    CallResult out;
    ActiveCall c;
    c.out = &out;
    in_call(&c, [&] {
        for (const CallbackEntry &cb : impl_->callbacks)
            if (cb.event == KAV_EVENT_INIT && cb.routine)
                cb.routine();
    });
    return out;
}

CallResult Module::call(const Row &row, std::vector<Arg> &args) {
    if (args.size() != row.args.size())
        throw std::invalid_argument(row.signature + " takes " + std::to_string(row.args.size()) +
                                    " arguments");
    if (on_call)
        on_call(row, args);
    CallResult out = checked_call(row, args);
    if (on_return)
        on_return(row, out);
    return out;
}

}  // namespace kav::host
