#include "script.h"

namespace kav::host {

std::string printable(const std::string &text) {
    std::string out;
    for (unsigned char c : text) {
        if (c < 0x20 || c == 0x7f) {
            char esc[8];
            std::snprintf(esc, sizeof esc, "\\x%02x", c);
            out += esc;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

bool report_violations(std::FILE *err, const std::string &where,
                       const std::vector<std::string> &violations) {
    for (const std::string &v : violations)
        std::fprintf(err, "kavmath: %s%s\n", where.c_str(), v.c_str());
    return !violations.empty();
}

Outcome evaluate_line(Session &s, const std::string &line, const LineOptions &opt,
                      const std::string &where) {
    if (opt.echo)
        std::fprintf(opt.out, "kav> %s\n", line.c_str());
    Outcome o = s.eval(line);
    if (o.value.kind != Value::Kind::None)
        std::fprintf(opt.out, "%s%s\n", format_value(o.value, opt.bits).c_str(),
                     format_raised(o.raised).c_str());
    std::fflush(opt.out);
    report_violations(opt.err, where.empty() ? "" : where + " ", o.violations);
    if (o.error.empty())
        return o;
    if (where.empty()) {
        std::fprintf(opt.err, "kavmath: %s\n", printable(o.error).c_str());
        return o;
    }
    std::string what = o.error;
    if (what.rfind("column ", 0) == 0 && what.find(": ") != std::string::npos)
        what = what.substr(what.find(": ") + 2);  // the column goes in front
    std::fprintf(opt.err, "%s%zu: %s\n    %s\n    %*s^\n", where.c_str(), o.column,
                 printable(what).c_str(), printable(line).c_str(), static_cast<int>(o.column - 1),
                 "");
    return o;
}

bool run_script(Session &s, const std::string &name, std::istream &in, const LineOptions &opt) {
    bool all_ok = true;
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        std::size_t first = line.find_first_not_of(" \t");
        if (first == std::string::npos || line[first] == '#')
            continue;
        bool ok = evaluate_line(s, line, opt, name + ":" + std::to_string(number) + ":").ok();
        all_ok = ok && all_ok;
        if (!ok && opt.stop)
            break;
    }
    return all_ok;
}

}  // namespace kav::host
