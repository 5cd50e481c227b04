// The function reference: what each script function does, shown by the
// prompt's `help NAME` and printed whole by `kavmath --reference`.
#pragma once

#include <string>

#include "kavhost.h"

// The units, in the one wording that kavmath's usage text, the prompt's help
// and the reference all print (README.md and kavmath.1 quote it).
#define KAV_UNITS_TEXT                                                              \
    "Units: int angles are milli-degrees, thousandths of a degree (PI = 180000 is\n" \
    "a half turn), and int sines, cosines and tangents are thousandths (1000 is\n"  \
    "1.0): sin(30000) is 500. Float and double angles are in the angle unit,\n"      \
    "milli-degrees by default too: sin(30000.0) is about 0.5, and sin(1.5), the\n"   \
    "sine of 0.0015 degrees, about 0.000026. mathlib_set_angleunit(1) switches\n"    \
    "the unit to radians, mathlib_set_angleunit(0) back; the unit is the\n"          \
    "module's, shared by every script.\n"

namespace kav::host {

// Prints NAME's reference entry: its signatures, what it does, its units and
// oddities, its example with the results computed now, and its pictures
// drawn in the terminal. False (and
// nothing printed) if no function has that name.
bool print_help(Session &s, const std::string &name);

// Prints the whole reference as Markdown. False if an example failed or a
// function of the module has no entry.
bool print_reference(Session &s);
// Writes the reference to DIR/reference.md and its pictures to
// DIR/plots/*.svg. False (after saying why) if anything failed.
bool write_reference(Session &s, const std::string &dir);

}  // namespace kav::host
