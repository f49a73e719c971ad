#include "ondrix/framework/TPersistent.h"

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/errors.h"

namespace ondrix {

const TClassInfo& TPersistent::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TPersistent, TObject>("TPersistent").Build();
  return info;
}

void TPersistent::Assign(const TPersistent& Source) {
  if (&Source == this) return;
  const TClassInfo& mine = ClassInfo();
  const TClassInfo& theirs = Source.ClassInfo();
  if (mine.InheritsFrom(theirs) || theirs.InheritsFrom(mine)) {
    const TClassInfo& common = CommonAncestor(mine, theirs);
    for (const TPropInfo* p : common.AllProperties()) {
      if (p->Assignable && (p->Set || p->Kind == TPropKind::Object || p->Kind == TPropKind::Collection)) {
        AssignProperties(*this, Source, false);
        return;
      }
    }
  }
  Source.AssignTo(*this);
}

void TPersistent::AssignTo(TPersistent& Dest) const {
  throw EConvertError("Cannot assign a " + ClassName() + " to a " + Dest.ClassName());
}

void TPersistent::DefineProperties(TFiler& Filer) { (void)Filer; }

}  // namespace ondrix
