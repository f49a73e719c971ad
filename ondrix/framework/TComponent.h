// TComponent: a named persistent object with an owner, owned components and
// free-notification of weak links.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ondrix/framework/TPersistent.h"

namespace ondrix {

/// What a Notification reports: a component was inserted into, or is leaving, the receiver's
/// world (an owner gains or loses a component; a free-notification partner is destroyed).
enum TOperation { opInsert, opRemove };

/// Flags of a component's state.
enum TComponentStateFlag { csLoading, csDesigning, csDestroying };

/// A small set of TComponentStateFlag.
class TComponentState {
public:
  bool Contains(TComponentStateFlag Flag) const noexcept { return (bits_ & Bit(Flag)) != 0; }
  void Include(TComponentStateFlag Flag) noexcept { bits_ |= Bit(Flag); }
  void Exclude(TComponentStateFlag Flag) noexcept { bits_ &= ~Bit(Flag); }
  bool operator==(const TComponentState&) const = default;

private:
  static unsigned Bit(TComponentStateFlag Flag) noexcept { return 1u << static_cast<unsigned>(Flag); }
  unsigned bits_ = 0;
};

/// A named persistent object that can own other components and hold weak links to others.
///
/// Ownership: a component constructed with an owner, or handed over by InsertComponent,
/// is destroyed by that owner; one without owner belongs to whoever holds it. Deleting an
/// owned component directly (`delete c`) is allowed: it detaches itself from its owner.
///
/// Destruction protocol: BeginDestroy() sets csDestroying, sends Notification(this,
/// opRemove) to every free-notification partner and to the owner, and detaches from both.
/// Every class that holds state its Notification receivers may look at calls BeginDestroy()
/// as the first statement of its destructor; ~TComponent calls it as a safety net, then
/// destroys the owned components (an index loop that empties each slot first, so a child's
/// destructor may delete siblings).
class TComponent : public TPersistent {
public:
  ONDRIX_CLASS_INFO()

  /// Creates the component; a non-null AOwner takes ownership of it at once (and passes on
  /// csDesigning). AOwner's Notification(opInsert) sees the component before the derived
  /// constructors have run.
  explicit TComponent(TComponent* AOwner);
  ~TComponent() override;
  TComponent(const TComponent&) = delete;
  TComponent& operator=(const TComponent&) = delete;

  TComponent* Owner() const noexcept { return owner_; }

  /// The component's name: empty, or an identifier unique (case-insensitively) among the
  /// components of its owner. EComponentError for an invalid or duplicate name.
  const std::string& Name() const noexcept { return name_; }
  void SetName(const std::string& Value);

  /// Owned components, in insertion order.
  int ComponentCount() const noexcept { return static_cast<int>(components_.size()); }
  /// Owned component i; EListError when i is out of range.
  TComponent* Components(int i) const;
  /// Index of an owned component, or -1.
  int ComponentIndex(const TComponent* AComponent) const noexcept;
  /// The owned component of that name (case-insensitive), or nullptr. An empty name finds nothing.
  TComponent* FindComponent(std::string_view AName) const noexcept;

  /// Takes ownership of AComponent (which must have no owner): appends it, passes on
  /// csDesigning and sends Notification(AComponent, opInsert) to this component.
  /// EComponentError for a duplicate name or an ownership cycle (AComponent is then destroyed).
  void InsertComponent(std::unique_ptr<TComponent> AComponent);
  /// Gives up ownership of an owned component and hands it back; sends Notification(opRemove).
  /// EComponentError if AComponent is not owned by this component.
  std::unique_ptr<TComponent> RemoveComponent(TComponent* AComponent);

  /// Links this component and AComponent both ways: whichever is destroyed first sends
  /// Notification(itself, opRemove) to the other. Used by every weak link. Ignored for
  /// nullptr, for itself and when either is already being destroyed.
  void FreeNotification(TComponent* AComponent);
  /// Undoes FreeNotification (both ways).
  void RemoveFreeNotification(TComponent* AComponent);

  TComponentState ComponentState() const noexcept { return state_; }
  /// Sets or clears csDesigning here and in every owned component.
  virtual void SetDesigning(bool Value);

protected:
  /// Told when a free-notification partner is destroyed (opRemove) and when this component
  /// gains (opInsert) or loses (opRemove) an owned component. Clear weak links here. The
  /// lists of partners are already updated when it is called. Base: nothing.
  virtual void Notification(TComponent* AComponent, TOperation Operation);

  /// Called after the component was read from settings, once every link is restored and
  /// csLoading is cleared. Base: nothing.
  virtual void Loaded() {}

  /// Starts destruction (idempotent): sets csDestroying, notifies free-notification
  /// partners and the owner with opRemove, and detaches from them all. Call it first in the
  /// destructor of every class whose members Notification receivers may reach.
  void BeginDestroy() noexcept;

private:
  friend struct TComponentAccess;  // the settings reader sets csLoading and calls Loaded

  void Attach(TComponent* Child);  // appends an owned component (no checks)
  void Detach(TComponent* Child) noexcept;
  void CheckNewChildName(const TComponent& Child, const std::string& ChildName) const;

  TComponent* owner_ = nullptr;
  std::string name_;
  TComponentState state_;
  std::vector<std::unique_ptr<TComponent>> components_;
  std::vector<TComponent*> notifies_;  // free-notification partners (not owned)
};

/// True for "" and for identifiers ([A-Za-z_][A-Za-z0-9_]*): the names components may have.
bool IsValidComponentName(std::string_view Name) noexcept;

/// ASCII case-insensitive comparison, as used for component names.
bool SameText(std::string_view A, std::string_view B) noexcept;

}  // namespace ondrix
