// Small component classes used only by the framework tests.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ondrix/framework/framework.h"
#include "tests/common/reference.h"

namespace ondrix::test {

using ondrix::testing::Raises;
using ondrix::testing::RaisesWith;

enum TTestMode { tmSlow, tmFast, tmAuto };

/// An owned sub-object with two properties.
class TTestSub : public TPersistent {
public:
  ONDRIX_CLASS_INFO()
  double Alpha() const { return alpha_; }
  void SetAlpha(double v) { alpha_ = v; }
  int Order() const { return order_; }
  void SetOrder(int v) { order_ = v; }

private:
  double alpha_ = 0.5;
  int order_ = 2;
};

class TTestNode;

/// A collection item with a label, a weight and a weak link (cleared by the node that owns
/// the collection).
class TTestItem : public TCollectionItem {
public:
  ONDRIX_CLASS_INFO()
  explicit TTestItem(TCollection* c) : TCollectionItem(c) {}
  const std::string& Label() const { return label_; }
  void SetLabel(const std::string& v) { label_ = v; }
  double Weight() const { return weight_; }
  void SetWeight(double v) { weight_ = v; }
  TTestNode* Target() const { return target_; }
  void SetTarget(TTestNode* v);

private:
  std::string label_;
  double weight_ = 0;
  TTestNode* target_ = nullptr;
};

class TTestCollection : public TCollection {
public:
  ONDRIX_CLASS_INFO()
  using TCollection::TCollection;
  std::unique_ptr<TCollectionItem> CreateItem() override { return std::make_unique<TTestItem>(this); }
  TTestItem* Item(int i) const { return static_cast<TTestItem*>(Items(i)); }
  int UpdateCalls = 0;

protected:
  void Update(TCollectionItem*) override { ++UpdateCalls; }
};

/// The main test component: one property of every kind, a binary property, a weak link.
class TTestNode : public TKvxComponent {
public:
  ONDRIX_CLASS_INFO()
  explicit TTestNode(TComponent* AOwner);
  ~TTestNode() override;

  bool Enabled() const { return enabled_; }
  void SetEnabled(bool v) { enabled_ = v; }
  int Count() const { return count_; }
  void SetCount(int v) {
    count_ = v;
    LoadingSeenBySetter = ComponentState().Contains(csLoading);
  }
  double Gain() const { return gain_; }
  void SetGain(double v) { gain_ = v; }
  const std::string& Caption() const { return caption_; }
  void SetCaption(const std::string& v) { caption_ = v; }
  TTestMode Mode() const { return mode_; }
  void SetMode(TTestMode v) { mode_ = v; }
  TTestNode* Input() const { return input_; }
  void SetInput(TTestNode* v);
  TTestSub* Sub() const { return sub_.get(); }
  TTestCollection* Items() const { return items_.get(); }
  TFloatArray Coeffs() const { return coeffs_; }
  void SetCoeffs(const TFloatArray& v) { coeffs_ = v; }
  std::int64_t Serial() const { return serial_; }  // read-only

  /// Stored rule of Input: not in templates.
  bool InputStored() const { return !GetBlockAssign(); }

  std::vector<std::uint8_t> Blob;  // the binary property "Blob" (only when AllowStreaming)
  /// The JSON property "Points" ([{"x": 1, "y": 2}, ...]); its older binary form (pairs of
  /// doubles) is still read.
  std::vector<std::pair<double, double>> Points;
  void DefineProperties(TFiler& Filer) override;

  std::function<void(TTestNode*)> OnDestroying;  // called in the destructor after BeginDestroy
  bool LoadingSeenBySetter = false;
  int LoadedCalls = 0;

  /// Every TTestNode currently alive.
  static std::set<const TTestNode*>& Live();

protected:
  void Notification(TComponent* AComponent, TOperation Operation) override;
  void Loaded() override { ++LoadedCalls; }

private:
  bool enabled_ = true;
  int count_ = 3;
  double gain_ = 1.0;
  std::string caption_;
  TTestMode mode_ = tmSlow;
  TTestNode* input_ = nullptr;
  std::unique_ptr<TTestSub> sub_;
  std::unique_ptr<TTestCollection> items_;
  TFloatArray coeffs_;
  std::int64_t serial_;
};

/// Republishes Gain with another default, adds Extra and, as components with sub-components
/// do, makes a named child in its constructor.
class TTestDerived : public TTestNode {
public:
  ONDRIX_CLASS_INFO()
  explicit TTestDerived(TComponent* AOwner) : TTestNode(AOwner) {
    SetGain(2.0);
    inner_ = new TTestNode(this);
    inner_->SetName("Inner");
  }
  int Extra() const { return extra_; }
  void SetExtra(int v) { extra_ = v; }
  TTestNode* Inner() const { return inner_; }

private:
  int extra_ = 0;
  TTestNode* inner_;
};

/// A processing component unrelated to TTestNode.
class TTestOther : public TKvxComponent {
public:
  ONDRIX_CLASS_INFO()
  explicit TTestOther(TComponent* AOwner) : TKvxComponent(AOwner) {}
};

/// A list of TTestNode items.
class TTestNodeList : public TKvxComponentList {
public:
  ONDRIX_CLASS_INFO()
  explicit TTestNodeList(TComponent* AOwner) : TKvxComponentList(AOwner) {}
  TTestNode* Item(int i) const { return static_cast<TTestNode*>(Items(i)); }

protected:
  std::unique_ptr<TKvxComponent> AddItem() override { return std::make_unique<TTestNode>(nullptr); }
};

/// Registers the test classes (idempotent).
void RegisterTestClasses();

}  // namespace ondrix::test
