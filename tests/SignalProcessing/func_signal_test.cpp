// Expression lines: names, the packed stream image, the list's ownership and stream format,
// named templates of lines and the generator's settings.
#include <gtest/gtest.h>

#include <cstring>

#include "processing_helpers.h"
#include "ondrix/framework/errors.h"

using namespace ondrix;
using namespace ondrix::testing;

namespace {

template <class T>
T At(TMemoryStream& m, std::size_t off) {
  T v;
  std::memcpy(&v, m.Memory() + off, sizeof v);
  return v;
}

/// The line's stream image as bytes: equal images, equal streamed fields.
std::vector<std::uint8_t> Image(const TFuncSignalRecord& r) {
  TFuncSignalRecordDouble d;
  r.AssignTo(d);
  auto* p = reinterpret_cast<const std::uint8_t*>(&d);
  return {p, p + sizeof d};
}

/// A line with every streamed field away from its default.
TFuncSignalRecord Distinct(int k) {
  TFuncSignalRecord r = FunctionLine(static_cast<TFuncSignalType>(k % 18), {}, k % 2 == 0, k % 3 == 0);
  r.OpType = k % 2 ? optOperator : optFunction;
  r.OperType = static_cast<TOperSignalType>(k % 15);
  for (int i = 0; i < 7; ++i) r.Params[i] = k * 10.0 + i + 0.5;
  r.Resync = r.Computed = true;
  r.Counter = -1000 * k - 7;
  return r;
}

}  // namespace

TEST(FuncSignalNames, TextsBothWays) {
  const char* funcs[] = {"Sine",     "Impulse",  "Unit impulse", "Triangle", "Square",  "RandGauss",
                         "RandUniform", "Chirp", "Constant",     "Input 0",  "Input 1", "Input 2",
                         "Input 3", "Input 4",  "Input 5",      "Input 6",  "Input 7", "Unrecognized"};
  for (int i = 0; i <= funNone; ++i) {
    EXPECT_EQ(FuncToString(static_cast<TFuncSignalType>(i)), funcs[i]);
    EXPECT_EQ(StringToFunc(funcs[i]), i);
  }
  EXPECT_EQ(StringToFunc("UNIT IMPULSE"), funUnitImpulse);
  const char* ops[] = {"+", "-", "*", "/", "Sin", "Cos", "Tan", "Exp", "Ln", "Log", "Abs", "Round", "Trunc", "Limit",
                       "Unrecognized"};
  for (int i = 0; i <= opNone; ++i) {
    EXPECT_EQ(OpToString(static_cast<TOperSignalType>(i)), ops[i]);
    // No text yields the limit operator: "limit" gives opNone.
    EXPECT_EQ(StringToOp(ops[i]), i == opLimit ? opNone : i);
  }
  EXPECT_EQ(StringToOp("LOG"), opLog);
}

TEST(FuncSignalList, RecordsImagesAndTheStreamFormat) {
  // Assign copies the line's fields, never Values or State; images carry the same fields.
  TFuncSignalRecord src = Distinct(5), dst;
  src.State = std::make_unique<TCToneState>();
  dst.Values = std::make_unique<TVec>(3);
  TVec* keep = dst.Values.get();
  dst.Assign(src);
  EXPECT_EQ(Image(dst), Image(src));
  EXPECT_EQ(dst.Values.get(), keep);
  EXPECT_EQ(dst.State, nullptr);
  TFuncSignalRecordDouble d;
  src.AssignTo(d);
  TFuncSignalRecord back;
  back.Assign(d);
  EXPECT_EQ(Image(back), Image(src));

  TFuncSignalList list;
  list.Add(Distinct(1));
  list.Add(Distinct(2));
  TMemoryStream m;
  list.SaveToStream(m);
  ASSERT_EQ(m.Size(), 3 * 76);
  // The header image holds the count at 71..74 and zeros elsewhere.
  EXPECT_EQ(At<std::int32_t>(m, 71), 2);
  for (std::size_t i = 0; i < 71; ++i) ASSERT_EQ(m.Memory()[i], 0) << i;
  EXPECT_EQ(m.Memory()[75], 0);
  // Line 2, field by field at its offsets.
  const std::size_t o = 2 * 76;
  const TFuncSignalRecord& r = *list.Items(1);
  const std::vector<std::uint8_t> head(m.Memory() + o, m.Memory() + o + 5);
  EXPECT_EQ(head, (std::vector<std::uint8_t>{1, r.OpType, r.FuncType, r.OperType, r.Complex}));
  for (int k = 0; k < 7; ++k) EXPECT_EQ(At<double>(m, o + 5 + 8 * k), r.Params[k]);
  EXPECT_EQ(m.Memory()[o + 61], r.Continuous);
  EXPECT_EQ(m.Memory()[o + 62], 1);                 // Resync
  EXPECT_EQ(At<std::uint64_t>(m, o + 63), 0u);      // the two reference slots
  EXPECT_EQ(At<std::int32_t>(m, o + 71), -2007);    // Counter
  EXPECT_EQ(m.Memory()[o + 75], 1);                 // Computed

  // Loading replaces what the list held.
  TFuncSignalList other;
  for (int i = 0; i < 5; ++i) other.Add(Distinct(7 + i));
  m.SetPosition(0);
  other.LoadFromStream(m);
  ASSERT_EQ(other.Count(), 2);
  EXPECT_EQ(Image(*other.Items(1)), Image(r));
  // A count the stream cannot hold is a read error, not a huge allocation.
  TFuncSignalRecordDouble header;
  header.Counter = 1000000;
  TMemoryStream bad;
  bad.WriteBuffer(&header, sizeof header);
  bad.SetPosition(0);
  EXPECT_THROW(other.LoadFromStream(bad), EReadError);

  // Added copies are owned, added pointers are not (ASan checks both at the end of scope).
  TFuncSignalRecord mine = FunctionLine(funSine, {1.0});
  other.AddPointer(&mine);
  EXPECT_EQ(other.Items(other.Count() - 1), &mine);
  other.Delete(other.Count() - 1);
  other.Add(mine);
  EXPECT_NE(other.Items(other.Count() - 1), &mine);
  other.AddPointer(&mine);
}

// The templates' own stream and switching: Templates.SwitchingStoresAndLoadsSettings.
TEST(SignalSounds, NamedTemplatesAndSettingsCarryTheExpression) {
  auto g = Gen(8000.0, 100, FunctionLine(funSine, {50.0, 10.0, 1.0}), FunctionLine(funRandGauss, {0.0, 0.1}),
               OperatorLine(opAdd));
  TSignalSounds* sounds = g->Sounds();
  sounds->AddTemplate("tone+noise");
  sounds->AddTemplate("chirp");  // starts as a copy of the current lines; edits then go into it
  SetLines(*g, FunctionLine(funChirp, {100.0, 0.0, 1.0, 0.0, 900.0, 0.5, 3.0}), FunctionLine(funConstant, {0.25}),
           OperatorLine(opSub));
  sounds->SetTemplateName("tone+noise");
  EXPECT_EQ(sounds->Template()->Items(1)->FuncType, funRandGauss);

  // A component template carries the current lines, even off the snapshot (the settings stream:
  // SettingsJson.FilesShowLinesAndBandsAsArraysAndRoundTrip).
  sounds->SetTemplateName("chirp");
  sounds->Template()->Items(1)->Params[0] = 0.5;
  auto t = Gen(8000.0, 100);
  t->AssignTemplate(*g);
  EXPECT_EQ(Pull(*t, 3), Pull(*Gen(8000.0, 100, FunctionLine(funChirp, {100.0, 0.0, 1.0, 0.0, 900.0, 0.5, 3.0}),
                                  FunctionLine(funConstant, {0.5}), OperatorLine(opSub)), 3));
}
