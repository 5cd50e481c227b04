// The print format shared by the command line, the prompt and the .kvt files.
#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

#include "internal.h"

namespace kav::host {

namespace {
template <class T>
std::string shortest_of(T v) {
    if (std::isnan(v))
        return std::signbit(v) ? "-nan" : "nan";
    if (std::isinf(v))
        return v < 0 ? "-inf" : "inf";
    char buf[64];
    auto r = std::to_chars(buf, buf + sizeof buf, v, std::chars_format::scientific);
    // Plain notation from 1e-4 up to the digits the type always keeps, as
    // python prints doubles: 0.0001 and 100000.0 read better than 1e-04 and
    // 1e+05. Both forms are the shortest that read back exactly.
    int exponent = 0;
    const char *e = std::find(buf, r.ptr, 'e') + 1;
    std::from_chars(e + (*e == '+'), r.ptr, exponent);
    if (exponent >= -4 && exponent <= std::numeric_limits<T>::digits10)
        r = std::to_chars(buf, buf + sizeof buf, v, std::chars_format::fixed);
    std::string s(buf, r.ptr);
    // "1" would read back as an int.
    if (s.find_first_of(".e") == std::string::npos)
        s += ".0";
    return s;
}

// One scalar at p; float suffix only outside structs.
void append_scalar(std::string *out, Scalar kind, const unsigned char *p, bool suffix, bool bits) {
    char hex[32];
    switch (kind) {
    case Scalar::Int: {
        int32_t v;
        std::memcpy(&v, p, sizeof v);
        *out += std::to_string(v);
        return;
    }
    case Scalar::Float: {
        float v;
        uint32_t u;
        std::memcpy(&v, p, sizeof v);
        std::memcpy(&u, p, sizeof u);
        *out += shortest_of(v);
        if (suffix)
            *out += 'f';
        std::snprintf(hex, sizeof hex, " [0x%08" PRIx32 "]", u);
        break;
    }
    case Scalar::Double: {
        double v;
        uint64_t u;
        std::memcpy(&v, p, sizeof v);
        std::memcpy(&u, p, sizeof u);
        *out += shortest_of(v);
        std::snprintf(hex, sizeof hex, " [0x%016" PRIx64 "]", u);
        break;
    }
    }
    if (bits)
        *out += hex;
}
}  // namespace

std::string shortest(float v) { return shortest_of(v); }
std::string shortest(double v) { return shortest_of(v); }

std::string format_value(const Value &v, bool bits) {
    std::string out;
    switch (v.kind) {
    case Value::Kind::None:
        return "<no value>";
    case Value::Kind::Struct:
        out = v.type->name + "(";
        for (std::size_t i = 0; i < v.element_count(); ++i) {
            if (i)
                out += ", ";
            append_scalar(&out, v.element_kind(i), v.element(i), false, bits);
        }
        return out + ")";
    default:
        append_scalar(&out, v.element_kind(0), v.element(0), true, bits);
        return out;
    }
}

const char *scalar_name(Scalar kind) {
    return kind == Scalar::Int ? "int" : kind == Scalar::Float ? "float" : "double";
}

std::string field_text(const Field &f) {
    std::string text = std::string(scalar_name(f.kind)) + " " + f.name;
    if (f.count > 1)
        text.append("[").append(std::to_string(f.count)).append("]");
    return text;
}

std::string format_raised(const std::vector<RaisedError> &errors) {
    std::string out;
    for (const RaisedError &e : errors) {
        out += " raises " + std::to_string(e.code) + " \"";
        for (char c : e.routine) {
            if (c == '"' || c == '\\')
                out += '\\';
            out += c == '\n' ? std::string("\\n") : std::string(1, c);
        }
        out += "\" " + std::to_string(e.a) + " " + std::to_string(e.b) + " " +
               std::to_string(e.value);
    }
    return out;
}

}  // namespace kav::host
