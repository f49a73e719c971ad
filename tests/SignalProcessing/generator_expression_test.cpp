// Evaluation of the expression stack, the sample-counting functions, noise, inputs,
// resynchronisation, and every failure: its message, and the block (Data) left as it was.
#include <gtest/gtest.h>

#include <cmath>

#include "processing_helpers.h"
#include "ondrix/framework/errors.h"

using namespace ondrix;
using namespace ondrix::testing;

namespace {

/// a·sin(2πf·n/1000 + deg°): a tone sampled at 1000 Hz.
double Sine(double a, double f, double deg, int n) {
  return a * std::sin(2 * M_PI * f * n / 1000.0 + deg * M_PI / 180.0);
}
TFuncSignalRecord C(double x) { return FunctionLine(funConstant, {x}); }
const auto kPulses = [] { return FunctionLine(funImpulse, {0.004, 0.010, 0.002, 0.003, 1.5}); };

}  // namespace

TEST(GeneratorExpression, OperatorsCombineTheirOperandsInReversePolishOrderAndInactiveLinesAreSkipped) {
  // Binary operators act sample by sample: GeneratorExpression.InputLinesCopyTheirInputSignals.
  auto g = Gen(1000.0, 64);
  auto check = [&](double expect, auto&&... lines) {
    SetLines(*g, lines...);
    g->Pull();
    ASSERT_EQ(g->Length(), 64);
    EXPECT_NEAR(g->Values(0), expect, 1e-12) << FuncToString(g->Sounds()->Template()->Items(0)->FuncType);
    EXPECT_EQ(g->Values(63), g->Values(0));
  };
  check((2.0 + 3.0) * 4.0, C(2), C(3), OperatorLine(opAdd), C(4), OperatorLine(opMul));
  check(2.0 + 3.0 * 4.0, C(2), C(3), C(4), OperatorLine(opMul), OperatorLine(opAdd));
  check((7.0 - 3.0) / 2.0, C(7), C(3), OperatorLine(opSub), C(2), OperatorLine(opDiv));
  check(std::exp(std::sin(0.5)) + std::cos(0.5) * std::tan(0.5), C(0.5), OperatorLine(opSin), OperatorLine(opExp),
        C(0.5), OperatorLine(opCos), C(0.5), OperatorLine(opTan), OperatorLine(opMul), OperatorLine(opAdd));
  check(std::log(0.5) + 2.0, C(0.5), OperatorLine(opLn), C(100), OperatorLine(opLog), OperatorLine(opAdd));
  check(3.0 - 2.0 + 3.0, C(-3), OperatorLine(opAbs), C(-2.7), OperatorLine(opTrunc), OperatorLine(opAdd), C(2.5),
        OperatorLine(opRound), OperatorLine(opAdd));
  // Inactive lines are skipped; with nothing to evaluate the last block stays.
  TFuncSignalRecord off = C(100.0), offOp = OperatorLine(opMul);
  off.Active = offOp.Active = false;
  check(5.0, C(2.0), off, offOp, C(3.0), OperatorLine(opAdd));
  SetLines(*g, off);
  g->Pull();
  EXPECT_EQ(g->Values(5), 5.0);
  // Limit clips from above at P0, then from below at P1.
  SetLines(*g, FunctionLine(funSine, {50.0, 0.0, 2.0}), OperatorLine(opLimit, {1.0, -0.5}));
  g->Pull();
  for (int n = 0; n < 64; ++n) ASSERT_NEAR(g->Values(n), std::clamp(Sine(2, 50, 0, n), -0.5, 1.0), 1e-12);
  // Twenty unary reductions in a full template of 21 lines stay within the pass limit.
  SetLines(*g, C(-2.0));
  for (int i = 0; i < 20; ++i) g->Sounds()->Template()->Add(OperatorLine(opAbs));
  g->Pull();
  EXPECT_EQ(g->Values(0), 2.0);
  // Complex constants multiply as complex numbers.
  SetLines(*g, FunctionLine(funConstant, {1.25, -4.0}, true), FunctionLine(funConstant, {0.0, 1.0}, true),
           OperatorLine(opMul));
  g->Pull();
  EXPECT_EQ(g->CValues(63), TCplx(1.25, -4.0) * TCplx(0.0, 1.0));
}

TEST(GeneratorExpression, UnitImpulseAndTheCounterWrap) {
  auto g = Gen(1000.0, 128, FunctionLine(funUnitImpulse));
  for (int b = 0; b < 3; ++b) {
    std::vector<double> x = Pull(*g, 1), expect(128, 0.0);
    expect[0] = 64.0;  // half the block length, at every block start
    EXPECT_EQ(x, expect) << "block " << b;
  }
  auto p = Gen(1000.0, 100, kPulses());
  const std::vector<double> first = Pull(*p, 1);
  TFuncSignalRecord& cell = p->WorkingCell(0);
  EXPECT_EQ(cell.Counter, 100);
  cell.Counter = TSignalGenerator::kCounterWrap;  // at the bound it still counts on
  Pull(*p, 1);
  EXPECT_EQ(cell.Counter, TSignalGenerator::kCounterWrap + 100);
  cell.Counter = TSignalGenerator::kCounterWrap + 1;  // beyond it this block is the last
  Pull(*p, 1);
  EXPECT_EQ(cell.Counter, 0);
  EXPECT_EQ(Pull(*p, 1), first);
}

TEST(GeneratorExpression, InputLinesCopyTheirInputSignals) {
  auto a = Gen(1000.0, 64, FunctionLine(funSine, {50.0, 0.0, 1.0}));
  auto b = Gen(1000.0, 64, C(3.0));
  auto g = Gen(1000.0, 16, FunctionLine(funInput0), FunctionLine(funInput1), OperatorLine(opMul));
  g->Inputs()->Add()->SetInput(a.get());
  g->Inputs()->Add()->SetInput(b.get());
  // The inputs' length applies, and they are pulled with the generator.
  for (int block = 0; block < 2; ++block) {
    g->Pull();
    ASSERT_EQ(g->Length(), 64);
    for (int n = 0; n < 64; ++n) ASSERT_NEAR(g->Values(n), 3.0 * Sine(1, 50, 0, n + 64 * block), 1e-12);
  }
}

TEST(GeneratorExpression, ResyncRestartsALineOnceAndFiresTheEvent) {
  auto g = Gen(1000.0, 128, FunctionLine(funSine, {37.7, 45.0, 1.0}), kPulses(), OperatorLine(opAdd));
  std::vector<int> fired;
  g->OnResync = [&](TObject* sender, std::int32_t index) {
    EXPECT_EQ(sender, g.get());
    fired.push_back(index);
  };
  const std::vector<double> first = Pull(*g, 1), second = Pull(*g, 1);
  g->ResyncAll();
  EXPECT_EQ(fired, (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(Pull(*g, 1), first);   // every line restarted
  EXPECT_EQ(Pull(*g, 1), second);  // once only
  // The sine alone restarts while the impulse train runs on.
  Pull(*g, 1);
  g->ResyncFunction(0);
  std::vector<double> x = Pull(*g, 1), s = Pull(*Gen(1000.0, 128, FunctionLine(funSine, {37.7, 45.0, 1.0})), 1),
                      p = Pull(*Gen(1000.0, 128, kPulses()), 4);
  for (int i = 0; i < 128; ++i) ASSERT_NEAR(x[i], s[i] + p[3 * 128 + i], 1e-12);
}

TEST(GeneratorFailures, EachSituationRaisesItsMessageAndLeavesData) {
  TSignal in(nullptr);
  const TFuncSignalRecord sine = FunctionLine(funSine, {10.0, 0.0, 1.0});
  struct Case {
    std::string message;
    std::function<void(TSignalGenerator&)> arrange;
  };
  const std::vector<Case> cases = {
      {"Length = 0", [&](TSignalGenerator& g) { g.SetLength(0), SetLines(g, sine); }},
      {"SamplingFrequency = 0", [&](TSignalGenerator& g) { g.SetSamplingFrequency(0.0), SetLines(g, sine); }},
      {"i > Inputs.Count-1",
       [&](TSignalGenerator& g) { g.Inputs()->Add()->SetInput(&in), SetLines(g, FunctionLine(funInput1)); }},
      {"Max stack size = 21!",
       [&](TSignalGenerator& g) {
         for (int i = 0; i < 21; ++i) g.Sounds()->Template()->Add(OperatorLine(opAbs));  // 22 lines
         g.SetPrepared(false);
       }},
      {"Invalid expression: Missing operator!", [&](TSignalGenerator& g) { SetLines(g, sine, sine); }},
      {"Expression stack size limit exceeded!",
       [&](TSignalGenerator& g) { SetLines(g, sine, sine, OperatorLine(opNone)); }},
      {"Formula error!", [&](TSignalGenerator& g) { SetLines(g, OperatorLine(opSin)); }},
      // A binary operator without a left operand reaches below the stack.
      {"List index out of bounds (-1)", [&](TSignalGenerator& g) { SetLines(g, sine, OperatorLine(opAdd)); }},
  };
  for (const Case& c : cases) {
    auto g = Gen(1000.0, 32, FunctionLine(funConstant, {0.75}));
    g->Pull();
    c.arrange(*g);
    const std::vector<double> before = Values(g->Data());
    // A pull prefixes the component's name; the update step itself raises the bare message.
    EXPECT_THAT([&] { g->Pull(); }, Raises<Exception>("Gen: " + c.message));
    EXPECT_THAT([&] { g->InternalUpdate(); }, Raises<std::exception>(c.message));
    EXPECT_EQ(Values(g->Data()), before) << c.message;
    const bool evaluation = c.message.find("xpression") != std::string::npos;
    EXPECT_EQ(g->ComputeMessage(), evaluation ? c.message : "") << c.message;
    EXPECT_TRUE(!evaluation || !g->Prepared()) << c.message;  // evaluation errors unprepare
  }
  // An error in evaluation is an EVecError; a good evaluation afterwards clears the message.
  auto g = Gen(1000.0, 32, FunctionLine(funConstant, {1.0}), FunctionLine(funConstant, {1.0}));
  EXPECT_THAT([&] { g->InternalUpdate(); }, Raises<EVecError>("Invalid expression: Missing operator!"));
  SetLines(*g, sine, OperatorLine(opAdd));
  EXPECT_THAT([&] { g->InternalUpdate(); }, Raises<EListError>("List index out of bounds (-1)"));
  SetLines(*g, sine);
  g->Pull();
  EXPECT_EQ(g->ComputeMessage(), "");
}

TEST(GeneratorFailures, ResyncIndexTestAndWritesThatAreNotSupported) {
  auto g = Gen(1000.0, 32, FunctionLine(funConstant, {1.0}), FunctionLine(funConstant, {2.0}), OperatorLine(opAdd));
  int fired = 0;
  g->OnResync = [&](TObject*, std::int32_t) { ++fired; };
  // The test is Count < Index - 1, so indices up to Count + 1 pass.
  g->ResyncFunction(4);
  EXPECT_TRUE(g->WorkingCell(4).Resync);
  EXPECT_THAT([&] { g->ResyncFunction(5); }, Raises<Exception>("(TemplateLineIndex-1) > Template.Count"));
  EXPECT_EQ(fired, 1);
  // Indices past the working cells pass the test and touch no cell.
  TFuncSignalList* t = g->Sounds()->Template();
  while (t->Count() < 21) t->Add(FunctionLine(funConstant, {0.0}));
  EXPECT_NO_THROW((g->ResyncFunction(22), g->ResyncFunction(-1)));

  EXPECT_THAT([&] { t->SetItems(0, t->Items(1)); }, Raises<ENoOperation>("Operation not supported"));
  EXPECT_THAT([&] { g->Sounds()->SetTemplate(nullptr); }, Raises<EVecError>("Operation not supported!"));
  EXPECT_EQ(g->Sounds()->Template(), t);
}
