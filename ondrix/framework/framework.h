// The component framework: objects, components, published-property tables, containers,
// streams, the class registry and JSON settings files.
//
// PROPERTY TABLES
// Every class with published properties declares ONDRIX_CLASS_INFO() (a static
// StaticClassInfo() and the virtual ClassInfo()) and defines StaticClassInfo() once, in its
// .cpp, with TClassBuilder<TClass, TParent> (ClassBuilder.h): name, then one entry per
// property (name, getter, setter, optional default, optional .Stored(pred)). The table
// links to the parent's; lookups walk the chain, ancestors' properties come first, and a
// class may republish a parent property (its entry replaces the parent's). Kinds: bool,
// integer, double, string, enumeration (value names; files store names), component link
// (TComponent descendant pointer + setter; files store names), owned sub-object and
// TCollection (getter only; assigned into, stored nested), TFloatArray.
// Everything property-driven works from this one table:
//   - TPersistent::Assign / TKvxComponent::Assign -> AssignProperties: copies every
//     assignable property of the common table, ignoring stored rules, skipping read-only
//     ones, Name, and component links while either side is block-assigned; sub-objects
//     and collections are copied by their own Assign (so block assignment does not reach
//     into them: a collection with links keeps its own flag).
//   - Settings files (Settings.h): stored properties that differ from their defaults.
//   - TKvxComponent::SaveToStream / templates: every stored property; templates run with
//     block assignment on (stored rules read GetBlockAssign / AllowStreaming) and no links.
//   - GetPropValue / SetPropValue: by name, as a TPropValue variant.
// Events are not properties: they are TNotifyEvent (std::function) members.
//
// DESTRUCTION PROTOCOL
// Weak links (Input, collection items) register with FreeNotification and are cleared in
// Notification(AComponent, opRemove). Because C++ destroys derived parts first and does not
// dispatch virtual calls into them from a destructor, every component class that others may
// look at calls BeginDestroy() as the FIRST statement of its destructor: it sets csDestroying,
// sends opRemove to every free-notification partner and to the owner, and unlinks them all,
// while the whole object is still intact; it is idempotent, and ~TComponent calls it again as a
// safety net. Then, in ~TComponent, owned components are destroyed by an index loop that
// empties each slot first (a child's destructor may delete siblings). So a weak link to an
// object is already null inside that object's destructor body. Do each class's own link
// clean-up (e.g. SetInput(nullptr)) in its own destructor, after BeginDestroy().
// Ownership: `new TFoo(owner)` with a non-null owner, or owner.InsertComponent(unique_ptr),
// gives the component to the owner; without owner it belongs to its std::unique_ptr.
#pragma once

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/ClassInfo.h"
#include "ondrix/framework/Registry.h"
#include "ondrix/framework/Settings.h"
#include "ondrix/framework/TCollection.h"
#include "ondrix/framework/TComponent.h"
#include "ondrix/framework/TKvxComponent.h"
#include "ondrix/framework/TKvxComponentList.h"
#include "ondrix/framework/TList.h"
#include "ondrix/framework/TObject.h"
#include "ondrix/framework/TPersistent.h"
#include "ondrix/framework/TStream.h"
#include "ondrix/framework/TStringList.h"
#include "ondrix/framework/errors.h"
