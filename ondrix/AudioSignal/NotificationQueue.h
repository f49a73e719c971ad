// TNotificationQueue: notices posted from any thread, run on the thread that pumps the queue.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

#include "ondrix/framework/TComponent.h"

namespace ondrix {

/// The application's message queue for audio devices. A device thread posts "buffer done"
/// (and open, close, error) notices; they run, and may pull a graph, only on the thread that
/// calls ProcessMessages or WaitAndProcess. Audio components take the queue as their owner
/// (or as their window owner), so the graph stays on one thread.
class TNotificationQueue : public TComponent {
public:
  ONDRIX_CLASS_INFO()

  explicit TNotificationQueue(TComponent* AOwner = nullptr);
  ~TNotificationQueue() override;

  /// Appends a notice for Target. Thread-safe.
  void Post(const void* Target, std::function<void()> Handler);
  /// Drops the pending notices of Target. Thread-safe.
  void Cancel(const void* Target);
  /// Runs the pending notices, in order, on the calling thread; the number run. A handler's
  /// exception propagates (the notices after it stay queued).
  int ProcessMessages();
  /// Waits up to Timeout for a notice, then ProcessMessages.
  int WaitAndProcess(std::chrono::milliseconds Timeout);
  /// Notices waiting.
  std::size_t Pending() const;

private:
  struct TNotice {
    const void* Target;
    std::function<void()> Handler;
  };
  mutable std::mutex mutex_;
  std::condition_variable posted_;
  std::deque<TNotice> notices_;
};

}  // namespace ondrix
