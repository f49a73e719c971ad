// The core unit: the component base and pull protocol, signals, spectra, marks, multi-input
// collections, component lists and settings templates. Including this header registers the
// unit's streamable classes with the class registry.
#pragma once

#include <vector>

#include "ondrix/OndrixTools/Collections.h"
#include "ondrix/OndrixTools/TAnalysis.h"
#include "ondrix/OndrixTools/TMarks.h"
#include "ondrix/OndrixTools/TSignal.h"
#include "ondrix/OndrixTools/TSpectrum.h"
#include "ondrix/OndrixTools/Templates.h"

namespace ondrix {

/// The unit's streamable classes, in registration order.
std::vector<const TClassInfo*> OndrixToolsClasses();
/// Registers the classes (idempotent); called when the unit is loaded.
void RegisterOndrixToolsClasses();
/// Removes them from the registry; called when the unit is unloaded.
void UnRegisterOndrixToolsClasses();

namespace detail {
/// Loads and unloads the unit with the program: registration at start-up, removal at exit.
struct TOndrixToolsUnit {
  TOndrixToolsUnit() { RegisterOndrixToolsClasses(); }
  ~TOndrixToolsUnit() { UnRegisterOndrixToolsClasses(); }
};
inline const TOndrixToolsUnit kOndrixToolsUnit{};
}  // namespace detail

}  // namespace ondrix
