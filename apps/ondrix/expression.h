// The generator's expression lines from a formula people can read and type, such as
// "0.5*sine(1000) + noise(0.01)".
#pragma once

#include <string>

namespace ondrix {
class TFuncSignalList;
}

namespace ondrix::app {

/// What the formulas may hold, for help texts.
extern const char* const kExpressionHelp;

/// Appends to `lines`, in reverse Polish order, the generator lines of `formula` (grammar in
/// kExpressionHelp). fs is the sampling rate (frequencies must lie below fs/2), block the
/// generator's block length (a chirp's sweep is whole blocks). Throws CLI::ValidationError
/// naming `option` and the position of the first error.
void ParseExpression(const std::string& formula, double fs, int block, TFuncSignalList& lines,
                     const std::string& option);

}  // namespace ondrix::app
