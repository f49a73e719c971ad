// The signal generator: a source whose blocks are computed from a small reverse-Polish
// expression of tones, impulses, chirps, noise, constants and input signals.
#pragma once

#include <array>
#include <memory>
#include <string>

#include "ondrix/OndrixTools/Collections.h"
#include "ondrix/OndrixTools/TSignal.h"
#include "ondrix/OndrixTools/TSpectrum.h"
#include "ondrix/OndrixTools/Templates.h"
#include "ondrix/SignalProcessing/FuncSignal.h"

namespace ondrix {

/// The generator's expression lines (Template) with named snapshots of them (templates).
///
/// In settings files the current lines are kept as the JSON property "Template" (see
/// TFuncSignalList::SaveToJson), next to the named snapshots, which stay binary; the older
/// binary form of "Template" (the TFuncSignalList stream format) is still read.
class TSignalSounds : public TStreamTemplates {
public:
  ONDRIX_CLASS_INFO()

  /// AOwner's class name marks the templates' stream format.
  explicit TSignalSounds(TObject* AOwner = nullptr);
  ~TSignalSounds() override;

  /// The lines being edited (owned).
  TFuncSignalList* Template() const noexcept { return lines_.get(); }
  /// The lines cannot be replaced: raises "Operation not supported!".
  [[noreturn]] void SetTemplate(TFuncSignalList* Value);

  /// From another TSignalSounds: the snapshots, the selection and the current lines.
  void Assign(const TPersistent& Source) override;
  void DefineProperties(TFiler& Filer) override;

private:
  std::unique_ptr<TFuncSignalList> lines_;
};

/// A signal source that evaluates an expression of up to 21 lines on whole blocks.
///
/// The lines of Sounds()->Template() are in reverse Polish order: function lines push a block
/// of Length samples, operator lines combine the one or two blocks before them. Lines marked
/// Continuous keep their phase, time position or noise sequence from one block to the next;
/// the others restart in every block. Phases (P1) are in degrees, whatever PhaseUnits says.
/// Time and frequency follow the TSignal scale: Length samples per block at
/// SamplingFrequency (Hz). Lines funInput0..funInput7 copy the signals of Inputs items 0..7.
///
/// After editing the lines, set Prepared to false so that the next pull takes them in. A
/// restart acts on the function a working cell had before, so a line edited from a
/// non-counting function (sine, noise, ...) into an impulse, square or chirp keeps the sample
/// counter the old function advanced; ResyncFunction starts it from sample 0.
class TSignalGenerator : public TSignal {
public:
  ONDRIX_CLASS_INFO()

  /// Most lines a template may hold.
  static constexpr int kMaxLines = 21;
  /// Reduction passes after which evaluation gives up.
  static constexpr int kMaxPasses = 30;
  /// Bound of the sample counters; a counter beyond it restarts at 0.
  static constexpr std::int32_t kCounterWrap = 2100000000;

  explicit TSignalGenerator(TComponent* AOwner);
  ~TSignalGenerator() override;

  /// The expression lines and their named templates.
  TSignalSounds* Sounds() const noexcept { return sounds_.get(); }
  /// Does nothing: the lines are edited through Sounds()->Template().
  void SetSounds(TSignalSounds* Value) { (void)Value; }
  /// Stored only; generation always reads phases in degrees.
  TPhaseUnits PhaseUnits() const noexcept { return phaseUnits_; }
  void SetPhaseUnits(TPhaseUnits Value) noexcept { phaseUnits_ = Value; }
  /// Fired by ResyncFunction.
  TOnResync OnResync;

  /// False: the next update copies the template into the working cells and restarts every
  /// line. Writing only stores the flag.
  bool Prepared() const noexcept { return prepared_; }
  void SetPrepared(bool Value) noexcept { prepared_ = Value; }
  /// Message of the last evaluation failure, "" after a good one.
  const std::string& ComputeMessage() const noexcept { return computeMessage_; }
  void SetComputeMessage(const std::string& Value) { computeMessage_ = Value; }

  /// Asks line Index to restart at its next block, then fires OnResync. Raises
  /// "(TemplateLineIndex-1) > Template.Count" only when Template.Count < Index - 1.
  void ResyncFunction(int Index);
  /// ResyncFunction for every template line in order.
  void ResyncAll();
  /// Copies the template into the working cells and initialises every line (once, until
  /// Prepared is cleared).
  void Prepare();
  /// Evaluates the expression over the active cells and copies the result into Data.
  void Compute();

  /// Working cell i (0 .. kMaxLines - 1): the prepared copy of template line i, with its
  /// block of values and its running state. For inspection; edit the template instead.
  TFuncSignalRecord& WorkingCell(int i) { return *cells_.at(static_cast<std::size_t>(i)); }

  /// Prepare, check the length, rebuild the stack, Compute.
  TPipeState InternalUpdate() override;
  void InternalParamUpdate(TObject* Sender) override;
  /// Writes the selected template back into its snapshot first.
  void SaveToStream(TStream& Stream) const override;
  /// Deselects the template first, so that loading does not store into it.
  void LoadFromStream(TStream& Stream) override;

protected:
  /// Copies template line i into working cell i and initialises it.
  void PartialUpdate(int i);
  /// Rebuilds the evaluation stack from the active working cells in template order.
  void ResetStack();
  /// Frees a tone or triangle state, or zeroes the sample counter, by the cell's FuncType.
  void ResetFuncs(TFuncSignalRecord& Cell);
  /// Starts a function line: oscillator state, counter, seeded noise, input check.
  void InitFunc(TFuncSignalRecord& Cell);
  /// Fills a function line's block and advances its counter.
  void FillValues(TFuncSignalRecord& Cell);

private:
  TSignal* InputSignal(int k) const;

  std::unique_ptr<TSignalSounds> sounds_;
  std::array<std::unique_ptr<TFuncSignalRecord>, kMaxLines> cells_;
  TFuncSignalList stack_;  // references to cells_, never owned
  bool prepared_ = false;
  std::string computeMessage_;
  TPhaseUnits phaseUnits_ = puRad;
};

}  // namespace ondrix
