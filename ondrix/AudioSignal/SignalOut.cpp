#include "ondrix/AudioSignal/SignalOut.h"

#include <algorithm>
#include <chrono>

#include "ondrix/AudioSignal/AlsaPcm.h"
#include "ondrix/AudioSignal/NotificationQueue.h"
#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

// Stands for the hidden window of the notices: it exists from Setup to CloseWaveDevice, and
// every notice posted for it is dropped when it goes.
struct TSignalOut::TCallBackWinOut {
  TSignalOut* Out;
  TNotificationQueue* Queue;
  ~TCallBackWinOut() { Queue->Cancel(this); }
};

const TClassInfo& TSignalOut::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TSignalOut, TAudioSignal>("TSignalOut")
          .Prop("Input", &TSignalOut::GetInput, &TSignalOut::SetInput)
          .Stored(&TSignalOut::InputsStored)
          .Prop("ScaleFactor", &TSignalOut::ScaleFactor, &TSignalOut::SetScaleFactor, 1.0)
          .Enum("Rounding", &TSignalOut::Rounding, &TSignalOut::SetRounding,
                {"rnRound", "rnTrunc", "rnFloor", "rnCeil"}, rnRound)
          .Prop("Paused", &TSignalOut::Paused, &TSignalOut::SetPaused, false)
          .Build();
  return info;
}

TSignalOut::TSignalOut(TComponent* AOwner) : TAudioSignal(AOwner) { ReallocateBuffers(); }

TSignalOut::TSignalOut(TNotificationQueue& WinOwner) : TAudioSignal(WinOwner) { ReallocateBuffers(); }

TSignalOut::~TSignalOut() {
  BeginDestroy();
  StopAtOnce();
  if (WinOwner()) WinOwner()->Cancel(this);
}

void TSignalOut::Notification(TComponent* AComponent, TOperation Operation) {
  if (Operation == opRemove && AComponent == WinOwner() && AComponent) {
    StopAtOnce();
    WinOwner()->Cancel(this);
  }
  TAudioSignal::Notification(AComponent, Operation);
}

void TSignalOut::ReallocateBuffers() {
  buffers_.assign(static_cast<std::size_t>(NumBuffers()), {});
  lengths_.assign(static_cast<std::size_t>(NumBuffers()), 0);
  filled_.assign(static_cast<std::size_t>(NumBuffers()), false);
}

void TSignalOut::Fire(const TNotifyEvent& Event) {
  if (Event) Event(this);
}

// --- Starting ----------------------------------------------------------------------------------

void TSignalOut::Start() {
  if (Active()) return;
  SetOverlapping(0);  // reset by every start, as built
  if (Input() && AutoPull()) {
    firstState_ = Input()->Pull();
    SetStereo(Input()->ChannelCount() == 2);
    SetBufferSize(Input()->Length() * (Quantization() / 8));
    SetSamplingFrequency(Input()->SamplingFrequency());
    firstBuffer_ = true;
  }
  Setup();
  StartIt();
}

void TSignalOut::Setup() {
  if (deviceOpen_) ERaise("Wave output device already open.");
  next_ = 0;
  if (callback_) ERaise("CallbackWin <> Nil");
  if (!WinOwner()) ERaise("not (WinOwner is TWinControl)");
  callback_ = std::make_unique<TCallBackWinOut>(TCallBackWinOut{this, WinOwner()});

  TPcmConfig config;
  config.Device = DeviceName().empty() ? OutSoundDeviceName(WaveDevice()) : DeviceName();
  config.Channels = WaveFormat().Channels;
  config.Rate = WaveFormat().SamplesPerSec;
  config.Bits = WaveFormat().BitsPerSample;
  // The device holds about two of our buffers, so that a refill has a buffer's time to run.
  const double bufferUs = WaveFormat().AvgBytesPerSec ? 1e6 * UsableBufferLength() / WaveFormat().AvgBytesPerSec : 0;
  config.LatencyUs = static_cast<unsigned>(std::clamp(2 * bufferUs, 20000.0, 1000000.0));
  auto device = std::make_unique<TAlsaPcm>();
  TCallBackWinOut* cb = callback_.get();
  TNotificationQueue* queue = WinOwner();
  try {
    if (config.Device.empty()) throw Exception("No such device: " + std::to_string(WaveDevice()));
    device->Open(
        config, [queue, cb](int) { queue->Post(cb, [cb] { cb->Out->BufferDone(); }); },
        [queue, cb](const std::string& message) {
          queue->Post(cb, [cb, message] {
            cb->Out->StopAtOnce();
            ERaise(message);
          });
        });
  } catch (...) {
    callback_.reset();
    throw;
  }
  device_ = std::move(device);
  deviceOpen_ = true;
  queue->Post(this, [this] { Fire(OnStart); });
  InitWaveHeaders();
  filledCount_ = doneCount_ = pending_ = 0;
  running_ = true;
  SetActiveFlag(true);
  try {
    if (!ReadBuffer(0, UsableBufferLength())) ERaise("There must be at least one filled buffer");
    for (int i = 1; i < NumBuffers(); ++i) ReadBuffer(i, UsableBufferLength());
  } catch (...) {
    StopAtOnce();
    throw;
  }
}

void TSignalOut::InitWaveHeaders() {
  if (UsableBufferLength() <= 0) ERaise("Unable to init wave headers!");
  for (std::size_t i = 0; i < buffers_.size(); ++i) {
    buffers_[i].resize(static_cast<std::size_t>(UsableBufferLength()));
    lengths_[i] = 0;
    filled_[i] = false;
  }
}

bool TSignalOut::StartIt() {
  SetActiveFlag(true);
  if (paused_) device_->Pause(true);
  if (!QueueBuffer()) {
    CloseWaveDevice();
    return false;
  }
  for (int i = 1; i < NumBuffers(); ++i) QueueBuffer();
  return true;
}

// --- Filling and queueing ----------------------------------------------------------------------

bool TSignalOut::ReadBuffer(int i, int Bytes) {
  if (!running_) return false;
  const int bytesPerValue = Quantization() / 8;
  const int ch = std::max(ChannelCount(), 1);
  auto& buffer = buffers_[static_cast<std::size_t>(i)];
  bool result = false;
  if (AutoPull() && Input()) {
    bufferReady_ = true;
    target_ = buffer.data();
    targetBytes_ = Bytes;
    try {
      if (firstBuffer_) {
        result = firstState_ == pipeOK && Update() == pipeOK;
        firstBuffer_ = false;
      } else {
        result = Pull() == pipeOK;
      }
    } catch (...) {
      bufferReady_ = false;
      throw;
    }
    bufferReady_ = false;
    lengths_[static_cast<std::size_t>(i)] = ch * (Input()->Length() / ch) * bytesPerValue;
  }
  if (OnBufferFill) {
    bufferReady_ = true;
    target_ = buffer.data();
    targetBytes_ = Bytes;
    int count = Bytes / ch / std::max(bytesPerValue, 1);
    result = OnBufferFill(this, count);
    bufferReady_ = false;
    count = std::clamp(count, 0, Bytes / ch / std::max(bytesPerValue, 1));
    lengths_[static_cast<std::size_t>(i)] = ch * count * bytesPerValue;
  }
  // The source has ended: what is queued still plays, nothing more is refilled.
  if (!result) running_ = false;
  filled_[static_cast<std::size_t>(i)] = result;
  if (result) ++filledCount_;
  pending_ = filledCount_ - doneCount_;
  return result;
}

TPipeState TSignalOut::InternalUpdate() {
  if (!bufferReady_) ERaise("Buffer not ready!");
  const TSignal& in = *Input();
  const int bits = Quantization();
  if (in.Length() > targetBytes_ / std::max(bits / 8, 1)) ERaise("BufferSize < Input.Length!");
  if (in.Length() == 0) return pipeOK;
  TPrecision precision;
  switch (bits) {
    case 8: precision = prByte; break;
    case 16: precision = prSmallInt; break;
    case 24: precision = prInt24; break;
    case 32: precision = prInteger; break;
    default: return pipeOK;
  }
  // Scaled in a copy: the input's block stays exactly as it was.
  const TVec& data = in.Data();
  const double* src = data.PValues();
  if (scaleFactor_ != 1.0 || bits == 8) {
    scratch_.Copy(data);
    if (scaleFactor_ != 1.0) scratch_.Scale(scaleFactor_);
    if (bits == 8) scratch_.Add(128.0);
    src = scratch_.PValues();
  }
  EncodeValues(src, static_cast<std::size_t>(data.RealLength()), target_, precision, rounding_);
  return pipeOK;
}

bool TSignalOut::QueueBuffer() {
  const auto n = static_cast<std::size_t>(next_);
  next_ = (next_ + 1) % NumBuffers();
  // A buffer that holds no sound is not played (the ring simply moves on).
  if (!filled_[n]) return true;
  filled_[n] = false;
  device_->Write(static_cast<int>(n), buffers_[n].data(), static_cast<std::size_t>(lengths_[n]));
  return true;
}

void TSignalOut::BufferDone() {
  ++doneCount_;
  pending_ = filledCount_ - doneCount_;
  if (ReadBuffer(next_, UsableBufferLength()))
    QueueBuffer();
  else
    next_ = (next_ + 1) % NumBuffers();
  if (pending_ <= 0) {
    running_ = false;
    CloseWaveDevice();
  }
}

// --- Stopping ----------------------------------------------------------------------------------

void TSignalOut::StopAtOnce() {
  if (!deviceOpen_) return;
  SetActiveFlag(false);
  running_ = false;
  device_->Close(false);
  CloseWaveDevice();
}

void TSignalOut::StopGracefully() {
  if (!deviceOpen_) return;
  running_ = false;
}

void TSignalOut::CloseWaveDevice() {
  SetActiveFlag(false);
  SetPaused(false);
  if (device_) device_->Close(true);
  device_.reset();
  deviceOpen_ = false;
  TNotificationQueue* queue = callback_ ? callback_->Queue : WinOwner();
  callback_.reset();
  if (queue && ComponentState().Contains(csDestroying)) return;
  if (queue) queue->Post(this, [this] { Fire(OnStop); });
}

void TSignalOut::SetPaused(bool Value) {
  paused_ = Value;
  if (Active() && device_) device_->Pause(Value);
}

std::int64_t TSignalOut::ElapsedSamples() const {
  if (!Active() || !device_) return 0;
  const std::int64_t p = device_->FramesPlayed();
  if (p == 0) return 0;
  return std::max<std::int64_t>(0, p + static_cast<std::int64_t>(MonitorAggressiveness() * SamplingFrequency() / 1000));
}

double TSignalOut::ElapsedTime() const { return ElapsedSamples() / SamplingFrequency(); }

int TSignalOut::Underruns() const { return device_ ? device_->Underruns() : 0; }

// --- List and pump -----------------------------------------------------------------------------

const TClassInfo& TSignalOutList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSignalOutList, TSignalList>("TSignalOutList").Build();
  return info;
}

std::unique_ptr<TKvxComponent> TSignalOutList::AddItem() { return std::make_unique<TSignalOut>(nullptr); }

void PlayUntilStopped(TNotificationQueue& Queue, TSignalOut& Out, const std::atomic<bool>* Stop) {
  while (Out.Active() || Queue.Pending() > 0) {
    if (Stop && Stop->load()) {
      Out.StopAtOnce();
      Queue.ProcessMessages();
      return;
    }
    Queue.WaitAndProcess(std::chrono::milliseconds(50));
  }
}

}  // namespace ondrix
