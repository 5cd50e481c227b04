// kavmath's interactive prompt, and the small helpers that it shares with
// kavmath's command line.
#pragma once

#include <functional>
#include <string>

#include "kavhost.h"

namespace kav::host {

// Runs the prompt on the terminal until Ctrl-D, quit or exit: line editing,
// the history file, completion and the prompt's commands. Every other line
// goes to evaluate. Returns kavmath's exit status, 0: a session ends well
// however its lines went.
int prompt(Session &s, const std::function<void(const std::string &)> &evaluate);

// Escapes control bytes so that a message cannot garble the terminal.
std::string printable(const std::string &text);

// Case-insensitive substring or glob match.
bool name_matches(const std::string &pattern, const std::string &text);

}  // namespace kav::host
