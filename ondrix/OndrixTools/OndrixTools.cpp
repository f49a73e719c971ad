#include "ondrix/OndrixTools/OndrixTools.h"

#include "ondrix/framework/Registry.h"

namespace ondrix {

std::vector<const TClassInfo*> OndrixToolsClasses() {
  return {&TSignal::StaticClassInfo(),           &TSignalList::StaticClassInfo(),
          &TSpectrum::StaticClassInfo(),         &TSpectrumItem::StaticClassInfo(),
          &TSignalItem::StaticClassInfo(),       &TSpectrumCollection::StaticClassInfo(),
          &TSignalCollection::StaticClassInfo()};
}

void RegisterOndrixToolsClasses() {
  for (const TClassInfo* c : OndrixToolsClasses()) RegisterClass(*c);
}

void UnRegisterOndrixToolsClasses() {
  for (const TClassInfo* c : OndrixToolsClasses()) UnRegisterClass(*c);
}

}  // namespace ondrix
