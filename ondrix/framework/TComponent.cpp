#include "ondrix/framework/TComponent.h"

#include <algorithm>

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/errors.h"

namespace ondrix {

namespace {
char LowerAscii(char c) noexcept { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }
}  // namespace

bool SameText(std::string_view A, std::string_view B) noexcept {
  if (A.size() != B.size()) return false;
  for (std::size_t i = 0; i < A.size(); ++i) {
    if (LowerAscii(A[i]) != LowerAscii(B[i])) return false;
  }
  return true;
}

bool IsValidComponentName(std::string_view Name) noexcept {
  auto alpha = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; };
  for (std::size_t i = 0; i < Name.size(); ++i) {
    const char c = Name[i];
    if (!alpha(c) && !(i > 0 && c >= '0' && c <= '9')) return false;
  }
  return true;
}

const TClassInfo& TComponent::StaticClassInfo() {
  // Name is stored as the component's "name" entry in settings files, not as a property,
  // and an assignment never copies it.
  static const TClassInfo info = TClassBuilder<TComponent, TPersistent>("TComponent")
                                     .Prop("Name", &TComponent::Name, &TComponent::SetName, std::string())
                                     .Stored(false)
                                     .NoAssign()
                                     .Build();
  return info;
}

TComponent::TComponent(TComponent* AOwner) {
  if (AOwner) {
    AOwner->Attach(this);
    owner_ = AOwner;
    if (AOwner->state_.Contains(csDesigning)) state_.Include(csDesigning);
    try {
      AOwner->Notification(this, opInsert);
    } catch (...) {
      // No destructor runs for a constructor that throws: give the slot back ourselves.
      owner_ = nullptr;
      AOwner->Detach(this);
      throw;
    }
  }
}

TComponent::~TComponent() {
  BeginDestroy();
  // A child's destructor may delete siblings (which then find their slot already empty or
  // empty it themselves), or even add components: hence the index loop over live size.
  for (std::size_t i = 0; i < components_.size(); ++i) {
    std::unique_ptr<TComponent> victim = std::move(components_[i]);
    if (victim) victim->owner_ = nullptr;
  }
  components_.clear();
}

void TComponent::BeginDestroy() noexcept {
  if (state_.Contains(csDestroying)) return;
  state_.Include(csDestroying);
  // A receiver may destroy or unlink others while being told: take one partner at a time.
  while (!notifies_.empty()) {
    TComponent* other = notifies_.back();
    notifies_.pop_back();
    std::erase(other->notifies_, this);
    try {
      other->Notification(this, opRemove);
    } catch (...) {
      // A destructor cannot report it; the link bookkeeping is already complete.
    }
  }
  if (TComponent* owner = owner_) {
    owner_ = nullptr;
    owner->Detach(this);
    if (!owner->state_.Contains(csDestroying)) {
      try {
        owner->Notification(this, opRemove);
      } catch (...) {
      }
    }
  }
}

void TComponent::Attach(TComponent* Child) {
  // Reserve the slot first so that the only throwing step happens before ownership is taken.
  components_.emplace_back();
  components_.back().reset(Child);
}

void TComponent::Detach(TComponent* Child) noexcept {
  auto it = std::find_if(components_.begin(), components_.end(),
                         [Child](const std::unique_ptr<TComponent>& p) { return p.get() == Child; });
  if (it == components_.end()) return;
  (void)it->release();
  // While this owner destroys its children by index, slots must not move.
  if (!state_.Contains(csDestroying)) components_.erase(it);
}

void TComponent::SetName(const std::string& Value) {
  if (Value == name_) return;
  if (!IsValidComponentName(Value)) throw EComponentError("'" + Value + "' is not a valid component name");
  if (owner_) owner_->CheckNewChildName(*this, Value);
  name_ = Value;
}

void TComponent::CheckNewChildName(const TComponent& Child, const std::string& ChildName) const {
  if (ChildName.empty()) return;
  for (const auto& c : components_) {
    if (c && c.get() != &Child && SameText(c->name_, ChildName)) {
      throw EComponentError("A component named " + ChildName + " already exists");
    }
  }
}

TComponent* TComponent::Components(int i) const {
  if (i < 0 || i >= ComponentCount()) throw EListError("List index out of bounds (" + std::to_string(i) + ")");
  return components_[static_cast<std::size_t>(i)].get();
}

int TComponent::ComponentIndex(const TComponent* AComponent) const noexcept {
  for (std::size_t i = 0; i < components_.size(); ++i) {
    if (components_[i].get() == AComponent) return static_cast<int>(i);
  }
  return -1;
}

TComponent* TComponent::FindComponent(std::string_view AName) const noexcept {
  if (AName.empty()) return nullptr;
  for (const auto& c : components_) {
    if (c && SameText(c->name_, AName)) return c.get();
  }
  return nullptr;
}

void TComponent::InsertComponent(std::unique_ptr<TComponent> AComponent) {
  if (!AComponent) return;
  if (AComponent->owner_) throw EComponentError("Component " + AComponent->name_ + " already has an owner");
  for (const TComponent* c = this; c; c = c->owner_) {
    if (c == AComponent.get()) throw EComponentError("A component cannot own itself or its owners");
  }
  CheckNewChildName(*AComponent, AComponent->name_);
  TComponent* child = AComponent.get();
  components_.emplace_back();
  components_.back() = std::move(AComponent);
  child->owner_ = this;
  if (state_.Contains(csDesigning)) child->SetDesigning(true);
  Notification(child, opInsert);
}

std::unique_ptr<TComponent> TComponent::RemoveComponent(TComponent* AComponent) {
  const int i = ComponentIndex(AComponent);
  if (!AComponent || i < 0) throw EComponentError("Component is not owned by " + (name_.empty() ? ClassName() : name_));
  std::unique_ptr<TComponent> result = std::move(components_[static_cast<std::size_t>(i)]);
  components_.erase(components_.begin() + i);
  result->owner_ = nullptr;
  Notification(result.get(), opRemove);
  return result;
}

void TComponent::FreeNotification(TComponent* AComponent) {
  if (!AComponent || AComponent == this) return;
  if (state_.Contains(csDestroying) || AComponent->state_.Contains(csDestroying)) return;
  if (std::find(notifies_.begin(), notifies_.end(), AComponent) == notifies_.end()) {
    notifies_.reserve(notifies_.size() + 1);
    AComponent->notifies_.reserve(AComponent->notifies_.size() + 1);
    notifies_.push_back(AComponent);
    AComponent->notifies_.push_back(this);
  }
}

void TComponent::RemoveFreeNotification(TComponent* AComponent) {
  if (!AComponent) return;
  std::erase(notifies_, AComponent);
  std::erase(AComponent->notifies_, this);
}

void TComponent::SetDesigning(bool Value) {
  if (Value) {
    state_.Include(csDesigning);
  } else {
    state_.Exclude(csDesigning);
  }
  for (const auto& c : components_) {
    if (c) c->SetDesigning(Value);
  }
}

void TComponent::Notification(TComponent* AComponent, TOperation Operation) {
  (void)AComponent;
  (void)Operation;
}

}  // namespace ondrix
