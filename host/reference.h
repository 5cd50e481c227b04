// The function reference: what each script function does, shown by the
// prompt's `help NAME`.
#pragma once

#include <string>

#include "kavhost.h"

namespace kav::host {

// Prints NAME's reference entry; false (and nothing printed) if no function
// has that name.
bool print_help(Session &s, const std::string &name);

}  // namespace kav::host
