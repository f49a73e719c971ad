// Published properties from Python, by name, through the class property tables: one code
// path for every class, no hand binding per property.
#include <cstring>

#include "bindings.h"
#include "ondrix/OndrixTools/TSignal.h"
#include "ondrix/framework/ClassInfo.h"
#include "ondrix/framework/TCollection.h"
#include "ondrix/framework/TComponent.h"
#include "ondrix/framework/errors.h"

namespace ondrix::python {

namespace {

/// "Stats.Averaging" -> {"Stats", "Averaging"}.
std::vector<std::string> Split(const std::string& path) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (std::size_t dot; (dot = path.find('.', start)) != std::string::npos; start = dot + 1)
    parts.push_back(path.substr(start, dot - start));
  parts.push_back(path.substr(start));
  return parts;
}

/// The object that holds the last part of path, and that part.
std::pair<TObject*, std::string> Holder(TObject& obj, const std::string& path) {
  std::vector<std::string> parts = Split(path);
  TObject* at = &obj;
  for (std::size_t i = 0; i + 1 < parts.size(); ++i) {
    const TPropValue v = GetPropValue(*at, parts[i]);
    auto* const* sub = std::get_if<TPersistent*>(&v);
    if (!sub || !*sub) throw EPropertyError("Property " + parts[i] + " of " + at->ClassInfo().Name + " holds no sub-object");
    at = *sub;
  }
  return {at, parts.back()};
}

/// A property value as Python sees it (see GetProperty).
py::object ToPython(const TPropInfo* info, const TPropValue& v) {
  struct Visitor {
    const TPropInfo* info;
    py::object operator()(bool b) const { return py::bool_(b); }
    py::object operator()(std::int64_t i) const {
      if (info && info->Kind == TPropKind::Enum && i >= 0 && static_cast<std::size_t>(i) < info->EnumNames.size())
        return py::str(info->EnumNames[static_cast<std::size_t>(i)]);
      return py::int_(i);
    }
    py::object operator()(double d) const { return py::float_(d); }
    py::object operator()(const std::string& s) const { return py::str(s); }
    py::object operator()(TComponent* c) const { return c ? py::object(py::str(c->Name())) : py::object(py::none()); }
    py::object operator()(TPersistent* p) const {
      if (!p) return py::none();
      if (auto* c = dynamic_cast<TCollection*>(p)) {
        py::list items;
        for (int i = 0; i < c->Count(); ++i) items.append(Properties(*c->Items(i)));
        return items;
      }
      return Properties(*p);
    }
    py::object operator()(const TFloatArray& a) const {
      TVec v;
      FromFloatArray(v, a);
      return FromVec(std::move(v));
    }
  };
  return std::visit(Visitor{info}, v);
}

/// Makes the collection hold one item per dict, each item's properties set from its dict;
/// items past the list's length are deleted, missing ones added. The collection reports one
/// change at the end.
void SetItems(TObject& holder, const TPropInfo& info, const py::sequence& items, TComponent* root) {
  const TPropValue v = GetPropValue(holder, info.Name);
  auto* const* p = std::get_if<TPersistent*>(&v);
  auto* c = p ? dynamic_cast<TCollection*>(*p) : nullptr;
  if (!c) throw EPropertyError("Property " + info.Name + " of " + holder.ClassInfo().Name + " holds no collection");
  for (auto item : items)
    if (!py::isinstance<py::dict>(item))
      throw py::type_error("property " + info.Name + " takes a list of dicts, one per item");
  const int n = static_cast<int>(py::len(items));
  c->BeginUpdate();
  try {
    while (c->Count() > n) c->Delete(c->Count() - 1);
    while (c->Count() < n) c->Add();
    for (int i = 0; i < n; ++i)
      for (auto kv : py::reinterpret_borrow<py::dict>(items[i]))
        SetProperty(*c->Items(i), py::str(kv.first).cast<std::string>(), kv.second, root);
  } catch (...) {
    c->EndUpdate();
    throw;
  }
  c->EndUpdate();
}

}  // namespace

TComponent* FindInTree(TComponent& root, const std::string& name) {
  if (SameText(root.Name(), name)) return &root;
  for (int i = 0; i < root.ComponentCount(); ++i)
    if (TComponent* c = FindInTree(*root.Components(i), name)) return c;
  return nullptr;
}

py::object GetProperty(const TObject& obj, const std::string& path) {
  auto [holder, name] = Holder(const_cast<TObject&>(obj), path);
  return ToPython(holder->ClassInfo().FindProperty(name), GetPropValue(*holder, name));
}

py::dict Properties(const TObject& obj) {
  py::dict d;
  for (const TPropInfo* p : obj.ClassInfo().AllProperties()) {
    if (!p->Get) continue;
    d[py::str(p->Name)] = ToPython(p, p->Get(obj));
  }
  return d;
}

void SetProperty(TObject& obj, const std::string& path, const py::handle& value, TComponent* root) {
  auto [holder, name] = Holder(obj, path);
  const TPropInfo* info = holder->ClassInfo().FindProperty(name);
  if (!info) throw EPropertyError("Unknown property " + name + " of " + holder->ClassInfo().Name);
  if ((info->Kind == TPropKind::Object || info->Kind == TPropKind::Collection) && py::isinstance<py::dict>(value)) {
    for (auto item : py::reinterpret_borrow<py::dict>(value))
      SetProperty(obj, path + "." + py::str(item.first).cast<std::string>(), item.second, root);
    return;
  }
  if (info->Kind == TPropKind::Collection && (py::isinstance<py::list>(value) || py::isinstance<py::tuple>(value))) {
    SetItems(*holder, *info, py::reinterpret_borrow<py::sequence>(value), root);
    return;
  }
  TPropValue v;
  try {
  switch (info->Kind) {
    case TPropKind::Bool: v = value.cast<bool>(); break;
    case TPropKind::Integer: v = value.cast<std::int64_t>(); break;
    case TPropKind::Double: v = value.cast<double>(); break;
    case TPropKind::String: v = value.cast<std::string>(); break;
    case TPropKind::Enum:
      if (py::isinstance<py::str>(value)) v = value.cast<std::string>();
      else v = value.cast<std::int64_t>();
      break;
    case TPropKind::Component: {
      TComponent* target = nullptr;
      if (!value.is_none()) {
        const std::string n = value.cast<std::string>();
        target = root ? FindInTree(*root, n) : nullptr;
        if (!target) throw EPropertyError("No component named " + n + " for " + name);
      }
      v = target;
      break;
    }
    case TPropKind::FloatArray: {
      const TVec vec = ToVec(value);
      v = ToFloatArray(vec);
      break;
    }
    case TPropKind::Object:
      throw EPropertyError("Property " + name + " is set from a dict of its properties");
    case TPropKind::Collection:
      throw EPropertyError("Property " + name + " is set from a list of dicts, one per item");
  }
  } catch (const py::cast_error&) {
    static const char* const kKinds[] = {"a bool", "an integer", "a number", "a string", "a value name or ordinal",
                                         "a component name", "a dict", "a dict", "an array of numbers"};
    throw py::type_error("property " + name + " of " + holder->ClassInfo().Name + " takes " +
                         kKinds[static_cast<int>(info->Kind)] + ", not " +
                         py::str(py::type::of(value).attr("__name__")).cast<std::string>());
  }
  SetPropValue(*holder, name, v);
}

}  // namespace ondrix::python
