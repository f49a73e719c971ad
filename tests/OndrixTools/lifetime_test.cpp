// Teardown in every order: weak links are cleared before anyone can see a dying component.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <random>
#include <vector>

#include "tools_test_components.h"

using namespace ondrix;

using ondrix::toolstest::TMixer;

// Sources and owners dying first: Lifetime.RandomGraphsTornDownInRandomOrder.
TEST(Lifetime, ConsumerFirstTakesItsHandlerAlong) {
  TSignal src(nullptr);
  auto consumer = std::make_unique<TMixer>(nullptr);
  consumer->Inputs()->SetOnSetInput([c = consumer.get()](TObject*) { c->MakeDirty(); });
  consumer->Inputs()->Add()->SetInput(&src);
  consumer.reset();  // the handler wired into src must go with its owner
  EXPECT_FALSE(src.OnNotifyUpdate);
  src.Pull();
}

TEST(Lifetime, RandomGraphsTornDownInRandomOrder) {
  std::mt19937 rng(12345);
  for (int round = 0; round < 200; ++round) {
    auto root = std::make_unique<TComponent>(nullptr);
    std::vector<TAnalysis*> all;
    std::vector<std::unique_ptr<TAnalysis>> loose;
    const int n = 3 + rng() % 10;
    for (int i = 0; i < n; ++i) {
      int kind = rng() % 3;
      bool owned = rng() % 2;
      TComponent* owner = owned ? root.get() : nullptr;
      TAnalysis* c;
      if (kind == 0)
        c = new TSignal(owner);
      else if (kind == 1)
        c = new TMixer(owner);
      else
        c = new TSpectrum(owner);
      if (!owned) loose.emplace_back(c);
      all.push_back(c);
    }
    // Random links: inputs, multi-inputs with and without handlers, spectrum inputs.
    for (int k = 0; k < 2 * n; ++k) {
      TAnalysis* a = all[rng() % n];
      auto* s = dynamic_cast<TSignal*>(all[rng() % n]);
      if (!s || s == a) continue;
      if (auto* m = dynamic_cast<TMixer*>(a)) {
        if (rng() % 3 == 0) m->Inputs()->SetOnSetInput([m](TObject*) { m->MakeDirty(); });
        m->Inputs()->Add()->SetInput(s);
        if (auto* sp = dynamic_cast<TSpectrum*>(all[rng() % n])) m->spectra->Add()->SetInput(sp);
      } else {
        a->SetInput(s);
      }
    }
    // Destroy in random order: loose ones and owned ones by hand, then the owner.
    std::set<const void*> dead;
    auto checkNoDanglingLinks = [&] {
      for (TAnalysis* x : all) {
        if (!x) continue;
        EXPECT_EQ(dead.count(x->Input()), 0u);
        if (auto* m = dynamic_cast<TMixer*>(x)) {
          for (int i = 0; i < m->Inputs()->Count(); ++i) EXPECT_EQ(dead.count(m->Inputs()->Items(i)->Input()), 0u);
          for (int i = 0; i < m->spectra->Count(); ++i) EXPECT_EQ(dead.count(m->spectra->Items(i)->Input()), 0u);
        }
      }
    };
    std::vector<int> order(n);
    for (int i = 0; i < n; ++i) order[i] = i;
    std::shuffle(order.begin(), order.end(), rng);
    for (int i : order) {
      if (rng() % 3 == 0) continue;  // left for the owner or the vector
      TAnalysis* c = all[i];
      auto it = std::find_if(loose.begin(), loose.end(), [c](auto& p) { return p.get() == c; });
      if (it != loose.end())
        loose.erase(it);
      else if (c->Owner() == root.get())
        delete c;
      else
        continue;
      all[i] = nullptr;
      dead.insert(c);
      checkNoDanglingLinks();
      // Everything still alive can be marked and notified without touching the dead.
      for (TAnalysis* x : all)
        if (x) x->MakeDirty(), x->UpdateNotify();
    }
    if (rng() % 2) {  // the owner first
      for (TAnalysis*& x : all) {
        if (x && x->Owner() == root.get()) {
          dead.insert(x);
          x = nullptr;
        }
      }
      root.reset();
      checkNoDanglingLinks();
    }
    loose.clear();
  }
}
