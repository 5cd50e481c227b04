// Loading the module: the two entry points, the copied registration data,
// the type script and the row signatures.
#include <dlfcn.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <stdexcept>

#include "internal.h"

namespace kav::host {

// ---- Values ------------------------------------------------------------------------

std::size_t scalar_size(Scalar s) { return s == Scalar::Double ? 8 : 4; }

namespace {
template <class T>
Value scalar_value(Value::Kind kind, T v) {
    Value out;
    out.kind = kind;
    out.bytes.resize(sizeof v);
    std::memcpy(out.bytes.data(), &v, sizeof v);
    return out;
}

template <class T>
T read_as(const Value &v, Value::Kind kind) {
    if (v.kind != kind || v.bytes.size() != sizeof(T))
        throw std::logic_error("value read as the wrong kind");
    T out;
    std::memcpy(&out, v.bytes.data(), sizeof out);
    return out;
}
}  // namespace

Value Value::of_int(int32_t v) { return scalar_value(Kind::Int, v); }
Value Value::of_float(float v) { return scalar_value(Kind::Float, v); }
Value Value::of_double(double v) { return scalar_value(Kind::Double, v); }

Value Value::of_struct(TypePtr type, std::vector<unsigned char> bytes) {
    if (bytes.empty())
        bytes.assign(type->size, 0);
    if (bytes.size() != type->size)
        throw std::logic_error("struct value of the wrong size");
    Value out;
    out.kind = Kind::Struct;
    out.type = std::move(type);
    out.bytes = std::move(bytes);
    return out;
}

int32_t Value::as_int() const { return read_as<int32_t>(*this, Kind::Int); }
float Value::as_float() const { return read_as<float>(*this, Kind::Float); }
double Value::as_double() const { return read_as<double>(*this, Kind::Double); }

std::size_t Value::element_count() const {
    switch (kind) {
    case Kind::None: return 0;
    case Kind::Struct: return type->elements.size();
    default: return 1;
    }
}

Scalar Value::element_kind(std::size_t i) const {
    switch (kind) {
    case Kind::Int: return Scalar::Int;
    case Kind::Float: return Scalar::Float;
    case Kind::Double: return Scalar::Double;
    default: return type->elements.at(i).kind;
    }
}

const unsigned char *Value::element(std::size_t i) const {
    return bytes.data() + (kind == Kind::Struct ? type->elements.at(i).offset : 0);
}
unsigned char *Value::element(std::size_t i) {
    return bytes.data() + (kind == Kind::Struct ? type->elements.at(i).offset : 0);
}

std::string Code::text() const {
    switch (kind) {
    case Kind::Int: return "I";
    case Kind::Float: return "F";
    case Kind::Double: return "D";
    case Kind::IntRef: return "IP";
    case Kind::FloatRef: return "FP";
    case Kind::DoubleRef: return "DP";
    case Kind::Struct: return "T(" + type->name + ")";
    case Kind::StructRef: return "TP(" + type->name + ")";
    }
    return "?";
}

// ---- Type script ---------------------------------------------------------------

namespace {
bool is_word_char(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

bool is_identifier(std::string_view s) {
    if (s.empty() || std::isdigit(static_cast<unsigned char>(s[0])))
        return false;
    for (char c : s)
        if (!is_word_char(c))
            return false;
    return true;
}

// Words and the punctuation ; [ ] of a type script.
class ScriptReader {
public:
    explicit ScriptReader(std::string_view s) : s_(s) {}
    bool at_end() {
        skip_blanks();
        return pos_ >= s_.size();
    }
    std::string_view next() {
        skip_blanks();
        std::size_t start = pos_;
        if (pos_ < s_.size() && !is_word_char(s_[pos_]))
            return s_.substr(pos_++, 1);
        while (pos_ < s_.size() && is_word_char(s_[pos_]))
            ++pos_;
        return s_.substr(start, pos_ - start);
    }
    std::size_t offset() const { return pos_; }

private:
    void skip_blanks() {
        while (pos_ < s_.size() && std::isspace(static_cast<unsigned char>(s_[pos_])))
            ++pos_;
    }
    std::string_view s_;
    std::size_t pos_ = 0;
};
}  // namespace

bool parse_type_script(std::string_view script, std::vector<TypePtr> *out, std::string *error) {
    ScriptReader in(script);
    auto fail = [&](const std::string &what) {
        *error = "type script, offset " + std::to_string(in.offset()) + ": " + what;
        return false;
    };
    while (!in.at_end()) {
        if (in.next() != "type")
            return fail("expected 'type'");
        auto type = std::make_shared<Type>();
        type->name = in.next();
        if (!is_identifier(type->name))
            return fail("bad type name '" + type->name + "'");
        for (const TypePtr &t : *out)
            if (t->name == type->name)
                return fail("type " + type->name + " declared twice");
        for (;;) {
            std::string_view word = in.next();
            if (word == "end")
                break;
            Field f{};
            if (word == "int")
                f.kind = Scalar::Int;
            else if (word == "float")
                f.kind = Scalar::Float;
            else if (word == "double")
                f.kind = Scalar::Double;
            else
                return fail("expected a field type or 'end' in " + type->name);
            f.name = in.next();
            if (!is_identifier(f.name))
                return fail("bad field name in " + type->name);
            f.count = 1;
            std::string_view punct = in.next();
            if (punct == "[") {
                std::string_view count = in.next();
                if (count.empty() || count.size() > 4 ||
                    !std::all_of(count.begin(), count.end(),
                                 [](char c) { return c >= '0' && c <= '9'; }) ||
                    count[0] == '0')
                    return fail("bad array length in " + type->name);
                f.count = std::stoi(std::string(count));
                if (in.next() != "]")
                    return fail("expected ']' in " + type->name);
                punct = in.next();
            }
            if (punct != ";")
                return fail("expected ';' in " + type->name);
            for (int i = 0; i < f.count; ++i) {
                type->elements.push_back({f.kind, type->size});
                type->size += scalar_size(f.kind);
            }
            type->fields.push_back(std::move(f));
        }
        if (type->fields.empty())
            return fail("type " + type->name + " has no field");
        out->push_back(std::move(type));
    }
    return true;
}

// ---- Registration slots ------------------------------------------------------------

namespace {
Module::Impl *g_loading = nullptr;

// The module calls these through C pointers: nothing may escape.
template <class F>
void recording(int slot, SlotCall::Table table, uint32_t value, F &&copy) noexcept {
    Module::Impl *m = g_loading;
    if (!m)
        return;
    try {
        m->slot_calls.push_back({table, slot, value});
        copy(*m);
    } catch (const std::exception &e) {
        m->problems.push_back(std::string("registration: ") + e.what());
    }
}

template <int N>
void property_slot(uint32_t value) {
    recording(N, SlotCall::Table::Properties, value, [](Module::Impl &) {});
}

template <class Record, class Add>
void copy_list(const Record *list, Add add) {
    for (; list && list->name; ++list)
        add(*list);
}

void reg_int_constants(const IntConstant *list) {
    recording(KAV_REG_INT_CONSTANTS, SlotCall::Table::Registration, 0, [&](Module::Impl &m) {
        copy_list(list, [&](const IntConstant &c) {
            m.constants.push_back({c.name, Value::of_int(c.value)});
        });
    });
}

void reg_float_constants(const FloatConstant *list) {
    recording(KAV_REG_FLOAT_CONSTANTS, SlotCall::Table::Registration, 0, [&](Module::Impl &m) {
        copy_list(list, [&](const FloatConstant &c) {
            m.constants.push_back({c.name, Value::of_float(c.value)});
        });
    });
}

void reg_double_constants(const DoubleConstant *list) {
    recording(KAV_REG_DOUBLE_CONSTANTS, SlotCall::Table::Registration, 0, [&](Module::Impl &m) {
        copy_list(list, [&](const DoubleConstant &c) {
            m.constants.push_back({c.name, Value::of_double(c.value)});
        });
    });
}

void reg_declare_types(const char *script) {
    recording(KAV_REG_DECLARE_TYPES, SlotCall::Table::Registration, 0, [&](Module::Impl &m) {
        if (script)
            m.type_script += script;
        else
            m.problems.push_back("declare_types called with a null script");
    });
}

void reg_functions(const FunctionEntry *table) {
    recording(KAV_REG_FUNCTIONS, SlotCall::Table::Registration, 0, [&](Module::Impl &m) {
        for (; table && table->signature; ++table) {
            if (!table->return_type)
                throw std::runtime_error(std::string("row ") + table->signature +
                                         " has no return type");
            m.raw_rows.push_back(
                {table->signature, table->return_type, table->reserved, table->routine});
        }
    });
}

void reg_callbacks(const CallbackEntry *block) {
    recording(KAV_REG_CALLBACKS, SlotCall::Table::Registration, 0, [&](Module::Impl &m) {
        for (; block && block->event != 0; ++block)
            m.callbacks.push_back(*block);
    });
}

RuntimeInterface *reg_get_runtime() {
    Module::Impl *m = g_loading;
    recording(KAV_REG_GET_RUNTIME, SlotCall::Table::Registration, 0, [](Module::Impl &) {});
    return m ? host_runtime() : nullptr;
}

template <int N>
void reg_unused() {
    recording(N, SlotCall::Table::Registration, 0, [](Module::Impl &m) {
        m.problems.push_back("registration slot " + std::to_string(N) + " called");
    });
}

// ---- Signatures and deviations -------------------------------------------------------

class CodeReader {
public:
    CodeReader(const Module::Impl &m, std::string_view s) : m_(m), s_(s) {}

    // One code at the current position; returns false at a syntax error.
    Code read(std::string *error) {
        std::size_t start = pos_;
        while (pos_ < s_.size() && std::isupper(static_cast<unsigned char>(s_[pos_])))
            ++pos_;
        std::string_view letters = s_.substr(start, pos_ - start);
        static const std::pair<std::string_view, Code::Kind> simple[] = {
            {"I", Code::Kind::Int},       {"F", Code::Kind::Float},
            {"D", Code::Kind::Double},    {"IP", Code::Kind::IntRef},
            {"FP", Code::Kind::FloatRef}, {"DP", Code::Kind::DoubleRef},
        };
        for (auto &[text, kind] : simple)
            if (letters == text)
                return {kind, nullptr};
        if ((letters == "T" || letters == "TP") && pos_ < s_.size() && s_[pos_] == '(') {
            std::size_t close = s_.find(')', pos_);
            if (close == std::string_view::npos) {
                *error = "unclosed type name";
                return {};
            }
            std::string_view name = s_.substr(pos_ + 1, close - pos_ - 1);
            pos_ = close + 1;
            for (const TypePtr &t : m_.types)
                if (t->name == name)
                    return {letters == "T" ? Code::Kind::Struct : Code::Kind::StructRef, t};
            *error = "unknown type " + std::string(name);
            return {};
        }
        *error = "bad code '" + std::string(letters) + "'";
        return {};
    }
    bool at(char c) const { return pos_ < s_.size() && s_[pos_] == c; }
    void skip() { ++pos_; }
    bool done() const { return pos_ == s_.size(); }

private:
    const Module::Impl &m_;
    std::string_view s_;
    std::size_t pos_ = 0;
};

bool parse_row(const Module::Impl &m, const Module::Impl::RawRow &raw, Row *row,
               std::string *error) {
    row->signature = raw.signature;
    row->return_text = raw.return_type;
    row->routine = raw.routine;
    std::size_t open = raw.signature.find('(');
    row->name = raw.signature.substr(0, open);
    if (open == std::string::npos || !is_identifier(row->name) || raw.signature.back() != ')') {
        *error = "bad signature";
        return false;
    }
    CodeReader args(m, std::string_view(raw.signature).substr(open + 1));
    if (!args.at(')')) {
        for (;;) {
            row->args.push_back(args.read(error));
            if (!error->empty())
                return false;
            if (!args.at(','))
                break;
            args.skip();
        }
    }
    args.skip();
    if (!args.done()) {
        *error = "bad signature";
        return false;
    }
    CodeReader ret(m, raw.return_type);
    row->ret = ret.read(error);
    if (error->empty() && (!ret.done() || (row->ret.kind != Code::Kind::Int &&
                                           row->ret.kind != Code::Kind::Float &&
                                           row->ret.kind != Code::Kind::Double &&
                                           row->ret.kind != Code::Kind::Struct)))
        *error = "bad return type";
    row->extra_bytes.assign(row->args.size(), 0);
    return error->empty();
}

void apply_deviations(const Module::Impl &m, Row *row) {
    const std::string &sig = row->signature;
    auto float_twin = [&]() -> std::optional<Code> {
        if (row->ret.kind != Code::Kind::Struct)
            return std::nullopt;
        // dmat2x3 -> mat2x3 (half its size), imat2x3 -> mat2x3 (its size).
        const std::string &name = row->ret.type->name;
        const std::size_t scale = name[0] == 'd' ? 2 : name[0] == 'i' ? 1 : 0;
        for (const TypePtr &t : m.types)
            if (scale && t->name == name.substr(1) && scale * t->size == row->ret.type->size)
                return Code{Code::Kind::Struct, t};
        return std::nullopt;
    };
#define KAV_EXTRA_BYTES(signature, argument, bytes)          \
    if (sig == signature && row->args.size() >= (argument)) \
        row->extra_bytes[(argument) - 1] = (bytes);
#define KAV_INT_RESULT(signature) \
    if (sig == signature)         \
        row->alt_result = Code{Code::Kind::Int, nullptr};
#define KAV_FLOAT_TWIN_RESULT(signature) \
    if (sig == signature)                \
        row->alt_result = float_twin();
#include "deviations.def"
#undef KAV_EXTRA_BYTES
#undef KAV_INT_RESULT
#undef KAV_FLOAT_TWIN_RESULT
}
}  // namespace

// ---- Module ----------------------------------------------------------------------------

Module::Module(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

Module::~Module() {
    if (impl_->handle)
        dlclose(impl_->handle);
}

std::unique_ptr<Module> Module::load(const std::string &path, std::string *error) {
    auto impl = std::make_unique<Impl>();
    impl->path = path;
    impl->handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!impl->handle) {
        const char *why = dlerror();
        *error = "cannot load " + path + ": " + (why ? why : "unknown error");
        return nullptr;
    }
    // From here on the destructor closes the handle.
    std::unique_ptr<Module> m(new Module(std::move(impl)));
    Impl &im = *m->impl_;

    auto properties = reinterpret_cast<KavPropertiesEntry>(dlsym(im.handle, KAV_PROPERTIES_ENTRY));
    auto exports = reinterpret_cast<KavExportsEntry>(dlsym(im.handle, KAV_EXPORTS_ENTRY));
    if (!properties || !exports) {
        *error = path + " has no entry point " +
                 (properties ? KAV_EXPORTS_ENTRY : KAV_PROPERTIES_ENTRY);
        return nullptr;
    }

    PropertiesTable pt{{property_slot<0>, property_slot<1>, property_slot<2>}};
    RegistrationTable rt{{
        reinterpret_cast<KavProc>(reg_int_constants),
        reinterpret_cast<KavProc>(reg_float_constants),
        reinterpret_cast<KavProc>(reg_double_constants),
        reinterpret_cast<KavProc>(reg_declare_types),
        reg_unused<4>,
        reg_unused<5>,
        reinterpret_cast<KavProc>(reg_functions),
        reinterpret_cast<KavProc>(reg_callbacks),
        reinterpret_cast<KavProc>(reg_get_runtime),
    }};
    g_loading = &im;
    im.properties_result = properties(&pt);
    im.exports_result = exports(&rt);
    g_loading = nullptr;

    if (!parse_type_script(im.type_script, &im.types, error))
        return nullptr;
    for (const Impl::RawRow &raw : im.raw_rows) {
        Row row;
        row.index = im.rows.size();
        std::string why;
        if (!parse_row(im, raw, &row, &why)) {
            *error = "row " + std::to_string(row.index) + " \"" + raw.signature + "\" -> \"" +
                     raw.return_type + "\": " + why;
            return nullptr;
        }
        if (raw.reserved != 0)
            im.problems.push_back("row " + raw.signature + ": reserved field is " +
                                  std::to_string(raw.reserved));
        apply_deviations(im, &row);
        im.rows.push_back(std::move(row));
    }
    for (const Row &r : im.rows) {
        im.by_signature.emplace(r.signature, r.index);
        im.by_name[r.name].push_back(&r);
    }
    return m;
}

const std::string &Module::path() const { return impl_->path; }
const std::vector<Row> &Module::rows() const { return impl_->rows; }
const std::vector<Constant> &Module::constants() const { return impl_->constants; }
const std::vector<TypePtr> &Module::types() const { return impl_->types; }
const std::vector<SlotCall> &Module::slot_calls() const { return impl_->slot_calls; }
const std::vector<std::string> &Module::problems() const { return impl_->problems; }
int32_t Module::properties_result() const { return impl_->properties_result; }
int32_t Module::exports_result() const { return impl_->exports_result; }
const RuntimeInterface *Module::runtime() const { return host_runtime(); }

std::optional<Row> Module::exported_row(const std::string &routine, const std::string &signature,
                                        const std::string &return_type, std::string *error) const {
    auto fn = reinterpret_cast<KavProc>(dlsym(impl_->handle, routine.c_str()));
    if (!fn) {
        *error = path() + " lacks " + routine;
        return std::nullopt;
    }
    Row row;
    row.index = impl_->rows.size();
    if (!parse_row(*impl_, {signature, return_type, 0, fn}, &row, error))
        return std::nullopt;
    return row;
}

const Row *Module::find(std::string_view signature) const {
    auto it = impl_->by_signature.find(signature);
    return it == impl_->by_signature.end() ? nullptr : &impl_->rows[it->second];
}

std::vector<const Row *> Module::rows_named(std::string_view name) const {
    auto it = impl_->by_name.find(name);
    return it == impl_->by_name.end() ? std::vector<const Row *>{} : it->second;
}

TypePtr Module::type(std::string_view name) const {
    for (const TypePtr &t : impl_->types)
        if (t->name == name)
            return t;
    return nullptr;
}

const Constant *Module::constant(std::string_view name) const {
    for (const Constant &c : impl_->constants)
        if (c.name == name)
            return &c;
    return nullptr;
}

}  // namespace kav::host
