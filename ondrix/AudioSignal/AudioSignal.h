// The audio unit: playback of a chain on a sound card through ALSA, its device notices run on
// the application's thread through a TNotificationQueue. Including this header registers the
// unit's components with the class registry.
#pragma once

#include <vector>

#include "ondrix/AudioSignal/AudioBase.h"
#include "ondrix/AudioSignal/NotificationQueue.h"
#include "ondrix/AudioSignal/SignalOut.h"
#include "ondrix/OndrixTools/OndrixTools.h"

namespace ondrix {

/// The unit's components that settings files may name, in registration order.
std::vector<const TClassInfo*> AudioSignalClasses();
/// Registers the classes (idempotent); called when the unit is loaded.
void RegisterAudioSignalClasses();
/// Removes them from the registry; called when the unit is unloaded.
void UnRegisterAudioSignalClasses();

namespace detail {
/// Loads and unloads the unit with the program: registration at start-up, removal at exit.
struct TAudioSignalUnit {
  TAudioSignalUnit() { RegisterAudioSignalClasses(); }
  ~TAudioSignalUnit() { UnRegisterAudioSignalClasses(); }
};
inline const TAudioSignalUnit kAudioSignalUnit{};
}  // namespace detail

}  // namespace ondrix
