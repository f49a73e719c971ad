// The file unit: the signal file formats, the codec layer behind wave files, the reader and
// the writer. Including this header registers the unit's components with the class registry.
#pragma once

#include <vector>

#include "ondrix/FileSignal/ACMConverter.h"
#include "ondrix/FileSignal/FileFormat.h"
#include "ondrix/FileSignal/FileStorage.h"
#include "ondrix/FileSignal/SignalRead.h"
#include "ondrix/FileSignal/SignalWrite.h"
#include "ondrix/OndrixTools/OndrixTools.h"

namespace ondrix {

/// The unit's components that settings files may name, in registration order.
std::vector<const TClassInfo*> FileSignalClasses();
/// Registers the classes (idempotent); called when the unit is loaded.
void RegisterFileSignalClasses();
/// Removes them from the registry; called when the unit is unloaded.
void UnRegisterFileSignalClasses();

namespace detail {
/// Loads and unloads the unit with the program: registration at start-up, removal at exit.
struct TFileSignalUnit {
  TFileSignalUnit() { RegisterFileSignalClasses(); }
  ~TFileSignalUnit() { UnRegisterFileSignalClasses(); }
};
inline const TFileSignalUnit kFileSignalUnit{};
}  // namespace detail

}  // namespace ondrix
