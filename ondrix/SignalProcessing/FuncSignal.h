// Expression lines of the signal generator: the line record and its packed stream image, the
// oscillator state holders, the list of lines, and the text names of functions and operators.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ondrix/OndrixTools/Templates.h"
#include "ondrix/sigcore/tone.h"
#include "ondrix/vec/TVec.h"

namespace ondrix {

/// Kind of an expression line. The ordinals are part of the stream format.
enum TOpType : std::uint8_t { optFunction, optOperator };

/// Function of a function line. The ordinals are part of the stream format; funInput0 + k
/// copies input k of the generator.
enum TFuncSignalType : std::uint8_t {
  funSine,
  funImpulse,
  funUnitImpulse,
  funTriangle,
  funSquare,
  funRandGauss,
  funRandUniform,
  funChirp,
  funConstant,
  funInput0,
  funInput1,
  funInput2,
  funInput3,
  funInput4,
  funInput5,
  funInput6,
  funInput7,
  funNone
};

/// Operator of an operator line: binary (opAdd .. opDiv) or unary (the rest). The ordinals are
/// part of the stream format.
enum TOperSignalType : std::uint8_t {
  opAdd,
  opSub,
  opMul,
  opDiv,
  opSin,
  opCos,
  opTan,
  opExp,
  opLn,
  opLog,
  opAbs,
  opRound,
  opTrunc,
  opLimit,
  opNone
};

/// Fired when a line is asked to restart (Sender: the generator, Index: the line).
using TOnResync = std::function<void(TObject* Sender, std::int32_t Index)>;

/// Holds a tone oscillator's state so that a line can own it through its State reference.
class TCToneState : public TObject {
public:
  TToneState State;
};

/// Holds a triangle oscillator's state so that a line can own it through its State reference.
class TCTriangleState : public TObject {
public:
  TTriangleState State;
};

static_assert(std::endian::native == std::endian::little,
              "the line image is written in the machine's byte order, which must be little-endian");

#pragma pack(push, 1)
/// The packed 76-byte stream image of one line (little-endian). Values and State are
/// references in the line and mean nothing in a stream: they are written as zero and ignored
/// on reading.
struct TFuncSignalRecordDouble {
  std::uint8_t Active = 0;    // offset 0
  std::uint8_t OpType = 0;    // 1
  std::uint8_t FuncType = 0;  // 2
  std::uint8_t OperType = 0;  // 3
  std::uint8_t Complex = 0;   // 4
  double Params[7] = {};      // 5 .. 60
  std::uint8_t Continuous = 0;  // 61
  std::uint8_t Resync = 0;      // 62
  std::uint32_t Values = 0;     // 63 .. 66
  std::uint32_t State = 0;      // 67 .. 70
  std::int32_t Counter = 0;     // 71 .. 74
  std::uint8_t Computed = 0;    // 75
};
#pragma pack(pop)
static_assert(sizeof(TFuncSignalRecordDouble) == 76);
static_assert(offsetof(TFuncSignalRecordDouble, Params) == 5);
static_assert(offsetof(TFuncSignalRecordDouble, Continuous) == 61);
static_assert(offsetof(TFuncSignalRecordDouble, Values) == 63);
static_assert(offsetof(TFuncSignalRecordDouble, State) == 67);
static_assert(offsetof(TFuncSignalRecordDouble, Counter) == 71);
static_assert(offsetof(TFuncSignalRecordDouble, Computed) == 75);

/// One expression line, and at the same time the working cell in which the generator
/// computes the line's block of samples.
///
/// Params P0..P6 mean, per function (frequencies in Hz, phases in degrees, times in seconds):
/// sine and triangle: frequency, phase, amplitude (|P2|), triangle shape (P3); impulse: high,
/// low, rise and fall time, height (P4); square: frequency, phase, amplitude, offset; gaussian
/// noise: mean, standard deviation (|P1|); uniform noise: low, high; chirp: start frequency,
/// (unused), start amplitude, offset, stop frequency, stop amplitude, sweep length in blocks
/// (0: one block); constant: real and imaginary value. The limit operator clips at P0 from
/// above, then at P1 from below.
class TFuncSignalRecord : public TObject {
public:
  TFuncSignalRecord() = default;
  TFuncSignalRecord(const TFuncSignalRecord&) = delete;
  TFuncSignalRecord& operator=(const TFuncSignalRecord&) = delete;
  TFuncSignalRecord(TFuncSignalRecord&&) = default;
  TFuncSignalRecord& operator=(TFuncSignalRecord&&) = default;
  ~TFuncSignalRecord() override;

  bool Active = false;        ///< takes part in evaluation
  TOpType OpType = optFunction;
  TFuncSignalType FuncType = funSine;
  TOperSignalType OperType = opAdd;
  bool Complex = false;       ///< the function produces complex samples
  std::array<double, 7> Params{};
  bool Continuous = false;    ///< state runs on from block to block (else restart each block)
  bool Resync = false;        ///< one-shot request to restart at the next block
  std::unique_ptr<TVec> Values;    ///< the line's block (working cells only; not streamed)
  std::unique_ptr<TObject> State;  ///< TCToneState or TCTriangleState, or null (not streamed)
  std::int32_t Counter = 0;   ///< samples produced since the last restart
  bool Computed = false;      ///< holds an operator's result in this block

  /// Copies Active through Resync, Counter and Computed; never Values or State.
  void Assign(const TFuncSignalRecord& Src);
  /// The same fields from a stream image.
  void Assign(const TFuncSignalRecordDouble& Src);
  /// Writes the same fields into Dst; its Values and State slots are left as they are.
  void AssignTo(TFuncSignalRecordDouble& Dst) const;
};

/// A line that computes function Func with parameters P0, P1, ... (the rest zero). Active,
/// continuous, real unless Complex is given.
TFuncSignalRecord FunctionLine(TFuncSignalType Func, std::initializer_list<double> Params = {},
                               bool Complex = false, bool Continuous = true);
/// An active operator line with optional parameters (the limit operator's bounds).
TFuncSignalRecord OperatorLine(TOperSignalType Oper, std::initializer_list<double> Params = {});

/// An ordered list of lines. Add stores a copy that the list owns; AddPointer stores the
/// reference itself (the generator's evaluation stack), which the list never frees.
///
/// Stream format: Count + 1 line images of 76 bytes in one block; image 0 is a header whose
/// bytes 71..74 hold Count (32-bit little-endian) and whose other bytes are zero.
class TFuncSignalList : public TStreamedList {
public:
  ONDRIX_CLASS_INFO()

  TFuncSignalList() = default;
  ~TFuncSignalList() override;

  /// Appends a copy of Rec (made with Assign); returns its index.
  int Add(const TFuncSignalRecord& Rec);
  /// Appends the reference itself, not owned; returns its index.
  int AddPointer(TFuncSignalRecord* Rec);
  /// Removes entry i, freeing the line when the list owns it. EListError for a bad index.
  void Delete(int i) override;
  /// Line i; EListError for a bad index.
  TFuncSignalRecord* Items(int i) const { return static_cast<TFuncSignalRecord*>(TList::Items(i)); }
  /// Writing a line by index raises ENoOperation "Operation not supported".
  [[noreturn]] void SetItems(int i, TFuncSignalRecord* Rec);
  /// Clear, then a copy of every line of Src.
  void Assign(const TFuncSignalList& Src);

  void SaveToStream(TStream& Stream) const override;
  /// Clears the list and reads lines written by SaveToStream; a negative count or one the
  /// stream cannot hold raises EReadError "TFuncSignalList: line count out of range", and a
  /// line whose kind, function or operator ordinal has no name "TFuncSignalList: line kind
  /// out of range" ("function", "operator").
  void LoadFromStream(TStream& Stream) override;

  /// The lines as settings files keep them, an array of one object per line:
  /// {"function": "sine", "params": [1000, 0, 1]}, {"operator": "+"}. Names are the lower-cased
  /// display names (FuncToString, OpToString) or "none"; params leave out trailing zeros;
  /// "active", "complex" (functions) and "continuous" (functions) appear only when they
  /// differ from FunctionLine's and OperatorLine's defaults. Resync, Counter and Computed are
  /// working state and are not written. An ordinal with no name (set in code; streams refuse
  /// them) raises EWriteError.
  void SaveToJson(TFiler::TJson& Value) const;
  /// Replaces the lines by those of Value (the SaveToJson form). Names are matched ignoring
  /// case and spaces; "add", "sub", "mul" and "div" name the arithmetic operators too.
  /// Malformed data raises EJsonPropertyError at the line ("[2].params") and leaves the
  /// list as it was.
  void LoadFromJson(const TFiler::TJson& Value);

private:
  std::vector<std::unique_ptr<TFuncSignalRecord>> owned_;
};

/// Display name of a function ("Sine", "Unit impulse", "Input 3"; "Unrecognized" otherwise).
std::string FuncToString(TFuncSignalType Func);
/// The function whose lower-case name equals the lower-cased Text; funNone otherwise.
TFuncSignalType StringToFunc(const std::string& Text);
/// Display name of an operator ("+", "Sin", ...; "Unrecognized" otherwise).
std::string OpToString(TOperSignalType Oper);
/// The operator whose name equals the lower-cased Text; opNone otherwise. "limit" gives opNone:
/// the limit operator is compared against its capitalised name, which lower-cased text never
/// matches (kept for compatibility of stored expressions).
TOperSignalType StringToOp(const std::string& Text);

}  // namespace ondrix
