// What kavmath does with a line of input: evaluate it in a session and print
// its value, raised errors, violations and error; and a script, line by line.
// In the kavhost library so that every way in (the command line, the prompt,
// the input fuzzer) runs the same code.
#pragma once

#include <cstdio>
#include <istream>
#include <string>
#include <vector>

#include "kavhost.h"

namespace kav::host {

struct LineOptions {
    bool bits = false;  // show floating values' raw bits
    bool echo = false;  // print "kav> LINE" first
    bool stop = false;  // a script stops at its first failing line
    std::FILE *out = stdout;
    std::FILE *err = stderr;
};

// Prints what the module did wrong ("kavmath: WHERE..." on err); true if anything.
bool report_violations(std::FILE *err, const std::string &where,
                       const std::vector<std::string> &violations);

// Evaluates one line and prints its outcome; where (e.g. "FILE:3:") puts the
// error's column, the line and a caret under it.
Outcome evaluate_line(Session &s, const std::string &line, const LineOptions &o,
                      const std::string &where = "");

// Evaluates a script line by line; '#' starts a comment line. False if any
// line failed; with o.stop, the first failure ends the script.
bool run_script(Session &s, const std::string &name, std::istream &in, const LineOptions &o);

// Escapes control bytes so that a message cannot garble the terminal.
std::string printable(const std::string &text);

}  // namespace kav::host
