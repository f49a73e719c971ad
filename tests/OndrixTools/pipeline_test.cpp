// The pull protocol: chains, diamonds, multi-input components, streaming and ending sources,
// events, error wrapping, and no allocation once blocks have their size.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/common/allocation_counter.h"
#include "tests/common/reference.h"
#include "tools_test_components.h"

using namespace ondrix;
using ondrix::testing::Raises;
using ondrix::toolstest::TGain;
using ondrix::toolstest::TMixer;

namespace {

/// A source that counts its updates and writes the count into every sample. It answers
/// pipeStream on the updates listed in streamAt and pipeEnd from update endAt on; raises if fail.
class TCounter : public TSignal {
public:
  using TSignal::TSignal;
  int updates = 0;
  int endAt = -1;
  bool fail = false;
  std::vector<int> streamAt;
  TPipeState InternalUpdate() override {
    if (fail) throw Exception("boom");
    ++updates;
    if (endAt >= 0 && updates >= endAt) return pipeEnd;
    for (int s : streamAt)
      if (s == updates) return pipeStream;
    Data().SetVal(updates);
    return pipeOK;
  }
};

}  // namespace

TEST(PullProtocol, ChainRecomputesOncePerPullFromTheSourceDownToANonContinuousStage) {
  TComponent owner(nullptr);
  auto* a = new TCounter(&owner);
  auto* b = new TGain(&owner);
  auto* c = new TGain(&owner, 10.0);
  b->SetInput(a);
  c->SetInput(b);
  EXPECT_EQ(c->Pull(), pipeOK);
  EXPECT_EQ(c->Values(0), 20.0);
  EXPECT_EQ(c->Pull(), pipeOK);
  EXPECT_EQ(c->Values(5), 40.0);
  EXPECT_EQ(a->updates, 2);
  EXPECT_EQ(b->updates, 2);
  EXPECT_FALSE(c->Dirty());
  // The processing stage took the source's format before computing.
  a->SetSamplingFrequency(500.0);
  c->Pull();
  EXPECT_EQ(c->SamplingFrequency(), 500.0);
  b->SetContinuous(false);
  c->Pull();  // B recomputes from A's old block; A is not pulled
  EXPECT_EQ(a->updates, 3);
  EXPECT_EQ(b->updates, 4);
  EXPECT_FALSE(a->Dirty());

  TGain d(nullptr);  // an inactive stage keeps its result
  d.SetInput(a);
  d.SetActive(false);
  EXPECT_EQ(d.Pull(), pipeOK);
  EXPECT_EQ(d.updates, 0);
  EXPECT_TRUE(d.Dirty());  // stays dirty while inactive
}

TEST(PullProtocol, StreamAndEndPropagation) {
  TComponent owner(nullptr);
  auto* a = new TCounter(&owner);
  a->streamAt = {2};
  a->endAt = 4;
  auto* b = new TGain(&owner);
  b->SetInput(a);
  EXPECT_EQ(b->Pull(), pipeOK);
  EXPECT_EQ(b->Pull(), pipeStream);  // the single-input stage waits
  EXPECT_EQ(b->updates, 1);
  EXPECT_TRUE(b->Dirty());
  EXPECT_EQ(b->Pull(), pipeOK);
  EXPECT_EQ(b->Pull(), pipeEnd);
  EXPECT_EQ(b->updates, 2);

  // A multi-channel stage updates although its input streams (kept asymmetry).
  auto* s = new TCounter(&owner);
  s->streamAt = {1};
  auto* m = new TMixer(&owner);
  m->Inputs()->Add()->SetInput(s);
  EXPECT_EQ(m->Pull(), pipeOK);
  EXPECT_EQ(m->updates, 1);
  // It ends with its input, and goes on when the input does.
  s->endAt = 2;
  EXPECT_EQ(m->Pull(), pipeEnd);
  s->endAt = -1;
  EXPECT_EQ(m->Pull(), pipeOK);
  EXPECT_EQ(m->updates, 2);
}

TEST(PullProtocol, EventsFireInOrderAndPullUntilEndSuspendsNotification) {
  TCounter a(nullptr);
  std::vector<std::string> log;
  a.OnGetInput = [&](TObject*) { log.push_back("get"); };
  a.OnBeforeUpdate = [&](TObject*) { log.push_back("before"); };
  a.OnAfterUpdate = [&](TObject* s) {
    log.push_back("after");
    EXPECT_EQ(s, &a);
  };
  a.OnDisplayUpdate = [&](TObject*) { log.push_back("display"); };
  a.OnNotifyUpdate = [&](TObject*) { log.push_back("notify"); };
  a.Pull();
  EXPECT_EQ(log, (std::vector<std::string>{"get", "before", "after", "display", "notify"}));
  log.clear();
  a.SetDisplayEvents(false);
  a.Pull();
  EXPECT_EQ(log, (std::vector<std::string>{"get", "before", "after", "notify"}));
  // PullUntilEnd suspends the notification while it runs and leaves the flag as it found it.
  for (bool suspended : {false, true}) {
    log.clear();
    a.SetSuspendNotifyUpdate(suspended);
    a.endAt = a.updates + 3;
    a.PullUntilEnd();
    EXPECT_EQ(log.size(), 9u);  // three updates of get, before, after: no notify
    EXPECT_EQ(a.SuspendNotifyUpdate(), suspended);
  }

  TObject* sender = nullptr;
  a.OnParameterUpdate = [&](TObject* s) { sender = s; };
  TSignal other(nullptr);
  a.ParamUpdate(&other);
  EXPECT_EQ(sender, &other);  // the given sender, not the component
}

TEST(PullProtocol, ErrorsAreWrappedWithTheComponentName) {
  TComponent owner(nullptr);
  auto* f = new TGain(&owner);
  f->SetName("Filter1");
  EXPECT_THAT([&] { f->Pull(); }, Raises<Exception>("Filter1: Input = nil!"));
  EXPECT_TRUE(f->Dirty());
  bool handled = false;
  f->OnGetInput = [&](TObject*) {
    handled = true;
    f->SetInput(new TCounter(&owner));
  };
  EXPECT_NO_THROW(f->Update());  // the handler stands in for the missing input
  EXPECT_TRUE(handled);

  auto* m = new TMixer(&owner);
  m->SetName("Mix");
  m->Inputs()->Add()->SetInput(new TCounter(&owner));
  m->Inputs()->Add();
  EXPECT_THAT([&] { m->Update(); }, Raises<Exception>("Mix: Inputs[1] = nil!"));

  auto* t = new TCounter(&owner);
  t->fail = true;
  t->SetName("T");
  t->SetPipeState(pipeStream);
  EXPECT_THAT([&] { t->Pull(); }, Raises<Exception>("T: boom"));
  EXPECT_EQ(t->PipeState(), pipeStream);  // failed before its state was set
}

TEST(PullProtocol, AssignBetweenModesAndInputsStored) {
  TMixer multi(nullptr);
  TSignal single(nullptr);
  EXPECT_THAT([&] { single.Assign(multi); }, Raises<Exception>("MultiChannel <> TAnalysis(Source).MultiChannel!"));
  // Assign between equal modes: signalprocessing_tests' PropertyTable.
  EXPECT_FALSE(single.InputsStored());
  single.SetDesigning(true);
  EXPECT_TRUE(single.InputsStored());
  single.SetBlockAssign(true);
  EXPECT_FALSE(single.InputsStored());
}

TEST(AnalysisList, FedFromOneSourceOrFromAnotherList) {
  TComponent owner(nullptr);
  auto* src = new TCounter(&owner);
  auto* bank = new TSignalList(&owner);
  bank->SetCount(2);
  bank->SetInput(src);
  EXPECT_EQ(bank->Pull(), pipeOK);
  EXPECT_EQ(bank->Count(), 2);  // n = Count with a single source
  for (int i = 0; i < 2; ++i) EXPECT_EQ(bank->Items(i)->Input(), src);

  auto* first = new TSignalList(&owner);
  first->SetCount(3);
  auto* second = new TSignalList(&owner);
  second->SetInput(src);
  second->SetInputs(first);
  EXPECT_EQ(second->Input(), nullptr);
  second->Pull();
  ASSERT_EQ(second->Count(), 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(second->Items(i)->Input(), first->Items(i));

  TSignalList empty(nullptr);
  EXPECT_EQ(empty.Pull(), pipeOK);
  EXPECT_THROW(empty.SetItems(0, nullptr), ENoOperation);
  EXPECT_THAT([&] { bank->Propagate(2); }, Raises<EVecError>("not CheckRange(0,SrcIndex,Count-1)"));
  bank->Items(0)->SetChannelCount(2);
  bank->Propagate(0);
  EXPECT_EQ(bank->Items(1)->ChannelCount(), 2);
}

TEST(AnalysisList, PullUntilEndParallelStopsAtTheFirstEndSerialRunsEach) {
  TComponent owner(nullptr);
  auto* a = new TCounter(&owner);
  a->endAt = 3;
  auto* b = new TCounter(&owner);
  b->endAt = 5;
  auto* bank = new TSignalList(&owner);
  bank->SetCount(2);
  bank->Items(0)->SetInput(a);
  bank->Items(1)->SetInput(b);
  bank->Items(0)->SetUsesInputs(true);
  bank->PullUntilEnd();
  EXPECT_EQ(a->updates, 3);
  EXPECT_EQ(b->updates, 3);
  bank->SetPipeProcessing(ppSerial);
  a->updates = b->updates = 0;
  bank->PullUntilEnd();
  EXPECT_EQ(a->updates, 3);
  EXPECT_EQ(b->updates, 5);
}

// A multi-input item of a list fed by another list waits while an input streams or has ended.
TEST(AnalysisList, AMultiInputItemWaitsForAStreamingOrEndedInput) {
  TComponent owner(nullptr);
  auto* src = new TCounter(&owner);
  src->streamAt = {2};
  src->endAt = 4;
  auto* first = new TSignalList(&owner);
  first->SetCount(1);
  first->SetInput(src);
  auto* second = new TSignalList(&owner);
  second->SetCount(1);
  second->Items(0)->SetMultiChannel(true);
  second->SetInputs(first);
  int updates = 0;
  second->Items(0)->OnAfterUpdate = [&](TObject*) { ++updates; };
  for (int expected : {1, 1, 2, 2}) {
    second->Pull();
    EXPECT_EQ(updates, expected) << "after update " << src->updates << " of the source";
  }
}

TEST(Collections, SignalItemWiringAndBlockAssign) {
  TComponent owner(nullptr);
  auto* consumer = new TMixer(&owner);
  auto* a = new TCounter(&owner);
  auto* b = new TCounter(&owner);
  TSignalCollection& ins = *consumer->Inputs();
  TSignalItem* item = ins.Add();
  item->SetInput(a);
  EXPECT_FALSE(a->OnNotifyUpdate);  // no handler: nothing wired
  int heard = 0;
  ins.SetOnSetInput([&](TObject*) { ++heard; });
  EXPECT_FALSE(a->OnNotifyUpdate);  // existing inputs are not rewired
  ins.Items(0)->SetInput(b);
  EXPECT_TRUE(b->OnNotifyUpdate);
  b->Pull();
  EXPECT_EQ(heard, 1);
  ins.Items(0)->SetInput(a);
  EXPECT_FALSE(b->OnNotifyUpdate);  // the old input is unwired
  ins.SetBlockAssign(true);
  ins.Items(0)->SetInput(b);
  EXPECT_EQ(ins.Items(0)->Input(), a);
  ins.SetBlockAssign(false);
  EXPECT_THROW(TSignalItem bad(nullptr), Exception);
}

TEST(Collections, SpectrumItemAlwaysTakesTheCollectionHandler) {
  TComponent owner(nullptr);
  auto* host = new TSpectrum(&owner);
  TSpectrumCollection col(host);
  auto* s = new TSpectrum(&owner);
  s->OnNotifyUpdate = [](TObject*) {};
  col.Add()->SetInput(s);
  EXPECT_FALSE(s->OnNotifyUpdate);  // cleared by the empty handler
  int heard = 0;
  col.SetOnSetInput([&](TObject*) { ++heard; });
  col.Items(0)->SetInput(s);
  s->Pull();
  EXPECT_EQ(heard, 1);  // cleared links: Lifetime.RandomGraphsTornDownInRandomOrder
  EXPECT_THROW(TSpectrumItem bad(nullptr), Exception);
}

TEST(PullProtocol, ADiamondPullsItsSharedStageOnceAndPullingAllocatesNothing) {
  TComponent owner(nullptr);
  auto* src = new TSignal(&owner);
  src->SetLength(1024);
  auto* a = new TGain(&owner);
  auto* b = new TGain(&owner);
  auto* m = new TMixer(&owner);
  a->SetInput(src);
  b->SetInput(a);
  m->Inputs()->Add()->SetInput(a);
  m->Inputs()->Add()->SetInput(b);
  m->Pull();  // first pull sizes every block
  EXPECT_EQ(a->updates, 1);  // pulled by m and by b
  EXPECT_EQ(m->Input(), a);  // in multi-channel mode Input is Inputs[0]
  ONDRIX_REQUIRE_ALLOCATION_COUNTING();
  EXPECT_EQ(ondrix::testing::AllocationsOf([&] {
              for (int i = 0; i < 100; ++i) {
                m->Pull();
                b->SetContinuous(i % 2 == 0);
                a->SetActive(true);
                src->SetSamplingFrequency(1000.0 + i);
                src->SetChannelCount(1 + i % 2);
              }
            }),
            0);
}
