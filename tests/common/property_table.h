// One test over every registered class of a test binary: the published table is the truth.
// Include in exactly one file of a binary, which defines RegisterPropertyTableClasses().
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "ondrix/framework/ClassInfo.h"
#include "ondrix/framework/Registry.h"
#include "ondrix/framework/Settings.h"
#include "ondrix/framework/TCollection.h"
#include "ondrix/framework/TKvxComponent.h"
#include "ondrix/framework/TStream.h"

namespace ondrix::testing {

void RegisterPropertyTableClasses();

/// Published properties of a and b (links left out; with StoredOnly, what files leave out
/// too) agree, sub-objects and items included.
inline void ExpectSameProperties(const TObject& a, const TObject& b, const std::string& where, bool StoredOnly) {
  if (auto* ca = dynamic_cast<const TCollection*>(&a)) {
    auto* cb = dynamic_cast<const TCollection*>(&b);
    ASSERT_TRUE(cb != nullptr && cb->Count() == ca->Count()) << where << ": item count";
    for (int i = 0; i < ca->Count(); ++i)
      ExpectSameProperties(*ca->Items(i), *cb->Items(i), where + "[" + std::to_string(i) + "]", StoredOnly);
  }
  for (const TPropInfo* p : a.ClassInfo().AllProperties()) {
    const bool sub = p->Kind == TPropKind::Object || p->Kind == TPropKind::Collection;
    if (p->Kind == TPropKind::Component || !p->Get || (StoredOnly && !p->IsStored(a))) continue;
    if (!sub && (!p->Set || !p->Assignable)) continue;  // read-only and identity properties
    const TPropValue va = p->Get(a), vb = p->Get(b);
    if (sub) {
      auto* oa = std::get<TPersistent*>(va);
      auto* ob = std::get<TPersistent*>(vb);
      EXPECT_EQ(oa == nullptr, ob == nullptr) << where << "." << p->Name;
      if (oa && ob) ExpectSameProperties(*oa, *ob, where + "." + p->Name, StoredOnly);
    } else if (p->Kind == TPropKind::Double && std::isnan(std::get<double>(va))) {
      EXPECT_TRUE(std::isnan(std::get<double>(vb))) << where << "." << p->Name;
    } else {
      EXPECT_TRUE(va == vb) << where << "." << p->Name;
    }
  }
}

/// Sets every writable scalar of o (and of its sub-objects) away from its value; setters may
/// round or clamp, which the comparisons then follow. Returns how many moved; "Class.Property"
/// of each that did not goes to still.
inline int MoveOffDefaults(TObject& o, std::vector<std::string>& still) {
  int moved = 0;
  for (const TPropInfo* p : o.ClassInfo().AllProperties()) {
    if (!p->Get) continue;
    const TPropValue v = p->Get(o);
    if (p->Kind == TPropKind::Object) {
      if (auto* sub = std::get<TPersistent*>(v)) moved += MoveOffDefaults(*sub, still);
      continue;
    }
    if (!p->Set || !p->Assignable) continue;
    TPropValue next;
    switch (p->Kind) {
      case TPropKind::Bool: next = !std::get<bool>(v); break;
      case TPropKind::Integer: next = std::get<std::int64_t>(v) + 1; break;
      case TPropKind::Enum:
        next = static_cast<std::int64_t>((std::get<std::int64_t>(v) + 1) % std::max<std::size_t>(p->EnumNames.size(), 1));
        break;
      case TPropKind::Double: {
        const double d = std::get<double>(v);
        next = d != 0.0 ? d * 0.75 : 0.125;  // an affine step would have a fixed point some default sits on
        break;
      }
      case TPropKind::String: next = std::get<std::string>(v) + "x"; break;
      default: continue;
    }
    try {
      p->Set(o, next);
    } catch (const std::exception&) {
    }
    if (p->Get(o) == v)
      still.push_back(o.ClassInfo().Name + "." + p->Name);
    else
      ++moved;
  }
  return moved;
}

/// Properties whose setter cannot move them by the one step MoveOffDefaults takes.
inline bool DeclinesOneStep(const std::string& name) {
  static const std::set<std::string> kDeclines = {
      // HzRes follows from the length and the sampling settings.
      "TSpectrum.HzRes", "TSpectrumAnalyzer.HzRes", "TCrossSpectrumAnalyzer.HzRes", "TBiSpectrumAnalyzer.HzRes",
      // A set written as text: the appended character is not a member's name.
      "TCrossAnalyzer.Analysis",
      // Kept only once two inputs are linked.
      "TSignalAnalyzer.CorrTaps2",
      // Fixed by the demodulator's band, not settable.
      "TSignalDemodulator.Factor", "TSignalDemodulator.EnvelopeFactor",
      // A fresh list holds no template to select.
      "TFilterList.TemplateIndex", "TFilterList.TemplateName", "TSignalSounds.TemplateIndex",
      "TSignalSounds.TemplateName"};
  return kDeclines.count(name) > 0;
}

/// Constructed values equal the table's defaults; values off the defaults survive the
/// settings file, the settings stream and Assign.
inline void ExpectPropertyTableHolds(const TClassInfo& c) {
  if (!c.Factory) return;
  std::unique_ptr<TObject> made = c.Create();
  auto* a = dynamic_cast<TKvxComponent*>(made.get());
  if (!a) return;
  for (const TPropInfo* p : c.AllProperties())
    EXPECT_TRUE(!p->Default || !p->Get || !p->IsStored(*a) || p->Get(*a) == *p->Default)
        << c.Name << "." << p->Name << " default";
  int settable = 0;
  for (const TPropInfo* p : c.AllProperties()) settable += p->Set && p->Assignable && p->Kind != TPropKind::Component;
  std::vector<std::string> still;
  EXPECT_TRUE(MoveOffDefaults(*a, still) > 0 || settable == 0) << c.Name << ": nothing to compare";
  for (const std::string& name : still) EXPECT_TRUE(DeclinesOneStep(name)) << name << ": setter has no effect";
  ExpectSameProperties(*LoadComponentFromJson(SaveComponentToJson(*a)), *a, c.Name + " file", true);
  TMemoryStream m;
  a->SaveToStream(m);
  m.SetPosition(0);
  std::unique_ptr<TObject> streamed = c.Create();
  static_cast<TKvxComponent&>(*streamed).LoadFromStream(m);
  ExpectSameProperties(*streamed, *a, c.Name + " stream", true);
  std::unique_ptr<TObject> assigned = c.Create();
  static_cast<TKvxComponent&>(*assigned).Assign(*a);
  ExpectSameProperties(*assigned, *a, c.Name + " Assign", false);
}

TEST(PropertyTable, EveryRegisteredClass) {
  RegisterPropertyTableClasses();
  int checked = 0;
  for (const TClassInfo* c : RegisteredClasses()) {
    SCOPED_TRACE(c->Name);
    ExpectPropertyTableHolds(*c);
    checked += c->Factory != nullptr;
  }
  EXPECT_GT(checked, 0);
}

}  // namespace ondrix::testing
