// The pull path and property setters do not allocate once blocks have their size.
#include <gtest/gtest.h>

#include "ondrix/OndrixTools/OndrixTools.h"

#include "../common/allocation_counter.h"

using namespace ondrix;
using namespace ondrix::testing;

namespace {

class TStage : public TSignal {
public:
  explicit TStage(TComponent* owner) : TSignal(owner) { SetUsesInputs(true); }
  TPipeState InternalUpdate() override {
    Data().Copy(Input()->Data()).Scale(0.5);
    return pipeOK;
  }
};

}  // namespace

TEST(Allocation, PullingAChainAndSettingPropertiesDoNotAllocate) {
  TComponent owner(nullptr);
  auto* src = new TSignal(&owner);
  src->SetLength(1024);
  auto* a = new TStage(&owner);
  auto* b = new TStage(&owner);
  auto* m = new TSignal(&owner);
  m->SetMultiChannel(true);
  a->SetInput(src);
  b->SetInput(a);
  m->Inputs()->Add()->SetInput(a);
  m->Inputs()->Add()->SetInput(b);
  m->Pull();  // first pull sizes every block
  ONDRIX_REQUIRE_ALLOCATION_COUNTING();
  AllocationCounter counter;
  ASSERT_TRUE(counter.Valid());
  for (int i = 0; i < 100; ++i) {
    m->Pull();
    b->SetContinuous(i % 2 == 0);
    a->SetActive(true);
    src->SetSamplingFrequency(1000.0 + i);
    src->SetChannelCount(1 + i % 2);
  }
  EXPECT_EQ(counter.Count(), 0);
}
