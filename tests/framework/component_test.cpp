// Ownership, names, component state, free-notification and destruction in every order.
#include <gtest/gtest.h>

#include <cstdint>

#include <memory>
#include <random>
#include <vector>

#include "test_components.h"

namespace ondrix::test {
namespace {

// Every weak link of every live node points to a live node.
void ExpectNoDanglingLinks() {
  for (const TTestNode* n : TTestNode::Live()) {
    if (n->Input()) {
      ASSERT_TRUE(TTestNode::Live().count(n->Input())) << "dangling Input";
    }
    for (int i = 0; i < n->Items()->Count(); ++i) {
      const TTestNode* t = n->Items()->Item(i)->Target();
      if (t) {
        ASSERT_TRUE(TTestNode::Live().count(t)) << "dangling item Target";
      }
    }
  }
}

// Records the notifications a component receives.
class TRecorder : public TComponent {
public:
  using TComponent::TComponent;
  std::vector<std::pair<TComponent*, TOperation>> Events;

protected:
  void Notification(TComponent* AComponent, TOperation Operation) override {
    Events.push_back({AComponent, Operation});
  }
};

TEST(Component, OwnerKeepsOrderHearsInsertAndRemoveAndDestroysWhatItOwns) {
  const std::size_t before = TTestNode::Live().size();
  {
    TRecorder owner(nullptr);
    auto* a = new TTestNode(&owner);
    auto* b = new TTestNode(&owner);
    owner.InsertComponent(std::make_unique<TTestNode>(nullptr));
    TComponent* c = owner.Components(2);
    ASSERT_EQ(owner.ComponentCount(), 3);
    EXPECT_EQ(owner.Components(0), a);
    EXPECT_EQ(owner.Components(1), b);
    EXPECT_EQ(c->Owner(), &owner);
    EXPECT_THROW(owner.Components(3), EListError);
    delete a;  // detaches itself
    std::unique_ptr<TComponent> taken = owner.RemoveComponent(c);
    EXPECT_EQ(taken->Owner(), nullptr);
    EXPECT_THROW(owner.RemoveComponent(c), EComponentError);
    ASSERT_EQ(owner.ComponentCount(), 1);
    EXPECT_EQ(owner.Components(0), b);
    const std::vector<std::pair<TComponent*, TOperation>> expected = {
        {a, opInsert}, {b, opInsert}, {c, opInsert}, {a, opRemove}, {c, opRemove}};
    EXPECT_EQ(owner.Events, expected);
    EXPECT_EQ(TTestNode::Live().size(), before + 2);
  }
  EXPECT_EQ(TTestNode::Live().size(), before);
}

TEST(Component, NamesAreUniqueIdentifiersAndInsertRefusesCycles) {
  TComponent owner(nullptr);
  auto* a = new TTestNode(&owner);
  auto* b = new TTestNode(&owner);
  a->SetName("Filter1");
  EXPECT_THROW(b->SetName("filter1"), EComponentError);  // names compare case-insensitively
  EXPECT_THAT([&] { b->SetName("1abc"); }, Raises<EComponentError>("'1abc' is not a valid component name"));
  EXPECT_THROW(b->SetName("a.b"), EComponentError);
  b->SetName("Filter2");
  EXPECT_EQ(owner.FindComponent("FILTER2"), b);
  EXPECT_EQ(owner.FindComponent("Filter3"), nullptr);
  EXPECT_EQ(owner.FindComponent(""), nullptr);

  // Inserting a component with a taken name fails and leaves the owner as it was.
  auto dup = std::make_unique<TTestNode>(nullptr);
  dup->SetName("Filter1");
  EXPECT_THAT([&] { owner.InsertComponent(std::move(dup)); }, Raises<EComponentError>("A component named Filter1 already exists"));
  EXPECT_EQ(owner.ComponentCount(), 2);
  // Nor may a component be inserted below what it owns.
  auto root = std::make_unique<TTestNode>(nullptr);
  auto* child = new TTestNode(root.get());
  EXPECT_THROW(child->InsertComponent(std::move(root)), EComponentError);
}

TEST(Component, DesigningPropagatesToOwnedAndInsertedComponents) {
  TComponent owner(nullptr);
  auto* a = new TTestNode(&owner);
  auto* aa = new TTestNode(a);
  owner.SetDesigning(true);
  EXPECT_TRUE(a->ComponentState().Contains(csDesigning));
  EXPECT_TRUE(aa->ComponentState().Contains(csDesigning));
  auto* late = new TTestNode(&owner);
  EXPECT_TRUE(late->ComponentState().Contains(csDesigning));
  owner.InsertComponent(std::make_unique<TTestNode>(nullptr));
  EXPECT_TRUE(owner.Components(2)->ComponentState().Contains(csDesigning));
  owner.SetDesigning(false);
  EXPECT_FALSE(aa->ComponentState().Contains(csDesigning));
}

TEST(Component, FreeNotificationIsMutualAndRemovable) {
  TRecorder x(nullptr);
  auto y = std::make_unique<TRecorder>(nullptr);
  auto z = std::make_unique<TRecorder>(nullptr);
  x.FreeNotification(y.get());
  x.FreeNotification(y.get());  // once only
  x.FreeNotification(z.get());
  x.RemoveFreeNotification(z.get());
  // Kept as a number: the object is gone, only its identity is compared.
  const auto yId = reinterpret_cast<std::uintptr_t>(y.get());
  y.reset();
  z.reset();
  ASSERT_EQ(x.Events.size(), 1u);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(x.Events[0].first), yId);
  EXPECT_EQ(x.Events[0].second, opRemove);
}

TEST(Destruction, WeakLinkIsNullInsideTheTargetsDestructor) {
  auto source = std::make_unique<TTestNode>(nullptr);
  auto consumer = std::make_unique<TTestNode>(nullptr);
  consumer->SetInput(source.get());
  consumer->Items()->Add();
  consumer->Items()->Item(0)->SetTarget(source.get());
  bool inputNull = false;
  bool targetNull = false;
  bool destroyingSet = false;
  source->OnDestroying = [&](TTestNode* self) {
    inputNull = consumer->Input() == nullptr;
    targetNull = consumer->Items()->Item(0)->Target() == nullptr;
    destroyingSet = self->ComponentState().Contains(csDestroying);
  };
  source.reset();
  EXPECT_TRUE(inputNull);
  EXPECT_TRUE(targetNull);
  EXPECT_TRUE(destroyingSet);
}

TEST(Destruction, ChildMayDeleteSiblingsWhileOwnerDestroysChildren) {
  const std::size_t before = TTestNode::Live().size();
  {
    TComponent owner(nullptr);
    auto* first = new TTestNode(&owner);
    auto* second = new TTestNode(&owner);
    auto* third = new TTestNode(&owner);
    third->SetInput(second);
    first->OnDestroying = [second](TTestNode*) { delete second; };
  }
  EXPECT_EQ(TTestNode::Live().size(), before);
}

TEST(Destruction, FailingConstructorGivesTheOwnerSlotBack) {
  struct TThrows : TTestNode {
    explicit TThrows(TComponent* o) : TTestNode(o) { throw std::runtime_error("no"); }
  };
  TComponent owner(nullptr);
  EXPECT_THROW(new TThrows(&owner), std::runtime_error);
  EXPECT_EQ(owner.ComponentCount(), 0);
}

// Random graphs of owned and unowned nodes with random links, destroyed in random order.
// (A list takes each unowned item out before destroying it; libstdc++'s pop_back also shrinks
// the vector before the destructor runs, so without that step nothing here would differ.)
TEST(Destruction, RandomisedCreateLinkDestroy) {
  std::mt19937 rng(12345);
  const std::size_t before = TTestNode::Live().size();
  for (int round = 0; round < 20; ++round) {
    std::vector<std::unique_ptr<TTestNode>> roots;
    auto pick = [&]() -> TTestNode* {
      std::vector<TTestNode*> live;
      for (const TTestNode* n : TTestNode::Live()) live.push_back(const_cast<TTestNode*>(n));
      if (live.empty()) return nullptr;
      return live[std::uniform_int_distribution<std::size_t>(0, live.size() - 1)(rng)];
    };
    for (int step = 0; step < 300; ++step) {
      const int op = std::uniform_int_distribution<int>(0, 9)(rng);
      TTestNode* n = pick();
      if (op < 3 || !n) {
        if (n && op == 0) {
          new TTestNode(n);  // owned by a random node
        } else {
          roots.push_back(std::make_unique<TTestNode>(nullptr));
        }
      } else if (op < 6) {
        n->SetInput(pick());
      } else if (op < 7) {
        TTestNode* t = pick();
        n->Items()->Add();
        n->Items()->Item(n->Items()->Count() - 1)->SetTarget(t);
      } else {
        auto it = std::find_if(roots.begin(), roots.end(), [n](const auto& p) { return p.get() == n; });
        if (it != roots.end()) {
          roots.erase(it);
        } else {
          delete n;  // an owned node
        }
      }
      ExpectNoDanglingLinks();
    }
    std::shuffle(roots.begin(), roots.end(), rng);
    while (!roots.empty()) {
      roots.pop_back();
      ExpectNoDanglingLinks();
    }
    EXPECT_EQ(TTestNode::Live().size(), before);
  }
}

}  // namespace
}  // namespace ondrix::test
