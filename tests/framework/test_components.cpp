#include "test_components.h"

#include <nlohmann/json.hpp>

namespace ondrix::test {

namespace {
std::int64_t nextSerial = 1;
}

const TClassInfo& TTestSub::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TTestSub, TPersistent>("TTestSub")
                                     .Prop("Alpha", &TTestSub::Alpha, &TTestSub::SetAlpha, 0.5)
                                     .Prop("Order", &TTestSub::Order, &TTestSub::SetOrder, 2)
                                     .Build();
  return info;
}

const TClassInfo& TTestItem::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TTestItem, TCollectionItem>("TTestItem")
                                     .Prop("Label", &TTestItem::Label, &TTestItem::SetLabel, std::string())
                                     .Prop("Weight", &TTestItem::Weight, &TTestItem::SetWeight)
                                     .Prop("Target", &TTestItem::Target, &TTestItem::SetTarget)
                                     .Build();
  return info;
}

void TTestItem::SetTarget(TTestNode* v) {
  target_ = v;
  // The collection's owner hears of the target's destruction and clears the item.
  if (v) {
    if (auto* owner = dynamic_cast<TComponent*>(Collection()->GetOwner())) owner->FreeNotification(v);
  }
}

const TClassInfo& TTestCollection::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TTestCollection, TCollection>("TTestCollection").Build();
  return info;
}

std::set<const TTestNode*>& TTestNode::Live() {
  static std::set<const TTestNode*> live;
  return live;
}

const TClassInfo& TTestNode::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TTestNode, TKvxComponent>("TTestNode")
          .Prop("Enabled", &TTestNode::Enabled, &TTestNode::SetEnabled, true)
          .Prop("Count", &TTestNode::Count, &TTestNode::SetCount, 3)
          .Prop("Gain", &TTestNode::Gain, &TTestNode::SetGain, 1.0)
          .Prop("Caption", &TTestNode::Caption, &TTestNode::SetCaption, std::string())
          .Enum("Mode", &TTestNode::Mode, &TTestNode::SetMode, {"tmSlow", "tmFast", "tmAuto"}, tmSlow)
          .Prop("Input", &TTestNode::Input, &TTestNode::SetInput)
          .Stored(&TTestNode::InputStored)
          .Prop("Sub", &TTestNode::Sub)
          .Prop("Items", &TTestNode::Items)
          .Prop("Coeffs", &TTestNode::Coeffs, &TTestNode::SetCoeffs)
          .Stored([](const TTestNode& n) { return n.AllowStreaming(); })
          .Prop("Serial", &TTestNode::Serial)
          .Build();
  return info;
}

TTestNode::TTestNode(TComponent* AOwner)
    : TKvxComponent(AOwner),
      sub_(std::make_unique<TTestSub>()),
      items_(std::make_unique<TTestCollection>(this)),
      serial_(nextSerial++) {
  Live().insert(this);
}

TTestNode::~TTestNode() {
  BeginDestroy();
  if (OnDestroying) OnDestroying(this);
  SetInput(nullptr);
  Live().erase(this);
}

void TTestNode::SetInput(TTestNode* v) {
  if (v == input_) return;
  input_ = v;
  if (v) FreeNotification(v);
}

void TTestNode::Notification(TComponent* AComponent, TOperation Operation) {
  if (Operation == opRemove && AComponent) {
    if (AComponent == input_) input_ = nullptr;
    for (int i = 0; i < items_->Count(); ++i) {
      if (items_->Item(i)->Target() == AComponent) items_->Item(i)->SetTarget(nullptr);
    }
  }
  TKvxComponent::Notification(AComponent, Operation);
}

void TTestNode::DefineProperties(TFiler& Filer) {
  TKvxComponent::DefineProperties(Filer);
  Filer.DefineBinaryProperty(
      "Blob",
      [this](TStream& s) {
        Blob.assign(static_cast<std::size_t>(s.Size()), 0);
        s.ReadBuffer(Blob.data(), static_cast<std::int64_t>(Blob.size()));
      },
      [this](TStream& s) { s.WriteBuffer(Blob.data(), static_cast<std::int64_t>(Blob.size())); },
      !Blob.empty() && AllowStreaming());
  Filer.DefineJsonProperty(
      "Points",
      [this](const TFiler::TJson& j, bool apply) {
        if (!j.is_array()) throw EJsonPropertyError("", "an array expected");
        std::vector<std::pair<double, double>> points;
        for (std::size_t i = 0; i < j.size(); ++i) {
          TJsonRecordReader r(j[i], i);
          points.emplace_back(r.Double("x"), r.Double("y"));
          r.Finish();
        }
        if (apply) Points = std::move(points);
      },
      [this](TFiler::TJson& j) {
        j = TFiler::TJson::array();
        for (auto [x, y] : Points) j.push_back({{"x", DoubleToSettingsJson(x)}, {"y", DoubleToSettingsJson(y)}});
      },
      true, Points.empty());
  Filer.DefineBinaryProperty(
      "Points",
      [this](TStream& s) {
        Points.clear();
        double xy[2];
        while (s.Read(xy, sizeof xy) == static_cast<std::int64_t>(sizeof xy)) Points.emplace_back(xy[0], xy[1]);
      },
      nullptr, false);
}

const TClassInfo& TTestDerived::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TTestDerived, TTestNode>("TTestDerived")
                                     .Prop("Gain", &TTestDerived::Gain, &TTestDerived::SetGain, 2.0)
                                     .Prop("Extra", &TTestDerived::Extra, &TTestDerived::SetExtra, 0)
                                     .Build();
  return info;
}

const TClassInfo& TTestOther::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TTestOther, TKvxComponent>("TTestOther").Build();
  return info;
}

const TClassInfo& TTestNodeList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TTestNodeList, TKvxComponentList>("TTestNodeList").Build();
  return info;
}

void RegisterTestClasses() {
  RegisterClass(TComponent::StaticClassInfo());
  RegisterClass(TTestNode::StaticClassInfo());
  RegisterClass(TTestDerived::StaticClassInfo());
  RegisterClass(TTestOther::StaticClassInfo());
  RegisterClass(TTestNodeList::StaticClassInfo());
}

}  // namespace ondrix::test
