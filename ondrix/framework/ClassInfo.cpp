#include "ondrix/framework/ClassInfo.h"

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/TPersistent.h"
#include "ondrix/framework/errors.h"

namespace ondrix {

namespace detail {

void BadPropValue(const std::string& Prop, const char* Expected) {
  throw EPropertyError("Invalid value for property " + Prop + ": " + Expected + " expected");
}

int EnumOrdinalOf(const std::vector<std::string>& Names, std::string_view ValueName) {
  for (std::size_t i = 0; i < Names.size(); ++i) {
    if (Names[i] == ValueName) return static_cast<int>(i);
  }
  return -1;
}

}  // namespace detail

// --- TObject ---------------------------------------------------------------------------------

const TClassInfo& TObject::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TObject, void>("TObject").Build();
  return info;
}

const std::string& TObject::ClassName() const { return ClassInfo().Name; }

bool TObject::InheritsFrom(const TClassInfo& Info) const { return ClassInfo().InheritsFrom(Info); }

// --- TPropInfo / TClassInfo ------------------------------------------------------------------

int TPropInfo::EnumOrdinal(std::string_view ValueName) const {
  return detail::EnumOrdinalOf(EnumNames, ValueName);
}

bool TClassInfo::InheritsFrom(const TClassInfo& Other) const {
  for (const TClassInfo* c = this; c; c = c->Parent) {
    if (c == &Other) return true;
  }
  return false;
}

const TPropInfo* TClassInfo::FindProperty(std::string_view PropName) const {
  // Most derived first, so that a class that republishes a property (new default) wins.
  for (const TClassInfo* c = this; c; c = c->Parent) {
    for (const TPropInfo& p : c->Properties) {
      if (p.Name == PropName) return &p;
    }
  }
  return nullptr;
}

std::vector<const TPropInfo*> TClassInfo::AllProperties() const {
  std::vector<const TClassInfo*> chain;
  for (const TClassInfo* c = this; c; c = c->Parent) chain.push_back(c);
  std::vector<const TPropInfo*> result;
  for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
    for (const TPropInfo& p : (*it)->Properties) {
      // A republished property takes the place of the ancestor's.
      bool replaced = false;
      for (const TPropInfo*& q : result) {
        if (q->Name == p.Name) {
          q = &p;
          replaced = true;
          break;
        }
      }
      if (!replaced) result.push_back(&p);
    }
  }
  return result;
}

std::unique_ptr<TObject> TClassInfo::Create() const {
  if (!Factory) throw EFilerError("Class " + Name + " cannot be created by name");
  return Factory();
}

const TClassInfo& CommonAncestor(const TClassInfo& A, const TClassInfo& B) {
  for (const TClassInfo* c = &A; c; c = c->Parent) {
    if (B.InheritsFrom(*c)) return *c;
  }
  return TObject::StaticClassInfo();
}

// --- property access by name -----------------------------------------------------------------

namespace {

const TPropInfo& FindOrRaise(const TObject& Obj, std::string_view PropName) {
  const TPropInfo* p = Obj.ClassInfo().FindProperty(PropName);
  if (!p) {
    throw EPropertyError("Unknown property " + std::string(PropName) + " of class " + Obj.ClassName());
  }
  return *p;
}

bool IsSubObject(const TPropInfo& p) {
  return p.Kind == TPropKind::Object || p.Kind == TPropKind::Collection;
}

TPersistent* SubObject(const TPropInfo& p, const TObject& Obj) {
  return std::get<TPersistent*>(p.Get(Obj));
}

}  // namespace

TPropValue GetPropValue(const TObject& Obj, std::string_view PropName) {
  return FindOrRaise(Obj, PropName).Get(Obj);
}

void SetPropValue(TObject& Obj, std::string_view PropName, const TPropValue& Value) {
  const TPropInfo& p = FindOrRaise(Obj, PropName);
  if (IsSubObject(p)) {
    TPersistent* const* src = std::get_if<TPersistent*>(&Value);
    if (!src || !*src) detail::BadPropValue(p.Name, "an object");
    TPersistent* dst = SubObject(p, Obj);
    if (!dst) throw EPropertyError("Property " + p.Name + " has no object to assign into");
    dst->Assign(**src);
    return;
  }
  if (!p.Set) throw EPropertyError("Property " + p.Name + " is read-only");
  p.Set(Obj, Value);
}

void AssignProperties(TObject& Dst, const TObject& Src, bool SkipLinks) {
  if (&Dst == &Src) return;
  const TClassInfo& common = CommonAncestor(Dst.ClassInfo(), Src.ClassInfo());
  for (const TPropInfo* p : common.AllProperties()) {
    if (!p->Assignable) continue;
    if (IsSubObject(*p)) {
      TPersistent* d = SubObject(*p, Dst);
      const TPersistent* s = SubObject(*p, Src);
      if (d && s && d != s) d->Assign(*s);
      continue;
    }
    if (!p->Set) continue;
    if (p->Kind == TPropKind::Component && SkipLinks) continue;
    p->Set(Dst, p->Get(Src));
  }
}

}  // namespace ondrix
