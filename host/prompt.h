// kavmath's interactive prompt, and the small helpers that it shares with
// kavmath's command line.
#pragma once

#include <functional>
#include <string>

#include "kavhost.h"
#include "script.h"

namespace kav::host {

// Runs the prompt on the terminal until Ctrl-D, quit or exit: line editing,
// the history file, completion and the prompt's commands. Every other line
// goes to evaluate. Returns kavmath's exit status, 0: a session ends well
// however its lines went.
int prompt(Session &s, const std::function<void(const std::string &)> &evaluate);

// Case-insensitive substring or glob match.
bool name_matches(const std::string &pattern, const std::string &text);

}  // namespace kav::host
