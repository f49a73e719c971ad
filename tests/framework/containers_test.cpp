// TList (with its sort), TStringList and TCollection.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "test_components.h"

namespace ondrix::test {
namespace {

TEST(List, EditingAndIndexErrors) {
  int v[5] = {0, 1, 2, 3, 4};
  TList list;
  for (int& x : v) list.Add(&x);
  list.Insert(0, &v[4]);
  list.Delete(5);
  EXPECT_EQ(list.Count(), 5);
  EXPECT_EQ(list.Items(0), &v[4]);
  list.Exchange(0, 4);
  EXPECT_EQ(list.Items(4), &v[4]);
  list.Move(4, 1);  // 3 4 1 2 ... : v3, v4 moved in
  EXPECT_EQ(list.Items(1), &v[4]);
  EXPECT_EQ(list.IndexOf(&v[4]), 1);
  EXPECT_EQ(list.Remove(&v[4]), 1);
  EXPECT_EQ(list.IndexOf(&v[4]), -1);
  EXPECT_EQ(list.Remove(&v[4]), -1);
  list.SetCount(6);
  EXPECT_EQ(list.Items(5), nullptr);
  for (int bad : {-1, 6}) {
    EXPECT_THAT([&] { list.Items(bad); }, Raises<EListError>("List index out of bounds (" + std::to_string(bad) + ")"));
    EXPECT_THROW(list.Delete(bad), EListError);
    EXPECT_THROW(list.SetItems(bad, nullptr), EListError);
  }
  EXPECT_THROW(list.Insert(7, nullptr), EListError);
  EXPECT_THROW(list.Exchange(0, 6), EListError);
  EXPECT_THROW(list.SetCount(-1), EListError);
  list.Clear();
  EXPECT_EQ(list.Count(), 0);
  EXPECT_THROW(list.First(), EListError);
}

int CompareDoubles(void* a, void* b) {
  const double x = *static_cast<double*>(a);
  const double y = *static_cast<double*>(b);
  if (std::isnan(x) || std::isnan(y)) return 0;
  return x < y ? -1 : (x > y ? 1 : 0);
}

// The entries of values in the order a TList of them has after Sort(cmp).
std::vector<double*> SortThroughList(std::vector<double>& values, const TListSortCompare& cmp) {
  TList list;
  for (double& v : values) list.Add(&v);
  list.Sort(cmp);
  std::vector<double*> out;
  for (int i = 0; i < list.Count(); ++i) out.push_back(static_cast<double*>(list.Items(i)));
  return out;
}

TEST(ListSort, SortsConsistentDataLikeTheStandardSort) {
  std::mt19937 rng(7);
  std::vector<std::vector<double>> inputs;
  for (int n : {0, 1, 2, 3, 10, 100, 1000}) {
    for (int spread : {3, 1000000}) {  // many equal keys, and few
      inputs.emplace_back(static_cast<std::size_t>(n));
      for (double& v : inputs.back()) v = std::uniform_int_distribution<int>(0, spread)(rng);
    }
  }
  // 200000 entries sorted, reversed and constant: a naive recursion would go very deep.
  for (int kind = 0; kind < 3; ++kind) {
    inputs.emplace_back(200000);
    for (std::size_t i = 0; i < 200000; ++i) inputs.back()[i] = kind == 0 ? double(i) : kind == 1 ? 200000.0 - i : 1.0;
  }
  for (std::vector<double>& values : inputs) {
    std::vector<double> expected = values;
    std::sort(expected.begin(), expected.end());
    std::vector<double> got;
    for (double* p : SortThroughList(values, CompareDoubles)) got.push_back(*p);
    EXPECT_EQ(got, expected) << values.size();
  }
}

// With an inconsistent comparison the order is unspecified, but the list stays a
// permutation of its entries and no access leaves it (ASan checks the latter).
TEST(ListSort, InconsistentComparisonsStayMemorySafe) {
  std::mt19937 rng(99);
  std::vector<TListSortCompare> comparisons = {
      CompareDoubles,                          // NaN keys compare equal to everything
      [](void*, void*) { return -1; },         // x < x
      [](void*, void*) { return 1; },          // x > x
      [&rng](void*, void*) { return std::uniform_int_distribution<int>(-1, 1)(rng); },
  };
  for (std::size_t c = 0; c < comparisons.size(); ++c) {
    for (int n : {2, 3, 17, 500}) {
      std::vector<double> values(static_cast<std::size_t>(n));
      for (double& v : values) {
        v = std::uniform_int_distribution<int>(0, 4)(rng) == 0 ? NAN : std::uniform_real_distribution<double>()(rng);
      }
      std::vector<double*> seen = SortThroughList(values, comparisons[c]);
      std::sort(seen.begin(), seen.end());
      std::vector<double*> all;
      for (double& v : values) all.push_back(&v);
      std::sort(all.begin(), all.end());
      EXPECT_EQ(seen, all) << "comparison " << c << " n " << n;
    }
  }
}

// --- TStringList ---

struct TCounted : TObject {
  explicit TCounted(int* c) : counter(c) { ++*counter; }
  ~TCounted() override { --*counter; }
  int* counter;
};

std::vector<std::string> Lines(const TStringList& s) {
  std::vector<std::string> lines;
  for (int i = 0; i < s.Count(); ++i) lines.push_back(s.Strings(i));
  return lines;
}

TEST(StringList, TextIsCrLfTerminatedAndReadsAnyLineBreak) {
  TStringList s;
  s.Add("alpha");
  s.Add("");
  s.Add("gamma");
  EXPECT_EQ(s.Text(), "alpha\r\n\r\ngamma\r\n");
  s.SetText("one\ntwo\r\nthree\rfour");
  EXPECT_EQ(Lines(s), (std::vector<std::string>{"one", "two", "three", "four"}));
  s.SetText("a\r\n\r\n");
  EXPECT_EQ(Lines(s), (std::vector<std::string>{"a", ""}));
  s.SetText("");
  EXPECT_EQ(s.Count(), 0);

  // Stream round trip; a line break inside a string splits it into two entries.
  TStringList t;
  t.Add("x y");
  t.Add("with\nbreak");
  TMemoryStream m;
  t.SaveToStream(m);
  EXPECT_EQ(m.Size(), 17);
  m.SetPosition(0);
  TStringList u;
  u.LoadFromStream(m);
  EXPECT_EQ(Lines(u), (std::vector<std::string>{"x y", "with", "break"}));
}

// A list that attaches an owned object to every string it adds.
class TOwningList : public TStringList {
public:
  int* counter;
  explicit TOwningList(int* c) : counter(c) {}
  int Add(const std::string& S) override {
    const int i = TStringList::Add(S);
    SetOwnedObject(i, std::make_unique<TCounted>(counter));
    return i;
  }
};

TEST(StringList, OwnedObjectsAreFreedSharedOnesNotAndTextGoesThroughTheVirtualAdd) {
  int alive = 0;
  TCounted shared(&alive);
  {
    TOwningList s(&alive);
    s.SetText("a\r\nb\r\nc\r\n");
    EXPECT_EQ(alive, 4);
    s.SetText("d\r\ne");  // the old lines' objects are freed
    EXPECT_EQ(alive, 3);
    s.SetObjects(0, &shared);  // replacing an owned object frees it
    EXPECT_EQ(alive, 2);
    EXPECT_EQ(s.IndexOfObject(&shared), 0);
    s.Delete(0);  // not owned: stays alive
    EXPECT_EQ(alive, 2);
    s.Delete(0);  // owned: freed
    EXPECT_EQ(alive, 1);
    s.Add("f");
    s.SetOwnedObject(0, std::make_unique<TCounted>(&alive));
    EXPECT_EQ(alive, 2);
    s.Add("g");
  }
  EXPECT_EQ(alive, 1);  // the list's destructor freed its owned objects
}

TEST(StringList, IndexOfAssignUpdatesAndErrors) {
  TStringList s;
  int changes = 0;
  s.OnChange = [&](TObject*) { ++changes; };
  s.BeginUpdate();
  s.Add("Alpha");
  s.Add("beta");
  s.EndUpdate();
  EXPECT_EQ(changes, 1);
  EXPECT_EQ(s.IndexOf("ALPHA"), 0);
  s.SetCaseSensitive(true);
  EXPECT_EQ(s.IndexOf("ALPHA"), -1);
  EXPECT_EQ(s.IndexOf("beta"), 1);
  TObject o;
  s.SetObjects(1, &o);
  TStringList copy;
  copy.Add("old");
  copy.Assign(s);
  EXPECT_EQ(Lines(copy), (std::vector<std::string>{"Alpha", "beta"}));
  EXPECT_EQ(copy.Objects(1), &o);
  EXPECT_THROW(s.Strings(2), EListError);
  EXPECT_THROW(s.Delete(-1), EListError);
  EXPECT_THROW(s.Insert(3, "x"), EListError);
  TTestSub sub;
  EXPECT_THROW(s.Assign(sub), EConvertError);
}

// --- TCollection ---

TEST(Collection, ItemsOwnersIndicesAndAssign) {
  TTestNode owner(nullptr);
  TTestCollection& c = *owner.Items();
  EXPECT_EQ(c.GetOwner(), &owner);
  auto* first = static_cast<TTestItem*>(c.Add());
  first->SetLabel("first");
  auto* zeroth = static_cast<TTestItem*>(c.Insert(0));
  zeroth->SetLabel("zeroth");
  EXPECT_EQ(first->Index(), 1);
  EXPECT_EQ(zeroth->Index(), 0);
  EXPECT_EQ(first->GetOwner(), &c);
  EXPECT_EQ(first->Collection(), &c);
  EXPECT_THROW(c.Items(2), EListError);
  EXPECT_THROW(c.Insert(3), EListError);
  c.Delete(0);
  EXPECT_EQ(first->Index(), 0);

  // Items replaced and their values copied: Assign.CopiesEveryPublishedPropertyButName.
  TTestCollection other;
  other.Assign(c);
  ASSERT_EQ(other.Count(), 1);
  EXPECT_NE(other.Items(0), c.Items(0));
  EXPECT_EQ(other.Items(0)->Collection(), &other);
  TStringList notACollection;
  EXPECT_THROW(other.Assign(notACollection), EConvertError);
}

TEST(Collection, UpdatesAreReportedOnceWhenSuspended) {
  TTestCollection c;
  c.Add();
  EXPECT_EQ(c.UpdateCalls, 1);
  c.BeginUpdate();
  c.Add();
  c.Add();
  c.Delete(0);
  EXPECT_EQ(c.UpdateCalls, 1);
  c.EndUpdate();
  EXPECT_EQ(c.UpdateCalls, 2);
  c.Clear();
  EXPECT_EQ(c.UpdateCalls, 3);
  EXPECT_EQ(c.Count(), 0);
}

}  // namespace
}  // namespace ondrix::test
