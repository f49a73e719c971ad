#include "ondrix/SignalProcessing/SignalGenerator.h"

#include <algorithm>
#include <cmath>

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/sigcore/waveforms.h"
#include "ondrix/vec/calcbase.h"

namespace ondrix {

namespace {

double DegToRad(double deg) { return deg * (PI / 180.0); }

bool IsInput(TFuncSignalType t) { return t >= funInput0 && t <= funInput7; }

}  // namespace

// --- TSignalSounds -----------------------------------------------------------------------------

const TClassInfo& TSignalSounds::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSignalSounds, TStreamTemplates>("TSignalSounds").Build();
  return info;
}

TSignalSounds::TSignalSounds(TObject* AOwner)
    : TStreamTemplates(AOwner), lines_(std::make_unique<TFuncSignalList>()) {
  TStreamTemplates::SetTemplate(lines_.get());
}

TSignalSounds::~TSignalSounds() { TStreamTemplates::SetTemplate(nullptr); }

void TSignalSounds::SetTemplate(TFuncSignalList*) { ERaise("Operation not supported!"); }

void TSignalSounds::Assign(const TPersistent& Source) {
  if (auto* src = dynamic_cast<const TSignalSounds*>(&Source)) {
    if (src == this) return;
    TStreamTemplates::Assign(Source);
    lines_->Assign(*src->lines_);  // the current lines may differ from the selected snapshot
    return;
  }
  TStreamTemplates::Assign(Source);
}

void TSignalSounds::DefineProperties(TFiler& Filer) {
  TStreamTemplates::DefineProperties(Filer);
  Filer.DefineJsonProperty(
      "Template",
      [this](const TFiler::TJson& j, bool apply) {
        TFuncSignalList lines;
        lines.LoadFromJson(j);
        if (apply) lines_->Assign(lines);
      },
      // Left out when empty only with no snapshot selected: loading the selection refills it.
      [this](TFiler::TJson& j) { lines_->SaveToJson(j); }, true, lines_->Count() == 0 && TemplateIndex() < 0);
  // Files written before the lines were JSON hold the list's stream image.
  Filer.DefineBinaryProperty("Template", [this](TStream& s) { lines_->LoadFromStream(s); }, nullptr, false);
}

// --- TSignalGenerator --------------------------------------------------------------------------

const TClassInfo& TSignalGenerator::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TSignalGenerator, TSignal>("TSignalGenerator")
          .Prop("Inputs", &TSignalGenerator::Inputs)
          .Stored(&TSignalGenerator::InputsStored)
          .Prop("Sounds", &TSignalGenerator::Sounds)
          .Enum("PhaseUnits", &TSignalGenerator::PhaseUnits, &TSignalGenerator::SetPhaseUnits, {"puRad", "puDeg"},
                puRad)
          .Build();
  return info;
}

TSignalGenerator::TSignalGenerator(TComponent* AOwner)
    : TSignal(AOwner), sounds_(std::make_unique<TSignalSounds>(this)) {
  for (auto& cell : cells_) {
    cell = std::make_unique<TFuncSignalRecord>();
    cell->Values = std::make_unique<TVec>();
    cell->Continuous = true;
  }
  SetMultiChannel(true);
  SetUsesInputs(false);
}

TSignalGenerator::~TSignalGenerator() {
  BeginDestroy();
  stack_.ClearPointers();
  for (auto& cell : cells_) {
    if (!cell) continue;
    ResetFuncs(*cell);
    cell.reset();
  }
  sounds_.reset();
}

void TSignalGenerator::ResyncFunction(int Index) {
  // Lets indices up to Count + 1 through; only cells that exist are flagged.
  if (sounds_->Template()->Count() < Index - 1) throw Exception("(TemplateLineIndex-1) > Template.Count");
  if (Index >= 0 && Index < kMaxLines) cells_[static_cast<std::size_t>(Index)]->Resync = true;
  if (OnResync) OnResync(this, Index);
}

void TSignalGenerator::ResyncAll() {
  for (int i = 0; i < sounds_->Template()->Count(); ++i) ResyncFunction(i);
}

TSignal* TSignalGenerator::InputSignal(int k) const {
  TSignal* s = Inputs()->Items(k)->Input();
  if (!s) throw Exception("Inputs[" + std::to_string(k) + "] = nil!");
  return s;
}

void TSignalGenerator::Prepare() {
  if (prepared_) return;
  SetUsesInputs(false);
  // Lines beyond the cells are left to ResetStack, which rejects such a template.
  const int n = std::min(sounds_->Template()->Count(), kMaxLines);
  for (int i = 0; i < n; ++i) PartialUpdate(i);
  if (UsesInputs()) {
    const int len = InputSignal(0)->Length();
    for (int i = 0; i < n; ++i) cells_[static_cast<std::size_t>(i)]->Values->SetLength(len);
  }
  prepared_ = true;
}

void TSignalGenerator::PartialUpdate(int i) {
  const TFuncSignalRecord& line = *sounds_->Template()->Items(i);
  TFuncSignalRecord& cell = *cells_.at(static_cast<std::size_t>(i));
  cell.Active = line.Active;
  cell.OpType = line.OpType;
  ResetFuncs(cell);
  if (cell.OpType == optFunction) {
    cell.FuncType = line.FuncType;
    cell.Complex = line.Complex;
    cell.Continuous = line.Continuous;
    cell.Params = line.Params;
    cell.Values->Size(Length(), cell.Complex);
    InitFunc(cell);
  } else {
    cell.OperType = line.OperType;
    cell.Params = line.Params;
    cell.Values->SetLength(0);
  }
}

void TSignalGenerator::ResetStack() {
  stack_.ClearPointers();
  const int n = sounds_->Template()->Count();
  if (n > kMaxLines) throw Exception("Max stack size = 21!");
  for (int i = 0; i < n; ++i) {
    TFuncSignalRecord* cell = cells_[static_cast<std::size_t>(i)].get();
    if (!cell->Active) continue;
    cell->Computed = false;
    stack_.AddPointer(cell);
  }
}

void TSignalGenerator::ResetFuncs(TFuncSignalRecord& Cell) {
  switch (Cell.FuncType) {
    case funSine:
    case funTriangle: Cell.State.reset(); break;
    case funImpulse:
    case funUnitImpulse:
    case funSquare:
    case funChirp: Cell.Counter = 0; break;
    default: break;
  }
}

void TSignalGenerator::InitFunc(TFuncSignalRecord& Cell) {
  const double fs = SamplingFrequency();
  if (fs == 0) throw Exception("SamplingFrequency = 0");
  const double f = Cell.Params[0] / fs;
  const double phi = DegToRad(Cell.Params[1]);
  TVec& v = *Cell.Values;
  switch (Cell.FuncType) {
    case funSine: {
      auto s = std::make_unique<TCToneState>();
      ToneInit(f, phi, std::fabs(Cell.Params[2]), s->State, v.Complex());
      Cell.State = std::move(s);
      break;
    }
    case funImpulse:
    case funUnitImpulse: Cell.Counter = 0; break;
    case funTriangle: {
      auto s = std::make_unique<TCTriangleState>();
      TriangleToneInit(f, phi, std::fabs(Cell.Params[2]), Cell.Params[3], s->State, v.Complex());
      Cell.State = std::move(s);
      break;
    }
    case funRandGauss:
      if (!Cell.Continuous) NoiseBlock(v, nkGauss, Cell.Params[0], Cell.Params[1], false);
      break;
    case funRandUniform:
      if (!Cell.Continuous) NoiseBlock(v, nkUniform, Cell.Params[0], Cell.Params[1], false);
      break;
    default:
      if (IsInput(Cell.FuncType)) {
        const int k = Cell.FuncType - funInput0;
        if (Inputs()->Count() < k + 1) throw Exception("i > Inputs.Count-1");
        SetUsesInputs(Inputs()->Count() > 0);
      }
      break;
  }
}

void TSignalGenerator::FillValues(TFuncSignalRecord& Cell) {
  if (Cell.OpType == optOperator) throw Exception("Formula error!");
  if (Cell.Computed) return;
  TVec& v = *Cell.Values;
  // A unary operator (Abs) may have turned last block's complex result real in this cell.
  if (Cell.FuncType < funInput0 && v.Complex() != Cell.Complex) v.Size(v.Length(), Cell.Complex);
  if (!Cell.Continuous || Cell.Resync) {
    ResetFuncs(Cell);
    InitFunc(Cell);
    Cell.Resync = false;
  }
  const auto& p = Cell.Params;
  switch (Cell.FuncType) {
    case funSine: {
      if (!Cell.State) InitFunc(Cell);
      auto& holder = static_cast<TCToneState&>(*Cell.State);
      TToneState s = holder.State;
      Tone(v, s);
      holder.State = s;
      if (Cell.Complex && CircularFrequency(p[0] / SamplingFrequency(), Cell.Complex) > 0.5) v.Conj();
      break;
    }
    case funTriangle: {
      if (!Cell.State) InitFunc(Cell);
      // The advanced state is dropped, so a continuous triangle starts each block afresh.
      TTriangleState s = static_cast<TCTriangleState&>(*Cell.State).State;
      TriangleTone(v, s);
      if (Cell.Complex && CircularFrequency(p[0] / SamplingFrequency(), Cell.Complex) > 0.5) v.Conj();
      break;
    }
    case funImpulse:  // P0 high, P1 low, P2 rise, P3 fall (s), P4 height
      PulseTrain(v, Cell.Counter, SamplingTime() / Length(), p[2], p[0], p[3], p[1], p[4]);
      break;
    case funUnitImpulse:
      v.SetZero();
      if (v.Length() > 0) v.PValues()[0] = 0.5 * v.Length();
      break;
    case funSquare: SquareWave(v, Cell.Counter, SamplingTime() / Length(), p[0], p[1], p[2], p[3]); break;
    case funRandGauss: NoiseBlock(v, nkGauss, p[0], p[1], Cell.Continuous); break;
    case funRandUniform: NoiseBlock(v, nkUniform, p[0], p[1], Cell.Continuous); break;
    case funChirp: {
      // P6 is the sweep's length in blocks (0: one block), rounded to whole samples; the
      // frequency scale follows the unrounded duration.
      std::int64_t L = Length();
      double T = SamplingTime();
      if (p[6] != 0) {
        L = static_cast<std::int64_t>(std::nearbyint(Length() * p[6]));  // ties to even
        T = SamplingTime() * p[6];
      }
      LinearChirp(v, Cell.Counter, p[0], p[4], p[2], p[5], p[3], T, L);
      break;
    }
    case funConstant:
      if (Cell.Complex)
        v.SetVal(TCplx(p[0], p[1]));
      else
        v.SetVal(p[0]);
      break;
    default:
      if (IsInput(Cell.FuncType)) v.Copy(InputSignal(Cell.FuncType - funInput0)->Data());
      break;
  }
  // Wraps like the 32-bit counter it is; the bound keeps that from happening in long runs.
  if (Cell.Counter <= kCounterWrap)
    Cell.Counter = static_cast<std::int32_t>(static_cast<std::int64_t>(Cell.Counter) + Length());
  else
    Cell.Counter = 0;
}

void TSignalGenerator::Compute() {
  computeMessage_.clear();
  if (stack_.Count() == 1) {
    FillValues(*stack_.Items(0));
  } else {
    int passes = 0;
    while (stack_.Count() >= 2 && passes < kMaxPasses) {
      const int last = stack_.Count() - 1;
      int j = 0;
      while (j < last && stack_.Items(j)->OpType != optOperator) ++j;
      const TFuncSignalRecord& op = *stack_.Items(j);
      if (op.OpType != optOperator) {
        prepared_ = false;
        computeMessage_ = "Invalid expression: Missing operator!";
        ERaise(computeMessage_);
      }
      switch (op.OperType) {
        case opAdd:
        case opSub:
        case opMul:
        case opDiv: {
          TFuncSignalRecord& a = *stack_.Items(j - 2);
          TFuncSignalRecord& b = *stack_.Items(j - 1);
          FillValues(a);
          FillValues(b);
          TVec& x = *a.Values;
          const TVec& y = *b.Values;
          switch (op.OperType) {
            case opAdd: x.Add(y); break;
            case opSub: x.Sub(y); break;
            case opMul: x.Mul(y); break;
            default: x.Divide(y); break;
          }
          a.Computed = true;
          stack_.Delete(j - 1);  // the right operand
          stack_.Delete(j - 1);  // the operator
          break;
        }
        case opSin:
        case opCos:
        case opTan:
        case opExp:
        case opLn:
        case opLog:
        case opAbs:
        case opRound:
        case opTrunc:
        case opLimit: {
          TFuncSignalRecord& a = *stack_.Items(j - 1);
          FillValues(a);
          TVec& x = *a.Values;
          switch (op.OperType) {
            case opSin: x.Sin(); break;
            case opCos: x.Cos(); break;
            case opTan: x.Tan(); break;
            case opExp: x.Exp(); break;
            case opLn: x.Ln(); break;
            case opLog: x.Log10(); break;
            case opAbs: x.Abs(); break;
            case opRound: x.Round(); break;
            case opTrunc: x.Trunc(); break;
            default:
              x.ThreshTop(op.Params[0]);
              x.ThreshBottom(op.Params[1]);
              break;
          }
          a.Computed = true;
          stack_.Delete(j);
          break;
        }
        default: break;  // opNone: the pass is used up and nothing changes
      }
      ++passes;
    }
    // Tested after the loop, so an expression that needs exactly kMaxPasses reductions fails too.
    if (passes >= kMaxPasses) {
      prepared_ = false;
      computeMessage_ = "Expression stack size limit exceeded!";
      ERaise(computeMessage_);
    }
  }
  if (stack_.Count() > 0) Data().Copy(*stack_.Items(0)->Values);
}

TPipeState TSignalGenerator::InternalUpdate() {
  Prepare();
  if (!UsesInputs() && Length() == 0) throw Exception("Length = 0");
  ResetStack();
  Compute();
  return pipeOK;
}

void TSignalGenerator::InternalParamUpdate(TObject* Sender) { TSignal::InternalParamUpdate(Sender); }

void TSignalGenerator::SaveToStream(TStream& Stream) const {
  sounds_->Consolidate();
  TSignal::SaveToStream(Stream);
}

void TSignalGenerator::LoadFromStream(TStream& Stream) {
  sounds_->SetTemplateIndex(-1);
  TSignal::LoadFromStream(Stream);
}

}  // namespace ondrix
