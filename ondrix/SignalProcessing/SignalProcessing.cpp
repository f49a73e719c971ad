#include "ondrix/SignalProcessing/SignalProcessing.h"

#include "ondrix/framework/Registry.h"

namespace ondrix {

std::vector<const TClassInfo*> SignalProcessingClasses() {
  return {&TSignalGenerator::StaticClassInfo(), &TSignalFilter::StaticClassInfo(),
          &TSignalFilterList::StaticClassInfo(), &TSignalDecimator::StaticClassInfo(),
          &TSignalInterpolator::StaticClassInfo(), &TSignalDemodulator::StaticClassInfo(),
          &TSignalEnvelopeDetector::StaticClassInfo(), &TSignalDecimatorList::StaticClassInfo(),
          &TSignalInterpolatorList::StaticClassInfo(), &TSignalDemodulatorList::StaticClassInfo(),
          &TSignalEnvelopeDetectorList::StaticClassInfo(), &TSignalIncBuffer::StaticClassInfo(),
          &TSignalDecBuffer::StaticClassInfo(), &TSignalBuffer::StaticClassInfo(),
          &TSignalStoreBuffer::StaticClassInfo(), &TSignalIncBufferList::StaticClassInfo(),
          &TSignalDecBufferList::StaticClassInfo(), &TSignalBufferList::StaticClassInfo(),
          &TSignalStoreBufferList::StaticClassInfo(), &TSignalDemux::StaticClassInfo(),
          &TSignalMux::StaticClassInfo(), &TSignalDemuxList::StaticClassInfo(),
          &TSignalMuxList::StaticClassInfo(), &TSpectrumFilter::StaticClassInfo(),
          &TSpectrumFilterList::StaticClassInfo()};
}

void RegisterSignalProcessingClasses() {
  for (const TClassInfo* c : SignalProcessingClasses()) RegisterClass(*c);
}

void UnRegisterSignalProcessingClasses() {
  for (const TClassInfo* c : SignalProcessingClasses()) UnRegisterClass(*c);
}

}  // namespace ondrix
