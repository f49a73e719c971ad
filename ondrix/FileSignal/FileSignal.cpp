#include "ondrix/FileSignal/FileSignal.h"

#include "ondrix/framework/Registry.h"

namespace ondrix {

std::vector<const TClassInfo*> FileSignalClasses() {
  return {&TSignalRead::StaticClassInfo(), &TSignalReadList::StaticClassInfo(), &TSignalWrite::StaticClassInfo(),
          &TSignalWriteList::StaticClassInfo()};
}

void RegisterFileSignalClasses() {
  for (const TClassInfo* c : FileSignalClasses()) RegisterClass(*c);
}

void UnRegisterFileSignalClasses() {
  for (const TClassInfo* c : FileSignalClasses()) UnRegisterClass(*c);
}

}  // namespace ondrix
