#include "ondrix/AudioSignal/AudioSignal.h"

#include "ondrix/framework/Registry.h"

namespace ondrix {

std::vector<const TClassInfo*> AudioSignalClasses() {
  return {&TNotificationQueue::StaticClassInfo(), &TSignalOut::StaticClassInfo(), &TSignalOutList::StaticClassInfo()};
}

void RegisterAudioSignalClasses() {
  for (const TClassInfo* c : AudioSignalClasses()) RegisterClass(*c);
}

void UnRegisterAudioSignalClasses() {
  for (const TClassInfo* c : AudioSignalClasses()) UnRegisterClass(*c);
}

}  // namespace ondrix
