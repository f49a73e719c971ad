// TAudioSignal: what sound-card input and output share — the wave format, the ring of device
// buffers and the start/stop flags; and the device lists.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "ondrix/OndrixTools/TSignal.h"

namespace ondrix {

class TNotificationQueue;
class TStringList;

/// The wave format of a device: a WAVEFORMATEX with its extensible part.
struct TWaveFormat {
  std::uint16_t FormatTag = 1;  ///< 1 PCM, 0xFFFE extensible
  std::uint16_t Channels = 1;
  std::uint32_t SamplesPerSec = 22050;
  std::uint32_t AvgBytesPerSec = 0;
  std::uint16_t BlockAlign = 0;
  std::uint16_t BitsPerSample = 16;
  std::uint16_t CbSize = 0;
  std::uint16_t ValidBitsPerSample = 0;
  std::uint32_t ChannelMask = 0;
  bool SubFormatPcm = false;  ///< SubFormat is KSDATAFORMAT_SUBTYPE_PCM
};

/// Base of the sound-card components: a signal with a device format and a ring of buffers.
///
/// The owner must be a TNotificationQueue (or nil, with the queue given as window owner):
/// device notices are run from it, on the thread that pumps it. Buffer-shape properties
/// (NumBuffers, BufferSize, Quantization, Stereo) cannot change while the device is Active.
class TAudioSignal : public TSignal {
public:
  ONDRIX_CLASS_INFO()

  /// Raises "not (AOwner is TWinControl)" for an owner that is not a TNotificationQueue.
  explicit TAudioSignal(TComponent* AOwner);
  /// A component without owner whose notices go through WinOwner.
  explicit TAudioSignal(TNotificationQueue& WinOwner);
  ~TAudioSignal() override;

  /// Device index (-1: ALSA's "default"); the order of GetOutSoundDevices.
  int WaveDevice() const noexcept { return waveDevice_; }
  void SetWaveDevice(int Value) noexcept { waveDevice_ = Value; }
  /// An ALSA PCM name ("hw:1,0", "null", "file:FILE=x.raw,FORMAT=raw"); when set it is used
  /// instead of WaveDevice.
  const std::string& DeviceName() const noexcept { return deviceName_; }
  void SetDeviceName(const std::string& Value) { deviceName_ = Value; }
  int NumBuffers() const noexcept { return numBuffers_; }
  /// Clamped to 2 .. 24; ignored while Active.
  void SetNumBuffers(int Value);
  /// Bytes of one device buffer.
  int BufferSize() const noexcept { return bufferSize_; }
  /// At least 512; ignored while Active.
  void SetBufferSize(int Value);
  /// Bits per sample.
  std::uint16_t Quantization() const noexcept { return quantization_; }
  /// Rounded down to a multiple of 8; ignored while Active.
  void SetQuantization(std::uint16_t Value);
  bool Stereo() const noexcept { return format_.Channels == 2; }
  /// Two channels or one; ignored while Active.
  void SetStereo(bool Value);
  bool AutoPull() const noexcept { return autoPull_; }
  void SetAutoPull(bool Value) noexcept { autoPull_ = Value; }
  float Overlapping() const noexcept { return overlapping_; }
  void SetOverlapping(float Value) noexcept { overlapping_ = Value; }
  float MonitorFreq() const noexcept { return monitorFreq_; }
  void SetMonitorFreq(float Value) noexcept { monitorFreq_ = Value; }
  /// Milliseconds added to ElapsedSamples (a latency estimate).
  int MonitorAggressiveness() const noexcept { return monitorAggressiveness_; }
  void SetMonitorAggressiveness(int Value) noexcept { monitorAggressiveness_ = Value; }
  /// Active is true only while the device plays: writing it does nothing.
  void SetActive(bool) override {}

  /// The rate is rounded to whole hertz for the device.
  void SetSamplingFrequency(double F) override;
  void SetChannelCount(int N) override;

  const TWaveFormat& WaveFormat() const noexcept { return format_; }
  /// BufferSize rounded down to whole frames.
  int UsableBufferLength() const noexcept { return usableLength_; }
  /// A power of two of bytes near a fifth of a second of sound.
  int RecomendedBufferSize() const;
  /// A power of two of values near a fifth of a second of sound.
  int RecomendedBufferLength() const;

  TNotifyEvent OnStart;
  TNotifyEvent OnStop;

  /// The queue the device notices go through (nullptr when there is none).
  TNotificationQueue* WinOwner() const noexcept { return winOwner_; }
  /// Routes the notices through Value (for components made without one, as list items are).
  void SetWinOwner(TNotificationQueue* Value);

protected:
  /// Forgets a window owner that is destroyed.
  void Notification(TComponent* AComponent, TOperation Operation) override;
  /// Recomputes the wave format from Quantization, ChannelCount and SamplingFrequency.
  void MakeWaveFmtConsistent();
  /// Sets the flag the pull protocol sees, which the published setter ignores.
  void SetActiveFlag(bool Value) { TSignal::SetActive(Value); }
  virtual void ReallocateBuffers() {}

private:
  TNotificationQueue* winOwner_ = nullptr;
  TWaveFormat format_;
  int usableLength_ = 0;
  int waveDevice_ = -1, numBuffers_ = 4, bufferSize_ = 8192, monitorAggressiveness_ = 0;
  std::uint16_t quantization_ = 16;
  bool autoPull_ = true;
  float overlapping_ = 0, monitorFreq_ = 0;
  std::string deviceName_;
};

/// Clears Strings and adds the name of every playback device, in WaveDevice order.
void GetOutSoundDevices(TStringList& Strings);
/// Clears Strings and adds the name of every capture device.
void GetInSoundDevices(TStringList& Strings);
/// The ALSA name of playback device Index (-1: "default"); "" when there is none.
std::string OutSoundDeviceName(int Index);

}  // namespace ondrix
