// Every failure of the generator: its message, and the block (Data) left as it was.
#include <gtest/gtest.h>

#include "generator_helpers.h"
#include "ondrix/framework/errors.h"

using namespace ondrix;
using namespace ondrix::testing;

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
    const std::vector<double> before(g->Data().PValues(), g->Data().PValues() + g->Data().RealLength());
    // A pull prefixes the component's name; the update step itself raises the bare message.
    EXPECT_THAT([&] { g->Pull(); }, Raises<Exception>("Gen: " + c.message));
    EXPECT_THAT([&] { g->InternalUpdate(); }, Raises<std::exception>(c.message));
    EXPECT_EQ(std::vector<double>(g->Data().PValues(), g->Data().PValues() + g->Data().RealLength()), before)
        << c.message;
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
