#include "ondrix/AudioSignal/AudioBase.h"

#include <algorithm>
#include <cmath>

#include "ondrix/AudioSignal/AlsaPcm.h"
#include "ondrix/AudioSignal/NotificationQueue.h"
#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/TStringList.h"
#include "ondrix/vec/calcbase.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

TComponent* CheckedOwner(TComponent* AOwner) {
  if (AOwner && !dynamic_cast<TNotificationQueue*>(AOwner)) ERaise("not (AOwner is TWinControl)");
  return AOwner;
}

}  // namespace

const TClassInfo& TAudioSignal::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TAudioSignal, TSignal>("TAudioSignal")
          .Prop("WaveDevice", &TAudioSignal::WaveDevice, &TAudioSignal::SetWaveDevice, -1)
          .Prop("DeviceName", &TAudioSignal::DeviceName, &TAudioSignal::SetDeviceName, std::string())
          .Prop("NumBuffers", &TAudioSignal::NumBuffers, &TAudioSignal::SetNumBuffers, 4)
          .Prop("BufferSize", &TAudioSignal::BufferSize, &TAudioSignal::SetBufferSize, 8192)
          .Prop("Quantization", &TAudioSignal::Quantization, &TAudioSignal::SetQuantization, std::uint16_t{16})
          .Prop("Stereo", &TAudioSignal::Stereo, &TAudioSignal::SetStereo, false)
          .Prop("AutoPull", &TAudioSignal::AutoPull, &TAudioSignal::SetAutoPull, true)
          .Prop("Overlapping", &TAudioSignal::Overlapping, &TAudioSignal::SetOverlapping, 0.0f)
          .Prop("MonitorFreq", &TAudioSignal::MonitorFreq, &TAudioSignal::SetMonitorFreq, 0.0f)
          .Prop("MonitorAggressiveness", &TAudioSignal::MonitorAggressiveness,
                &TAudioSignal::SetMonitorAggressiveness, 0)
          .Build();
  return info;
}

TAudioSignal::TAudioSignal(TComponent* AOwner) : TSignal(CheckedOwner(AOwner)) {
  SetWinOwner(static_cast<TNotificationQueue*>(AOwner));
  TSignal::SetActive(false);
  SetSamplingFrequency(22050);
  SetChannelCount(1);
  MakeWaveFmtConsistent();
}

TAudioSignal::TAudioSignal(TNotificationQueue& WinOwner) : TAudioSignal(static_cast<TComponent*>(nullptr)) {
  SetWinOwner(&WinOwner);
}

TAudioSignal::~TAudioSignal() { BeginDestroy(); }

void TAudioSignal::SetWinOwner(TNotificationQueue* Value) {
  if (winOwner_ == Value) return;
  if (winOwner_ && winOwner_ != Owner()) RemoveFreeNotification(winOwner_);
  winOwner_ = Value;
  if (winOwner_) FreeNotification(winOwner_);
}

void TAudioSignal::Notification(TComponent* AComponent, TOperation Operation) {
  TSignal::Notification(AComponent, Operation);
  if (Operation == opRemove && AComponent == winOwner_) winOwner_ = nullptr;
}

void TAudioSignal::MakeWaveFmtConsistent() {
  TWaveFormat& f = format_;
  f.Channels = static_cast<std::uint16_t>(std::clamp(ChannelCount(), 0, 65535));
  f.BitsPerSample = quantization_;
  f.SamplesPerSec = static_cast<std::uint32_t>(std::clamp(std::round(SamplingFrequency()), 0.0, 4294967295.0));
  f.BlockAlign = static_cast<std::uint16_t>((quantization_ / 8) * f.Channels);
  f.AvgBytesPerSec = f.BlockAlign * f.SamplesPerSec;
  usableLength_ = f.BlockAlign == 0 ? 0 : bufferSize_ / f.BlockAlign * f.BlockAlign;
  const bool plain = f.BitsPerSample <= 16 && f.Channels <= 2;
  f.FormatTag = plain ? 1 : 0xFFFE;
  f.CbSize = plain ? 0 : 22;
  f.ValidBitsPerSample = plain ? 0 : f.BitsPerSample;
  f.ChannelMask = plain ? 0 : 3;  // front left | front right, whatever the channel count
  f.SubFormatPcm = !plain;
}

void TAudioSignal::SetNumBuffers(int Value) {
  if (Active()) return;
  numBuffers_ = std::clamp(Value, 2, 24);
  ReallocateBuffers();
}

void TAudioSignal::SetBufferSize(int Value) {
  if (Active() || Value == bufferSize_) return;
  bufferSize_ = std::max(Value, 512);
  MakeWaveFmtConsistent();
  ReallocateBuffers();
}

void TAudioSignal::SetQuantization(std::uint16_t Value) {
  if (Active()) return;
  quantization_ = static_cast<std::uint16_t>(Value / 8 * 8);
  MakeWaveFmtConsistent();
}

void TAudioSignal::SetStereo(bool Value) {
  if (Active()) return;
  SetChannelCount(Value ? 2 : 1);
}

void TAudioSignal::SetSamplingFrequency(double F) {
  if (F == SamplingFrequency()) return;
  TSignal::SetSamplingFrequency(F);
  MakeWaveFmtConsistent();
}

void TAudioSignal::SetChannelCount(int N) {
  TSignal::SetChannelCount(N);
  MakeWaveFmtConsistent();
}

int TAudioSignal::RecomendedBufferSize() const {
  return LargestExp2(static_cast<int>(ChannelCount() * (quantization_ / 8) * SamplingFrequency() * 0.2));
}

int TAudioSignal::RecomendedBufferLength() const {
  return LargestExp2(static_cast<int>(ChannelCount() * SamplingFrequency() * 0.2));
}

// --- Device lists ------------------------------------------------------------------------------

void GetOutSoundDevices(TStringList& Strings) {
  Strings.Clear();
  for (const TPcmDeviceInfo& d : ListPcmDevices(true)) Strings.Add(d.Name);
}

void GetInSoundDevices(TStringList& Strings) {
  Strings.Clear();
  for (const TPcmDeviceInfo& d : ListPcmDevices(false)) Strings.Add(d.Name);
}

std::string OutSoundDeviceName(int Index) {
  if (Index < 0) return "default";
  const auto devices = ListPcmDevices(true);
  return Index < static_cast<int>(devices.size()) ? devices[static_cast<std::size_t>(Index)].Name : std::string();
}

}  // namespace ondrix
