// TSignalOut: plays the blocks of its input on a sound card; TSignalOutList: a bank of them.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "ondrix/AudioSignal/AudioBase.h"
#include "ondrix/OndrixTools/Collections.h"
#include "ondrix/vec/precision.h"

namespace ondrix {

class TAlsaPcm;

/// Asks the application for Count samples per channel; Count may be lowered. False: no sound.
using TBufferFillEvent = std::function<bool(TObject* Sender, int& Count)>;

/// The sink of a playback chain.
///
/// Start pulls the input once, takes its channel count, block length and rate, opens the
/// device and fills the ring of NumBuffers buffers; then every "buffer done" notice, run on
/// the thread that pumps the owner's TNotificationQueue, pulls one more block, converts it
/// to the device's integer format (values are taken as they are, scaled by ScaleFactor and
/// rounded by Rounding: a 16-bit device plays 1000.0 as 1000; 8-bit samples are unsigned, 0.0
/// playing as 128) and queues it. The input's block is never modified. When the input stops
/// answering pipeOK, the buffers already queued still play, then the device closes and
/// OnStop runs.
class TSignalOut : public TAudioSignal {
public:
  ONDRIX_CLASS_INFO()

  explicit TSignalOut(TComponent* AOwner);
  explicit TSignalOut(TNotificationQueue& WinOwner);
  ~TSignalOut() override;

  double ScaleFactor() const noexcept { return scaleFactor_; }
  void SetScaleFactor(double Value) noexcept { scaleFactor_ = Value; }
  TRounding Rounding() const noexcept { return rounding_; }
  void SetRounding(TRounding Value) noexcept { rounding_ = Value; }
  bool Paused() const noexcept { return paused_; }
  /// While Active, holds or resumes the device.
  void SetPaused(bool Value);
  /// Fills buffers when set (after the input's pull, if any).
  TBufferFillEvent OnBufferFill;

  /// Begins playback (nothing while Active).
  virtual void Start();
  /// Stops at once, dropping what is queued.
  virtual void StopAtOnce();
  /// Stops refilling; what is queued still plays, then the device closes.
  virtual void StopGracefully();
  /// Samples per channel played so far.
  virtual std::int64_t ElapsedSamples() const;
  /// ElapsedSamples in seconds.
  double ElapsedTime() const;
  /// Device underruns recovered during this playback.
  int Underruns() const;
  /// The buffer being filled, while a fill is under way (for OnBufferFill handlers).
  std::uint8_t* FillBuffer() const noexcept { return bufferReady_ ? target_ : nullptr; }

  /// Converts the input's block into the buffer being filled.
  TPipeState InternalUpdate() override;

protected:
  /// Opens the device and fills the ring; raises on failure.
  virtual void Setup();
  /// Fills buffer i with up to Bytes bytes; true when it holds sound.
  virtual bool ReadBuffer(int i, int Bytes);
  /// Hands the next buffer of the ring to the device.
  bool QueueBuffer();
  /// Queues the filled buffers; false when the device refused.
  bool StartIt();
  /// A buffer has been played: refill and requeue it, or close when nothing is pending.
  void BufferDone();
  virtual void CloseWaveDevice();
  void ReallocateBuffers() override;
  /// Stops at once when the window owner goes.
  void Notification(TComponent* AComponent, TOperation Operation) override;

private:
  struct TCallBackWinOut;  // links device notices back to this component while it plays

  void InitWaveHeaders();
  void Fire(const TNotifyEvent& Event);

  std::unique_ptr<TAlsaPcm> device_;
  std::unique_ptr<TCallBackWinOut> callback_;
  std::vector<std::vector<std::uint8_t>> buffers_;
  std::vector<int> lengths_;   // bytes of sound in each buffer
  std::vector<bool> filled_;   // buffer holds sound not yet queued
  TVec scratch_;
  std::uint8_t* target_ = nullptr;
  int targetBytes_ = 0;
  int next_ = 0, filledCount_ = 0, doneCount_ = 0, pending_ = 0;
  bool deviceOpen_ = false, running_ = false, bufferReady_ = false, firstBuffer_ = false, paused_ = false;
  TPipeState firstState_ = pipeOK;
  double scaleFactor_ = 1.0;
  TRounding rounding_ = rnRound;
};

/// A bank of sound outputs.
class TSignalOutList : public TSignalList {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalOutList(TComponent* AOwner) : TSignalList(AOwner) {}
  TSignalOut* Items(int i) const { return static_cast<TSignalOut*>(TAnalysisList::Items(i)); }

protected:
  std::unique_ptr<TKvxComponent> AddItem() override;
};

/// Pumps Queue until Out stops playing, or until *Stop becomes true (then stops Out at once):
/// for programs without a loop of their own.
void PlayUntilStopped(TNotificationQueue& Queue, TSignalOut& Out, const std::atomic<bool>* Stop = nullptr);

}  // namespace ondrix
