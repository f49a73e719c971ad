// TAlsaPcm: an ALSA playback device written by a thread of its own, buffer by buffer.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace ondrix {

/// What a playback device is opened with.
struct TPcmConfig {
  std::string Device = "default";  ///< ALSA PCM name ("default", "hw:0,0", "null", ...)
  int Channels = 1;
  unsigned Rate = 22050;   ///< Hz
  int Bits = 16;           ///< 8 (unsigned), 16, 24 (3 bytes) or 32, little-endian
  unsigned LatencyUs = 200000;  ///< the device's own buffer, in microseconds
};

/// An open ALSA playback PCM and its writer thread.
///
/// Write hands a buffer to the thread, which writes it to the device and then calls OnDone
/// with the buffer's index; the caller must not touch the buffer's bytes until then. OnDone
/// and OnError run on the writer thread: they should only post a notice. An underrun is
/// recovered and counted, never reported as an error.
class TAlsaPcm {
public:
  using TDoneEvent = std::function<void(int Index)>;
  using TErrorEvent = std::function<void(const std::string& Message)>;

  TAlsaPcm() = default;
  ~TAlsaPcm();
  TAlsaPcm(const TAlsaPcm&) = delete;
  TAlsaPcm& operator=(const TAlsaPcm&) = delete;

  /// Opens and configures the device and starts the writer. Raises Exception with ALSA's
  /// error text on failure.
  void Open(const TPcmConfig& Config, TDoneEvent OnDone, TErrorEvent OnError);
  /// Queues Bytes bytes at Data (whole frames) as buffer Index.
  void Write(int Index, const std::uint8_t* Data, std::size_t Bytes);
  /// Holds (true) or resumes (false) writing; the device's own buffer still plays out.
  void Pause(bool Value);
  /// Stops the writer and closes the device: with Drain, after every queued buffer has been
  /// written and played; otherwise at once, dropping what is queued.
  void Close(bool Drain);
  bool IsOpen() const noexcept { return pcm_ != nullptr; }
  /// Frames handed to the device less those it still holds.
  std::int64_t FramesPlayed() const;
  /// Underruns recovered since Open.
  int Underruns() const noexcept { return underruns_.load(); }

private:
  struct TItem {
    int Index;
    const std::uint8_t* Data;
    std::size_t Bytes;
  };
  void Run();
  bool WriteAll(const TItem& Item);

  void* pcm_ = nullptr;  // snd_pcm_t*, kept out of this header
  int frameBytes_ = 0;
  TDoneEvent onDone_;
  TErrorEvent onError_;
  std::thread writer_;
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<TItem> queue_;
  bool stop_ = false, drain_ = false, paused_ = false;
  std::atomic<std::int64_t> framesWritten_{0};
  std::atomic<int> underruns_{0};
};

/// ALSA names of the playback (or capture) PCM devices ALSA knows, and their descriptions.
struct TPcmDeviceInfo {
  std::string Name, Description;
};
std::vector<TPcmDeviceInfo> ListPcmDevices(bool Playback);

}  // namespace ondrix
