#include "ondrix/AudioSignal/NotificationQueue.h"

#include <algorithm>

#include "ondrix/framework/ClassBuilder.h"

namespace ondrix {

const TClassInfo& TNotificationQueue::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TNotificationQueue, TComponent>("TNotificationQueue").Build();
  return info;
}

TNotificationQueue::TNotificationQueue(TComponent* AOwner) : TComponent(AOwner) {}

TNotificationQueue::~TNotificationQueue() {
  BeginDestroy();
  // Owned devices cancel their notices as they go: they must go while the queue still works.
  while (ComponentCount() > 0) RemoveComponent(Components(ComponentCount() - 1)).reset();
}

void TNotificationQueue::Post(const void* Target, std::function<void()> Handler) {
  {
    std::lock_guard lock(mutex_);
    notices_.push_back({Target, std::move(Handler)});
  }
  posted_.notify_all();
}

void TNotificationQueue::Cancel(const void* Target) {
  std::lock_guard lock(mutex_);
  std::erase_if(notices_, [Target](const TNotice& n) { return n.Target == Target; });
}

int TNotificationQueue::ProcessMessages() {
  int ran = 0;
  for (;;) {
    std::function<void()> handler;
    {
      std::lock_guard lock(mutex_);
      if (notices_.empty()) return ran;
      handler = std::move(notices_.front().Handler);
      notices_.pop_front();
    }
    handler();
    ++ran;
  }
}

int TNotificationQueue::WaitAndProcess(std::chrono::milliseconds Timeout) {
  {
    std::unique_lock lock(mutex_);
    posted_.wait_for(lock, Timeout, [this] { return !notices_.empty(); });
  }
  return ProcessMessages();
}

std::size_t TNotificationQueue::Pending() const {
  std::lock_guard lock(mutex_);
  return notices_.size();
}

}  // namespace ondrix
