#include "ondrix/SignalProcessing/FuncSignal.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/Settings.h"
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
  // A line the generator cannot evaluate, nor a settings file name, is refused here.
  for (const auto& image : images) {
    if (image.OpType > optOperator) throw EReadError("TFuncSignalList: line kind out of range");
    if (image.OpType == optFunction && image.FuncType > funNone)
      throw EReadError("TFuncSignalList: function out of range");
    if (image.OpType == optOperator && image.OperType > opNone)
      throw EReadError("TFuncSignalList: operator out of range");
  }
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

// --- JSON form of the lines ------------------------------------------------------------------

namespace {

/// Lower case without spaces: "Unit impulse", "unit impulse" and "UnitImpulse" all match.
std::string NameKey(const std::string& s) {
  std::string k;
  for (char c : s) {
    if (c != ' ') k += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return k;
}

std::string FuncName(TFuncSignalType Func, int Line) {
  if (Func == funNone) return "none";
  if (Func > funNone) {
    throw EWriteError("[" + std::to_string(Line) + "]: function ordinal " + std::to_string(+Func) + " has no name");
  }
  return Lower(kFuncNames[Func]);
}

std::string OperName(TOperSignalType Oper, int Line) {
  if (Oper == opNone) return "none";
  if (Oper > opNone) {
    throw EWriteError("[" + std::to_string(Line) + "]: operator ordinal " + std::to_string(+Oper) + " has no name");
  }
  return Lower(kOpNames[Oper]);
}

TFuncSignalType FuncFromName(const std::string& Name) {
  const std::string k = NameKey(Name);
  for (int i = 0; i < funNone; ++i) {
    if (k == NameKey(kFuncNames[i])) return static_cast<TFuncSignalType>(i);
  }
  if (k == "none") return funNone;
  return static_cast<TFuncSignalType>(funNone + 1);  // unknown
}

TOperSignalType OperFromName(const std::string& Name) {
  static constexpr const char* kWords[] = {"add", "sub", "mul", "div"};
  const std::string k = NameKey(Name);
  for (int i = 0; i < opNone; ++i) {
    if (k == NameKey(kOpNames[i])) return static_cast<TOperSignalType>(i);
  }
  for (int i = 0; i < 4; ++i) {
    if (k == kWords[i]) return static_cast<TOperSignalType>(opAdd + i);
  }
  if (k == "none") return opNone;
  return static_cast<TOperSignalType>(opNone + 1);  // unknown
}

TFiler::TJson LineToJson(const TFuncSignalRecord& Line, int Index) {
  TFiler::TJson j = TFiler::TJson::object();
  const bool function = Line.OpType == optFunction;
  if (function) {
    j["function"] = FuncName(Line.FuncType, Index);
  } else if (Line.OpType == optOperator) {
    j["operator"] = OperName(Line.OperType, Index);
  } else {
    throw EWriteError("[" + std::to_string(Index) + "]: line kind " + std::to_string(+Line.OpType) + " has no name");
  }
  // Trailing zeros are left out (a negative zero is kept: it is not the default).
  std::size_t n = Line.Params.size();
  while (n > 0 && Line.Params[n - 1] == 0.0 && !std::signbit(Line.Params[n - 1])) --n;
  if (n > 0) {
    TFiler::TJson params = TFiler::TJson::array();
    for (std::size_t k = 0; k < n; ++k) params.push_back(DoubleToSettingsJson(Line.Params[k]));
    j["params"] = std::move(params);
  }
  if (function && Line.Complex) j["complex"] = true;
  if (function && !Line.Continuous) j["continuous"] = false;
  if (!Line.Active) j["active"] = false;
  return j;
}

TFuncSignalRecord LineFromJson(const TFiler::TJson& J, int Index) {
  TJsonRecordReader r(J, static_cast<std::size_t>(Index));
  const TFiler::TJson* func = r.Find("function");
  const TFiler::TJson* oper = r.Find("operator");
  if (!func == !oper) r.Fail("", "either \"function\" or \"operator\" expected");
  TFuncSignalRecord line;
  line.Active = r.Bool("active", true);
  line.Continuous = true;
  if (func) {
    if (!func->is_string()) r.Fail(".function", "a function name expected");
    line.OpType = optFunction;
    line.FuncType = FuncFromName(func->get<std::string>());
    if (line.FuncType > funNone) r.Fail(".function", "unknown function \"" + func->get<std::string>() + "\"");
    line.Complex = r.Bool("complex", false);
    line.Continuous = r.Bool("continuous", true);
  } else {
    if (!oper->is_string()) r.Fail(".operator", "an operator name expected");
    line.OpType = optOperator;
    line.OperType = OperFromName(oper->get<std::string>());
    if (line.OperType > opNone) r.Fail(".operator", "unknown operator \"" + oper->get<std::string>() + "\"");
  }
  if (const TFiler::TJson* p = r.Find("params")) {
    if (!p->is_array()) r.Fail(".params", "an array of numbers expected");
    if (p->size() > line.Params.size()) {
      r.Fail(".params", "at most 7 parameters allowed, " + std::to_string(p->size()) + " given");
    }
    for (std::size_t k = 0; k < p->size(); ++k) {
      line.Params[k] = SettingsJsonToDouble((*p)[k], r.Path() + ".params[" + std::to_string(k) + "]");
    }
  }
  r.Finish();
  return line;
}

}  // namespace

void TFuncSignalList::SaveToJson(TFiler::TJson& Value) const {
  Value = TFiler::TJson::array();
  for (int i = 0; i < Count(); ++i) Value.push_back(LineToJson(*Items(i), i));
}

void TFuncSignalList::LoadFromJson(const TFiler::TJson& Value) {
  if (!Value.is_array()) throw EJsonPropertyError("", "an array of lines expected");
  std::vector<TFuncSignalRecord> lines;
  lines.reserve(Value.size());
  for (std::size_t i = 0; i < Value.size(); ++i) lines.push_back(LineFromJson(Value[i], static_cast<int>(i)));
  Clear();
  for (const TFuncSignalRecord& line : lines) Add(line);
}

}  // namespace ondrix
