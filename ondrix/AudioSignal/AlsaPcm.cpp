#include "ondrix/AudioSignal/AlsaPcm.h"

#include <alsa/asoundlib.h>

#include <algorithm>
#include <cstring>

#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

snd_pcm_t* Pcm(void* p) { return static_cast<snd_pcm_t*>(p); }

void SilentAlsaError(const char*, int, const char*, int, const char*, ...) {}

// ALSA prints its own diagnostics on stderr; the library reports errors as exceptions.
void QuietAlsa() {
  static const bool once = [] {
    snd_lib_error_set_handler(SilentAlsaError);
    return true;
  }();
  (void)once;
}

[[noreturn]] void Fail(int err) { throw Exception(snd_strerror(err)); }

snd_pcm_format_t FormatOf(int bits) {
  switch (bits) {
    case 8: return SND_PCM_FORMAT_U8;
    case 16: return SND_PCM_FORMAT_S16_LE;
    case 24: return SND_PCM_FORMAT_S24_3LE;
    case 32: return SND_PCM_FORMAT_S32_LE;
    default: return SND_PCM_FORMAT_UNKNOWN;
  }
}

// How long the writer waits for room before it looks at its stop flag again.
constexpr int kWaitMs = 50;

}  // namespace

TAlsaPcm::~TAlsaPcm() { Close(false); }

void TAlsaPcm::Open(const TPcmConfig& Config, TDoneEvent OnDone, TErrorEvent OnError) {
  Close(false);
  QuietAlsa();
  const snd_pcm_format_t format = FormatOf(Config.Bits);
  if (format == SND_PCM_FORMAT_UNKNOWN) Fail(-EINVAL);
  snd_pcm_t* pcm = nullptr;
  // Non-blocking, so that the writer never sleeps in ALSA where a stop could not reach it.
  if (int err = snd_pcm_open(&pcm, Config.Device.c_str(), SND_PCM_STREAM_PLAYBACK, SND_PCM_NONBLOCK); err < 0)
    Fail(err);
  if (int err = snd_pcm_set_params(pcm, format, SND_PCM_ACCESS_RW_INTERLEAVED, static_cast<unsigned>(Config.Channels),
                                   Config.Rate, 1, Config.LatencyUs);
      err < 0) {
    snd_pcm_close(pcm);
    Fail(err);
  }
  pcm_ = pcm;
  frameBytes_ = Config.Channels * ((Config.Bits + 7) / 8);
  onDone_ = std::move(OnDone);
  onError_ = std::move(OnError);
  stop_ = drain_ = paused_ = false;
  framesWritten_ = 0;
  underruns_ = 0;
  writer_ = std::thread([this] { Run(); });
}

void TAlsaPcm::Write(int Index, const std::uint8_t* Data, std::size_t Bytes) {
  {
    std::lock_guard lock(mutex_);
    queue_.push_back({Index, Data, Bytes});
  }
  wake_.notify_all();
}

void TAlsaPcm::Pause(bool Value) {
  {
    std::lock_guard lock(mutex_);
    paused_ = Value;
  }
  wake_.notify_all();
}

void TAlsaPcm::Close(bool Drain) {
  if (!pcm_) return;
  {
    std::lock_guard lock(mutex_);
    stop_ = true;
    drain_ = Drain;
    paused_ = false;
  }
  wake_.notify_all();
  if (writer_.joinable()) writer_.join();
  if (Drain) {
    snd_pcm_nonblock(Pcm(pcm_), 0);
    snd_pcm_drain(Pcm(pcm_));
  } else {
    snd_pcm_drop(Pcm(pcm_));
  }
  snd_pcm_close(Pcm(pcm_));
  pcm_ = nullptr;
  queue_.clear();
}

std::int64_t TAlsaPcm::FramesPlayed() const {
  std::int64_t played = framesWritten_.load();
  snd_pcm_sframes_t delay = 0;
  if (pcm_ && snd_pcm_delay(Pcm(pcm_), &delay) == 0) played -= delay;
  return std::max<std::int64_t>(played, 0);
}

void TAlsaPcm::Run() {
  for (;;) {
    TItem item;
    {
      std::unique_lock lock(mutex_);
      wake_.wait(lock, [this] { return stop_ || (!paused_ && !queue_.empty()); });
      if (stop_ && (!drain_ || queue_.empty())) return;
      item = queue_.front();
      queue_.pop_front();
    }
    if (!WriteAll(item)) return;
    onDone_(item.Index);
  }
}

bool TAlsaPcm::WriteAll(const TItem& Item) {
  const std::uint8_t* p = Item.Data;
  snd_pcm_uframes_t left = Item.Bytes / static_cast<std::size_t>(frameBytes_);
  while (left > 0) {
    {
      std::lock_guard lock(mutex_);
      if (stop_ && !drain_) return false;
    }
    const snd_pcm_sframes_t n = snd_pcm_writei(Pcm(pcm_), p, left);
    if (n == -EAGAIN) {
      snd_pcm_wait(Pcm(pcm_), kWaitMs);
      continue;
    }
    if (n == -EPIPE || n == -ESTRPIPE) {
      ++underruns_;
      if (snd_pcm_recover(Pcm(pcm_), static_cast<int>(n), 1) == 0) continue;
    }
    if (n < 0) {
      onError_(snd_strerror(static_cast<int>(n)));
      return false;
    }
    p += n * frameBytes_;
    left -= static_cast<snd_pcm_uframes_t>(n);
    framesWritten_ += n;
  }
  return true;
}

std::vector<TPcmDeviceInfo> ListPcmDevices(bool Playback) {
  QuietAlsa();
  std::vector<TPcmDeviceInfo> out;
  void** hints = nullptr;
  if (snd_device_name_hint(-1, "pcm", &hints) < 0) return out;
  for (void** h = hints; *h; ++h) {
    char* name = snd_device_name_get_hint(*h, "NAME");
    char* desc = snd_device_name_get_hint(*h, "DESC");
    char* io = snd_device_name_get_hint(*h, "IOID");
    // No IOID means both directions.
    const bool fits = !io || std::strcmp(io, Playback ? "Output" : "Input") == 0;
    if (name && fits) out.push_back({name, desc ? desc : ""});
    std::free(name);
    std::free(desc);
    std::free(io);
  }
  snd_device_name_free_hint(hints);
  return out;
}

}  // namespace ondrix
