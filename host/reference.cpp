#include "reference.h"

#include <cstdio>

namespace kav::host {

bool print_help(Session &s, const std::string &name) {
    auto rows = s.module().rows_named(name);
    for (const Row *r : rows)
        std::printf("%s -> %s\n", r->signature.c_str(), r->return_text.c_str());
    return !rows.empty();
}

}  // namespace kav::host
