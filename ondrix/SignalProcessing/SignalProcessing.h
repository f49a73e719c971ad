// The signal-processing unit: the signal generator and its expression lines, the signal
// filter with its band layouts, and the multirate components (decimator, interpolator,
// sub-band demodulator, envelope detector), the buffers that change the block size, the
// channel multiplexer and demultiplexer, and the spectrum filter. Including this header registers the unit's
// components with the class registry.
#pragma once

#include <vector>

#include "ondrix/OndrixTools/OndrixTools.h"
#include "ondrix/SignalProcessing/BandFilter.h"
#include "ondrix/SignalProcessing/FuncSignal.h"
#include "ondrix/SignalProcessing/SignalBuffers.h"
#include "ondrix/SignalProcessing/SignalDemodulator.h"
#include "ondrix/SignalProcessing/SignalFilter.h"
#include "ondrix/SignalProcessing/SignalGenerator.h"
#include "ondrix/SignalProcessing/SignalMultiRate.h"
#include "ondrix/SignalProcessing/SignalMux.h"
#include "ondrix/SignalProcessing/SpectrumFilter.h"

namespace ondrix {

/// The unit's components that settings files may name, in registration order.
std::vector<const TClassInfo*> SignalProcessingClasses();
/// Registers the classes (idempotent); called when the unit is loaded.
void RegisterSignalProcessingClasses();
/// Removes them from the registry; called when the unit is unloaded.
void UnRegisterSignalProcessingClasses();

namespace detail {
/// Loads and unloads the unit with the program: registration at start-up, removal at exit.
struct TSignalProcessingUnit {
  TSignalProcessingUnit() { RegisterSignalProcessingClasses(); }
  ~TSignalProcessingUnit() { UnRegisterSignalProcessingClasses(); }
};
inline const TSignalProcessingUnit kSignalProcessingUnit{};
}  // namespace detail

}  // namespace ondrix
