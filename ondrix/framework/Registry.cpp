#include "ondrix/framework/Registry.h"

#include <map>
#include <mutex>
#include <string>

#include "ondrix/framework/TComponent.h"
#include "ondrix/framework/errors.h"

namespace ondrix {

namespace {

struct TRegistry {
  std::mutex Lock;
  std::map<std::string, const TClassInfo*, std::less<>> Classes;
};

TRegistry& Registry() {
  static TRegistry registry;
  return registry;
}

}  // namespace

void RegisterClass(const TClassInfo& Info) {
  TRegistry& r = Registry();
  std::lock_guard lock(r.Lock);
  auto [it, inserted] = r.Classes.emplace(Info.Name, &Info);
  if (!inserted && it->second != &Info) throw EFilerError("A class named " + Info.Name + " already exists");
}

void UnRegisterClass(const TClassInfo& Info) {
  TRegistry& r = Registry();
  std::lock_guard lock(r.Lock);
  auto it = r.Classes.find(Info.Name);
  if (it != r.Classes.end() && it->second == &Info) r.Classes.erase(it);
}

const TClassInfo* GetClass(std::string_view ClassName) {
  TRegistry& r = Registry();
  std::lock_guard lock(r.Lock);
  auto it = r.Classes.find(ClassName);
  return it == r.Classes.end() ? nullptr : it->second;
}

std::vector<const TClassInfo*> RegisteredClasses() {
  TRegistry& r = Registry();
  std::lock_guard lock(r.Lock);
  std::vector<const TClassInfo*> out;
  for (const auto& [name, info] : r.Classes) out.push_back(info);
  return out;
}

const TClassInfo& FindClass(std::string_view ClassName) {
  const TClassInfo* info = GetClass(ClassName);
  if (!info) throw EClassNotFound("Class " + std::string(ClassName) + " not found");
  return *info;
}

std::unique_ptr<TComponent> CreateComponentByName(std::string_view ClassName) {
  const TClassInfo& info = FindClass(ClassName);
  if (!info.InheritsFrom(TComponent::StaticClassInfo())) {
    throw EFilerError("Class " + info.Name + " is not a component class");
  }
  std::unique_ptr<TObject> obj = info.Create();
  auto* component = dynamic_cast<TComponent*>(obj.get());
  if (!component) throw EFilerError("Class " + info.Name + " is not a component class");
  (void)obj.release();
  return std::unique_ptr<TComponent>(component);
}

}  // namespace ondrix
