#include "ondrix/SignalProcessing/FuncSignal.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/errors.h"

namespace ondrix {

// --- TFuncSignalRecord -----------------------------------------------------------------------

TFuncSignalRecord::~TFuncSignalRecord() = default;

void TFuncSignalRecord::Assign(const TFuncSignalRecord& Src) {
  if (&Src == this) return;
  Active = Src.Active;
  OpType = Src.OpType;
  FuncType = Src.FuncType;
  OperType = Src.OperType;
  Complex = Src.Complex;
  Params = Src.Params;
  Continuous = Src.Continuous;
  Resync = Src.Resync;
  Counter = Src.Counter;
  Computed = Src.Computed;
}

void TFuncSignalRecord::Assign(const TFuncSignalRecordDouble& Src) {
  Active = Src.Active != 0;
  OpType = static_cast<TOpType>(Src.OpType);
  FuncType = static_cast<TFuncSignalType>(Src.FuncType);
  OperType = static_cast<TOperSignalType>(Src.OperType);
  Complex = Src.Complex != 0;
  std::memcpy(Params.data(), reinterpret_cast<const std::uint8_t*>(&Src) + offsetof(TFuncSignalRecordDouble, Params),
              sizeof(Params));
  Continuous = Src.Continuous != 0;
  Resync = Src.Resync != 0;
  Counter = Src.Counter;
  Computed = Src.Computed != 0;
}

void TFuncSignalRecord::AssignTo(TFuncSignalRecordDouble& Dst) const {
  Dst.Active = Active ? 1 : 0;
  Dst.OpType = OpType;
  Dst.FuncType = FuncType;
  Dst.OperType = OperType;
  Dst.Complex = Complex ? 1 : 0;
  std::memcpy(reinterpret_cast<std::uint8_t*>(&Dst) + offsetof(TFuncSignalRecordDouble, Params), Params.data(),
              sizeof(Params));
  Dst.Continuous = Continuous ? 1 : 0;
  Dst.Resync = Resync ? 1 : 0;
  Dst.Counter = Counter;
  Dst.Computed = Computed ? 1 : 0;
}

namespace {

void SetParams(TFuncSignalRecord& r, std::initializer_list<double> p) {
  if (p.size() > r.Params.size()) ERaise("At most 7 parameters");
  std::copy(p.begin(), p.end(), r.Params.begin());
}

}  // namespace

TFuncSignalRecord FunctionLine(TFuncSignalType Func, std::initializer_list<double> Params, bool Complex,
                               bool Continuous) {
  TFuncSignalRecord r;
  r.Active = true;
  r.OpType = optFunction;
  r.FuncType = Func;
  r.Complex = Complex;
  r.Continuous = Continuous;
  SetParams(r, Params);
  return r;
}

TFuncSignalRecord OperatorLine(TOperSignalType Oper, std::initializer_list<double> Params) {
  TFuncSignalRecord r;
  r.Active = true;
  r.OpType = optOperator;
  r.OperType = Oper;
  r.Continuous = true;
  SetParams(r, Params);
  return r;
}

// --- TFuncSignalList -------------------------------------------------------------------------

const TClassInfo& TFuncSignalList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TFuncSignalList, TStreamedList>("TFuncSignalList").Build();
  return info;
}

TFuncSignalList::~TFuncSignalList() { Clear(); }

int TFuncSignalList::Add(const TFuncSignalRecord& Rec) {
  auto copy = std::make_unique<TFuncSignalRecord>();
  copy->Assign(Rec);
  owned_.reserve(owned_.size() + 1);  // so that push_back below cannot fail after TList::Add
  int i = TList::Add(copy.get());
  owned_.push_back(std::move(copy));
  return i;
}

int TFuncSignalList::AddPointer(TFuncSignalRecord* Rec) { return TList::Add(Rec); }

void TFuncSignalList::Delete(int i) {
  auto* item = Items(i);  // checks the index
  TList::Delete(i);
  auto it = std::find_if(owned_.begin(), owned_.end(), [item](const auto& p) { return p.get() == item; });
  if (it != owned_.end()) owned_.erase(it);
}

void TFuncSignalList::SetItems(int, TFuncSignalRecord*) { throw ENoOperation(); }

void TFuncSignalList::Assign(const TFuncSignalList& Src) {
  if (&Src == this) return;
  Clear();
  for (int i = 0; i < Src.Count(); ++i) Add(*Src.Items(i));
}

void TFuncSignalList::SaveToStream(TStream& Stream) const {
  std::vector<TFuncSignalRecordDouble> images(static_cast<std::size_t>(Count()) + 1);
  images[0].Counter = Count();
  for (int i = 0; i < Count(); ++i) Items(i)->AssignTo(images[static_cast<std::size_t>(i) + 1]);
  Stream.WriteBuffer(images.data(), static_cast<std::int64_t>(images.size() * sizeof(TFuncSignalRecordDouble)));
}

void TFuncSignalList::LoadFromStream(TStream& Stream) {
  Clear();
  TFuncSignalRecordDouble header;
  Stream.ReadBuffer(&header, sizeof header);
  const std::int64_t count = CheckCount(Stream, header.Counter, sizeof header, "TFuncSignalList: line count");
  std::vector<TFuncSignalRecordDouble> images(static_cast<std::size_t>(count));
  Stream.ReadBuffer(images.data(), count * static_cast<std::int64_t>(sizeof header));
  TFuncSignalRecord line;
  for (const auto& image : images) {
    line.Assign(image);
    Add(line);
  }
}

// --- Names -------------------------------------------------------------------------------------

namespace {

constexpr const char* kFuncNames[] = {"Sine",    "Impulse", "Unit impulse", "Triangle", "Square",  "RandGauss",
                                      "RandUniform", "Chirp", "Constant", "Input 0",  "Input 1", "Input 2",
                                      "Input 3", "Input 4", "Input 5",      "Input 6",  "Input 7"};
constexpr const char* kOpNames[] = {"+",  "-",   "*",   "/",     "Sin",   "Cos", "Tan",
                                    "Exp", "Ln", "Log", "Abs", "Round", "Trunc", "Limit"};
static_assert(std::size(kFuncNames) == funNone);
static_assert(std::size(kOpNames) == opNone);

std::string Lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

}  // namespace

std::string FuncToString(TFuncSignalType Func) {
  return Func < funNone ? kFuncNames[Func] : "Unrecognized";
}

TFuncSignalType StringToFunc(const std::string& Text) {
  const std::string t = Lower(Text);
  for (int i = 0; i < funNone; ++i) {
    if (t == Lower(kFuncNames[i])) return static_cast<TFuncSignalType>(i);
  }
  return funNone;
}

std::string OpToString(TOperSignalType Oper) { return Oper < opNone ? kOpNames[Oper] : "Unrecognized"; }

TOperSignalType StringToOp(const std::string& Text) {
  const std::string t = Lower(Text);
  for (int i = 0; i < opNone; ++i) {
    // Every name but the limit operator's is compared lower-cased; "Limit" keeps its capital,
    // so no text yields opLimit (stored expressions rely on this).
    const std::string name = i == opLimit ? std::string(kOpNames[i]) : Lower(kOpNames[i]);
    if (t == name) return static_cast<TOperSignalType>(i);
  }
  return opNone;
}

}  // namespace ondrix
