#include "apps/ondrix/expression.h"

#include "apps/ondrix/tool_common.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "ondrix/SignalProcessing/FuncSignal.h"

namespace ondrix::app {

const char* const kExpressionHelp =
    "A formula of signals (frequencies in Hz, phases in degrees, times in s, amplitudes peak):\n"
    "  sine(f [, amp, phase])          triangle(f [, amp, phase, skew -1..1])\n"
    "  square(f [, amp, phase, offset]) pulse(high, low [, rise, fall, height])\n"
    "  chirp(f0, f1 [, seconds, amp])  sweeps f0 -> f1 over the seconds (whole blocks), then again\n"
    "  noise(sd [, mean])              gaussian;  uniform(low, high)\n"
    "  numbers, + - * / and parentheses; sin cos tan exp ln log abs round trunc (of a signal);\n"
    "  limit(x, high, low) clips\n"
    "Examples: \"0.5*sine(1000) + noise(0.01)\", \"(1 + 0.5*sine(5))*sine(1000)\", \"chirp(20, 20000, 10)\"";

namespace {

class Parser {
public:
  Parser(const std::string& text, double fs, int block, TFuncSignalList& lines, const std::string& option)
      : s_(text), fs_(fs), block_(block), lines_(lines), option_(option) {}

  void Parse() {
    Sum();
    Skip();
    if (i_ < s_.size()) Fail("unexpected '" + std::string(1, s_[i_]) + "'");
    if (lines_.Count() == 0) Fail("the formula is empty");
  }

private:
  [[noreturn]] void Fail(const std::string& what) const {
    throw CLI::ValidationError(option_, what + " at character " + std::to_string(i_ + 1) + " of \"" +
                                            s_.substr(0, 80) + "\"");
  }
  void Skip() {
    while (i_ < s_.size() && std::isspace(static_cast<unsigned char>(s_[i_]))) ++i_;
  }
  bool Take(char c) {
    Skip();
    if (i_ < s_.size() && s_[i_] == c) return ++i_, true;
    return false;
  }
  void Emit(TFuncSignalRecord&& r) { lines_.Add(r); }

  void Sum() {
    Product();
    for (;;) {
      if (Take('+')) Product(), Emit(OperatorLine(opAdd));
      else if (Take('-')) Product(), Emit(OperatorLine(opSub));
      else return;
    }
  }
  void Product() {
    Unary();
    for (;;) {
      if (Take('*')) Unary(), Emit(OperatorLine(opMul));
      else if (Take('/')) Unary(), Emit(OperatorLine(opDiv));
      else return;
    }
  }
  void Unary() {
    if (Take('-')) {
      Emit(FunctionLine(funConstant, {0.0}));
      Unary();
      Emit(OperatorLine(opSub));
    } else {
      Take('+');
      Primary();
    }
  }
  double Number() {
    Skip();
    const char* start = s_.c_str() + i_;
    char* end = nullptr;
    const double v = std::strtod(start, &end);
    if (end == start) Fail("a number is expected");
    if (!std::isfinite(v)) Fail("numbers must be finite");
    i_ += static_cast<std::size_t>(end - start);
    return v;
  }
  void Primary() {
    Skip();
    if (Take('(')) {
      Sum();
      if (!Take(')')) Fail("')' is expected");
      return;
    }
    if (i_ < s_.size() && (std::isdigit(static_cast<unsigned char>(s_[i_])) || s_[i_] == '.')) {
      Emit(FunctionLine(funConstant, {Number()}));
      return;
    }
    std::string name;
    while (i_ < s_.size() && std::isalpha(static_cast<unsigned char>(s_[i_]))) name += s_[i_++];
    if (name.empty()) Fail(i_ < s_.size() ? "unexpected '" + std::string(1, s_[i_]) + "'" : "the formula ends early");
    if (!Take('(')) Fail("'(' is expected after " + name);
    Call(name);
  }
  // Arguments of a call: numbers, up to max of them, at least min.
  std::vector<double> Args(const std::string& name, std::size_t min, std::size_t max) {
    std::vector<double> a;
    if (!Take(')')) {
      do a.push_back(Number());
      while (Take(','));
      if (!Take(')')) Fail("')' or ',' is expected in " + name + "()");
    }
    if (a.size() < min || a.size() > max)
      Fail(name + "() takes " + std::to_string(min) + (min == max ? "" : " to " + std::to_string(max)) +
           " numbers");
    return a;
  }
  void Frequency(const std::string& name, double f) {
    if (std::fabs(f) >= fs_ / 2)
      Fail(name + "(): frequency " + ShortNumber(f) + " Hz is not below half the sampling rate (" + ShortNumber(fs_ / 2) + " Hz)");
  }
  void Call(const std::string& name) {
    static const struct {
      const char* name;
      TOperSignalType op;
    } unary[] = {{"sin", opSin}, {"cos", opCos}, {"tan", opTan}, {"exp", opExp}, {"ln", opLn},
                 {"log", opLog}, {"abs", opAbs}, {"round", opRound}, {"trunc", opTrunc}};
    for (const auto& u : unary)
      if (name == u.name) {
        Sum();
        if (!Take(')')) Fail("')' is expected after the argument of " + name + "()");
        Emit(OperatorLine(u.op));
        return;
      }
    if (name == "limit") {
      Sum();
      if (!Take(',')) Fail("limit(x, high, low) needs its bounds");
      const double hi = Number();
      if (!Take(',')) Fail("limit(x, high, low) needs its lower bound");
      const double lo = Number();
      if (!Take(')')) Fail("')' is expected in limit()");
      if (lo > hi) Fail("limit(): the lower bound is above the upper one");
      Emit(OperatorLine(opLimit, {hi, lo}));
      return;
    }
    if (name == "sine" || name == "triangle" || name == "square") {
      const auto a = Args(name, 1, name == "sine" ? 3 : 4);
      Frequency(name, a[0]);
      const double amp = a.size() > 1 ? a[1] : 1.0, phase = a.size() > 2 ? a[2] : 0.0, p3 = a.size() > 3 ? a[3] : 0.0;
      const TFuncSignalType f = name == "sine" ? funSine : name == "triangle" ? funTriangle : funSquare;
      Emit(FunctionLine(f, {a[0], phase, amp, p3}));
    } else if (name == "pulse") {
      const auto a = Args(name, 2, 5);
      for (std::size_t k = 0; k < a.size() && k < 4; ++k)
        if (a[k] < 0) Fail("pulse(): times must not be negative");
      Emit(FunctionLine(funImpulse, {a[0], a[1], a.size() > 2 ? a[2] : 0.0, a.size() > 3 ? a[3] : 0.0,
                                     a.size() > 4 ? a[4] : 1.0}));
    } else if (name == "chirp") {
      const auto a = Args(name, 2, 4);
      Frequency(name, a[0]);
      Frequency(name, a[1]);
      const double seconds = a.size() > 2 ? a[2] : block_ / fs_, amp = a.size() > 3 ? a[3] : 1.0;
      if (!(seconds > 0)) Fail("chirp(): the sweep time must be above 0");
      const double blocks = std::max(1.0, std::round(seconds * fs_ / block_));
      if (blocks > 2e9) Fail("chirp(): the sweep is too long");
      Emit(FunctionLine(funChirp, {a[0], 0.0, amp, 0.0, a[1], amp, blocks}));
    } else if (name == "noise") {
      const auto a = Args(name, 1, 2);
      Emit(FunctionLine(funRandGauss, {a.size() > 1 ? a[1] : 0.0, a[0]}));
    } else if (name == "uniform") {
      const auto a = Args(name, 2, 2);
      Emit(FunctionLine(funRandUniform, {a[0], a[1]}));
    } else {
      Fail("unknown function " + name + "()");
    }
  }

  const std::string& s_;
  double fs_;
  int block_;
  TFuncSignalList& lines_;
  const std::string& option_;
  std::size_t i_ = 0;
};

}  // namespace

void ParseExpression(const std::string& formula, double fs, int block, TFuncSignalList& lines,
                     const std::string& option) {
  Parser(formula, fs, block, lines, option).Parse();
}

}  // namespace ondrix::app
