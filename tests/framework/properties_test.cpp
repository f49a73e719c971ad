// Property tables: lookup through the class chain, defaults, access by name, Assign.
#include <gtest/gtest.h>

#include <cmath>

#include "test_components.h"
#include "tests/common/property_table.h"

void ondrix::testing::RegisterPropertyTableClasses() { ondrix::test::RegisterTestClasses(); }

namespace ondrix::test {
namespace {

std::vector<std::string> Names(const TClassInfo& info) {
  std::vector<std::string> names;
  for (const TPropInfo* p : info.AllProperties()) names.push_back(p->Name);
  return names;
}

TEST(ClassInfo, ChainNamesAndInheritance) {
  TTestDerived d(nullptr);
  EXPECT_EQ(d.ClassName(), "TTestDerived");
  EXPECT_TRUE(d.InheritsFrom(TTestNode::StaticClassInfo()));
  EXPECT_TRUE(d.InheritsFrom(TKvxComponent::StaticClassInfo()));
  EXPECT_FALSE(d.InheritsFrom(TTestOther::StaticClassInfo()));
  EXPECT_EQ(TTestDerived::StaticClassInfo().Parent, &TTestNode::StaticClassInfo());
  EXPECT_EQ(&CommonAncestor(TTestDerived::StaticClassInfo(), TTestOther::StaticClassInfo()),
            &TKvxComponent::StaticClassInfo());
  // Ancestors first; the republished Gain keeps its place and is listed once.
  const std::vector<std::string> expected = {"Name",  "Enabled", "Count", "Gain",   "Caption", "Mode",
                                             "Input", "Sub",     "Items", "Coeffs", "Serial",  "Extra"};
  EXPECT_EQ(Names(d.ClassInfo()), expected);
}

// Plain values by name go through the table's setters: PropertyTable.EveryRegisteredClass.
TEST(Properties, GetAndSetByNameConvertAndLink) {
  TTestNode n(nullptr);
  TTestNode other(nullptr);
  SetPropValue(n, "Gain", std::int64_t{4});  // an integer is accepted for a double
  SetPropValue(n, "Mode", std::string("tmAuto"));
  SetPropValue(n, "Input", static_cast<TComponent*>(&other));
  SetPropValue(n, "Coeffs", TFloatArray{true, {1, 2, 3, 4}});
  EXPECT_EQ(n.Gain(), 4.0);
  EXPECT_EQ(n.Mode(), tmAuto);
  EXPECT_EQ(n.Input(), &other);
  EXPECT_TRUE(n.Coeffs().Complex);
  SetPropValue(n, "Mode", std::int64_t{1});
  EXPECT_EQ(n.Mode(), tmFast);
  EXPECT_EQ(std::get<std::int64_t>(GetPropValue(n, "Mode")), 1);
  EXPECT_EQ(std::get<TComponent*>(GetPropValue(n, "Input")), &other);
  EXPECT_EQ(std::get<TPersistent*>(GetPropValue(n, "Sub")), n.Sub());
  EXPECT_EQ(std::get<std::int64_t>(GetPropValue(n, "Serial")), n.Serial());

  // A sub-object is assigned into, not replaced.
  TTestSub sub;
  sub.SetAlpha(9);
  SetPropValue(n, "Sub", static_cast<TPersistent*>(&sub));
  EXPECT_EQ(n.Sub()->Alpha(), 9);
  EXPECT_NE(n.Sub(), &sub);
}

TEST(Properties, BadAccessRaisesPropertyErrors) {
  TTestNode n(nullptr);
  TTestOther o(nullptr);
  EXPECT_THROW(GetPropValue(n, "Nope"), EPropertyError);
  EXPECT_THAT([&] { SetPropValue(n, "Nope", true); }, Raises<EPropertyError>("Unknown property Nope of class TTestNode"));
  EXPECT_THROW(SetPropValue(n, "Serial", std::int64_t{1}), EPropertyError);   // read-only
  EXPECT_THROW(SetPropValue(n, "Enabled", std::int64_t{1}), EPropertyError);  // wrong type
  EXPECT_THROW(SetPropValue(n, "Count", std::int64_t{1} << 40), EPropertyError);  // out of int range
  EXPECT_THROW(SetPropValue(n, "Mode", std::string("tmNever")), EPropertyError);
  EXPECT_THROW(SetPropValue(n, "Mode", std::int64_t{3}), EPropertyError);
  EXPECT_THROW(SetPropValue(n, "Input", static_cast<TComponent*>(&o)), EPropertyError);  // wrong class
  EXPECT_EQ(n.Input(), nullptr);
  EXPECT_EQ(n.Mode(), tmSlow);
}

// Scalars and the sub-object: PropertyTable.EveryRegisteredClass; here links, items and arrays.
TEST(Assign, CopiesEveryPublishedPropertyButName) {
  TTestNode target(nullptr);
  TTestNode src(nullptr);
  TTestNode dst(nullptr);
  src.SetName("Src");
  dst.SetName("Dst");
  src.SetInput(&target);
  src.SetCoeffs(TFloatArray{false, {1.5, NAN}});
  for (int i = 0; i < 2; ++i) {
    auto* item = static_cast<TTestItem*>(src.Items()->Add());
    item->SetLabel("item" + std::to_string(i));
    item->SetWeight(i + 0.5);
    item->SetTarget(&target);
  }
  for (int i = 0; i < 3; ++i) dst.Items()->Add();
  dst.Assign(src);
  EXPECT_EQ(dst.Name(), "Dst");
  EXPECT_EQ(dst.Input(), &target);
  ASSERT_EQ(dst.Items()->Count(), 2);  // item-wise copy replaced the three items
  EXPECT_EQ(dst.Items()->Item(1)->Label(), "item1");
  EXPECT_EQ(dst.Items()->Item(1)->Weight(), 1.5);
  EXPECT_EQ(dst.Items()->Item(1)->Target(), &target);
  EXPECT_EQ(dst.Coeffs().Values[0], 1.5);
  EXPECT_TRUE(std::isnan(dst.Coeffs().Values[1]));
}

TEST(Assign, BlockAssignmentLeavesLinksAlone) {
  TTestNode a(nullptr);
  TTestNode b(nullptr);
  TTestNode src(nullptr);
  TTestNode dst(nullptr);
  src.SetInput(&a);
  src.SetGain(5);
  dst.SetInput(&b);
  dst.SetBlockAssign(true);
  dst.Assign(src);
  EXPECT_EQ(dst.Input(), &b);
  EXPECT_EQ(dst.Gain(), 5);

  dst.SetBlockAssign(false);
  src.SetBlockAssign(true);  // a block-assigned source does not hand its links out either
  dst.Assign(src);
  EXPECT_EQ(dst.Input(), &b);
  src.SetBlockAssign(false);

  src.SetGain(6);
  dst.AssignTemplate(src);
  EXPECT_EQ(dst.Input(), &b);
  EXPECT_EQ(dst.Gain(), 6);
  EXPECT_FALSE(dst.GetBlockAssign());  // restored
}

TEST(Assign, BetweenRelatedClassesCopiesTheCommonTable) {
  TTestNode base(nullptr);
  TTestDerived derived(nullptr);
  base.SetCount(42);
  derived.SetExtra(9);
  derived.Assign(base);
  EXPECT_EQ(derived.Count(), 42);
  EXPECT_EQ(derived.Gain(), 1.0);  // copied from base, whatever the defaults say
  EXPECT_EQ(derived.Extra(), 9);   // not in the common table
  derived.SetCount(43);
  base.Assign(derived);
  EXPECT_EQ(base.Count(), 43);
}

TEST(Assign, UnrelatedClassesRaiseConvertError) {
  TTestNode n(nullptr);
  TTestOther o(nullptr);
  EXPECT_THAT([&] { o.Assign(n); }, Raises<EConvertError>("Cannot assign a TTestNode to a TTestOther"));
  TComponent c1(nullptr);
  TComponent c2(nullptr);
  EXPECT_THROW(c1.Assign(c2), EConvertError);  // nothing assignable in TComponent's table
  TTestSub sub;
  EXPECT_THROW(sub.Assign(n), EConvertError);
  TTestSub sub2;
  sub2.SetOrder(8);
  sub.Assign(sub2);  // a plain persistent with a table is assignable from its table
  EXPECT_EQ(sub.Order(), 8);
}

TEST(Assign, PropagateCopiesSettingsWithoutLinks) {
  TTestNode a(nullptr);
  TTestNode b(nullptr);
  TTestNodeList list(nullptr);
  list.SetCount(4);
  list.Item(0)->SetGain(7);
  list.Item(0)->SetInput(&a);
  list.Item(2)->SetInput(&b);
  list.Propagate(0, {1, 2, 0});
  EXPECT_EQ(list.Item(1)->Gain(), 7);
  EXPECT_EQ(list.Item(2)->Gain(), 7);
  EXPECT_EQ(list.Item(3)->Gain(), 1);
  EXPECT_EQ(list.Item(1)->Input(), nullptr);
  EXPECT_EQ(list.Item(2)->Input(), &b);
  EXPECT_FALSE(list.Item(2)->GetBlockAssign());
  // A bad index is found before anything is copied.
  list.Item(0)->SetGain(8);
  EXPECT_THROW(list.Propagate(0, {3, 4}), EListError);
  EXPECT_EQ(list.Item(3)->Gain(), 1);
  EXPECT_THROW(list.Propagate(-1, {1}), EListError);
}

TEST(KvxComponentList, CountAddDeleteAndIndexErrors) {
  TTestNode watcher(nullptr);
  TTestNodeList list(nullptr);
  EXPECT_EQ(list.GetCount(), 0);
  list.SetCount(3);
  EXPECT_EQ(list.GetCount(), 3);
  TKvxComponent* third = list.Items(2);
  watcher.SetInput(static_cast<TTestNode*>(third));
  list.SetCount(2);  // deletes from the end; the link to it is cleared
  EXPECT_EQ(watcher.Input(), nullptr);
  TKvxComponent* added = list.Add();
  EXPECT_EQ(added, list.Items(2));
  EXPECT_EQ(list.IndexOf(list.Items(1)), 1);
  list.Delete(0);
  EXPECT_EQ(list.GetCount(), 2);
  EXPECT_THAT([&] { list.Items(2); }, Raises<EListError>("List index out of bounds (2)"));
  EXPECT_THROW(list.Delete(-1), EListError);
  EXPECT_THROW(list.SetCount(-1), EListError);
  list.SetDesigning(true);
  EXPECT_TRUE(list.Items(0)->ComponentState().Contains(csDesigning));
  EXPECT_TRUE(list.Add()->ComponentState().Contains(csDesigning));
}

}  // namespace
}  // namespace ondrix::test
